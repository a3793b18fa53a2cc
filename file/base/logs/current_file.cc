#include "file/base/logs/current_file.h"

#include "file/base/core/file_open_options.h"

namespace logs {

CurrentFile::CurrentFile() : File(nullptr, "", "a", FileOpenOptions()) {}

CurrentFile::~CurrentFile() = default;

File* CurrentFile::SetTarget(File* target, int64 size) {
  std::lock_guard<std::mutex> lock(mu_);
  File* previous = target_;
  target_ = target;
  size_ = size;
  return previous;
}

File* CurrentFile::target() {
  std::lock_guard<std::mutex> lock(mu_);
  return target_;
}

int64 CurrentFile::seen_size() {
  std::lock_guard<std::mutex> lock(mu_);
  return size_;
}

int64 CurrentFile::Append(const void* buffer, uint64 size) {
  std::lock_guard<std::mutex> lock(mu_);
  if (target_ == nullptr) {
    error_ = "the log has no current file";
    return -1;
  }
  const int64 r = target_->Append(buffer, size);
  if (r > 0) {
    // Other appenders may have written too: ask where the file ends now.
    const int64 now = target_->Size();
    size_ = now >= size_ + r ? now : size_ + r;
  }
  return r;
}

int64 CurrentFile::Size() {
  std::lock_guard<std::mutex> lock(mu_);
  return size_;
}

bool CurrentFile::Flush() {
  std::lock_guard<std::mutex> lock(mu_);
  return target_ != nullptr && target_->Flush();
}

bool CurrentFile::Sync() {
  std::lock_guard<std::mutex> lock(mu_);
  return target_ != nullptr && target_->Sync();
}

bool CurrentFile::DataSync() {
  std::lock_guard<std::mutex> lock(mu_);
  return target_ != nullptr && target_->DataSync();
}

// The LogWriter closes the files it opened; the record writer never owns
// this one.
bool CurrentFile::Close() { return Unsupported(); }

::string CurrentFile::GetCurrentErrorMessage() {
  std::lock_guard<std::mutex> lock(mu_);
  return target_ != nullptr ? target_->GetCurrentErrorMessage() : error_;
}

int CurrentFile::GetCurrentErrorCode() {
  std::lock_guard<std::mutex> lock(mu_);
  if (target_ != nullptr) return target_->GetCurrentErrorCode();
  return error_.empty() ? file::OK : file::ERROR_INVALID_ARGUMENT;
}

::string CurrentFile::CreateFileName() {
  std::lock_guard<std::mutex> lock(mu_);
  return target_ != nullptr ? target_->CreateFileName() : ::string();
}

bool CurrentFile::Unsupported() {
  return SetError(file::ERROR_UNIMPLEMENTED, "operation on", "a log's current file only appends");
}

bool CurrentFile::DoOpen() { return Unsupported(); }
bool CurrentFile::DoClose() { return true; }
int64 CurrentFile::DoRead(void*, uint64) { return Unsupported() ? 0 : -1; }
int64 CurrentFile::DoWrite(const void*, uint64) { return Unsupported() ? 0 : -1; }
int64 CurrentFile::DoAppend(const void*, uint64, int64*) { return Unsupported() ? 0 : -1; }
int64 CurrentFile::DoPRead(int64, void*, int64) { return Unsupported() ? 0 : -1; }
int64 CurrentFile::DoPWrite(int64, const void*, int64) { return Unsupported() ? 0 : -1; }
bool CurrentFile::DoTruncate(int64) { return Unsupported(); }
int64 CurrentFile::DoSize() { return Unsupported() ? 0 : -1; }
int64 CurrentFile::DoTell() { return Unsupported() ? 0 : -1; }
bool CurrentFile::DoSeek(int64) { return Unsupported(); }
bool CurrentFile::DoSync(bool) { return Unsupported(); }
bool CurrentFile::DoStat(FileStat*) { return Unsupported(); }
MemBlock* CurrentFile::DoGetBlock(int64, int64, bool) {
  Unsupported();
  return nullptr;
}

}  // namespace logs
