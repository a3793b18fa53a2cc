// Copies: handle to handle, and by name (possibly across file systems).
#include <algorithm>
#include <memory>

#include "file/base/checksums/checksum.h"
#include "file/base/file.h"
#include "file/base/core/file_attributes.h"
#include "file/base/core/file_factory_internal.h"
#include "file/base/core/operation.h"

namespace {

constexpr int64 kCopyChunk = 1 << 20;

// Closes and frees a handle when it goes out of scope.
struct HandleCloser {
  void operator()(File* f) const {
    if (f != nullptr) file::CloseAndDelete(f);
  }
};
using ScopedHandle = std::unique_ptr<File, HandleCloser>;

// Records the handle's last error in op; false.
bool FailFromHandle(File* f, file::Operation* op) {
  if (op != nullptr) {
    const int code = f->GetCurrentErrorCode();
    op->SetError(static_cast<file::ErrorCode>(code != file::OK ? code : file::ERROR_UNKNOWN),
                 f->GetCurrentErrorMessage());
  }
  return false;
}

// Copies up to `count` bytes (< 0: to end of file) from the source's
// position to the target's; false with op set on failure, or when the
// source ends before `count` bytes. The bytes copied are added to *checksum
// when it is not null.
bool CopyStream(File* source, File* target, int64 count, BandwidthLimit* limit,
                file::Operation* op, ChecksumState* checksum = nullptr) {
  if (source == nullptr || target == nullptr) {
    return FileFactory::FailWith(op, file::ERROR_INVALID_ARGUMENT, "Copy", "",
                                 "missing source or target handle");
  }
  ::string buffer(static_cast<size_t>(kCopyChunk), '\0');
  int64 copied = 0;
  while (count < 0 || copied < count) {
    const int64 want = count < 0 ? kCopyChunk : std::min(kCopyChunk, count - copied);
    const int64 n = source->Read(buffer.data(), static_cast<uint64>(want));
    if (n < 0) return FailFromHandle(source, op);
    if (n == 0) break;
    if (limit != nullptr) limit->Consume(n);
    if (target->Write(buffer.data(), static_cast<uint64>(n)) != n) return FailFromHandle(target, op);
    if (checksum != nullptr) checksum->Add(buffer.data(), static_cast<size_t>(n));
    copied += n;
  }
  if (count >= 0 && copied < count) {
    return FileFactory::FailWith(op, file::ERROR_PAST_EOF, "Copy", source->CreateFileName(),
                                 "source ended before the requested count");
  }
  ++File::opstats()->copies;
  return true;
}

// Handle-to-handle copy; count < 0 copies to the end of the source. With
// `attr`, the checksum of the bytes copied (and a new version) goes into
// *attr, and into the target's attribute record when the copy is the whole
// target file (it was written from offset 0 and the file ends where the copy
// did).
bool CopyHandles(File* source, File* target, int64 count, FileAttr* attr,
                 BandwidthLimit* limit) {
  file::Operation op;
  if (attr == nullptr) return CopyStream(source, target, count, limit, &op);
  const int64 start = target != nullptr ? target->Tell() : -1;
  ChecksumState checksum;
  if (!CopyStream(source, target, count, limit, &op, &checksum)) return false;
  attr->checksum = checksum;
  attr->version = file_attributes->CreateVersion();
  attr->finalized = false;
  if (start != 0 || !target->Flush() || target->Size() != checksum.Length()) return true;
  const ::string name = target->CreateFileName();
  if (!file_attributes->Store(name.c_str(), attr)) {
    return FileFactory::FailWith(&op, file::ERROR_UNKNOWN, "CopyBytes", name,
                                 "cannot record the checksum of the copy");
  }
  return true;
}

struct CopySettings {
  Attr_t attr = Attr_t(Attr_t::DEFAULT);
  unsigned int permissions = DEFAULT_FILE_MODE;
  const char* group = nullptr;
  bool overwrite = false;
  bool preserve_mtime = false;
  bool sync_destination = false;
  BandwidthLimit* limit = nullptr;
};

bool CopyByName(const char* from, const char* to, const CopySettings& settings,
                file::Operation* op) {
  if (from == nullptr || to == nullptr || from[0] == '\0' || to[0] == '\0') {
    return FileFactory::FailWith(op, file::ERROR_INVALID_ARGUMENT, "Copy", from ? from : "",
                                 "empty name");
  }
  const shared_ptr<FileFactory> source_fs = FileFactory::ForName(from);
  const shared_ptr<FileFactory> target_fs = FileFactory::ForName(to);
  FileStat source_stat;
  if (!source_fs->StatWithOp(from, &source_stat, op)) return false;
  if (source_stat.IsDirectory()) {
    return FileFactory::FailWith(op, file::ERROR_WRONG_TYPE, "Copy", from, "is a directory");
  }
  if (!settings.overwrite && target_fs->ExistsWithOp(to, op)) {
    return FileFactory::FailWith(op, file::ERROR_ALREADY_EXISTS, "Copy", to, "target exists");
  }
  // Opening the target for writing would truncate the source under us.
  if (source_fs == target_fs && source_fs->DoIsSameFile(from, to)) {
    return FileFactory::FailWith(op, file::ERROR_INVALID_ARGUMENT, "Copy", to,
                                 "source and target are the same file");
  }
  ScopedHandle source(source_fs->Create(from, "r"));
  if (source == nullptr || !source->OpenWithOp(op)) return false;
  ScopedHandle target(target_fs->CreateFullySpecified(to, "w", settings.attr,
                                                      settings.permissions, settings.group));
  if (target == nullptr || !target->OpenWithOp(op)) return false;
  if (!CopyStream(source.get(), target.get(), -1, settings.limit, op)) return false;
  if (settings.sync_destination && !target->Sync()) return FailFromHandle(target.get(), op);
  if (!file::CloseAndDelete(target.release())) {
    return FileFactory::FailWith(op, file::ERROR_UNKNOWN, "Copy", to, "close failed");
  }
  if (settings.preserve_mtime && !target_fs->SetMtime(to, source_stat.mtime)) {
    return FileFactory::FailWith(op, file::ERROR_UNKNOWN, "Copy", to,
                                 "could not set modification time");
  }
  return true;
}

}  // namespace

