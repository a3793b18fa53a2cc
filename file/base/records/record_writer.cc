#include <bit>
#include <cstdlib>
#include <cstring>

#include "file/base/core/async.h"
#include "file/base/file.h"
#include "file/base/recordio.h"
#include "file/base/streams/checkpoint.h"
#include "file/base/util/logging.h"

namespace {

int InitialDefaultBufferSize() {
  const char* env = std::getenv("PQ_RECORD_WRITER_BUFFER_SIZE");
  if (env != nullptr) {
    char* end = nullptr;
    const long v = std::strtol(env, &end, 10);
    if (end != env && *end == '\0' && v >= 4096 && v <= (1 << 30)) return static_cast<int>(v);
    PQ_LOG(WARNING) << "PQ_RECORD_WRITER_BUFFER_SIZE=" << env
                    << " is not a size from 4096 to 2^30; using " << RecordWriter::kDefaultBufferSize;
  }
  return RecordWriter::kDefaultBufferSize;
}

// An upper bound of a compressed batch's frames for `n` uncompressed bytes.
size_t BatchBound(size_t n) {
  const size_t payload = n + n / 64 + 1024 + records::kBatchPrefix;
  return records::FramedSize(payload);
}

}  // namespace

int FLAGS_record_writer_default_buffer_size = InitialDefaultBufferSize();

int SetRecordWriterDefaultBufferSize(int bytes) {
  const int previous = FLAGS_record_writer_default_buffer_size;
  FLAGS_record_writer_default_buffer_size = bytes < 4096 ? 4096 : bytes;
  return previous;
}

File* NumberedRecordWriterOpener::OpenNext(const ::string& previous, int number) {
  return File::Open((base_ + "." + std::to_string(number)).c_str(), "w");
}

RecordWriter::RecordWriter(File* file, int buffer_size, Concurrency concurrency, int max_record_size)
    : file_(file),
      capacity_(buffer_size > 0 ? static_cast<size_t>(buffer_size) : kDefaultBufferSize),
      spill_unit_(std::bit_floor(capacity_)),
      max_record_size_(max_record_size <= 0 || max_record_size > RecordIO::kMaxRecordSize
                           ? RecordIO::kMaxRecordSize
                           : max_record_size) {
  if (file_ == nullptr) {
    Failed(file::ERROR_INVALID_ARGUMENT, "RecordWriter made without a file");
    closed_ = true;
    close_result_ = false;
    return;
  }
  concurrent_ = concurrency == CONCURRENT_APPENDERS ||
                (concurrency == AUTO && file_->SupportsConcurrentAppenders());
  if (!concurrent_) {
    const int64 at = file_->Tell();
    base_offset_ = at > 0 ? at : 0;
  }
}

RecordWriter::~RecordWriter() {
  if (!closed_) {
    const ::string name = GetFileName();
    if (!Close()) PQ_LOG(ERROR) << "RecordWriter: closing " << name << ": " << error_message_;
  }
  std::unique_lock<std::mutex> lock(mu_);
  WaitForBackgroundLocked(lock);
}

RecordWriter* RecordWriter::Open(const char* name, const char* mode, const CheckpointRecord* checkpoint,
                                 int buffer_size, int max_record_size, bool sync_on_close,
                                 Concurrency concurrency) {
  File* f = nullptr;
  if (checkpoint != nullptr) {
    if (checkpoint->filename != name) {
      PQ_LOG(ERROR) << "RecordWriter::Open: checkpoint is of " << checkpoint->filename << ", not " << name;
      return nullptr;
    }
    f = File::Open(name, "r+");
    if (f != nullptr && (!f->Truncate(checkpoint->offset) || !f->Seek(checkpoint->offset))) {
      PQ_LOG(ERROR) << "RecordWriter::Open: resuming " << name << ": " << f->GetCurrentErrorMessage();
      file::CloseAndDelete(f);
      return nullptr;
    }
  } else {
    f = File::Open(name, mode);
    // Append modes write at the end: start the count there.
    if (f != nullptr && mode != nullptr && mode[0] == 'a') f->Seek(f->Size() > 0 ? f->Size() : 0);
  }
  if (f == nullptr) {
    PQ_LOG(ERROR) << "RecordWriter::Open: cannot open " << name << " (mode " << (mode ? mode : "null") << ")";
    return nullptr;
  }
  auto* w = new RecordWriter(f, buffer_size, concurrency, max_record_size);
  if (!sync_on_close) w->NoSyncOnClose();
  return w;
}

