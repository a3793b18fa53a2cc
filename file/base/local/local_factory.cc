// The local file system's namespace primitives.
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <stdexcept>
#include <string>

#include "file/base/core/file_factory_internal.h"
#include "file/base/names/glob.h"
#include "file/base/local/local_file.h"
#include "file/base/core/operation.h"

namespace {

// A flock(2) lock, released when its descriptor closes.
class FlockHold : public file::HeldLock {
 public:
  explicit FlockHold(int fd) : fd_(fd) {}
  ~FlockHold() override { close(fd_); }

 private:
  const int fd_;
};

// Closes a descriptor at the end of a scope.
class ScopedFd {
 public:
  explicit ScopedFd(int fd) : fd_(fd) {}
  ~ScopedFd() {
    if (fd_ >= 0) close(fd_);
  }
  ScopedFd(const ScopedFd&) = delete;
  ScopedFd& operator=(const ScopedFd&) = delete;
  int get() const { return fd_; }

 private:
  const int fd_;
};

}  // namespace

FileFactory* NewLocalFileFactory() { return new LocalFileFactory; }

File* LocalFileFactory::NewFile(const char* name, const char* mode,
                                const FileOpenOptions& options) {
  return new LocalFile(this, name, mode, options);
}

bool LocalFileFactory::DoStat(const char* name, FileStat* stat, file::Operation* op) {
  struct stat st;
  if (::stat(name, &st) != 0) return FailWithErrno(op, "Stat", name, errno);
  file_internal::FillStatFromPosix(st, stat);
  return true;
}

bool LocalFileFactory::DoIsSameFile(const char* a, const char* b) {
  // Inode numbers are only unique within a device.
  struct stat sa, sb;
  return ::stat(a, &sa) == 0 && ::stat(b, &sb) == 0 && sa.st_dev == sb.st_dev &&
         sa.st_ino == sb.st_ino;
}

int LocalFileFactory::DoListDirectory(const ::string& dir, vector<file::DirEntry>* entries) {
  return file::ListLocalDirectory(dir, entries);
}

bool LocalFileFactory::DoDelete(const char* name, file::Operation* op) {
  if (unlink(name) != 0) return FailWithErrno(op, "Delete", name, errno);
  return true;
}

bool LocalFileFactory::DoRename(const char* from, const char* to, bool overwrite,
                                file::Operation* op) {
  if (overwrite) {
    if (rename(from, to) != 0) return FailWithErrno(op, "Rename", from, errno);
    return true;
  }
  if (renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0) return true;
  if (errno != EINVAL && errno != ENOSYS) return FailWithErrno(op, "Rename", from, errno);
  // The file system cannot refuse atomically; check first instead.
  if (access(to, F_OK) == 0) return FailWithErrno(op, "Rename", to, EEXIST);
  if (rename(from, to) != 0) return FailWithErrno(op, "Rename", from, errno);
  return true;
}

bool LocalFileFactory::DoCreateDir(const char* name, unsigned int mode, file::Operation* op) {
  if (mkdir(name, static_cast<mode_t>(mode)) != 0) return FailWithErrno(op, "CreateDir", name, errno);
  return true;
}

bool LocalFileFactory::DoDeleteDir(const char* name, file::Operation* op) {
  if (rmdir(name) != 0) return FailWithErrno(op, "DeleteDir", name, errno);
  return true;
}

bool LocalFileFactory::DoSetMode(const char* name, unsigned int mode, file::Operation* op) {
  if (chmod(name, static_cast<mode_t>(mode & 07777)) != 0) {
    return FailWithErrno(op, "SetMode", name, errno);
  }
  return true;
}

bool LocalFileFactory::DoSetOwner(const char* name, const char* owner, file::Operation* op) {
  uid_t uid;
  if (!file_internal::LookupUserId(owner, &uid)) {
    return FailWith(op, file::ERROR_NOT_FOUND, "SetOwner", name,
                    (::string("unknown user ") + owner).c_str());
  }
  if (chown(name, uid, static_cast<gid_t>(-1)) != 0) {
    return FailWithErrno(op, "SetOwner", name, errno);
  }
  return true;
}

bool LocalFileFactory::DoSetGroup(const char* name, const char* group, file::Operation* op) {
  gid_t gid;
  if (!file_internal::LookupGroupId(group, &gid)) {
    return FailWith(op, file::ERROR_NOT_FOUND, "SetGroup", name,
                    (::string("unknown group ") + group).c_str());
  }
  if (chown(name, static_cast<uid_t>(-1), gid) != 0) {
    return FailWithErrno(op, "SetGroup", name, errno);
  }
  return true;
}

bool LocalFileFactory::DoSetMtime(const char* name, long mtime, file::Operation* op) {  // NOLINT
  const struct timespec times[2] = {{0, UTIME_OMIT}, {static_cast<time_t>(mtime), 0}};
  if (utimensat(AT_FDCWD, name, times, 0) != 0) return FailWithErrno(op, "SetMtime", name, errno);
  return true;
}

