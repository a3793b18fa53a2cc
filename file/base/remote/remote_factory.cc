// The remote file system's namespace primitives.
#include <sys/stat.h>

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>

#include "file/base/core/file_factory_internal.h"
#include "file/base/core/operation.h"
#include "file/base/names/glob.h"
#include "file/base/remote/remote_client.h"
#include "file/base/remote/remote_file.h"
#include "file/base/remote/remote_name.h"

namespace file {
namespace remote {
namespace {

using Handler = XrdCl::ResponseHandler;

// Splits a name, recording ERROR_INVALID_ARGUMENT in op when it is bad.
bool Parse(const char* name, RemoteName* out, Operation* op, const char* what) {
  ::string reason;
  if (ParseRemoteName(name != nullptr ? name : "", out, &reason)) return true;
  return FileFactory::FailWith(op, ERROR_INVALID_ARGUMENT, what, name != nullptr ? name : "",
                               reason.c_str());
}

}  // namespace

// umask(2) would change it, for a moment, for every thread.
unsigned int ProcessUmask() {
  unsigned int mask = 022;
  if (FILE* status = std::fopen("/proc/self/status", "r")) {
    char line[256];
    while (std::fgets(line, sizeof(line), status) != nullptr) {
      if (std::sscanf(line, "Umask: %o", &mask) == 1) break;
    }
    std::fclose(status);
  }
  return mask & 0777;
}

namespace {

XrdCl::Access::Mode AccessMode(unsigned int mode) {
  return static_cast<XrdCl::Access::Mode>(mode & 0777);
}

std::shared_ptr<Reply> StatPath(const RemoteName& n, WallTime deadline) {
  XrdCl::FileSystem* fs = FileSystemFor(n.server);
  return Await([&](Handler* h, uint16_t t) { return fs->Stat(n.path, h, t); }, deadline);
}

using Request =
    std::function<XrdCl::XRootDStatus(XrdCl::FileSystem*, const RemoteName&, Handler*, uint16_t)>;

// Sends one request about `name` to its server and waits within op's
// deadline; null (failure recorded as "<what> <name>: ...") for a bad name
// or a refusal.
std::shared_ptr<Reply> OnServer(const char* name, const char* what, Operation* op,
                                const Request& request) {
  RemoteName n;
  if (!Parse(name, &n, op, what)) return nullptr;
  const WallTime deadline = DeadlineFor(op);
  XrdCl::FileSystem* fs = FileSystemFor(n.server);
  auto reply = Await([&](Handler* h, uint16_t t) { return request(fs, n, h, t); }, deadline);
  if (reply->status.IsOK()) return reply;
  FailWithReply(op, what, name, *reply, deadline);
  return nullptr;
}

XrdCl::XRootDStatus StatRequest(XrdCl::FileSystem* fs, const RemoteName& n, Handler* h, uint16_t t) {
  return fs->Stat(n.path, h, t);
}

// The server's answer to a query (a Buffer) as text.
::string QueryText(const Reply& reply) {
  auto* answer = reply.Get<XrdCl::Buffer>();
  ::string text = answer != nullptr ? answer->ToString() : "";
  while (!text.empty() && (text.back() == '\0' || text.back() == '\n')) text.pop_back();
  return text;
}

}  // namespace

void FillStat(const XrdCl::StatInfo& info, FileStat* stat) {
  stat->Clear();
  stat->length = static_cast<int64>(info.GetSize());
  stat->mtime = static_cast<long>(info.GetModTime());  // NOLINT
  const bool dir = info.TestFlags(XrdCl::StatInfo::IsDir);
  unsigned int permissions;
  if (info.ExtendedFormat()) {
    // One of the two mode texts is the octal one ("0640"), the other the
    // symbolic one; which is which has changed between client versions.
    const ::string a = info.GetModeAsString(), b = info.GetModeAsOctString();
    const ::string& octal = a.find_first_not_of("01234567") == ::string::npos ? a : b;
    permissions = static_cast<unsigned int>(std::strtoul(octal.c_str(), nullptr, 8)) & 07777;
    stat->owner = info.GetOwner();
    stat->group = info.GetGroup();
  } else {
    // An old server says only what this client may do.
    permissions = (info.TestFlags(XrdCl::StatInfo::IsReadable) ? 0444 : 0) |
                  (info.TestFlags(XrdCl::StatInfo::IsWritable) ? 0200 : 0) |
                  (info.TestFlags(XrdCl::StatInfo::XBitSet) ? 0111 : 0);
  }
  if (stat->owner.empty()) stat->owner = "?";
  if (stat->group.empty()) stat->group = "?";
  stat->mode = (dir ? S_IFDIR : S_IFREG) | permissions;
  stat->identifier = std::strtoll(info.GetId().c_str(), nullptr, 10);
}

File* RemoteFileFactory::NewFile(const char* name, const char* mode, const FileOpenOptions& options) {
  return new RemoteFile(this, name, mode, options);
}

bool RemoteFileFactory::DoStat(const char* name, FileStat* stat, Operation* op) {
  const auto reply = OnServer(name, "Stat", op, StatRequest);
  if (reply == nullptr) return false;
  auto* info = reply->Get<XrdCl::StatInfo>();
  if (info == nullptr) return FailWith(op, ERROR_UNKNOWN, "Stat", name, "empty answer from the server");
  FillStat(*info, stat);
  return true;
}

int RemoteFileFactory::DoListDirectory(const ::string& dir, vector<DirEntry>* entries) {
  RemoteName n;
  ::string reason;
  if (!ParseRemoteName(dir, &n, &reason)) return EINVAL;
  XrdCl::FileSystem* fs = FileSystemFor(n.server);
  const auto reply = Await(
      [&](Handler* h, uint16_t t) {
        return fs->DirList(n.path, XrdCl::DirListFlags::Stat, h, t);
      },
      DeadlineFor(nullptr));
  if (!reply->status.IsOK()) return reply->expired ? ETIMEDOUT : ErrnoFor(reply->status);
  auto* list = reply->Get<XrdCl::DirectoryList>();
  if (list == nullptr) return 0;
  for (auto it = list->Begin(); it != list->End(); ++it) {
    const ::string& name = (*it)->GetName();
    if (name.empty() || name == "." || name == "..") continue;
    const XrdCl::StatInfo* info = (*it)->GetStatInfo();
    entries->push_back({name, info != nullptr && info->TestFlags(XrdCl::StatInfo::IsDir)});
  }
  return 0;
}

bool RemoteFileFactory::DoMatch(const char* pattern, vector<::string>* matches,
                                File::MatchType type, Operation* op) {
  RemoteName n;
  if (!Parse(pattern, &n, op, "Match")) return false;
  const HandleDeadline deadline(op);
  const ListDirFn list = [this, &n](const ::string& dir, vector<DirEntry>* entries) {
    return DoListDirectory(n.server + "/" + dir, entries);
  };
  int error = 0;
  vector<::string> paths;
  if (!GlobExpand(n.path, type, list, &paths, &error)) {
    return FailWithErrno(op, "Match", pattern, error != 0 ? error : EIO);
  }
  matches->clear();
  for (const ::string& path : paths) matches->push_back(n.spelled_prefix + path);
  FilterMatches(pattern, matches, type, /*include_attribute_files=*/0);
  return true;
}

bool RemoteFileFactory::RecursivelyCreateDirWithOptions(const char* name,
                                                        const RecursiveCreateOptions& options) {
  file_internal::NamedOp op(nullptr, "RecursivelyCreateDir", name);
  if (!op.Begin(name)) return false;
  RemoteName n;
  if (!Parse(name, &n, op.op(), "RecursivelyCreateDir")) return false;
  // Walk up to the nearest existing ancestor, then create downwards through
  // the shared layer (which records attributes and groups).
  vector<::string> missing;
  ::string path = name;
  for (;;) {
    RemoteName at;
    if (!Parse(path.c_str(), &at, op.op(), "RecursivelyCreateDir")) return false;
    FileStat stat;
    Operation probe;
    if (DoStat(path.c_str(), &stat, &probe)) {
      if (!stat.IsDirectory()) {
        return FailWith(op.op(), ERROR_WRONG_TYPE, "RecursivelyCreateDir", path,
                        "exists and is not a directory");
      }
      break;
    }
    if (probe.error() != ERROR_NOT_FOUND) return file_internal::CopyFailure(probe, op.op());
    missing.push_back(path);
    if (at.path == "/") break;
    path = RemoteParent(at);
  }
  const char* group = options.group.empty() ? nullptr : options.group.c_str();
  for (auto it = missing.rbegin(); it != missing.rend(); ++it) {
    Operation each;
    if (!CreateDirFullySpecifiedWithOp(it->c_str(), options.attributes, options.mode, group, &each) &&
        each.error() != ERROR_ALREADY_EXISTS) {  // made meanwhile by someone else: fine
      return file_internal::CopyFailure(each, op.op());
    }
  }
  return true;
}

bool RemoteFileFactory::DoDelete(const char* name, Operation* op) {
  // The server would remove an empty directory too.
  const auto probe = OnServer(name, "Delete", op, StatRequest);
  if (probe == nullptr) return false;
  auto* info = probe->Get<XrdCl::StatInfo>();
  if (info != nullptr && info->TestFlags(XrdCl::StatInfo::IsDir)) {
    return FailWithErrno(op, "Delete", name, EISDIR);
  }
  return OnServer(name, "Delete", op, [](XrdCl::FileSystem* fs, const RemoteName& n, Handler* h,
                                         uint16_t t) { return fs->Rm(n.path, h, t); }) != nullptr;
}

bool RemoteFileFactory::DoRename(const char* from, const char* to, bool overwrite, Operation* op) {
  RemoteName a, b;
  if (!Parse(from, &a, op, "Rename") || !Parse(to, &b, op, "Rename")) return false;
  if (a.server != b.server) {
    return FailWith(op, ERROR_UNIMPLEMENTED, "Rename", from,
                    ("cannot rename across servers to " + ::string(to)).c_str());
  }
  const WallTime deadline = DeadlineFor(op);
  if (!overwrite) {
    // The server always replaces the target: check first.
    const auto probe = StatPath(b, deadline);
    if (probe->status.IsOK()) return FailWithErrno(op, "Rename", to, EEXIST);
    if (CodeFor(*probe, deadline) != ERROR_NOT_FOUND) {
      return FailWithReply(op, "Rename", to, *probe, deadline);
    }
  }
  XrdCl::FileSystem* fs = FileSystemFor(a.server);
  const auto reply =
      Await([&](Handler* h, uint16_t t) { return fs->Mv(a.path, b.path, h, t); }, deadline);
  if (!reply->status.IsOK()) return FailWithReply(op, "Rename", from, *reply, deadline);
  return true;
}

bool RemoteFileFactory::DoCreateDir(const char* name, unsigned int mode, Operation* op) {
  RemoteName n;
  if (!Parse(name, &n, op, "CreateDir")) return false;
  const WallTime deadline = DeadlineFor(op);
  // The server makes nothing of a directory that is already there.
  const auto probe = StatPath(n, deadline);
  if (probe->status.IsOK()) return FailWithErrno(op, "CreateDir", name, EEXIST);
  if (CodeFor(*probe, deadline) != ERROR_NOT_FOUND) {
    return FailWithReply(op, "CreateDir", name, *probe, deadline);
  }
  const XrdCl::Access::Mode access = AccessMode(mode & ~ProcessUmask());
  return OnServer(name, "CreateDir", op,
                  [access](XrdCl::FileSystem* fs, const RemoteName& n, Handler* h, uint16_t t) {
                    return fs->MkDir(n.path, XrdCl::MkDirFlags::None, access, h, t);
                  }) != nullptr;
}

bool RemoteFileFactory::DoDeleteDir(const char* name, Operation* op) {
  return OnServer(name, "DeleteDir", op, [](XrdCl::FileSystem* fs, const RemoteName& n, Handler* h,
                                            uint16_t t) { return fs->RmDir(n.path, h, t); }) != nullptr;
}

bool RemoteFileFactory::DoSetMode(const char* name, unsigned int mode, Operation* op) {
  if ((mode & 07000) != 0) {
    return FailWith(op, ERROR_UNIMPLEMENTED, "SetMode", name,
                    "the server sets only the permission bits 0777");
  }
  return OnServer(name, "SetMode", op,
                  [mode](XrdCl::FileSystem* fs, const RemoteName& n, Handler* h, uint16_t t) {
                    return fs->ChMod(n.path, AccessMode(mode), h, t);
                  }) != nullptr;
}

bool RemoteFileFactory::DoSetOwner(const char* name, const char* owner, Operation* op) {
  return FailWith(op, ERROR_UNIMPLEMENTED, "SetOwner", name, "remote servers do not change owners");
}

bool RemoteFileFactory::DoSetGroup(const char* name, const char* group, Operation* op) {
  return FailWith(op, ERROR_UNIMPLEMENTED, "SetGroup", name, "remote servers do not change groups");
}

bool RemoteFileFactory::DoSetMtime(const char* name, long mtime, Operation* op) {  // NOLINT
  return FailWith(op, ERROR_UNIMPLEMENTED, "SetMtime", name,
                  "remote servers do not set modification times");
}

bool RemoteFileFactory::DoStatfs(const char* name, int64* total, int64* free_bytes,
                                 int64* available, Operation* op) {
  const auto reply = OnServer(name, "Statfs", op,
                              [](XrdCl::FileSystem* fs, const RemoteName& n, Handler* h, uint16_t t) {
                                XrdCl::Buffer arg;
                                arg.FromString(n.path);
                                return fs->Query(XrdCl::QueryCode::Space, arg, h, t);
                              });
  if (reply == nullptr) return false;
  // "oss.cgroup=public&oss.space=N&oss.free=N&oss.maxf=N&oss.used=N&..."
  const ::string text = QueryText(*reply);
  auto value = [&text](const char* key, int64* out) {
    const ::string k = ::string(key) + "=";
    const size_t at = text.find(k);
    if (at == ::string::npos) return false;
    *out = std::strtoll(text.c_str() + at + k.size(), nullptr, 10);
    return true;
  };
  int64 space = 0, free_space = 0;
  if (!value("oss.space", &space) || !value("oss.free", &free_space)) {
    return FailWith(op, ERROR_UNIMPLEMENTED, "Statfs", name,
                    ("the server reports no space figures: " + text).c_str());
  }
  if (total != nullptr) *total = space;
  if (free_bytes != nullptr) *free_bytes = free_space;
  if (available != nullptr) *available = free_space;
  return true;
}

bool RemoteFileFactory::DoReadable(const char* name, Operation* op) {
  const auto reply = OnServer(name, "Readable", op, StatRequest);
  if (reply == nullptr) return false;
  auto* info = reply->Get<XrdCl::StatInfo>();
  if (info != nullptr && !info->TestFlags(XrdCl::StatInfo::IsReadable)) {
    return FailWithErrno(op, "Readable", name, EACCES);
  }
  return true;
}

bool RemoteFileFactory::DoAcquireLock(const ::string& name, const LockInfo& lock,
                                      std::unique_ptr<HeldLock>* held, Operation* op) {
  return FailWith(op, ERROR_UNIMPLEMENTED, "Lock", name, "remote servers keep no advisory locks");
}

bool ServerChecksum(const ::string& name, const ::string& type, ::string* hex, Operation* caller) {
  file_internal::NamedOp op(caller, "Checksum", name.c_str());
  if (!op.Begin(name.c_str())) return false;
  bool plain = !type.empty();
  for (char c : type) plain = plain && std::isalnum(static_cast<unsigned char>(c));
  if (!plain) return op.Fail(ERROR_INVALID_ARGUMENT, ("bad checksum type '" + type + "'").c_str());
  const auto reply = OnServer(name.c_str(), "Checksum", op.op(),
                              [&type](XrdCl::FileSystem* fs, const RemoteName& n, Handler* h, uint16_t t) {
                                XrdCl::Buffer arg;
                                arg.FromString(n.path + "?cks.type=" + type);
                                return fs->Query(XrdCl::QueryCode::Checksum, arg, h, t);
                              });
  if (reply == nullptr) return false;
  // "<type> <hex>"
  const ::string text = QueryText(*reply);
  const size_t space = text.find(' ');
  if (space == ::string::npos || text.compare(0, space, type) != 0) {
    return op.Fail(ERROR_UNKNOWN, ("unexpected checksum answer '" + text + "'").c_str());
  }
  *hex = text.substr(space + 1);
  for (char& c : *hex) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return true;
}

}  // namespace remote
}  // namespace file

FileFactory* NewRemoteFileFactory() { return new file::remote::RemoteFileFactory; }