RecordWriter* RecordWriter::OpenOrDie(const char* name, const char* mode, const CheckpointRecord* checkpoint,
                                      int buffer_size, int max_record_size, bool sync_on_close,
                                      Concurrency concurrency) {
  RecordWriter* w = Open(name, mode, checkpoint, buffer_size, max_record_size, sync_on_close, concurrency);
  if (w == nullptr) LogMessageFatal(__FILE__, __LINE__).stream() << "RecordWriter::OpenOrDie: cannot open " << name;
  return w;
}

bool RecordWriter::Failed(int code, const ::string& message) {
  error_code_ = code;
  error_message_ = message;
  return false;
}

::string RecordWriter::GetCurrentErrorMessage() {
  std::lock_guard<std::mutex> lock(mu_);
  return error_message_;
}

int RecordWriter::GetCurrentErrorCode() {
  std::lock_guard<std::mutex> lock(mu_);
  return error_code_;
}

::string RecordWriter::GetFileName() {
  std::lock_guard<std::mutex> lock(mu_);
  return file_ != nullptr ? file_->CreateFileName() : ::string();
}

void RecordWriter::RelinquishFileOwnership() {
  std::lock_guard<std::mutex> lock(mu_);
  owns_file_ = false;
}

bool RecordWriter::owns_file() const {
  std::lock_guard<std::mutex> lock(mu_);
  return owns_file_;
}

void RecordWriter::NoSyncOnClose() {
  std::lock_guard<std::mutex> lock(mu_);
  sync_on_close_ = false;
}

void RecordWriter::SetMaxFileLength(int64 length, RecordWriterOpener* opener) {
  std::lock_guard<std::mutex> lock(mu_);
  max_file_length_ = length;
  opener_ = opener;
}

// ---- Compression ----------------------------------------------------------

void RecordWriter::SetCompression(const records::CodecParams& params, int batch_bytes) {
  std::unique_lock<std::mutex> lock(mu_);
  WaitForBackgroundLocked(lock);
  CloseBatchLocked();
  compress_ = true;
  codec_ = params;
  batch_bytes_ = batch_bytes > 0 ? static_cast<size_t>(batch_bytes) : (256u << 10);
  if (batch_bytes_ > static_cast<size_t>(RecordIO::kMaxRecordSize) / 2) batch_bytes_ = RecordIO::kMaxRecordSize / 2;
}

void RecordWriter::EnableCompression(int level) { EnableCompression(level, 0); }
void RecordWriter::EnableCompression(int level, int batch_bytes) {
  SetCompression({records::kZlib, level, 0, false}, batch_bytes);
}
void RecordWriter::EnablePlumeCompression(int acceleration) {
  SetCompression({records::kLz4, acceleration, 0, false}, 0);
}
void RecordWriter::EnableCWCompression(int level, int window_log, bool long_matching, bool windowed) {
  EnableCWCompression(level, window_log, long_matching, windowed, 0);
}
void RecordWriter::EnableCWCompression(int level, int window_log, bool long_matching, bool windowed,
                                       int batch_bytes) {
  SetCompression({windowed ? records::kZstdWindowed : records::kZstd, level, window_log, long_matching},
                 batch_bytes);
}
void RecordWriter::DisableCompression() {
  std::unique_lock<std::mutex> lock(mu_);
  WaitForBackgroundLocked(lock);
  CloseBatchLocked();
  compress_ = false;
}

bool RecordWriter::CloseBatchLocked() {
  if (batch_count_ == 0) return true;
  std::string payload;
  if (!records::EncodeBatch(codec_, staging_, &payload)) {
    return Failed(file::INTERNAL_ERROR, "compressing a batch of records failed");
  }
  records::AppendRecord(codec_.codec, payload.data(), payload.size(), &buffer_);
  staging_.clear();
  batch_count_ = 0;
  return true;
}

// ---- Writing --------------------------------------------------------------

void RecordWriter::WaitForBackgroundLocked(std::unique_lock<std::mutex>& lock) {
  cv_.wait(lock, [this] { return !flushing_; });
}

int64 RecordWriter::EndOffsetLocked() const {
  if (!concurrent_) return base_offset_ + static_cast<int64>(buffer_.size() + flush_buffer_.size());
  const int64 size = file_ != nullptr ? file_->Size() : 0;
  return (size > 0 ? size : 0) + static_cast<int64>(buffer_.size() + flush_buffer_.size());
}

