// Handles of memory files.
#include "file/base/mem/mem_file.h"

#include <algorithm>
#include <cerrno>
#include <limits>

#include "file/base/util/memblock.h"

namespace file {
namespace mem {
namespace {

constexpr int64 kMaxCount = std::numeric_limits<int64>::max();

// Whether [offset, offset + count) stays within the largest file size.
bool FitsInFile(int64 offset, int64 count) {
  return offset <= MemBytes::kMaxSize && count <= MemBytes::kMaxSize - offset;
}

}  // namespace

MemFile::MemFile(FileFactory* factory, const char* name, const char* mode,
                 const FileOpenOptions& options)
    : File(factory, name, mode, options) {}

MemFile::~MemFile() { CloseBeforeDestroy(); }

bool MemFile::DoOpen() {
  if (options().direct_io()) {
    return SetError(ERROR_UNIMPLEMENTED, "Open",
                    "direct I/O is not available for memory files");
  }
  OpenRequest request;
  request.read = open_mode().read;
  request.write = open_mode().write;
  request.create = open_mode().create;
  request.truncate = truncate_on_open();
  const unsigned int permissions = options().permissions();
  request.permissions = permissions == DEFAULT_FILE_MODE ? 0666 : permissions;
  request.group = options().group();
  const int error = Namespace::Get().OpenFile(name(), request, &node_);
  if (error == kUnknownGroup) {
    return SetError(ERROR_NOT_FOUND, "Open",
                    ("unknown group " + ::string(request.group)).c_str());
  }
  if (error != 0) return SetErrnoError("Open", error);
  position_.Set(0);
  return true;
}

bool MemFile::DoClose() {
  node_.reset();
  return true;
}

int64 MemFile::ReadAt(int64 offset, void* buffer, int64 size) {
  std::shared_lock<std::shared_mutex> lock(node_->mu);
  const int64 length = node_->bytes.size();
  if (offset >= length) return 0;
  const int64 count = std::min(size, length - offset);
  node_->bytes.Read(offset, static_cast<char*>(buffer), count);
  return count;
}

int64 MemFile::WriteAt(int64 offset, bool at_end, const void* buffer,
                       int64 size, int64* landed, const char* what) {
  std::unique_lock<std::shared_mutex> lock(node_->mu);
  if (at_end) offset = node_->bytes.size();
  if (!FitsInFile(offset, size)) return SetErrnoError(what, EFBIG), -1;
  if (!node_->bytes.Write(offset, static_cast<const char*>(buffer), size)) {
    return SetErrnoError(what, ENOMEM), -1;
  }
  node_->Touch();
  *landed = offset;
  return size;
}

int64 MemFile::DoRead(void* buffer, uint64 size) {
  return position_.Advance([&](int64 position) {
    return ReadAt(position, buffer, static_cast<int64>(std::min<uint64>(size, kMaxCount)));
  });
}

int64 MemFile::DoWrite(const void* buffer, uint64 size) {
  if (size > static_cast<uint64>(kMaxCount)) return SetErrnoError("Write", EFBIG), -1;
  return position_.Holding([&](int64& position) {
    int64 landed;
    const int64 written = WriteAt(position, /*at_end=*/false, buffer,
                                  static_cast<int64>(size), &landed, "Write");
    if (written > 0) position = landed + written;
    return written;
  });
}

int64 MemFile::DoAppend(const void* buffer, uint64 size, int64* offset) {
  if (size > static_cast<uint64>(kMaxCount)) return SetErrnoError("Append", EFBIG), -1;
  return position_.Holding([&](int64& position) {
    const int64 written = WriteAt(0, /*at_end=*/true, buffer,
                                  static_cast<int64>(size), offset, "Append");
    // As with O_APPEND: an append-mode handle's position follows its writes;
    // other handles append without moving.
    if (written > 0 && open_mode().append) position = *offset + written;
    return written;
  });
}

int64 MemFile::DoPRead(int64 offset, void* buffer, int64 size) {
  return ReadAt(offset, buffer, size);
}

int64 MemFile::DoPWrite(int64 offset, const void* buffer, int64 size) {
  int64 landed;
  return WriteAt(offset, /*at_end=*/false, buffer, size, &landed, "PWrite");
}

bool MemFile::DoTruncate(int64 length) {
  if (length > MemBytes::kMaxSize) return SetErrnoError("Truncate", EFBIG);
  std::unique_lock<std::shared_mutex> lock(node_->mu);
  if (!node_->bytes.Resize(length)) return SetErrnoError("Truncate", ENOMEM);
  node_->Touch();
  return true;
}

int64 MemFile::DoSize() {
  std::shared_lock<std::shared_mutex> lock(node_->mu);
  return node_->bytes.size();
}

int64 MemFile::DoTell() { return position_.Get(); }

bool MemFile::DoSeek(int64 position) {
  position_.Set(position);
  return true;
}

// Memory is as far down as these bytes go: once written they are as durable
// as they will ever be.
bool MemFile::DoSync(bool) { return true; }

bool MemFile::DoStat(FileStat* stat) {
  std::shared_lock<std::shared_mutex> lock(node_->mu);
  node_->FillStat(stat);
  return true;
}

// TryMMap and GetMemBlock both get a stable view: pinned pages when the
// range lies in one page run, else a copy. Either way later writes to the
// file do not show through, as with a private mapping.
MemBlock* MemFile::DoGetBlock(int64 offset, int64 length, bool) {
  std::shared_lock<std::shared_mutex> lock(node_->mu);
  const int64 available = std::max<int64>(0, node_->bytes.size() - offset);
  length = std::min(length, available);
  const char* data = nullptr;
  if (auto pin = node_->bytes.Pin(offset, length, &data)) {
    return MemBlock::FromPinned(std::move(pin), data, length, offset);
  }
  ::string copy;
  if (!ResizeOrFail(&copy, static_cast<uint64>(length), "GetMemBlock")) {
    return nullptr;
  }
  node_->bytes.Read(offset, copy.data(), length);
  return MemBlock::FromCopy(std::move(copy), offset);
}

}  // namespace mem
}  // namespace file
