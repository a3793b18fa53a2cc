// The read handle of an archived file: the ordinary File interface over the
// archive's shards, rebuilding lost or damaged cells as it reads.
#ifndef FILE_BASE_REDUNDANCY_ARCHIVE_FILE_H_
#define FILE_BASE_REDUNDANCY_ARCHIVE_FILE_H_

#include <mutex>

#include "file/base/core/kept_position.h"
#include "file/base/file.h"
#include "file/base/redundancy/archive_layout.h"

namespace redundancy {

class ArchiveFile : public File {
 public:
  // A handle made with manifest_valid false refuses to open (the archive's
  // manifest is damaged).
  ArchiveFile(FileFactory* factory, const char* name, const char* mode, const FileOpenOptions& options,
              const Manifest& manifest, bool manifest_valid = true);
  ~ArchiveFile() override;

  // Up to max_variants readings of [offset, offset + length) (cut to the
  // file), each a new DataVariant the caller deletes: first the bytes of
  // the data shards as stored (left out when one of them is lost or
  // damaged), then the bytes rebuilt with the parity shards taking the place
  // of as many data shards as they can. Fails (INTERNAL_ERROR) when neither
  // can be had.
  bool ReadMultipleDataVariants(int64 offset, int64 length, int max_variants,
                                vector<DataVariant*>* variants, file::Operation* op) override;

 protected:
  bool DoOpen() override;
  bool DoClose() override;
  int64 DoRead(void* buffer, uint64 size) override;
  int64 DoWrite(const void* buffer, uint64 size) override;
  int64 DoAppend(const void* buffer, uint64 size, int64* offset) override;
  int64 DoPRead(int64 offset, void* buffer, int64 size) override;
  int64 DoPWrite(int64 offset, const void* buffer, int64 size) override;
  bool DoTruncate(int64 length) override;
  int64 DoSize() override;
  int64 DoTell() override;
  bool DoSeek(int64 position) override;
  bool DoSync(bool data_only) override;
  bool DoStat(FileStat* stat) override;
  MemBlock* DoGetBlock(int64 offset, int64 length, bool must_map) override;

 private:
  // Reads [offset, offset + size) (cut to the file) with the given sources;
  // false with *why on failure.
  bool ReadBytes(int64 offset, char* to, int64 size, ArchiveShards::Sources sources, ::string* why);
  bool ReadOnly(const char* what);

  const Manifest manifest_;
  const bool manifest_valid_;
  ArchiveShards shards_;
  std::mutex mu_;  // guards the stripe cache
  file::KeptPosition position_;
  int64 cached_stripe_ = -1;
  ::string cache_;
};

}  // namespace redundancy

#endif  // FILE_BASE_REDUNDANCY_ARCHIVE_FILE_H_