bool RecordWriter::WriteBytes(const char* data, size_t n, size_t* written, ::string* error, int* code) {
  *written = 0;
  while (*written < n) {
    const int64 r = concurrent_ ? file_->Append(data + *written, n - *written)
                                : file_->Write(data + *written, n - *written);
    if (r <= 0) {
      *code = file_->GetCurrentErrorCode();
      if (*code == file::OK) *code = file::ERROR_UNKNOWN;
      *error = "writing records to " + file_->CreateFileName() + ": " + file_->GetCurrentErrorMessage();
      return false;
    }
    *written += static_cast<size_t>(r);
    // A concurrent append is one unit; a short one cannot be continued
    // without interleaving with other appenders.
    if (concurrent_ && !sole_appender_ && *written < n) {
      *code = file::ERROR_NO_SPACE;
      *error = "short append to " + file_->CreateFileName();
      return false;
    }
  }
  return true;
}

bool RecordWriter::WriteBufferLocked() {
  if (buffer_.empty()) return true;
  size_t written = 0;
  ::string error;
  int code = 0;
  const bool ok = WriteBytes(buffer_.data(), buffer_.size(), &written, &error, &code);
  base_offset_ += static_cast<int64>(written);
  buffer_.erase(0, written);
  write_failed_ = !ok;
  return ok || Failed(code, error);
}

bool RecordWriter::ReserveLocked(size_t bytes) {
  if (max_file_length_ <= 0) return true;
  const int64 end = EndOffsetLocked();
  if (end + static_cast<int64>(bytes) <= max_file_length_) return true;
  if (opener_ == nullptr) {
    return Failed(file::ERROR_NO_SPACE, "record would make " + file_->CreateFileName() + " longer than its limit of " +
                                            std::to_string(max_file_length_) + " bytes");
  }
  if (end == 0 || static_cast<int64>(bytes) > max_file_length_) {
    return Failed(file::ERROR_NO_SPACE, "record of " + std::to_string(bytes) +
                                            " framed bytes cannot fit a file of at most " +
                                            std::to_string(max_file_length_) + " bytes");
  }
  if (!WriteBufferLocked()) return false;
  const ::string previous = file_->CreateFileName();
  File* next = opener_->OpenNext(previous, files_opened_ + 1);
  if (next == nullptr) return Failed(file::ERROR_NO_SPACE, "no file to continue " + previous + " in");
  ++files_opened_;
  bool ok = file_->Flush();
  if (sync_on_close_) ok = file_->Sync() && ok;
  if (owns_file_) {
    ok = file::CloseAndDelete(file_) && ok;
  }
  file_ = next;
  owns_file_ = true;
  base_offset_ = concurrent_ ? 0 : std::max<int64>(next->Tell(), 0);
  if (!ok) PQ_LOG(WARNING) << "RecordWriter: closing " << previous << " when moving on failed";
  return true;
}

RecordWriter::WriteStatus RecordWriter::WriteRecordInternal(const void* data, size_t n, bool blocking,
                                                            AsyncIO* aio) {
  std::unique_lock<std::mutex> lock(mu_);
  if (closed_ || file_ == nullptr) {
    Failed(file::ERROR_INVALID_ARGUMENT, "write to a closed RecordWriter");
    return WRITE_ERROR;
  }
  if (n > static_cast<size_t>(max_record_size_)) {
    Failed(file::ERROR_INVALID_ARGUMENT, "record of " + std::to_string(n) + " bytes is longer than the limit of " +
                                             std::to_string(max_record_size_));
    return WRITE_ERROR;
  }
  if (data == nullptr && n > 0) {
    Failed(file::ERROR_INVALID_ARGUMENT, "record without data");
    return WRITE_ERROR;
  }
  const char* bytes = static_cast<const char*>(data);
  if (blocking) {
    WaitForBackgroundLocked(lock);
  } else if (flushing_ && max_file_length_ > 0) {
    // Moving to a next file waits for the flush in flight.
    if (aio != nullptr) waiting_.push_back(aio);
    return WRITE_RETRY;
  }
  const size_t framed = compress_ ? n + 10 : records::FramedSize(n);
  // A single writer's records stream through the buffer, which goes to the
  // file whenever it reaches a multiple of spill_unit_ in the file; after a
  // failed write, records wait whole in the buffer as with several writers.
  const bool streamed = blocking && (!concurrent_ || sole_appender_) && !compress_ && !write_failed_;
  const bool room = buffer_.empty() || buffer_.size() + staging_.size() + framed <= capacity_ ||
                    (streamed && buffer_.size() < SpillPointLocked());
  if (!room && !blocking) {
    if (flushing_) {
      if (aio != nullptr) waiting_.push_back(aio);
      return WRITE_RETRY;
    }
    StartBackgroundFlushLocked();
  } else if (!room && !WriteBufferLocked()) {
    return WRITE_ERROR;
  }
  if (compress_) {
    if (!ReserveLocked(BatchBound(staging_.size() + framed))) {
      // The batch as it is still fits: close it and try again in a fresh one.
      if (batch_count_ == 0 || !CloseBatchLocked() || !ReserveLocked(BatchBound(framed))) return WRITE_ERROR;
    }
    records::AppendBatchEntry(bytes, n, &staging_);
    ++batch_count_;
    if (staging_.size() >= batch_bytes_ && !CloseBatchLocked()) return WRITE_ERROR;
  } else {
    if (!ReserveLocked(framed)) return WRITE_ERROR;
    if (streamed) {
      StreamRecordLocked(bytes, n);
      return WRITE_OK;
    }
    records::AppendRecord(RecordIO::SINGLETON, bytes, n, &buffer_);
  }
  // A record larger than the buffer goes out at once.
  if (blocking && buffer_.size() >= capacity_) WriteBufferLocked();
  return WRITE_OK;
}

