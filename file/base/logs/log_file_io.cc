#include "file/base/logs/log_file_io.h"

#include <algorithm>
#include <utility>

#include "file/base/core/async.h"
#include "file/base/file.h"

namespace logs {

int64 ToOffsetField(int64 decoder_position) {
  const int64 index = decoder_position >> records::kIndexShift;
  return (decoder_position & kByteOffsetMask) | (index << kBatchIndexShift);
}

int64 ToDecoderPosition(int64 offset_field) {
  return records::MakePosition(offset_field & kByteOffsetMask, offset_field >> kBatchIndexShift);
}

// ---- FileWriter ------------------------------------------------------------------

// Completion of the buffer's asynchronous append.
class FileWriter::AppendDone : public AsyncIO {
 public:
  explicit AppendDone(FileWriter* writer) : writer_(writer) {}
  // Runs once, on the worker that made the append.
  void Finish(int error, int64 bytes) override {
    writer_->AppendFinished(error, writer_->landed_);
    delete this;
  }
  void SetAbandonCallback(Callback1<bool>*) override {}
  void Run() override {}

 private:
  FileWriter* writer_;
};

FileWriter::FileWriter(File* file, int64 size, size_t buffer_size)
    : file_(file), size_(size), buffer_size_(buffer_size > 0 ? buffer_size : 1) {}

FileWriter::~FileWriter() {
  std::unique_lock<std::mutex> lock(mu_);
  WaitForAppend(lock);
}

bool FileWriter::async_capable() const { return file_->SupportsAsyncWrite(); }

void FileWriter::SetCompression(bool on, const records::CodecParams& params) {
  CloseBatch();
  compress_ = on;
  codec_ = params;
}

std::string FileWriter::TakePending() {
  std::unique_lock<std::mutex> lock(mu_);
  WaitForAppend(lock);
  CloseBatch();
  return std::move(buffer_);
}

void FileWriter::AddPending(const std::string& frames) {
  std::lock_guard<std::mutex> lock(mu_);
  buffer_.insert(0, frames);
}

bool FileWriter::WouldFlush(size_t n) const {
  const size_t staged = compress_ ? staging_.size() + n : records::FramedSize(n);
  return buffer_.size() + staged >= buffer_size_;
}

int64 FileWriter::EndOfFile() {
  const int64 size = file_->Size();
  std::lock_guard<std::mutex> lock(mu_);
  return std::max(size, size_) + static_cast<int64>(buffer_.size());
}

bool FileWriter::CloseBatch() {
  if (staged_records_ == 0) return true;
  std::string payload;
  const bool ok = records::EncodeBatch(codec_, staging_, &payload);
  if (ok) {
    records::AppendRecord(codec_.codec, payload.data(), payload.size(), &buffer_);
  } else {
    error_ = "compression of a batch failed; its records are lost";
  }
  staging_.clear();
  staged_records_ = 0;
  return ok;
}

void FileWriter::WaitForAppend(std::unique_lock<std::mutex>& lock) {
  appended_.wait(lock, [this] { return !appending_; });
}

void FileWriter::AppendFinished(int error, int64 landed) {
  std::vector<AsyncIO*> waiting;
  {
    std::lock_guard<std::mutex> lock(mu_);
    if (error != 0 || landed < 0) {
      error_ = "append to the log file failed: " + file_->GetCurrentErrorMessage();
    } else {
      size_ = landed + static_cast<int64>(in_flight_.size());
    }
    in_flight_.Clear();
    appending_ = false;
    waiting.swap(waiting_);
    appended_.notify_all();
  }
  for (AsyncIO* done : waiting) done->Finish(error, 0);
}

bool FileWriter::FlushLocked(std::unique_lock<std::mutex>& lock) {
  WaitForAppend(lock);
  if (buffer_.empty()) return error_.empty();
  IOBuffer bytes(buffer_.data(), buffer_.size());
  buffer_.clear();
  const int64 landed = file_->RecordAppend(&bytes);
  if (landed < 0) {
    error_ = "append to the log file failed: " + file_->GetCurrentErrorMessage();
    return false;
  }
  size_ = landed + static_cast<int64>(bytes.size());
  return true;
}

FileWriter::Status FileWriter::Write(const void* data, size_t n, bool blocking, AsyncIO* done) {
  std::unique_lock<std::mutex> lock(mu_);
  if (appending_) {
    if (!blocking) {
      if (done != nullptr) waiting_.push_back(done);
      return kRetry;
    }
    WaitForAppend(lock);
  }
  const char* bytes = static_cast<const char*>(data);
  if (compress_) {
    records::AppendBatchEntry(bytes, n, &staging_);
    if (++staged_records_ >= kMaxBatchRecords || staging_.size() >= buffer_size_) {
      if (!CloseBatch()) return kError;
    }
  } else {
    if (blocking && !buffer_.empty() && buffer_.size() + records::FramedSize(n) > buffer_size_) {
      if (!FlushLocked(lock)) return kError;
    }
    records::AppendRecord(0, bytes, n, &buffer_);
  }
  if (buffer_.size() < buffer_size_) return kOk;
  if (blocking) return FlushLocked(lock) ? kOk : kError;
  // Write the full buffer out in the background; writes meanwhile retry.
  in_flight_.Clear();
  in_flight_.Append(buffer_);
  buffer_.clear();
  appending_ = true;
  landed_ = -1;
  lock.unlock();
  if (!file_->RecordAppendAsync(&in_flight_, &landed_, new AppendDone(this))) {
    // Not queued: nothing will finish it, so report here.
    AppendFinished(file::INTERNAL_ERROR, -1);
  }
  return kOk;
}

bool FileWriter::Flush() {
  std::unique_lock<std::mutex> lock(mu_);
  WaitForAppend(lock);
  if (!CloseBatch()) return false;
  return FlushLocked(lock);
}

bool FileWriter::Sync() { return Flush() && file_->Sync(); }

bool FileWriter::Close() {
  const bool flushed = Flush();
  const bool closed = file_->Close();
  if (!closed) error_ = "closing the log file failed: " + file_->GetCurrentErrorMessage();
  delete file_;
  file_ = nullptr;
  return flushed && closed;
}

// ---- FileReader ------------------------------------------------------------------

class FileReader::Source : public records::ByteSource {
 public:
  explicit Source(File* file) : file_(file) {}
  int64 ReadAt(int64 offset, char* buffer, int64 n) override { return file_->PRead(offset, buffer, n); }

