// Reading files through the File interface, shared by the checksums, SHA-1
// and the archives.
#ifndef FILE_BASE_REDUNDANCY_FILE_READING_H_
#define FILE_BASE_REDUNDANCY_FILE_READING_H_

#include <functional>
#include <memory>

#include "file/base/file.h"

namespace redundancy {

constexpr int64 kReadPiece = 1 << 20;

struct FileCloser {
  void operator()(File* f) const {
    if (f != nullptr) file::CloseAndDelete(f);
  }
};
using ScopedFile = std::unique_ptr<File, FileCloser>;

// Opens `path` for reading on its own file system; null with *why (when not
// null) set on failure.
ScopedFile OpenForReading(const char* path, ::string* why);

// Hands the bytes [offset, offset + length) of `file` (length < 0: to the
// end of file) to `consume` in pieces of at most kReadPiece, with
// positioned reads, no faster than `limit` allows (null: no limit). False,
// with *why (when not null) set, when a read fails or the file ends before
// offset + length.
bool ReadRange(File* file, int64 offset, int64 length, BandwidthLimit* limit, ::string* why,
               const std::function<void(const char* data, int64 n)>& consume);

}  // namespace redundancy

#endif  // FILE_BASE_REDUNDANCY_FILE_READING_H_
