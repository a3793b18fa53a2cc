#include "file/base/core/loaded_file_system.h"

#include <dlfcn.h>

#include <cerrno>
#include <cstdlib>

#include "file/base/core/operation.h"

namespace file {
namespace {

// A handle of a file system that could not be loaded: opening it fails with
// the reason.
class UnavailableFile : public File {
 public:
  UnavailableFile(FileFactory* factory, const char* name, const char* mode,
                  const FileOpenOptions& options, const ::string& reason)
      : File(factory, name, mode, options), reason_(reason) {}
  ~UnavailableFile() override { CloseBeforeDestroy(); }

 protected:
  bool DoOpen() override { return Fail(); }
  bool DoClose() override { return true; }
  int64 DoRead(void*, uint64) override { return Fail(-1); }
  int64 DoWrite(const void*, uint64) override { return Fail(-1); }
  int64 DoAppend(const void*, uint64, int64*) override { return Fail(-1); }
  int64 DoPRead(int64, void*, int64) override { return Fail(-1); }
  int64 DoPWrite(int64, const void*, int64) override { return Fail(-1); }
  bool DoTruncate(int64) override { return Fail(); }
  int64 DoSize() override { return Fail(-1); }
  int64 DoTell() override { return Fail(-1); }
  bool DoSeek(int64) override { return Fail(); }
  bool DoSync(bool) override { return Fail(); }
  bool DoStat(FileStat*) override { return Fail(); }
  MemBlock* DoGetBlock(int64, int64, bool) override {
    Fail();
    return nullptr;
  }

 private:
  bool Fail() { return SetError(ERROR_UNIMPLEMENTED, "Open", reason_.c_str()); }
  int64 Fail(int64 result) {
    Fail();
    return result;
  }

  const ::string reason_;
};

// Any symbol of this shared object, for dladdr.
void Anchor() {}

}  // namespace

::string LoadablePath(const char* library, const char* env) {
  if (env != nullptr) {
    const char* path = std::getenv(env);
    if (path != nullptr && path[0] != '\0') return path;
  }
  Dl_info info;
  if (dladdr(reinterpret_cast<void*>(&Anchor), &info) != 0 && info.dli_fname != nullptr) {
    const ::string self = info.dli_fname;
    const size_t slash = self.rfind('/');
    if (slash != ::string::npos) return self.substr(0, slash + 1) + library;
  }
  return library;
}

DeferredFileSystem::DeferredFileSystem(const BuiltinFileSystem& fs) : fs_(fs) {}

shared_ptr<FileFactory> DeferredFileSystem::Load(const shared_ptr<FileFactory>& self) {
  std::call_once(once_, [this] {
    const ::string path = LoadablePath(fs_.library, fs_.library_env);
    // Local: the client library's symbols stay out of everybody else's way.
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
      const char* reason = dlerror();
      failure_ = "cannot load " + path + ": " + (reason != nullptr ? reason : "unknown reason");
    } else if (auto entry = reinterpret_cast<FileFactory* (*)()>(dlsym(handle, fs_.entry));
               entry == nullptr) {
      failure_ = ::string(fs_.entry) + " not found in " + path;
    } else if (FileFactory* factory = entry(); factory == nullptr) {
      failure_ = ::string(fs_.entry) + " in " + path + " made no factory";
    } else {
      loaded_.reset(factory);
    }
    if (!failure_.empty()) {
      const char* kind = *fs_.name != nullptr ? *fs_.name : fs_.library;
      failure_ = "the " + ::string(kind) + " file system is not available (" + failure_ + ")";
    }
  });
  return loaded_ != nullptr ? loaded_ : self;
}

bool DeferredFileSystem::Unavailable(Operation* op, const char* what, const char* name) {
  return FailWith(op, ERROR_UNIMPLEMENTED, what, name != nullptr ? name : "",
                  failure_.empty() ? "the file system is not loaded" : failure_.c_str());
}

File* DeferredFileSystem::NewFile(const char* name, const char* mode,
                                  const FileOpenOptions& options) {
  return new UnavailableFile(this, name, mode, options, failure_);
}

bool DeferredFileSystem::DoStat(const char* name, FileStat*, Operation* op) {
  return Unavailable(op, "Stat", name);
}
bool DeferredFileSystem::ListDirectory(const ::string& dir, vector<DirEntry>*, Operation* op) {
  return Unavailable(op, "ListDirectory", dir.c_str());
}
int DeferredFileSystem::DoListDirectory(const ::string&, vector<DirEntry>*) { return ENOSYS; }
bool DeferredFileSystem::DoDelete(const char* name, Operation* op) {
  return Unavailable(op, "Delete", name);
}
bool DeferredFileSystem::DoRename(const char* from, const char*, bool, Operation* op) {
  return Unavailable(op, "Rename", from);
}
bool DeferredFileSystem::DoCreateDir(const char* name, unsigned int, Operation* op) {
  return Unavailable(op, "CreateDir", name);
}
bool DeferredFileSystem::DoDeleteDir(const char* name, Operation* op) {
  return Unavailable(op, "DeleteDir", name);
}
bool DeferredFileSystem::DoSetMode(const char* name, unsigned int, Operation* op) {
  return Unavailable(op, "SetMode", name);
}
bool DeferredFileSystem::DoSetOwner(const char* name, const char*, Operation* op) {
  return Unavailable(op, "SetOwner", name);
}
bool DeferredFileSystem::DoSetGroup(const char* name, const char*, Operation* op) {
  return Unavailable(op, "SetGroup", name);
}
bool DeferredFileSystem::DoSetMtime(const char* name, long, Operation* op) {  // NOLINT
  return Unavailable(op, "SetMtime", name);
}
bool DeferredFileSystem::DoStatfs(const char* name, int64*, int64*, int64*, Operation* op) {
  return Unavailable(op, "Statfs", name);
}
bool DeferredFileSystem::DoReadable(const char* name, Operation* op) {
  return Unavailable(op, "Readable", name);
}
bool DeferredFileSystem::DoAcquireLock(const ::string& name, const LockInfo&,
                                       std::unique_ptr<HeldLock>*, Operation* op) {
  return Unavailable(op, "Lock", name.c_str());
}

}  // namespace file