size_t RecordWriter::SpillPointLocked() const {
  return spill_unit_ - static_cast<size_t>(base_offset_ % static_cast<int64>(spill_unit_));
}

void RecordWriter::SetSoleAppender(bool sole) {
  std::lock_guard<std::mutex> lock(mu_);
  sole_appender_ = sole;
}

bool RecordWriter::SpillLocked(const char* data, size_t n, const char* rest, size_t rest_n) {
  while (n > 0) {
    const size_t point = SpillPointLocked();
    if (buffer_.empty() && n >= point) {
      // Whole units go to the file straight from the caller's memory.
      const size_t direct = point + (n - point) / spill_unit_ * spill_unit_;
      size_t written = 0;
      ::string error;
      int code = 0;
      const bool ok = WriteBytes(data, direct, &written, &error, &code);
      base_offset_ += static_cast<int64>(written);
      data += written;
      n -= written;
      if (!ok) {
        write_failed_ = true;
        Failed(code, error);
        break;
      }
      continue;
    }
    const size_t take = std::min(n, point > buffer_.size() ? point - buffer_.size() : 0);
    buffer_.append(data, take);
    data += take;
    n -= take;
    if (buffer_.size() >= point && !WriteBufferLocked()) break;
  }
  if (!write_failed_) return true;
  // A write failed inside the record: the record stays whole in the buffer
  // for the next Flush to write.
  buffer_.append(data, n);
  buffer_.append(rest, rest_n);
  return false;
}

void RecordWriter::StreamRecordLocked(const char* data, size_t n) {
  // A sole appender's file may have changed under it (a log moving on):
  // where its bytes land is read again whenever the buffer is empty.
  if (concurrent_ && buffer_.empty()) base_offset_ = std::max<int64>(file_->Size(), 0);
  if (buffer_.capacity() < spill_unit_) buffer_.reserve(std::min<size_t>(spill_unit_, 8 << 20));
  bool spilling = true;
  records::ForEachFrame(RecordIO::SINGLETON, data, n, records::kFragmentPayload,
                        [&](const char* header, const char* payload, size_t length) {
                          if (spilling) {
                            // A failed write leaves the rest of the record in the buffer.
                            spilling = SpillLocked(header, records::kHeaderSize, payload, length) &&
                                       SpillLocked(payload, length, nullptr, 0);
                          } else {
                            buffer_.append(header, records::kHeaderSize);
                            buffer_.append(payload, length);
                          }
                        });
}

void RecordWriter::StartBackgroundFlushLocked() {
  flushing_ = true;
  flush_buffer_.swap(buffer_);
  buffer_.clear();
  file::RunAsync([this] {
    size_t written = 0;
    ::string error;
    int code = 0;
    const bool ok = WriteBytes(flush_buffer_.data(), flush_buffer_.size(), &written, &error, &code);
    std::vector<AsyncIO*> waiting;
    {
      std::lock_guard<std::mutex> lock(mu_);
      if (!concurrent_) base_offset_ += static_cast<int64>(written);
      // What could not be written goes back in front of the newer bytes.
      buffer_.insert(0, flush_buffer_, written, std::string::npos);
      flush_buffer_.clear();
      if (!ok) Failed(code, error);
      flushing_ = false;
      waiting.swap(waiting_);
      cv_.notify_all();
    }
    for (AsyncIO* a : waiting) a->Finish(ok ? 0 : code, 0);
  });
}