 private:
  File* file_;
};

FileReader::FileReader(File* file, size_t window)
    : file_(file), source_(std::make_unique<Source>(file)), decoder_(source_.get(), window) {}

FileReader::~FileReader() {
  file_->Close();
  delete file_;
}

bool FileReader::async_capable() const { return file_->SupportsAsyncRead(); }

int64 FileReader::Size() { return file_->Size(); }

FileReader::Status FileReader::Next(const char** data, size_t* length, bool final) {
  decoder_.limits().final_size = final;
  switch (decoder_.Next(data, length)) {
    case records::RecordDecoder::kRecord:
      return kRecord;
    case records::RecordDecoder::kError:
      return kError;
    case records::RecordDecoder::kEnd:
      return kNone;
    case records::RecordDecoder::kPartial:
      break;
  }
  if (final) {
    // A torn tail (a writer that died mid-record): count it once and stand
    // at the end.
    const int64 size = file_->Size();
    const int64 at = decoder_.physical_position();
    if (size > at) {
      tail_skipped_ += size - at;
      decoder_.Seek(size);
    }
  }
  return kNone;
}

void FileReader::Seek(int64 offset_field) { decoder_.Seek(ToDecoderPosition(offset_field)); }

int64 FileReader::Tell() const { return ToOffsetField(decoder_.Tell()); }

int64 FileReader::LastRecordPosition() const {
  const int64 last = decoder_.last_record_position();
  return last < 0 ? -1 : ToOffsetField(last);
}

}  // namespace logs
