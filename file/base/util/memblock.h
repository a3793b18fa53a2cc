// A read-only view of a range of a file.
#ifndef FILE_BASE_MEMBLOCK_H_
#define FILE_BASE_MEMBLOCK_H_

#include <functional>
#include <memory>

#include "file/base/util/base_types.h"

// The bytes of [offset, offset + size) of a file. The caller owns the block
// and deletes it.
//
// A block that is not mapped (a copy, or a pin on a memory file's pages:
// everything GetMemBlock and GetMemBlockFromDisk give) keeps the bytes as
// they were when it was made, whatever happens to the file afterwards.
//
// A mapped block (is_mapped(): what TryMMap gives on local files) is a view
// of the file itself, unmapped when the block is destroyed. It shows later
// writes to the file, and truncating the file below the end of the block is
// the caller's error: reading a page past the new end kills the process
// with SIGBUS.
class MemBlock {
 public:
  ~MemBlock();
  MemBlock(const MemBlock&) = delete;
  MemBlock& operator=(const MemBlock&) = delete;

  const char* data() const { return data_; }
  int64 size() const { return size_; }
  int64 offset() const { return offset_; }
  // True when the bytes are a mapping of the file rather than a copy.
  bool is_mapped() const { return map_base_ != nullptr; }

  // Takes over a mapping made with mmap: [map_base, map_base + map_length)
  // is unmapped on destruction; data points into it.
  static MemBlock* FromMapping(void* map_base, size_t map_length,
                               const char* data, int64 size, int64 offset);
  // Owns a copy of the bytes.
  static MemBlock* FromCopy(::string bytes, int64 offset);
  // Views bytes kept alive by `pin` (for example a shared page of a memory
  // file); the pin is dropped on destruction.
  static MemBlock* FromPinned(std::shared_ptr<const void> pin,
                              const char* data, int64 size, int64 offset);

 private:
  MemBlock() = default;
  const char* data_ = nullptr;
  int64 size_ = 0;
  int64 offset_ = 0;
  void* map_base_ = nullptr;
  size_t map_length_ = 0;
  ::string copy_;
  std::shared_ptr<const void> pin_;
};

#endif  // FILE_BASE_MEMBLOCK_H_
