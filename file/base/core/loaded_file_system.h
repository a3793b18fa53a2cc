// File systems built as shared objects of their own, loaded the first time
// a name needs one.
//
// A file system whose client library is costly to start (the remote one's
// reads its configuration and looks up the host name when it is loaded)
// would otherwise charge every program that links the library, whether it
// ever uses that file system or not. The registry holds a DeferredFileSystem
// for it instead; the first lookup of one of its names loads the object
// (once, thread-safe) and from then on the registry hands out the factory the
// object made.
//
// The object is found beside the library's own shared object (through
// dladdr, whatever the loader's search path), unless the environment
// variable the entry names gives another path. It is never unloaded. When it
// cannot be loaded, the lookup returns the DeferredFileSystem itself, whose
// every operation then fails with ERROR_UNIMPLEMENTED and a message naming
// the object and the loader's reason; other file systems are unaffected.
#ifndef FILE_BASE_CORE_LOADED_FILE_SYSTEM_H_
#define FILE_BASE_CORE_LOADED_FILE_SYSTEM_H_

#include <memory>
#include <mutex>

#include "file/base/core/file_factory.h"

namespace file {

class DeferredFileSystem final : public FileFactory {
 public:
  // fs names the object (library), its entry point (an extern "C" function
  // taking nothing and returning a new FileFactory*) and the environment
  // variable that may override the object's path.
  explicit DeferredFileSystem(const BuiltinFileSystem& fs);

  // Loads the object the first time; the factory it made, or `self` (this
  // object) when loading failed.
  shared_ptr<FileFactory> Load(const shared_ptr<FileFactory>& self);

  // Every operation fails: the file system is not available.
  File* NewFile(const char* name, const char* mode, const FileOpenOptions& options) override;
  bool DoStat(const char* name, FileStat* stat, Operation* op) override;
  bool ListDirectory(const ::string& dir, vector<DirEntry>* entries, Operation* op) override;
  int DoListDirectory(const ::string& dir, vector<DirEntry>* entries) override;
  bool DoDelete(const char* name, Operation* op) override;
  bool DoRename(const char* from, const char* to, bool overwrite, Operation* op) override;
  bool DoCreateDir(const char* name, unsigned int mode, Operation* op) override;
  bool DoDeleteDir(const char* name, Operation* op) override;
  bool DoSetMode(const char* name, unsigned int mode, Operation* op) override;
  bool DoSetOwner(const char* name, const char* owner, Operation* op) override;
  bool DoSetGroup(const char* name, const char* group, Operation* op) override;
  bool DoSetMtime(const char* name, long mtime, Operation* op) override;  // NOLINT
  bool DoStatfs(const char* name, int64* total, int64* free_bytes, int64* available,
                Operation* op) override;
  bool DoReadable(const char* name, Operation* op) override;
  bool DoAcquireLock(const ::string& name, const LockInfo& lock, std::unique_ptr<HeldLock>* held,
                     Operation* op) override;

 private:
  bool Unavailable(Operation* op, const char* what, const char* name);

  const BuiltinFileSystem fs_;
  std::once_flag once_;
  shared_ptr<FileFactory> loaded_;
  ::string failure_;
};

// The path the object `library` is loaded from: $`env` when set and not
// empty, else `library` in the folder of the library's own shared object
// (just `library`, left to the loader's search, if that folder is unknown).
::string LoadablePath(const char* library, const char* env);

}  // namespace file

#endif  // FILE_BASE_CORE_LOADED_FILE_SYSTEM_H_
