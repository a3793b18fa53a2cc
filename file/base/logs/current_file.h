// The file a LogWriter's record writer writes to: it stands for whichever
// file of the log is current, so the record writer (its buffer, open
// compressed batch and settings) lives as long as the LogWriter while the
// log moves from file to file. Bytes the record writer still holds when the
// log moves on are written to the new file.
#ifndef FILE_BASE_LOGS_CURRENT_FILE_H_
#define FILE_BASE_LOGS_CURRENT_FILE_H_

#include <mutex>

#include "file/base/file.h"

namespace logs {

// Only the operations a record writer in appending mode uses are passed on
// (Append, Size, Flush, Sync, DataSync, errors, name); the rest fail with
// ERROR_UNIMPLEMENTED. Thread-safe: an append in flight finishes before
// the target changes.
class CurrentFile : public File {
 public:
  CurrentFile();
  ~CurrentFile() override;

  // Makes `target` (open for appending, `size` bytes long) the current file
  // and returns the previous one (the caller closes it), or null.
  File* SetTarget(File* target, int64 size);
  // The current file and its size as last seen (the file system's size
  // after this writer's latest append).
  File* target();
  int64 seen_size();

  int64 Append(const void* buffer, uint64 size) override;
  int64 Size() override;
  bool Flush() override;
  bool Sync() override;
  bool DataSync() override;
  bool Close() override;
  ::string GetCurrentErrorMessage() override;
  int GetCurrentErrorCode() override;
  ::string CreateFileName() override;
  bool SupportsConcurrentAppenders() override { return true; }

 protected:
  bool DoOpen() override;
  bool DoClose() override;
  int64 DoRead(void* buffer, uint64 size) override;
  int64 DoWrite(const void* buffer, uint64 size) override;
  int64 DoAppend(const void* buffer, uint64 size, int64* offset) override;
  int64 DoPRead(int64 offset, void* buffer, int64 size) override;
  int64 DoPWrite(int64 offset, const void* buffer, int64 size) override;
  bool DoTruncate(int64 length) override;
  int64 DoSize() override;
  int64 DoTell() override;
  bool DoSeek(int64 position) override;
  bool DoSync(bool data_only) override;
  bool DoStat(FileStat* stat) override;
  MemBlock* DoGetBlock(int64 offset, int64 length, bool must_map) override;

 private:
  bool Unsupported();

  std::mutex mu_;
  File* target_ = nullptr;
  int64 size_ = 0;
  ::string error_;  // when there is no target
};

}  // namespace logs

#endif  // FILE_BASE_LOGS_CURRENT_FILE_H_
