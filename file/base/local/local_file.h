// The local file system: POSIX calls on real paths.
#ifndef FILE_BASE_LOCAL_FILE_H_
#define FILE_BASE_LOCAL_FILE_H_

#include <sys/stat.h>

#include "file/base/core/accounts.h"
#include "file/base/file.h"

// An open local file: a file descriptor, used directly (no user-space
// buffering, so Flush has nothing to do).
class LocalFile : public File {
 public:
  LocalFile(FileFactory* factory, const char* name, const char* mode,
            const FileOpenOptions& options);
  ~LocalFile() override;

  bool IsLocalFile() override { return true; }

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
  bool DoSetAccessPattern(int access_pattern, int cache_policy) override;
  bool DoIsFifo() override;

 private:
  // open(2) flags for the handle's mode and options.
  int OpenFlags() const;
  bool ApplyGroup();
  int64 AppendAtEnd(const void* buffer, uint64 size, int64* offset);

  int fd_ = -1;
  bool is_fifo_ = false;
  bool drop_cache_on_close_ = false;
};

class LocalFileFactory : public FileFactory {
 public:
  File* NewFile(const char* name, const char* mode,
                const FileOpenOptions& options) override;
  bool DoStat(const char* name, FileStat* stat, file::Operation* op) override;
  bool DoIsSameFile(const char* a, const char* b) override;
  int DoListDirectory(const ::string& dir,
                      vector<file::DirEntry>* entries) override;
  bool DoDelete(const char* name, file::Operation* op) override;
  bool DoRename(const char* from, const char* to, bool overwrite,
                file::Operation* op) override;
  bool DoCreateDir(const char* name, unsigned int mode,
                   file::Operation* op) override;
  bool DoDeleteDir(const char* name, file::Operation* op) override;
  bool DoSetMode(const char* name, unsigned int mode,
                 file::Operation* op) override;
  bool DoSetOwner(const char* name, const char* owner,
                  file::Operation* op) override;
  bool DoSetGroup(const char* name, const char* group,
                  file::Operation* op) override;
  bool DoSetMtime(const char* name, long mtime,  // NOLINT
                  file::Operation* op) override;
  bool DoStatfs(const char* name, int64* total, int64* free_bytes,
                int64* available, file::Operation* op) override;
  bool DoReadable(const char* name, file::Operation* op) override;
  // open/read/close directly, without a handle.
  bool DoReadWholeFile(const ::string& name, ::string* contents,
                       file::Operation* op) override;
  bool DoAcquireLock(const ::string& name, const LockInfo& lock,
                     std::unique_ptr<file::HeldLock>* held,
                     file::Operation* op) override;
  // A reflink (FICLONE) where the file system supports it.
  bool DoCloneFile(const char* from, const char* to,
                   file::Operation* op) override;
};


// The local file system, for the registry.
FileFactory* NewLocalFileFactory();

#endif  // FILE_BASE_LOCAL_FILE_H_