bool RecordWriter::WriteRecord(const Cord& cord) {
  const std::string flat = cord.ToString();
  return WriteRecord(flat.data(), flat.size());
}

RecordWriter::WriteStatus RecordWriter::WriteProtocolMessageInternal(const proto2::Message& m, bool blocking,
                                                                     AsyncIO* aio) {
  ::string bytes;
  if (!m.AppendToString(&bytes)) {
    std::lock_guard<std::mutex> lock(mu_);
    Failed(file::ERROR_INVALID_ARGUMENT, "the message could not be serialised");
    return WRITE_ERROR;
  }
  return WriteRecordInternal(bytes.data(), bytes.size(), blocking, aio);
}

bool RecordWriter::FlushLocked() {
  if (file_ == nullptr) return Failed(file::ERROR_INVALID_ARGUMENT, "RecordWriter has no file");
  if (!CloseBatchLocked() || !WriteBufferLocked()) return false;
  if (!file_->Flush()) {
    return Failed(file_->GetCurrentErrorCode(), "flushing " + file_->CreateFileName() + ": " +
                                                    file_->GetCurrentErrorMessage());
  }
  return true;
}

bool RecordWriter::FlushAndSync(bool sync, bool data_only) {
  std::unique_lock<std::mutex> lock(mu_);
  if (closed_) return Failed(file::ERROR_INVALID_ARGUMENT, "flush of a closed RecordWriter");
  WaitForBackgroundLocked(lock);
  if (!FlushLocked()) return false;
  if (!sync || (data_only ? file_->DataSync() : file_->Sync())) return true;
  return Failed(file_->GetCurrentErrorCode(), file_->GetCurrentErrorMessage());
}

bool RecordWriter::Flush() { return FlushAndSync(false, false); }
bool RecordWriter::Sync() { return FlushAndSync(true, false); }
bool RecordWriter::DataSync() { return FlushAndSync(true, true); }

bool RecordWriter::Close() {
  std::unique_lock<std::mutex> lock(mu_);
  if (closed_) return close_result_;
  WaitForBackgroundLocked(lock);
  bool ok = FlushLocked();
  if (ok && sync_on_close_ && !file_->Sync()) ok = Failed(file_->GetCurrentErrorCode(), file_->GetCurrentErrorMessage());
  if (owns_file_ && file_ != nullptr) {
    if (!file_->Close() && ok) ok = Failed(file_->GetCurrentErrorCode(), file_->GetCurrentErrorMessage());
    delete file_;
  }
  file_ = nullptr;
  closed_ = true;
  close_result_ = ok;
  return ok;
}

int64 RecordWriter::Tell() const {
  std::lock_guard<std::mutex> lock(mu_);
  if (file_ == nullptr) return -1;
  return records::MakePosition(EndOffsetLocked(), batch_count_);
}

int64 RecordWriter::ApproximateTell() {
  std::lock_guard<std::mutex> lock(mu_);
  if (file_ == nullptr) return -1;
  return EndOffsetLocked() + static_cast<int64>(staging_.size());
}

void RecordWriter::Checkpoint(CheckpointWriter* writer) {
  std::unique_lock<std::mutex> lock(mu_);
  if (writer == nullptr) {
    Failed(file::ERROR_INVALID_ARGUMENT, "Checkpoint without a CheckpointWriter");
    return;
  }
  if (closed_) {
    Failed(file::ERROR_INVALID_ARGUMENT, "checkpoint of a closed RecordWriter");
    return;
  }
  WaitForBackgroundLocked(lock);
  if (!FlushLocked()) return;
  CheckpointRecord record(file_->CreateFileName(), EndOffsetLocked());
  if (!writer->WriteCheckpoint(record)) Failed(file::ERROR_UNKNOWN, "the CheckpointWriter refused the checkpoint");
}

void RecordWriter::FormatHeader(RecordIO::Tag tag, char* buf, const char* data, int len) const {
  PopulateHeader(tag, buf, data, len);
}

void RecordWriter::PopulateHeader(RecordIO::Tag tag, char* buf, const char* data, int len) {
  if (buf == nullptr) return;
  if (len < 0 || len > RecordIO::kMaxRecordSize || (data == nullptr && len > 0)) {
    std::memset(buf, 0, RecordIO::kHeaderSize);
    return;
  }
  records::EncodeHeader(static_cast<uint8>(tag) & 7, records::FULL, data, static_cast<uint32>(len), buf);
}
