// LogWriter: appends records to the newest file of a log and starts the next
// file at the chunk size. Concurrency and crash safety: docs/logs.md.
#include <memory>

#include "file/base/file.h"
#include "file/base/logio.h"
#include "file/base/logs/current_file.h"
#include "file/base/logs/log_files.h"
#include "file/base/recordio.h"
#include "file/base/util/lock_info.h"
#include "file/base/util/logging.h"

struct LogWriter::Compression {
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
  RecordReader reader(f, 1 << 20, false, 0, 0, false);
  void* data;
  size_t n;
  while (reader.ReadRecord(&data, &n)) {
  }
  return !reader.read_error() && reader.skipped_bytes() == 0 && reader.FileTell() == reader.Size();
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

// Bytes the record writer holds (an open compressed batch aside).
int64 LogWriter::Held() const {
  return (writer_->Tell() & records::kOffsetMask) - current_->seen_size();
}

// Where the next record goes in the current file. A single writer without
// compression counts its own framed bytes (no locks on the way); otherwise
// the record writer and the file system tell.
int64 LogWriter::NextOffset() const {
  if (concurrency_ == SINGLE_WRITER && compression_ == nullptr) return next_offset_;
  return current_->seen_size() + Held();
}

bool LogWriter::WriterFailed() {
  Fail(writer_->GetCurrentErrorMessage());
  return false;
}

// Makes `next` the current file and closes the one it replaces.
void LogWriter::SwitchTo(File* next, int64 size) {
  File* f = current_->SetTarget(next, size);
  next_offset_ = size + (writer_ != nullptr ? Held() : 0);
  if (f == nullptr) return;
  if (!f->Close()) Fail("closing " + f->CreateFileName() + ": " + f->GetCurrentErrorMessage());
  delete f;
}

// Before leaving the current file: what the record writer holds goes to it,
// unless carry_pending (it then goes to the next file).
void LogWriter::FinishFile(bool carry_pending) {
  if (carry_pending || current_ == nullptr || current_->target() == nullptr) return;
  if (!writer_->Flush()) WriterFailed();
  batch_records_ = 0;
  if ((flags_ & kSyncOnRotate) && !current_->Sync()) Fail(current_->GetCurrentErrorMessage());
}

void LogWriter::CloseFile() {
  if (writer_ == nullptr) return;
  FinishFile(false);
  SwitchTo(nullptr, 0);
  writer_->Close();  // writes nothing more: it was flushed
  delete writer_;
  writer_ = nullptr;
  delete current_;
  current_ = nullptr;
  batch_records_ = 0;
}

void LogWriter::ApplyCompression() {
  if (compression_ == nullptr) {
    writer_->DisableCompression();
  } else if (compression_->params.codec == records::kZlib) {
    writer_->EnableCompression(compression_->params.level);
  } else {
    const auto& p = compression_->params;
    writer_->EnableCWCompression(p.level, p.window_log, p.long_matching, p.codec == records::kZstdWindowed);
  }
  batch_records_ = 0;
  next_offset_ = current_->seen_size() + Held();
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
  // Appends land at the end whatever the lock: a single writer appends too.
  if (writer_ == nullptr) {
    current_ = new logs::CurrentFile();
    SwitchTo(f, size);
    writer_ = new RecordWriter(current_, buffer_size_, RecordWriter::CONCURRENT_APPENDERS);
    writer_->SetSoleAppender(concurrency_ == SINGLE_WRITER);
    writer_->RelinquishFileOwnership();
    writer_->NoSyncOnClose();
    if (compression_) ApplyCompression();
  } else {
    SwitchTo(f, size);
  }
  file_number_ = number;
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
    if (continuing && (current_->seen_size() >= GetLogChunkSize() || !EndsCleanly(FileName(newest)))) {
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
  const int from = file_number_;
  FinishFile(carry_pending);
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
  return OpenFile(next, false);
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
  const int64 framed = static_cast<int64>(records::FramedSize(n));
  if (concurrency_ == CONCURRENT_APPENDERS) {
    const int64 held = Held();
    const bool writes_out = held > 0 && held + framed > buffer_size_;
    if ((flush_now || writes_out) && NewerFileExists() && !Rotate(true)) return WRITE_ERROR;
  }
  const auto st = static_cast<WriteStatus>(writer_->WriteRecordInternal(data, n, blocking, done));
  if (st == WRITE_ERROR) {
    WriterFailed();
    return st;
  }
  if (st == WRITE_RETRY) return st;
  next_offset_ += framed;
  // Positions hold a batch index of 8 bits: close the batch in time.
  if (compression_ && ++batch_records_ >= logs::kMaxBatchRecords) ApplyCompression();
  if (flush_now) {
    if (!writer_->Flush()) {
      WriterFailed();
      return WRITE_ERROR;
    }
    batch_records_ = 0;
  }
  if (NextOffset() >= GetLogChunkSize() && !Rotate(false)) {
    return WRITE_ERROR;
  }
  return st;
}

LogWriter::WriteStatus LogWriter::WriteProtocolMessageInternal(const proto2::Message& m,
                                                              bool blocking, AsyncIO* done) {
  ::string bytes;
  if (!m.AppendToString(&bytes)) {
    std::lock_guard<std::mutex> guard(mu_);
    Fail("the message could not be serialised");
    return WRITE_ERROR;
  }
  return WriteRecordInternal(bytes.data(), bytes.size(), blocking, done);
}

bool LogWriter::Flush() {
  std::lock_guard<std::mutex> guard(mu_);
  if (writer_ == nullptr) return false;
  if (concurrency_ == CONCURRENT_APPENDERS && NewerFileExists() && !Rotate(true)) return false;
  if (!writer_->Flush()) return WriterFailed();
  batch_records_ = 0;
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
  compression_->params.codec = records::kZlib;
  compression_->params.level = level;
  if (writer_ != nullptr) ApplyCompression();
}

void LogWriter::EnableCWCompression(int level, int window_log, bool long_matching, bool windowed,
                                    int threads) {
  std::lock_guard<std::mutex> guard(mu_);
  compression_ = std::make_unique<Compression>();
  compression_->params.codec = windowed ? records::kZstdWindowed : records::kZstd;
  compression_->params.level = level;
  compression_->params.window_log = window_log;
  compression_->params.long_matching = long_matching;
  if (writer_ != nullptr) ApplyCompression();
}

void LogWriter::DisableCompression() {
  std::lock_guard<std::mutex> guard(mu_);
  compression_.reset();
  if (writer_ != nullptr) ApplyCompression();
}

// The record writer's Tell is the current file's size as last seen plus
// what it holds.
int64 LogWriter::ApproximateEOFPosition() {
  std::lock_guard<std::mutex> guard(mu_);
  if (writer_ == nullptr) return -1;
  return MakeLogPosition(file_number_, current_->seen_size() + Held());
}

// As ApproximateEOFPosition, with the file's size as the file system tells
// it now (other appenders included).
int64 LogWriter::EOFPosition() {
  std::lock_guard<std::mutex> guard(mu_);
  File* f = writer_ == nullptr ? nullptr : current_->target();
  if (f == nullptr) return -1;
  const int64 size = f->Size();
  return MakeLogPosition(file_number_, (size < 0 ? current_->seen_size() : size) + Held());
}

::string LogWriter::GetPosition() {
  const int64 position = EOFPosition();
  return position < 0 ? ::string() : PositionToText(position);
}

int LogWriter::max_record_size() const { return RecordIO::kMaxRecordSize; }

bool LogWriter::RecordWriterAsyncEnabled() const { return writer_->AsyncEnabled(); }
