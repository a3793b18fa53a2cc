// Open local files: a file descriptor and the POSIX calls on it.
#include "file/base/local/local_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace {

// Bytes one read(2)/write(2) call may move on Linux.
constexpr uint64 kMaxChunk = 0x7ffff000;

// Repeats a call interrupted by a signal.
template <typename Call>
auto RetryOnEintr(Call call) {
  for (;;) {
    auto result = call();
    if (result >= 0 || errno != EINTR) return result;
  }
}

}  // namespace

LocalFile::LocalFile(FileFactory* factory, const char* name, const char* mode,
                     const FileOpenOptions& options)
    : File(factory, name, mode, options) {}

LocalFile::~LocalFile() { CloseBeforeDestroy(); }

int LocalFile::OpenFlags() const {
  const file::OpenMode& m = open_mode();
  int flags = O_CLOEXEC;
  if (m.read && m.write) {
    flags |= O_RDWR;
  } else if (m.write) {
    flags |= O_WRONLY;
  } else {
    flags |= O_RDONLY;
  }
  if (m.append) flags |= O_APPEND;
  if (m.create) flags |= O_CREAT;
  if (truncate_on_open()) flags |= O_TRUNC;
  if (options().direct_io()) flags |= O_DIRECT;
  if (options().sync_write()) flags |= O_SYNC;
  return flags;
}

bool LocalFile::DoOpen() {
  const unsigned int requested = options().permissions();
  const mode_t permissions = requested == DEFAULT_FILE_MODE ? 0666 : (requested & 07777);
  const int flags = OpenFlags();
  // Learn whether this open creates the file, so the group is only forced
  // onto files we made.
  const bool existed = access(name().c_str(), F_OK) == 0;
  fd_ = RetryOnEintr([&] { return open(name().c_str(), flags, permissions); });
  if (fd_ < 0) {
    if (errno == EINVAL && (flags & O_DIRECT) != 0) {
      return SetError(file::ERROR_UNIMPLEMENTED, "Open",
                      "direct I/O is not supported by this file system");
    }
    return SetErrnoError("Open", errno);
  }
  struct stat st;
  if (fstat(fd_, &st) != 0) {
    const int error = errno;
    DoClose();
    return SetErrnoError("Open", error);
  }
  if (S_ISDIR(st.st_mode)) {
    DoClose();
    return SetErrnoError("Open", EISDIR);
  }
  is_fifo_ = S_ISFIFO(st.st_mode);
  if (!existed && options().group() != nullptr && !ApplyGroup()) {
    DoClose();
    return false;
  }
  return true;
}

bool LocalFile::ApplyGroup() {
  gid_t gid;
  if (!file_internal::LookupGroupId(options().group(), &gid)) {
    return SetError(file::ERROR_NOT_FOUND, "Open",
                    (::string("unknown group ") + options().group()).c_str());
  }
  if (fchown(fd_, static_cast<uid_t>(-1), gid) != 0) return SetErrnoError("Open", errno);
  return true;
}

bool LocalFile::DoClose() {
  if (fd_ < 0) return true;
  if (drop_cache_on_close_) posix_fadvise(fd_, 0, 0, POSIX_FADV_DONTNEED);
  // close(2) must not be retried on EINTR on Linux: the descriptor is gone.
  const int result = close(fd_);
  fd_ = -1;
  if (result != 0 && errno != EINTR) return SetErrnoError("Close", errno);
  return true;
}

int64 LocalFile::DoRead(void* buffer, uint64 size) {
  char* out = static_cast<char*>(buffer);
  uint64 done = 0;
  while (done < size) {
    const ssize_t n = RetryOnEintr(
        [&] { return read(fd_, out + done, std::min(size - done, kMaxChunk)); });
    if (n < 0) {
      SetErrnoError("Read", errno);
      return -1;
    }
    if (n == 0) break;
    done += static_cast<uint64>(n);
    // A pipe hands over what it has; waiting for more could block forever.
    if (is_fifo_) break;
  }
  return static_cast<int64>(done);
}

int64 LocalFile::DoWrite(const void* buffer, uint64 size) {
  const char* in = static_cast<const char*>(buffer);
  uint64 done = 0;
  while (done < size) {
    const ssize_t n = RetryOnEintr(
        [&] { return write(fd_, in + done, std::min(size - done, kMaxChunk)); });
    if (n < 0) {
      SetErrnoError("Write", errno);
      return -1;
    }
    done += static_cast<uint64>(n);
  }
  return static_cast<int64>(done);
}

int64 LocalFile::DoAppend(const void* buffer, uint64 size, int64* offset) {
  if (open_mode().append) {
    // O_APPEND makes each write(2) land at the end atomically.
    const int64 written = DoWrite(buffer, size);
    if (written < 0) return -1;
    const off_t end = lseek(fd_, 0, SEEK_CUR);
    if (end < 0) {
      SetErrnoError("Append", errno);
      return -1;
    }
    *offset = static_cast<int64>(end) - written;
    return written;
  }
  return AppendAtEnd(buffer, size, offset);
}

