// The bytes of one memory file: a sparse table of fixed-size chunks.
//
// Why chunks: a large sequential write never moves what is already stored
// (each chunk grows geometrically up to kChunkSize and is then final, so the
// cost per byte stays amortised O(1)), holes cost nothing (a missing chunk
// reads as zeros), and chunks are shared copy-on-write, which makes
// snapshots and memory blocks cheap, point-in-time views.
//
// Not thread-safe: the owner (a memory file node) guards it with its lock.
#ifndef FILE_BASE_MEM_BYTES_H_
#define FILE_BASE_MEM_BYTES_H_

#include <cstddef>
#include <map>
#include <memory>

#include "file/base/util/base_types.h"

namespace file {
namespace mem {

class MemBytes {
 public:
  static constexpr int64 kChunkSize = 1 << 18;
  // The largest size a memory file may reach (writes and resizes beyond it
  // are refused by the callers with EFBIG).
  static constexpr int64 kMaxSize = int64{1} << 52;

  MemBytes() = default;
  // Copies share every chunk; the first write to a shared chunk copies it,
  // so the copy is a point-in-time snapshot.
  MemBytes(const MemBytes&) = default;
  MemBytes& operator=(const MemBytes&) = default;
  MemBytes(MemBytes&&) noexcept = default;
  MemBytes& operator=(MemBytes&&) noexcept = default;

  int64 size() const { return size_; }

  // Copies [offset, offset + count) into `out`; the range must lie within
  // size(). Bytes of holes read as zero.
  void Read(int64 offset, char* out, int64 count) const;
  // Stores `count` bytes at `offset`, growing the file (the gap before
  // `offset`, if any, reads as zeros). False when the memory cannot be had;
  // nothing past the bytes already stored is then visible.
  bool Write(int64 offset, const char* in, int64 count);
  // Grows with zeros or cuts the tail. False when the memory cannot be had.
  bool Resize(int64 new_size);

  // When [offset, offset + count) lies in one stored chunk, a pin that keeps
  // those bytes unchanged for as long as it lives and *data pointing at
  // them; otherwise null (the caller copies instead).
  std::shared_ptr<const void> Pin(int64 offset, int64 count,
                                  const char** data) const;

 private:
  struct Chunk;
  using ChunkPtr = std::shared_ptr<Chunk>;

  // The chunk at `index`, unshared and holding at least `needed` bytes;
  // null when memory runs out.
  Chunk* WritableChunk(int64 index, int64 needed);

  int64 size_ = 0;
  // Key i covers [i * kChunkSize, (i + 1) * kChunkSize); a missing key is a
  // hole. A map rather than a vector so that a far-away write or a huge
  // resize costs nothing for the gap.
  std::map<int64, ChunkPtr> chunks_;
};

}  // namespace mem
}  // namespace file

#endif  // FILE_BASE_MEM_BYTES_H_
