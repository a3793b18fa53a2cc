// LogWriter: appends records to the newest file of a log and starts the next
// file at the chunk size. Concurrency and crash safety: docs/logs.md.
#include <memory>

#include "file/base/file.h"
#include "file/base/logio.h"
#include "file/base/logs/log_file_io.h"
#include "file/base/logs/log_files.h"
#include "file/base/util/lock_info.h"
#include "file/base/util/logging.h"

struct LogWriter::Compression {
  bool on = false;
  records::CodecParams params;
};

namespace {

// How many times Open looks again when another writer moves the log on
// while it is opening.
constexpr int kOpenAttempts = 8;

// True when the file ends in a whole record (an empty file does).
bool EndsCleanly(const ::string& name) {
  File* f = File::Open(name.c_str(), "r");
  if (f == nullptr) return false;
  logs::FileReader reader(f, 1 << 20);
  const char* data;
  size_t n;
  logs::FileReader::Status st;
  while ((st = reader.Next(&data, &n, true)) == logs::FileReader::kRecord) {
  }
  return st == logs::FileReader::kNone && reader.skipped_bytes() == 0;
}

}  // namespace

LogWriter::LogWriter() : LogBase("") {}

LogWriter::LogWriter(const ::string& base, const ::string& writer_name, Concurrency concurrency,
                     int buffer_size, int flags)
    : LogBase(base) {
  Open(base, writer_name, concurrency, buffer_size, flags);
}

LogWriter::~LogWriter() { Close(); }

void LogWriter::Fail(const ::string& why) {
  last_error_ = why;
  PQ_LOG(WARNING) << "log writer " << (writer_name_.empty() ? "" : writer_name_ + " ") << "on "
                  << base_ << ": " << why;
}

bool LogWriter::NewerFileExists() const {
  return File::Exists(FileName(file_number_ + 1).c_str());
}

void LogWriter::CloseFile() {
  if (writer_ == nullptr) return;
  if ((flags_ & kSyncOnRotate) && !writer_->Sync()) Fail(writer_->error());
  if (!writer_->Close()) Fail(writer_->error());
  delete writer_;
  writer_ = nullptr;
}

// Opens file `number` for appending under this writer's lock. A continuing
// writer refuses a file that no longer is the newest or that ends in a torn
// record (it then starts the next file; see docs/logs.md).
bool LogWriter::OpenFile(int number, bool continuing) {
  const ::string name = FileName(number);
  LockInfo lock(concurrency_ == SINGLE_WRITER ? LockInfo::EXCLUSIVE : LockInfo::SHARED, false);
  File* f = File::OpenLocked(name.c_str(), "a", &lock);
  if (f == nullptr) {
    Fail(File::Exists(name.c_str()) ? "log file " + name + " is in use by another writer"
                                    : "cannot create log file " + name);
    return false;
  }
  const int64 size = f->Size();
  if (size < 0) {
    Fail("cannot tell the size of " + name + ": " + f->GetCurrentErrorMessage());
    f->Close();
    delete f;
    return false;
  }
  writer_ = new logs::FileWriter(f, size, static_cast<size_t>(buffer_size_));
  file_number_ = number;
  if (compression_) writer_->SetCompression(compression_->on, compression_->params);
  return true;
}

bool LogWriter::Open(const ::string& base, const ::string& writer_name, Concurrency concurrency,
                     int buffer_size, int flags) {
  std::lock_guard<std::mutex> guard(mu_);
  CloseFile();
  base_ = base;
  writer_name_ = writer_name;
  last_error_.clear();
  if (concurrency != SINGLE_WRITER && concurrency != CONCURRENT_APPENDERS && concurrency != AUTO) {
    Fail("unknown concurrency " + std::to_string(static_cast<int>(concurrency)));
    return false;
  }
  if ((flags & ~kAllFlags) != 0) {
    Fail("unknown flags " + std::to_string(flags));
    return false;
  }
  // Every file system here appends atomically, so AUTO lets others append.
  concurrency_ = concurrency == AUTO ? CONCURRENT_APPENDERS : concurrency;
  buffer_size_ = buffer_size > 0 ? buffer_size : kDefaultBufferSize;
  flags_ = flags;
  for (int attempt = 0; attempt < kOpenAttempts; ++attempt) {
    vector<int> numbers;
    ::string error;
    if (!logs::ListLogFiles(base, &numbers, &error)) {
      Fail(error);
      return false;
    }
    const int newest = numbers.empty() ? -1 : numbers.back();
    if (newest >= kMaxFileNumber) {
      Fail("the log has reached its last file number");
      return false;
    }
    const bool continuing = newest >= 0;
    if (!OpenFile(continuing ? newest : 0, continuing)) return false;
    if (NewerFileExists()) {  // another writer moved on meanwhile
      CloseFile();
      continue;
    }
    if (continuing && (writer_->Tell() >= GetLogChunkSize() || !EndsCleanly(FileName(newest)))) {
      if (!Rotate(false)) return false;
    }
    return true;
  }
  Fail("the log kept moving on while opening");
  return false;
}