bool LocalFileFactory::DoStatfs(const char* name, int64* total, int64* free_bytes,
                                int64* available, file::Operation* op) {
  struct statvfs vfs;
  if (statvfs(name, &vfs) != 0) return FailWithErrno(op, "Statfs", name, errno);
  const int64 unit = static_cast<int64>(vfs.f_frsize != 0 ? vfs.f_frsize : vfs.f_bsize);
  if (total != nullptr) *total = static_cast<int64>(vfs.f_blocks) * unit;
  if (free_bytes != nullptr) *free_bytes = static_cast<int64>(vfs.f_bfree) * unit;
  if (available != nullptr) *available = static_cast<int64>(vfs.f_bavail) * unit;
  return true;
}

bool LocalFileFactory::DoReadable(const char* name, file::Operation* op) {
  if (access(name, R_OK) != 0) return FailWithErrno(op, "Readable", name, errno);
  return true;
}

bool LocalFileFactory::DoReadWholeFile(const ::string& name, ::string* contents,
                                       file::Operation* op) {
  const ScopedFd fd(open(name.c_str(), O_RDONLY | O_CLOEXEC));
  if (fd.get() < 0) return FailWithErrno(op, "ReadFileToString", name, errno);
  contents->clear();
  struct stat st;
  const bool sized = fstat(fd.get(), &st) == 0 && S_ISREG(st.st_mode) && st.st_size > 0;
  if (sized && !file_internal::CheckWholeFileFits(st.st_size, name, op)) return false;
  char buffer[1 << 16];
  try {
    if (sized) {
      contents->reserve(static_cast<size_t>(
          std::min<int64>(st.st_size, file_internal::kMaxWholeFileReserve)));
    }
    for (;;) {
      const ssize_t n = read(fd.get(), buffer, sizeof(buffer));
      if (n == 0) break;
      if (n < 0) {
        if (errno == EINTR) continue;
        return FailWithErrno(op, "ReadFileToString", name, errno);
      }
      contents->append(buffer, static_cast<size_t>(n));
    }
  } catch (const std::bad_alloc&) {
    ::string().swap(*contents);  // give back what was read so far
    return FailWithErrno(op, "ReadFileToString", name, ENOMEM);
  } catch (const std::length_error&) {
    ::string().swap(*contents);
    return FailWithErrno(op, "ReadFileToString", name, ENOMEM);
  }
  return true;
}

bool LocalFileFactory::DoAcquireLock(const ::string& name, const LockInfo& lock,
                                     std::unique_ptr<file::HeldLock>* held,
                                     file::Operation* op) {
  // A descriptor of its own: the lock then belongs to this request, so two
  // requests in one process conflict just as two processes would.
  const int fd = open(name.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return FailWithErrno(op, "Lock", name, errno);
  const int how = (lock.exclusive() ? LOCK_EX : LOCK_SH) | (lock.blocking() ? 0 : LOCK_NB);
  int result;
  do {
    result = flock(fd, how);
  } while (result != 0 && errno == EINTR);
  if (result != 0) {
    const int error = errno;
    close(fd);
    if (error == EWOULDBLOCK) {
      return FailWith(op, file::ERROR_TEMPORARY, "Lock", name, "locked by another holder");
    }
    return FailWithErrno(op, "Lock", name, error);
  }
  *held = std::make_unique<FlockHold>(fd);
  return true;
}

// Copies all of `source` to `target` in the kernel (copy_file_range(2)):
// 0 when done, else the errno. EXDEV, ENOSYS, EOPNOTSUPP or EINVAL on the
// first call mean "not between these two files"; the caller then copies
// bytes itself.
static int KernelCopy(int source, int target) {
  constexpr size_t kStep = size_t{1} << 30;
  for (;;) {
    const ssize_t n = copy_file_range(source, nullptr, target, nullptr, kStep, 0);
    if (n == 0) return 0;
    if (n < 0 && errno != EINTR) return errno;
  }
}

static bool CannotKernelCopy(int error) {
  return error == EXDEV || error == ENOSYS || error == EOPNOTSUPP || error == EINVAL;
}

bool LocalFileFactory::DoCloneFile(const char* from, const char* to, file::Operation* op) {
  ScopedFd source(open(from, O_RDONLY | O_CLOEXEC));
  if (source.get() < 0) return FailWithErrno(op, "Clone", from, errno);
  struct stat st;
  if (fstat(source.get(), &st) != 0) return FailWithErrno(op, "Clone", from, errno);
  ScopedFd target(open(to, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, st.st_mode & 07777));
  if (target.get() < 0) return FailWithErrno(op, "Clone", to, errno);
  if (ioctl(target.get(), FICLONE, source.get()) == 0) return true;
  // No reflinks here: let the kernel copy the bytes (no round trip through
  // user space). Where it cannot either, take the empty target back so that
  // the caller copies bytes instead.
  const int error = KernelCopy(source.get(), target.get());
  if (error == 0) return true;
  unlink(to);
  if (CannotKernelCopy(error)) return FailWith(op, file::ERROR_UNIMPLEMENTED, "Clone", from, std::strerror(error));
  return FailWithErrno(op, "Clone", to, error);
}
