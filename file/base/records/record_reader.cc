#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <thread>

#include "file/base/core/async.h"
#include "file/base/file.h"
#include "file/base/inputbuffer.h"
#include "file/base/recordio.h"
#include "file/base/records/record_decoder.h"
#include "file/base/util/logging.h"

namespace records {

// The reader's bytes: an InputBuffer over the file, with its read-ahead.
class InputSource : public ByteSource {
 public:
  explicit InputSource(InputBuffer* in) : in_(in) {}
  int64 ReadAt(int64 offset, char* buffer, int64 n) override {
    if (in_->read_error()) return -1;
    if (in_->Tell() != offset && !in_->Seek(offset)) return -1;
    const ssize_t got = in_->Read(buffer, static_cast<size_t>(n));
    if (in_->read_error()) return -1;
    return got;
  }

 private:
  InputBuffer* in_;
};

}  // namespace records

namespace {

constexpr int kDefaultWindow = 262144;

bool ParseInt(const std::string& v, int64 lo, int64 hi, int64* out) {
  if (v.empty()) return false;
  char* end = nullptr;
  errno = 0;
  const long long x = std::strtoll(v.c_str(), &end, 10);
  if (errno != 0 || end != v.c_str() + v.size() || x < lo || x > hi) return false;
  *out = x;
  return true;
}

bool ParseBool(const std::string& v, bool* out) {
  if (v == "1" || v == "true") return (*out = true), true;
  if (v == "0" || v == "false") return (*out = false), true;
  return false;
}

}  // namespace

bool RecordReaderOptions::LoadOptionsFromString(const ::string& text) {
  RecordReaderOptions next = *this;
  size_t at = 0;
  while (at < text.size()) {
    const size_t end = text.find_first_of(", \n\t", at);
    const std::string item = text.substr(at, end == std::string::npos ? std::string::npos : end - at);
    at = end == std::string::npos ? text.size() : end + 1;
    if (item.empty()) continue;
    const size_t eq = item.find('=');
    if (eq == std::string::npos) return false;
    const std::string key = item.substr(0, eq), value = item.substr(eq + 1);
    int64 n;
    bool b;
    if (key == "memory_budget" || key == "buffer_size" || key == "lookahead") {
      if (!ParseInt(value, 0, 1 << 30, &n)) return false;
      const int v = static_cast<int>(n);
      key == "memory_budget" ? next.set_memory_budget(v) : key == "buffer_size" ? next.set_buffer_size(v)
                                                                                 : next.set_lookahead(v);
    } else if (key == "initial_seek_back") {
      if (!ParseInt(value, 0, int64{1} << 40, &n)) return false;
      next.initial_seek_back_ = n;
    } else if (key == "enable_aio" || key == "fixed_size" || key == "lookahead_on_open" ||
               key == "allow_unchecked_records") {
      if (!ParseBool(value, &b)) return false;
      if (key == "enable_aio") {
        next.enable_aio_ = b;
      } else if (key == "fixed_size") {
        next.set_fixed_size(b);
      } else if (key == "lookahead_on_open") {
        next.set_lookahead_on_open(b);
      } else {
        next.allow_unchecked_records_ = b;
      }
    } else {
      return false;
    }
  }
  *this = next;
  return true;
}

RecordReader::RecordReader(File* file, int memory_budget, bool enable_aio, int buffer_size, int lookahead,
                           bool fixed_size) {
  RecordReaderOptions o;
  o.set_memory_budget(memory_budget);
  o.set_enable_aio(enable_aio);
  o.set_buffer_size(buffer_size);
  o.set_lookahead(lookahead);
  o.set_fixed_size(fixed_size);
  Init(file, o);
}

RecordReader::RecordReader(File* file, const RecordReaderOptions& options) { Init(file, options); }

void RecordReader::Init(File* file, const RecordReaderOptions& options) {
  // The decoder keeps the window; the InputBuffer under it stays small so
  // that the decoder's large reads go straight into the window.
  const int budget = options.memory_budget() > 0 ? options.memory_budget() : 524288;
  // Without a window size, the window holds 256 KiB at most: a refill then
  // stays in the CPU's cache while its checksums are verified.
  const int window = options.buffer_size() > 0 ? options.buffer_size() : std::min(budget, kDefaultWindow);
  InputBufferOptions in;
  in.set_memory_budget(std::max(budget / 4, 65536) + std::max(options.lookahead(), 0));
  in.set_buffer_size(std::max(budget / 8, 16384));
  in.set_lookahead(std::max(options.lookahead(), 0));
  in.set_fixed_size(options.fixed_size());
  in.set_lookahead_on_open(options.lookahead_on_open());
  const int64 start = file != nullptr ? std::max<int64>(file->Tell(), 0) : 0;
  input_ = std::make_unique<InputBuffer>(file, in);
  if (options.enable_aio()) input_->UseAIO(true);
  source_ = std::make_unique<records::InputSource>(input_.get());
  decoder_ = std::make_unique<records::RecordDecoder>(source_.get(), static_cast<size_t>(window));
  decoder_->limits().allow_unchecked = options.allow_unchecked_records();
  decoder_->limits().max_expected = kDefaultMaxExpectedRecordLength;
  name_ = file != nullptr ? file->CreateFileName() : ::string();
  decoder_->on_skip = [this](int64 offset, int64 length, const std::string& why) {
    if (log_skips_) {
      PQ_LOG(WARNING) << "RecordReader: skipped " << length << " bytes of " << name_ << " at offset " << offset << ": "
                      << why;
    }
  };
  if (file == nullptr) {
    read_error_ = true;
    return;
  }
  if (start > 0) {
    const int64 back = std::max<int64>(options.initial_seek_back(), 0);
    FileSeek(start > back ? start - back : 0);
  }
}