// Leaves the current file for the next one (or the newest, when other
// appenders are ahead). carry_pending: the frames not yet written go to the
// new file instead of the old one.
bool LogWriter::Rotate(bool carry_pending) {
  std::string pending;
  if (carry_pending) pending = writer_->TakePending();
  const int from = file_number_;
  CloseFile();
  int next = from + 1;
  vector<int> numbers;
  ::string error;
  if (concurrency_ == CONCURRENT_APPENDERS && logs::ListLogFiles(base_, &numbers, &error) &&
      !numbers.empty() && numbers.back() > next) {
    next = numbers.back();
  }
  if (next > kMaxFileNumber) {
    Fail("the log has reached its last file number");
    return false;
  }
  if (!OpenFile(next, false)) return false;
  if (!pending.empty()) writer_->AddPending(pending);
  return true;
}

LogWriter::WriteStatus LogWriter::WriteRecordInternal(const void* data, size_t n, bool blocking,
                                                      AsyncIO* done) {
  std::lock_guard<std::mutex> guard(mu_);
  if (writer_ == nullptr) {
    last_error_ = "the writer has no open log";
    return WRITE_ERROR;
  }
  if (data == nullptr && n > 0) {
    Fail("no record bytes given");
    return WRITE_ERROR;
  }
  if (n > records::kMaxPayload) {
    Fail("record of " + std::to_string(n) + " bytes is longer than the largest record");
    return WRITE_ERROR;
  }
  const bool flush_now = (flags_ & kFlushEachRecord) != 0;
  // Appenders that share the log write nothing more to a file another one
  // has left.
  if (concurrency_ == CONCURRENT_APPENDERS && (flush_now || writer_->WouldFlush(n)) &&
      NewerFileExists() && !Rotate(true)) {
    return WRITE_ERROR;
  }
  const auto st = static_cast<WriteStatus>(writer_->Write(data, n, blocking, done));
  if (st == WRITE_ERROR) {
    Fail(writer_->error());
    return st;
  }
  if (st == WRITE_OK && flush_now && !writer_->Flush()) {
    Fail(writer_->error());
    return WRITE_ERROR;
  }
  if (st == WRITE_OK && writer_->Tell() >= GetLogChunkSize() && !Rotate(false)) return WRITE_ERROR;
  return st;
}

LogWriter::WriteStatus LogWriter::WriteProtocolMessageInternal(const proto2::Message& m,
                                                              bool blocking, AsyncIO* done) {
  // Messages need the record library's message class, which logs do not
  // have yet.
  std::lock_guard<std::mutex> guard(mu_);
  last_error_ = "ERROR_UNIMPLEMENTED: protocol messages are not available to logs";
  return WRITE_ERROR;
}

bool LogWriter::Flush() {
  std::lock_guard<std::mutex> guard(mu_);
  if (writer_ == nullptr) return false;
  if (concurrency_ == CONCURRENT_APPENDERS && NewerFileExists() && !Rotate(true)) return false;
  if (!writer_->Flush()) {
    Fail(writer_->error());
    return false;
  }
  return true;
}

void LogWriter::Close() {
  std::lock_guard<std::mutex> guard(mu_);
  CloseFile();
  file_number_ = -1;
}

void LogWriter::EnableCompression(int level) {
  std::lock_guard<std::mutex> guard(mu_);
  compression_ = std::make_unique<Compression>();
  compression_->on = true;
  compression_->params.codec = records::kZlib;
  compression_->params.level = level;
  if (writer_ != nullptr) writer_->SetCompression(true, compression_->params);
}

void LogWriter::EnableCWCompression(int level, int window_log, bool long_matching, bool windowed,
                                    int threads) {
  std::lock_guard<std::mutex> guard(mu_);
  compression_ = std::make_unique<Compression>();
  compression_->on = true;
  compression_->params.codec = windowed ? records::kZstdWindowed : records::kZstd;
  compression_->params.level = level;
  compression_->params.window_log = window_log;
  compression_->params.long_matching = long_matching;
  if (writer_ != nullptr) writer_->SetCompression(true, compression_->params);
}

void LogWriter::DisableCompression() {
  std::lock_guard<std::mutex> guard(mu_);
  compression_.reset();
  if (writer_ != nullptr) writer_->SetCompression(false, records::CodecParams());
}

int64 LogWriter::ApproximateEOFPosition() {
  std::lock_guard<std::mutex> guard(mu_);
  return writer_ == nullptr ? -1 : MakeLogPosition(file_number_, writer_->Tell());
}

int64 LogWriter::EOFPosition() {
  std::lock_guard<std::mutex> guard(mu_);
  return writer_ == nullptr ? -1 : MakeLogPosition(file_number_, writer_->EndOfFile());
}

::string LogWriter::GetPosition() {
  const int64 position = EOFPosition();
  return position < 0 ? ::string() : PositionToText(position);
}

int LogWriter::max_record_size() const { return static_cast<int>(records::kMaxPayload); }

bool LogWriter::RecordWriterAsyncEnabled() const { return writer_->async_capable(); }
