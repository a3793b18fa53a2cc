// ChecksumState's members that read files: they go through the File
// interface, so every registered file system (and archived files) can be
// checksummed.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>

#include "file/base/checksums/checksum.h"
#include "file/base/core/file_attributes.h"
#include "file/base/file.h"
#include "file/base/redundancy/file_reading.h"
#include "file/base/util/logging.h"

namespace {

using redundancy::OpenForReading;
using redundancy::ReadRange;
using redundancy::ScopedFile;

void LogFailure(const char* what, const char* path, const ::string& reason) {
  LogMessage(__FILE__, __LINE__, logging::WARNING).stream()
      << "ChecksumState::" << what << " " << (path ? path : "(null)") << ": " << reason;
}

// Adds [offset, offset + length) of `file` to a copy of *state and keeps the
// copy only when everything was read.
bool AddRange(ChecksumState* state, File* file, int64 offset, int64 length, BandwidthLimit* limit,
              ::string* why) {
  if (file == nullptr) {
    if (why != nullptr) *why = "no file";
    return false;
  }
  ChecksumState added = *state;
  const bool ok = ReadRange(file, offset, length, limit, why, [&](const char* data, int64 n) {
    added.Add(data, static_cast<size_t>(n));
  });
  if (ok) *state = added;
  return ok;
}

void AddPathRange(ChecksumState* state, const char* what, const char* path, int64 offset,
                  int64 length) {
  ::string why;
  ScopedFile f = OpenForReading(path, &why);
  if (f == nullptr || !AddRange(state, f.get(), offset, length, nullptr, &why)) {
    LogFailure(what, path, why);
  }
}

// The checksum of a local file, its holes stood in for by zero bytes
// instead of being read. False when the file cannot be read that way.
bool SparseLocalChecksum(const char* path, uint64* checksum) {
  const int fd = ::open(path, O_RDONLY | O_CLOEXEC);
  if (fd < 0) return false;
  struct FdCloser {
    int fd;
    ~FdCloser() { ::close(fd); }
  } closer{fd};
  const off_t size = ::lseek(fd, 0, SEEK_END);
  if (size < 0) return false;
  static const std::unique_ptr<char[]> zeros(new char[redundancy::kReadPiece]());
  std::unique_ptr<char[]> buffer(new char[redundancy::kReadPiece]);
  ChecksumState state;
  off_t position = 0;
  while (position < size) {
    off_t data = ::lseek(fd, position, SEEK_DATA);
    if (data < 0 && errno == ENXIO) data = size;  // only a hole is left
    if (data < 0) data = position;                // no hole support: read it all
    for (; position < data; position += std::min<off_t>(data - position, redundancy::kReadPiece)) {
      state.Add(zeros.get(), static_cast<size_t>(std::min<off_t>(data - position, redundancy::kReadPiece)));
    }
    if (position >= size) break;
    off_t hole = ::lseek(fd, position, SEEK_HOLE);
    if (hole < 0) hole = size;
    while (position < hole) {
      const ssize_t got = ::pread(fd, buffer.get(), std::min<off_t>(hole - position, redundancy::kReadPiece), position);
      if (got < 0 && errno == EINTR) continue;
      if (got <= 0) return false;
      state.Add(buffer.get(), static_cast<size_t>(got));
      position += got;
    }
  }
  *checksum = state.Checksum();
  return true;
}

}  // namespace

void ChecksumState::AddFile(const char* path) { AddPathRange(this, "AddFile", path, 0, -1); }

bool ChecksumState::AddOpenFile(File* file) { return AddRange(this, file, 0, -1, nullptr, nullptr); }

void ChecksumState::AddFileBytes(const char* path, int64 offset, int64 length) {
  AddPathRange(this, "AddFileBytes", path, offset, length);
}

bool ChecksumState::AddOpenFileBytes(File* file, int64 offset, int64 length) {
  return AddRange(this, file, offset, length, nullptr, nullptr);
}

bool ChecksumState::AddOpenFileBytesWithBandwidthLimit(File* file, int64 offset, int64 length,
                                                       BandwidthLimit* limit) {
  return AddRange(this, file, offset, length, limit, nullptr);
}

namespace {

// The checksum recorded for `path` and an open handle on it; false (with
// *why) when either cannot be had.
bool RecordAndFile(const char* path, FileAttr* attr, ScopedFile* f, ::string* why) {
  if (path == nullptr || !file_attributes->Load(path, attr)) {
    if (why != nullptr) *why = "no checksum is recorded for the file";
    return false;
  }
  *f = OpenForReading(path, why);
  return *f != nullptr;
}

}  // namespace

bool ChecksumState::VerifyChecksum(const char* path, ::string* why) {
  FileAttr attr;
  ScopedFile f;
  ChecksumState actual;
  return RecordAndFile(path, &attr, &f, why) && AddRange(&actual, f.get(), 0, -1, nullptr, why) &&
         actual.Equals(&attr.checksum, why);
}

bool ChecksumState::VerifyChecksum(const char* path, int64 offset, int64 length, ::string* why) {
  FileAttr attr;
  ScopedFile f;
  if (!RecordAndFile(path, &attr, &f, why)) return false;
  return attr.checksum.VerifyRange(
      offset, length, [&](int64 position, void* buffer, int64 n) { return f->PRead(position, buffer, n); },
      why);
}

uint64 ChecksumState::SparseChecksumFile(const char* path) {
  ::string why;
  ScopedFile f = OpenForReading(path, &why);
  if (f == nullptr) {
    LogFailure("SparseChecksumFile", path, why);
    return 0;
  }
  uint64 checksum = 0;
  if (f->IsLocalFile() && SparseLocalChecksum(path, &checksum)) return checksum;
  ChecksumState state;
  if (!AddRange(&state, f.get(), 0, -1, nullptr, &why)) {
    LogFailure("SparseChecksumFile", path, why);
    return 0;
  }
  return state.Checksum();
}

bool ChecksumState::TruncateChecksummedFile(const char* path, int64 length) {
  auto fail = [path](const ::string& reason) {
    LogFailure("TruncateChecksummedFile", path, reason);
    return false;
  };
  if (path == nullptr || length < 0) return fail("bad name or negative length");
  const int64 size = File::GetFileSize(path);
  if (size < 0) return fail("cannot stat the file");
  if (length > size) return fail("the file is only " + std::to_string(size) + " bytes long");
  FileAttr stored, kept;
  const bool recorded = file_attributes->Load(path, &stored);
  if (recorded) {
    if (stored.finalized) return fail("the file is finalized");
    if (!file_attributes->LoadPrefix(path, length, &kept)) {
      return fail("the bytes kept do not match the recorded checksum");
    }
  }
  std::unique_ptr<File, void (*)(File*)> f(File::Open(path, "r+"),
                                           [](File* h) { if (h) file::CloseAndDelete(h); });
  if (f == nullptr) return fail("cannot open the file for writing");
  if (!f->Truncate(length)) return fail(f->GetCurrentErrorMessage());
  if (!file::CloseAndDelete(f.release())) return fail("close failed");
  if (recorded && !file_attributes->Store(path, &kept)) return fail("cannot store the cut checksum");
  return true;
}
