// The tree of the memory file system: every name under "/mem/", process
// wide. "/mem" itself is the root directory and always exists.
//
// Locking: one reader/writer lock guards the shape of the tree (every
// directory's entries); each node's own lock guards its bytes and metadata.
// The tree lock is always taken before a node lock, never the other way
// round. Open handles hold their node directly, so I/O on different files
// never meets on a shared lock, and a node outlives its name while a handle
// holds it (as an unlinked file does on disk).
//
// Every operation returns 0 or an errno value, so that callers report the
// same codes and texts as the local file system; the one exception is
// kUnknownGroup.
#ifndef FILE_BASE_MEM_NAMESPACE_H_
#define FILE_BASE_MEM_NAMESPACE_H_

#include <functional>
#include <map>
#include <memory>
#include <shared_mutex>

#include "file/base/util/base_types.h"
#include "file/base/core/filestat.h"
#include "file/base/names/glob.h"
#include "file/base/util/lock_info.h"
#include "file/base/mem/mem_bytes.h"

namespace file {
namespace mem {

struct Node {
  Node(bool is_dir, unsigned int mode, const ::string& owner,
       const ::string& group);

  const int64 id;  // unique for the life of the process
  const bool is_dir;

  // Guards the fields below it.
  mutable std::shared_mutex mu;
  MemBytes bytes;     // files only
  unsigned int mode;  // permission bits (07777) only; the type is is_dir
  ::string owner;
  ::string group;
  long mtime;  // NOLINT: seconds, as FileStat keeps it

  // Directories: entry name -> node. Guarded by the tree lock, not by mu.
  // std::less<> lets a walk look names up without copying them.
  std::map<::string, std::shared_ptr<Node>, std::less<>> children;

  // Requires mu (shared is enough).
  void FillStat(FileStat* stat) const;
  // Requires mu held exclusively.
  void Touch();
};
using NodePtr = std::shared_ptr<Node>;

// Returned by OpenFile when it would create a file with a group that names
// nobody (not an errno value: the local file system words it itself).
constexpr int kUnknownGroup = -1;

// What an open asks of the tree.
struct OpenRequest {
  bool read = false;
  bool write = false;
  bool create = false;
  bool truncate = false;
  unsigned int permissions = 0666;  // of a new file, before the umask
  const char* group = nullptr;      // of a new file (a name or an id);
                                    // null: the process's group
};

class Namespace {
 public:
  // The process-wide tree (never destroyed, so handles may outlive main).
  static Namespace& Get();

  // True for "/mem" and every name starting with "/mem/".
  static bool Claims(const ::string& name);

  int Lookup(const ::string& name, NodePtr* node) const;
  // Opens (and as asked creates or truncates) a file, checking permissions.
  int OpenFile(const ::string& name, const OpenRequest& request,
               NodePtr* node);
  // Removes a file's name (not a directory's).
  int Unlink(const ::string& name);
  int MakeDirectory(const ::string& name, unsigned int mode);
  int RemoveDirectory(const ::string& name);
  // Renames a file or a directory; without `overwrite` an existing `to`
  // fails with EEXIST, even when it is `from` itself under another spelling.
  int Rename(const ::string& from, const ::string& to, bool overwrite);
  int List(const ::string& dir, vector<DirEntry>* entries) const;
  // Makes `to`, which must not exist, a file holding a point-in-time copy
  // of `from`'s bytes (the pages are shared until either side writes) with
  // the source's permission bits.
  int CloneFile(const ::string& from, const ::string& to);
  // Metadata changes, with the permission rules of chmod, chown, chgrp and
  // utime for an unprivileged process. Owner and group are names known to
  // the system (see KnownUserName).
  int SetMode(const ::string& name, unsigned int mode);
  int SetOwner(const ::string& name, const ::string& owner);
  int SetGroup(const ::string& name, const ::string& group);
  int SetMtime(const ::string& name, long mtime);  // NOLINT
  // Whether the process may read the node.
  int CheckReadable(const ::string& name) const;
  // Takes an advisory lock on the node `name` names, held until *held is
  // destroyed. A try-lock that meets a conflicting holder fails with
  // EWOULDBLOCK.
  int Lock(const ::string& name, const LockInfo& request,
           std::unique_ptr<HeldLock>* held);

 private:
  struct Resolved;

  Namespace();
  // Walks `name`; requires the tree lock.
  int Resolve(const ::string& name, Resolved* out) const;
  // Resolve, refusing names whose last component cannot be added or
  // removed (the root, "." and "..").
  int ResolveEntry(const ::string& name, Resolved* out) const;
  // Whether the process may add or remove entries of `dir`.
  static int CheckDirectoryWritable(const Node& dir);
  // Runs `change` on the node under its lock after the owner check.
  template <class Change>
  int ChangeMetadata(const ::string& name, Change change);

  mutable std::shared_mutex tree_mu_;
  const NodePtr root_;
};

}  // namespace mem
}  // namespace file

#endif  // FILE_BASE_MEM_NAMESPACE_H_