RecordReader::~RecordReader() = default;

RecordReader::ReadStatus RecordReader::ReadRecordInternal(void** data, size_t* len, bool log_skips, bool blocking,
                                                          int wait_ms, AsyncIO* aio, int64 limit) {
  const char* plain;
  if (!closed_ && decoder_->NextPlain(&plain, len, limit)) {
    *data = const_cast<char*>(plain);
    return READ_OK;
  }
  if (closed_ || input_->GetFile() == nullptr) {
    read_error_ = true;
    return READ_DONE;
  }
  const bool saved = log_skips_;
  log_skips_ = log_skips;
  decoder_->limits().final_size = blocking;
  std::chrono::steady_clock::time_point deadline{};  // set at the first wait
  for (;;) {
    const char* p = nullptr;
    size_t n = 0;
    const auto st = decoder_->Next(&p, &n, limit);
    if (st == records::RecordDecoder::kRecord) {
      log_skips_ = saved;
      *data = const_cast<char*>(p);
      *len = n;
      return READ_OK;
    }
    if (st == records::RecordDecoder::kError) {
      log_skips_ = saved;
      read_error_ = true;
      if (die_on_error_) {
        LogMessageFatal(__FILE__, __LINE__).stream() << "RecordReader: reading " << name_ << " failed";
      }
      return READ_DONE;
    }
    // The end, or a record cut short by it: a file still being written may
    // complete it.
    decoder_->DropWindow();
    input_->SetFile(input_->GetFile(), decoder_->physical_position());
    if (st == records::RecordDecoder::kPartial && !blocking) {
      log_skips_ = saved;
      if (aio != nullptr) aio->Finish(0, 0);
      return READ_RETRY;
    }
    if (blocking && wait_ms > 0 && deadline == std::chrono::steady_clock::time_point{}) {
      deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(wait_ms);
    }
    if (!blocking || wait_ms <= 0 || std::chrono::steady_clock::now() >= deadline) {
      log_skips_ = saved;
      return READ_DONE;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
}

bool RecordReader::ReadRecord(::string* record) {
  void* data;
  size_t len;
  if (!ReadRecord(&data, &len)) return false;
  record->assign(static_cast<const char*>(data), len);
  return true;
}

bool RecordReader::ReadProtocolMessage(proto2::Message* m) {
  ::string bytes;
  return m != nullptr && ReadRecord(&bytes) && m->ParseFromString(bytes);
}

bool RecordReader::Close() {
  if (closed_) return true;
  closed_ = true;
  return input_->owns_file() ? input_->CloseFile() : true;
}

void RecordReader::RelinquishFileOwnership() { input_->RelinquishFileOwnership(); }
bool RecordReader::owns_file() const { return input_->owns_file(); }
bool RecordReader::AsyncReadEnabled() const { return input_->AsyncReadEnabled(); }

int64 RecordReader::Tell() const { return decoder_->Tell(); }
int64 RecordReader::PhysicalTell() { return input_->Tell(); }
int64 RecordReader::FileTell() { return decoder_->physical_position(); }
int64 RecordReader::LastRecordPosition() const { return decoder_->last_record_position(); }

int64 RecordReader::Size() {
  File* f = input_->GetFile();
  if (closed_ || f == nullptr) return -1;
  return size_seen_ = f->Size();
}

bool RecordReader::AtEOF(bool refresh) {
  if (refresh || size_seen_ < 0) Size();
  const int64 at = decoder_->Tell();
  return (at >> records::kIndexShift) == 0 && at >= size_seen_;
}

bool RecordReader::Seek(int64 position) {
  if (closed_ || position < 0) return false;
  decoder_->Seek(position);
  return true;
}

bool RecordReader::FileSeek(int64 offset) {
  if (closed_ || offset < 0 || offset > records::kOffsetMask) return false;
  decoder_->SeekToBoundary(offset);
  return true;
}

bool RecordReader::GetPosition(::string* position) {
  if (position == nullptr) return false;
  *position = std::to_string(Tell());
  return true;
}

bool RecordReader::SetPosition(const ::string& position) {
  int64 p;
  if (!ParseInt(position, 0, INT64_MAX, &p)) return false;
  return Seek(p);
}

void RecordReader::Prefetch(int64 offset, int64 length, AsyncIO* done) { input_->Prefetch(offset, length, done); }

void RecordReader::Unfetch(int64 offset, int64 length) {
  input_->Unfetch(offset, length);
  decoder_->Unload(offset, length);
}

::string RecordReader::GetFileName() { return name_; }

bool RecordReader::Stat(FileStat* stat) {
  File* f = input_->GetFile();
  return !closed_ && f != nullptr && stat != nullptr && f->Stat(stat);
}

int64 RecordReader::skipped_bytes() const { return decoder_->skipped_bytes(); }
int RecordReader::skipped_regions() const { return decoder_->skipped_regions(); }

void RecordReader::clear_read_error() {
  read_error_ = false;
  if (!closed_ && input_->GetFile() != nullptr) input_->SetFile(input_->GetFile(), decoder_->physical_position());
  decoder_->DropWindow();
}

void RecordReader::set_max_record_length(size_t n) { decoder_->limits().max_record = n; }
void RecordReader::set_max_decoded_record_length(size_t n) { decoder_->limits().max_decoded = n; }
void RecordReader::set_max_expected_record_length(size_t n) {
  decoder_->limits().max_expected = std::min<size_t>(n, RecordIO::kMaxRecordSize);
}
void RecordReader::set_die_on_error(bool b) {
  die_on_error_ = b;
  input_->set_die_on_error(b);
}
