// Small records passed to File operations.
#ifndef FILE_BASE_FILE_RECORDS_H_
#define FILE_BASE_FILE_RECORDS_H_

#include "file/base/checksums/checksum.h"
#include "file/base/core/attr.h"
#include "file/base/util/base_types.h"

// A saved position in a file: OpenToCheckpointOrDie reopens `filename` and
// seeks to `offset`. A writer that keeps a running checksum of the file
// (OutputBuffer with an attribute record) also saves it, so that writing can
// resume at the checkpoint with the checksum of the bytes before it. Its text
// form and the writers that keep checkpoints are in
// file/base/streams/checkpoint.h.
class CheckpointRecord {
 public:
  CheckpointRecord() = default;
  CheckpointRecord(const ::string& filename, int64 offset)
      : filename(filename), offset(offset) {}
  ::string filename;
  int64 offset = 0;
  // The checksum of the file's first `offset` bytes, when has_checksum.
  bool has_checksum = false;
  ChecksumState checksum;
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