// Appends through a descriptor opened without O_APPEND, leaving its
// position alone: pwritev2 with RWF_APPEND is atomic like O_APPEND.
int64 LocalFile::AppendAtEnd(const void* buffer, uint64 size, int64* offset) {
  if (size > kMaxChunk) {
    SetError(file::ERROR_INVALID_ARGUMENT, "Append", "too many bytes for one append");
    return -1;
  }
  const off_t position = lseek(fd_, 0, SEEK_CUR);
  if (position < 0) {
    SetErrnoError("Append", errno);
    return -1;
  }
  struct iovec iov = {const_cast<void*>(buffer), static_cast<size_t>(size)};
  ssize_t n = RetryOnEintr([&] { return pwritev2(fd_, &iov, 1, -1, RWF_APPEND); });
  if (n < 0 && (errno == EOPNOTSUPP || errno == ENOSYS || errno == EINVAL)) {
    // Older kernels: not atomic against other appenders, but correct alone.
    struct stat st;
    if (fstat(fd_, &st) != 0) {
      SetErrnoError("Append", errno);
      return -1;
    }
    n = RetryOnEintr([&] { return pwrite(fd_, buffer, size, st.st_size); });
    if (n >= 0) {
      *offset = static_cast<int64>(st.st_size);
      return n;
    }
  }
  if (n < 0) {
    SetErrnoError("Append", errno);
    return -1;
  }
  // With offset -1 the descriptor's position moved to the end of our bytes.
  const off_t end = lseek(fd_, 0, SEEK_CUR);
  if (end < 0 || lseek(fd_, position, SEEK_SET) < 0) {
    SetErrnoError("Append", errno);
    return -1;
  }
  *offset = static_cast<int64>(end) - n;
  return n;
}

int64 LocalFile::DoPRead(int64 offset, void* buffer, int64 size) {
  char* out = static_cast<char*>(buffer);
  int64 done = 0;
  while (done < size) {
    const size_t want = static_cast<size_t>(std::min<uint64>(size - done, kMaxChunk));
    const ssize_t n = RetryOnEintr([&] { return pread(fd_, out + done, want, offset + done); });
    if (n < 0) {
      SetErrnoError("PRead", errno);
      return -1;
    }
    if (n == 0) break;
    done += n;
  }
  return done;
}

int64 LocalFile::DoPWrite(int64 offset, const void* buffer, int64 size) {
  const char* in = static_cast<const char*>(buffer);
  int64 done = 0;
  while (done < size) {
    const size_t want = static_cast<size_t>(std::min<uint64>(size - done, kMaxChunk));
    const ssize_t n = RetryOnEintr([&] { return pwrite(fd_, in + done, want, offset + done); });
    if (n < 0) {
      SetErrnoError("PWrite", errno);
      return -1;
    }
    done += n;
  }
  return done;
}

bool LocalFile::DoTruncate(int64 length) {
  if (RetryOnEintr([&] { return ftruncate(fd_, length); }) != 0) {
    return SetErrnoError("Truncate", errno);
  }
  return true;
}

int64 LocalFile::DoSize() {
  struct stat st;
  if (fstat(fd_, &st) != 0) {
    SetErrnoError("Size", errno);
    return -1;
  }
  return static_cast<int64>(st.st_size);
}

int64 LocalFile::DoTell() {
  const off_t position = lseek(fd_, 0, SEEK_CUR);
  if (position < 0) {
    SetErrnoError("Tell", errno);
    return -1;
  }
  return static_cast<int64>(position);
}

bool LocalFile::DoSeek(int64 position) {
  if (lseek(fd_, position, SEEK_SET) < 0) return SetErrnoError("Seek", errno);
  return true;
}

bool LocalFile::DoSync(bool data_only) {
  const int result = data_only ? fdatasync(fd_) : fsync(fd_);
  if (result != 0) return SetErrnoError(data_only ? "DataSync" : "Sync", errno);
  return true;
}

bool LocalFile::DoStat(FileStat* stat) {
  struct stat st;
  if (fstat(fd_, &st) != 0) return SetErrnoError("Stat", errno);
  file_internal::FillStatFromPosix(st, stat);
  return true;
}

// GetMemBlock gets a copy: a mapping would show later writes and turn a
// later truncation into SIGBUS, while a block promises the bytes as they
// were. Only TryMMap, which asks for a mapping, gets one.
MemBlock* LocalFile::DoGetBlock(int64 offset, int64 length, bool must_map) {
  if (must_map) {
    if (length <= 0 || is_fifo_) {
      SetError(file::ERROR_INVALID_ARGUMENT, "TryMMap", "nothing to map");
      return nullptr;
    }
    const int64 page = File::pagesize();
    const int64 aligned = offset - offset % page;
    const size_t map_length = static_cast<size_t>(length + (offset - aligned));
    void* base = mmap(nullptr, map_length, PROT_READ, MAP_SHARED, fd_, aligned);
    if (base == MAP_FAILED) {
      SetErrnoError("TryMMap", errno);
      return nullptr;
    }
    return MemBlock::FromMapping(base, map_length,
                                 static_cast<const char*>(base) + (offset - aligned), length,
                                 offset);
  }
  ::string bytes;
  if (!ResizeOrFail(&bytes, static_cast<uint64>(length), "GetMemBlock")) return nullptr;
  const int64 n = length > 0 ? DoPRead(offset, bytes.data(), length) : 0;
  if (n < 0) return nullptr;
  bytes.resize(static_cast<size_t>(n));
  return MemBlock::FromCopy(std::move(bytes), offset);
}

bool LocalFile::DoSetAccessPattern(int access_pattern, int cache_policy) {
  int advice = POSIX_FADV_NORMAL;
  if (access_pattern == file::RANDOM) advice = POSIX_FADV_RANDOM;
  if (access_pattern == file::SEQUENTIAL) advice = POSIX_FADV_SEQUENTIAL;
  // Pipes take no advice; that is not an error for a hint.
  if (!is_fifo_) {
    const int error = posix_fadvise(fd_, 0, 0, advice);
    if (error != 0) return SetErrnoError("SetAccessPattern", error);
  }
  drop_cache_on_close_ = cache_policy == file::UNCACHED;
  return true;
}

bool LocalFile::DoIsFifo() { return is_fifo_; }