namespace file_internal {

bool CopyFileBytes(FileFactory* source_fs, const ::string& from, FileFactory* target_fs,
                   const ::string& to, BandwidthLimit* limit, file::Operation* op) {
  ScopedHandle source(source_fs->Create(from.c_str(), "r"));
  if (source == nullptr || !source->OpenWithOp(op)) return false;
  ScopedHandle target(target_fs->Create(to.c_str(), "w"));
  if (target == nullptr || !target->OpenWithOp(op)) return false;
  if (!CopyStream(source.get(), target.get(), -1, limit, op)) return false;
  if (!file::CloseAndDelete(target.release())) {
    return FileFactory::FailWith(op, file::ERROR_UNKNOWN, "Copy", to, "close failed");
  }
  return true;
}

}  // namespace file_internal

bool File::Copy(const char* from, const char* to, bool overwrite) {
  CopySettings settings;
  settings.overwrite = overwrite;
  return CopyByName(from, to, settings, nullptr);
}

bool File::CopyWithAttr(const char* from, const char* to, Attr_t attr, bool overwrite) {
  CopySettings settings;
  settings.attr = attr;
  settings.overwrite = overwrite;
  return CopyByName(from, to, settings, nullptr);
}

bool File::CopyFullySpecified(const char* from, const char* to, Attr_t attr,
                              unsigned int permissions, const char* group, bool overwrite,
                              bool preserve_mtime, bool sync_destination) {
  return CopyFullySpecified(from, to, attr, permissions, group, overwrite, preserve_mtime,
                            sync_destination, nullptr);
}

bool File::CopyFullySpecified(const char* from, const char* to, Attr_t attr,
                              unsigned int permissions, const char* group, bool overwrite,
                              bool preserve_mtime, bool sync_destination,
                              BandwidthLimit* limit) {
  CopySettings settings;
  settings.attr = attr;
  settings.permissions = permissions;
  settings.group = group;
  settings.overwrite = overwrite;
  settings.preserve_mtime = preserve_mtime;
  settings.sync_destination = sync_destination;
  settings.limit = limit;
  return CopyByName(from, to, settings, nullptr);
}

bool File::CopyBytes(File* source, File* target, FileAttr* attr) {
  return CopyHandles(source, target, -1, attr, nullptr);
}

bool File::CopyBytes(File* source, File* target, FileAttr* attr, BandwidthLimit* limit) {
  return CopyHandles(source, target, -1, attr, limit);
}

bool File::CopyNBytes(File* source, File* target, int64 count, FileAttr* attr,
                      BandwidthLimit* limit) {
  if (count < 0) return false;
  return CopyHandles(source, target, count, attr, limit);
}

bool File::CopyToEof(File* source, File* target) {
  return CopyHandles(source, target, -1, nullptr, nullptr);
}

bool File::CopyToEof(File* source, File* target, BandwidthLimit* limit) {
  return CopyHandles(source, target, -1, nullptr, limit);
}
