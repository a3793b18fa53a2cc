// Small records passed to File operations.
#ifndef FILE_BASE_FILE_RECORDS_H_
#define FILE_BASE_FILE_RECORDS_H_

#include "file/base/core/attr.h"
#include "file/base/util/base_types.h"

// A saved position in a file: OpenToCheckpointOrDie reopens `filename` and
// seeks to `offset`.
class CheckpointRecord {
 public:
  CheckpointRecord() = default;
  CheckpointRecord(const ::string& filename, int64 offset)
      : filename(filename), offset(offset) {}
  ::string filename;
  int64 offset = 0;
};

// A hook that checks bytes as they are read; a verifying read fails with
// file::INTERNAL_ERROR when Verify returns false.
class FileDataVerifier {
 public:
  virtual ~FileDataVerifier() = default;
  virtual bool Verify(const void* data, int64 size) = 0;
};

// One variant of a data range (File::DataVariant): where it lies and its
// bytes.
struct FileDataVariant {
  int64 offset = 0;
  int64 length = 0;
  ::string bytes;
};

namespace file {
// Options of RecursivelyCreateDirWithOptions. mode 0x7fffffff means the file
// system's default (0777 less the umask); attributes DEFAULT means none are
// recorded; an empty group leaves the group alone.
struct RecursiveCreateOptions {
  unsigned int mode = 0x7fffffff;
  Attr_t attributes = Attr_t(Attr_t::DEFAULT);
  ::string group;
};
}  // namespace file

#endif  // FILE_BASE_FILE_RECORDS_H_
