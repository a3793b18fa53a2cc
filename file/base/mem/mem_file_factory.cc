// The by-name primitives of the memory file system: each is one call into
// the tree, its errno reported as the local file system reports it.
#include <unistd.h>

#include <cerrno>
#include <new>
#include <optional>
#include <shared_mutex>

#include "file/base/core/file_factory_internal.h"
#include "file/base/mem/mem_file.h"
#include "file/base/mem/mem_identity.h"

namespace file {
namespace mem {
namespace {

bool Check(int error, Operation* op, const char* what, const ::string& name) {
  return error == 0 || FileFactory::FailWithErrno(op, what, name, error);
}

// As the local file system words a user or group that names nobody.
bool FailUnknown(Operation* op, const char* what, const char* name,
                 const char* kind, const char* unknown) {
  const ::string reason = ::string("unknown ") + kind + " " + unknown;
  return FileFactory::FailWith(op, ERROR_NOT_FOUND, what, name,
                               reason.c_str());
}

// The sysconf page count `which` (_SC_PHYS_PAGES, ...) in bytes.
int64 PagesToBytes(int which) {
  const long pages = sysconf(which);             // NOLINT
  const long page_size = sysconf(_SC_PAGESIZE);  // NOLINT
  return pages > 0 && page_size > 0 ? int64{pages} * page_size : 0;
}

}  // namespace

File* MemFileFactory::NewFile(const char* name, const char* mode,
                              const FileOpenOptions& options) {
  return new MemFile(this, name, mode, options);
}

bool MemFileFactory::DoStat(const char* name, FileStat* stat, Operation* op) {
  NodePtr node;
  if (!Check(Namespace::Get().Lookup(name, &node), op, "Stat", name)) {
    return false;
  }
  std::shared_lock<std::shared_mutex> lock(node->mu);
  node->FillStat(stat);
  return true;
}

int MemFileFactory::DoListDirectory(const ::string& dir,
                                    vector<DirEntry>* entries) {
  return Namespace::Get().List(dir, entries);
}

bool MemFileFactory::DoDelete(const char* name, Operation* op) {
  return Check(Namespace::Get().Unlink(name), op, "Delete", name);
}

bool MemFileFactory::DoRename(const char* from, const char* to,
                              bool overwrite, Operation* op) {
  return Check(Namespace::Get().Rename(from, to, overwrite), op, "Rename",
               from);
}

bool MemFileFactory::DoCreateDir(const char* name, unsigned int mode,
                                 Operation* op) {
  return Check(Namespace::Get().MakeDirectory(name, mode), op, "CreateDir",
               name);
}

bool MemFileFactory::DoDeleteDir(const char* name, Operation* op) {
  return Check(Namespace::Get().RemoveDirectory(name), op, "DeleteDir", name);
}

bool MemFileFactory::DoSetMode(const char* name, unsigned int mode,
                               Operation* op) {
  return Check(Namespace::Get().SetMode(name, mode), op, "SetMode", name);
}

bool MemFileFactory::DoSetOwner(const char* name, const char* owner,
                                Operation* op) {
  const std::optional<::string> known = KnownUserName(owner);
  if (!known) return FailUnknown(op, "SetOwner", name, "user", owner);
  return Check(Namespace::Get().SetOwner(name, *known), op, "SetOwner", name);
}

bool MemFileFactory::DoSetGroup(const char* name, const char* group,
                                Operation* op) {
  const std::optional<::string> known = KnownGroupName(group);
  if (!known) return FailUnknown(op, "SetGroup", name, "group", group);
  return Check(Namespace::Get().SetGroup(name, *known), op, "SetGroup", name);
}

bool MemFileFactory::DoSetMtime(const char* name, long mtime,  // NOLINT
                                Operation* op) {
  return Check(Namespace::Get().SetMtime(name, mtime), op, "SetMtime", name);
}

// Memory files live in the machine's memory: its size is the total, and
// what the system has left is both free and available.
bool MemFileFactory::DoStatfs(const char* name, int64* total,
                              int64* free_bytes, int64* available,
                              Operation* op) {
  NodePtr node;
  if (!Check(Namespace::Get().Lookup(name, &node), op, "Statfs", name)) {
    return false;
  }
  const int64 physical = PagesToBytes(_SC_PHYS_PAGES);
  const int64 unused = PagesToBytes(_SC_AVPHYS_PAGES);
  if (total != nullptr) *total = physical;
  if (free_bytes != nullptr) *free_bytes = unused;
  if (available != nullptr) *available = unused;
  return true;
}

bool MemFileFactory::DoReadable(const char* name, Operation* op) {
  return Check(Namespace::Get().CheckReadable(name), op, "Readable", name);
}

bool MemFileFactory::DoReadWholeFile(const ::string& name, ::string* contents,
                                     Operation* op) {
  OpenRequest request;
  request.read = true;
  NodePtr node;
  if (!Check(Namespace::Get().OpenFile(name, request, &node), op,
             "ReadFileToString", name)) {
    return false;
  }
  std::shared_lock<std::shared_mutex> lock(node->mu);
  const int64 size = node->bytes.size();
  // Holes read as zeros, so a sparse file costs its full size here.
  if (!file_internal::CheckWholeFileFits(size, name, op)) return false;
  try {
    contents->resize(static_cast<size_t>(size));
  } catch (const std::bad_alloc&) {
    return FailWithErrno(op, "ReadFileToString", name, ENOMEM);
  }
  node->bytes.Read(0, contents->data(), size);
  return true;
}

bool MemFileFactory::DoAcquireLock(const ::string& name, const LockInfo& lock,
                                   std::unique_ptr<HeldLock>* held,
                                   Operation* op) {
  const int error = Namespace::Get().Lock(name, lock, held);
  if (error == EWOULDBLOCK) {
    return FailWith(op, ERROR_TEMPORARY, "Lock", name,
                    "locked by another holder");
  }
  return Check(error, op, "Lock", name);
}

bool MemFileFactory::DoCloneFile(const char* from, const char* to,
                                 Operation* op) {
  return Check(Namespace::Get().CloneFile(from, to), op, "Clone", from);
}

}  // namespace mem
}  // namespace file

FileFactory* NewMemFileFactory() { return new file::mem::MemFileFactory; }
