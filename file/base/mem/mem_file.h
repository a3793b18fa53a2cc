// The memory file system: every name under "/mem/" (registered by the
// registry as the factory named by FileFactory::mem_file, prefix "/mem/").
//
// It behaves as a local disk would, within one process:
// - "/mem" is the root directory and always exists; a file or directory can
//   only be made inside an existing directory. Names are walked component by
//   component ("." and ".." included, trailing "/" means "a directory").
// - Files and directories carry a mode, an owner and a group (names of the
//   creating process's effective user and group), a modification time and a
//   unique node number (FileStat::identifier). Permission bits are enforced
//   as for an unprivileged process (owner, group, others; a privileged
//   process passes), on opens, Readable, and on the directories whose
//   entries change; search permission along a name is not checked. The
//   process umask applies to new files and directories.
// - An open handle holds its file's bytes: deleting or renaming the name
//   does not disturb it (like an unlinked file on disk).
// - Reads and writes copy straight between the caller's buffer and the
//   file's pages; unwritten gaps read as zeros and cost no memory.
// - Snapshots and memory blocks are point-in-time views that share pages
//   with the file until it is written again.
// - Locks live in an in-process table: shared and exclusive holders conflict
//   as flock(2) holders do.
// - Errors carry the codes and messages the local file system gives for the
//   same errno ("stat /mem/x: No such file or directory").
// - Not available (fail with ERROR_UNIMPLEMENTED): direct I/O. A caller that
//   asks for it expects its alignment and cache-bypass guarantees, which
//   memory pages cannot honour meaningfully, so refusing is the honest
//   answer. Synchronous writes are honoured trivially (there is nothing
//   beneath memory to reach), and Sync/Flush succeed.
//
// Thread-safe. Every handle and factory shares one process-wide tree.
#ifndef FILE_BASE_MEM_FILE_H_
#define FILE_BASE_MEM_FILE_H_

#include <memory>
#include <mutex>

#include "file/base/file.h"
#include "file/base/core/file_factory.h"
#include "file/base/core/kept_position.h"
#include "file/base/mem/mem_namespace.h"

namespace file {
namespace mem {

// An open (or openable) memory file.
class MemFile : public File {
 public:
  MemFile(FileFactory* factory, const char* name, const char* mode,
          const FileOpenOptions& options);
  ~MemFile() override;

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
  // Copies up to `size` bytes at `offset` out of the file; the count.
  int64 ReadAt(int64 offset, void* buffer, int64 size);
  // Stores `size` bytes at `offset`, or at the end of file when `at_end`;
  // *landed receives the offset used. The count, or -1 (error set).
  int64 WriteAt(int64 offset, bool at_end, const void* buffer, int64 size,
                int64* landed, const char* what);

  NodePtr node_;
  file::KeptPosition position_;
};

// The factory of memory files; all instances share the same tree.
class MemFileFactory : public FileFactory {
 public:
  File* NewFile(const char* name, const char* mode,
                const FileOpenOptions& options) override;
  bool DoStat(const char* name, FileStat* stat, Operation* op) override;
  int DoListDirectory(const ::string& dir,
                      vector<DirEntry>* entries) override;
  bool DoDelete(const char* name, Operation* op) override;
  bool DoRename(const char* from, const char* to, bool overwrite,
                Operation* op) override;
  bool DoCreateDir(const char* name, unsigned int mode,
                   Operation* op) override;
  bool DoDeleteDir(const char* name, Operation* op) override;
  bool DoSetMode(const char* name, unsigned int mode, Operation* op) override;
  bool DoSetOwner(const char* name, const char* owner,
                  Operation* op) override;
  bool DoSetGroup(const char* name, const char* group,
                  Operation* op) override;
  bool DoSetMtime(const char* name, long mtime,  // NOLINT
                  Operation* op) override;
  bool DoStatfs(const char* name, int64* total, int64* free_bytes,
                int64* available, Operation* op) override;
  bool DoReadable(const char* name, Operation* op) override;
  // Straight from the pages into *contents, without a handle: attribute
  // records are read this way on every stat.
  bool DoReadWholeFile(const ::string& name, ::string* contents,
                       Operation* op) override;
  bool DoAcquireLock(const ::string& name, const LockInfo& lock,
                     std::unique_ptr<HeldLock>* held,
                     Operation* op) override;
  bool DoCloneFile(const char* from, const char* to, Operation* op) override;
};

}  // namespace mem
}  // namespace file

// The in-memory file system (names under /mem/), for the registry.
FileFactory* NewMemFileFactory();

#endif  // FILE_BASE_MEM_FILE_H_
