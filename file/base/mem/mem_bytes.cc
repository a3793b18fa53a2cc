#include "file/base/mem/mem_bytes.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace file {
namespace mem {

// Bytes past the stored data of a chunk (up to its capacity) are always
// zero, so a chunk can be read up to its capacity without looking at the
// file size, and growing the file never has to clear anything.
struct MemBytes::Chunk {
  struct Free {
    void operator()(char* p) const { std::free(p); }
  };
  // calloc: large zeroed blocks come straight from fresh pages, which the
  // kernel has already cleared, so they are not cleared twice.
  std::unique_ptr<char[], Free> bytes;
  int64 capacity = 0;
};

namespace {

constexpr int64 kMinChunkCapacity = 256;

// Only the first chunk grows by doubling (which keeps small files small and
// the copying amortised O(1) per byte); a file that reaches a second chunk
// is large, and gets whole chunks at once.
int64 GrownCapacity(int64 index, int64 current, int64 needed) {
  if (index > 0) return MemBytes::kChunkSize;
  int64 capacity = std::max(current, kMinChunkCapacity);
  while (capacity < needed) capacity *= 2;
  return std::min(capacity, MemBytes::kChunkSize);
}

}  // namespace

void MemBytes::Read(int64 offset, char* out, int64 count) const {
  const int64 end = offset + count;
  auto it = chunks_.lower_bound(offset / kChunkSize);
  while (offset < end) {
    const int64 index = offset / kChunkSize;
    const int64 in_chunk = offset - index * kChunkSize;
    const int64 piece = std::min(end - offset, kChunkSize - in_chunk);
    int64 stored = 0;
    if (it != chunks_.end() && it->first == index) {
      const Chunk& chunk = *it->second;
      stored = std::clamp<int64>(chunk.capacity - in_chunk, 0, piece);
      if (stored > 0) std::memcpy(out, chunk.bytes.get() + in_chunk, stored);
      ++it;
    }
    if (stored < piece) std::memset(out + stored, 0, piece - stored);
    out += piece;
    offset += piece;
  }
}

MemBytes::Chunk* MemBytes::WritableChunk(int64 index, int64 needed) {
  ChunkPtr& slot = chunks_[index];
  const int64 current = slot ? slot->capacity : 0;
  // use_count() is exact here: new sharers of this chunk are only made
  // under the owner's lock, which the writer holds.
  if (slot && slot.use_count() == 1 && current >= needed) return slot.get();
  const int64 capacity = GrownCapacity(index, current, needed);
  auto fresh = std::make_shared<Chunk>();
  fresh->bytes.reset(static_cast<char*>(std::calloc(capacity, 1)));
  if (!fresh->bytes) {
    if (!slot) chunks_.erase(index);
    return nullptr;
  }
  fresh->capacity = capacity;
  if (slot) std::memcpy(fresh->bytes.get(), slot->bytes.get(), current);
  slot = std::move(fresh);
  return slot.get();
}

bool MemBytes::Write(int64 offset, const char* in, int64 count) {
  const int64 end = offset + count;
  while (offset < end) {
    const int64 index = offset / kChunkSize;
    const int64 in_chunk = offset - index * kChunkSize;
    const int64 piece = std::min(end - offset, kChunkSize - in_chunk);
    Chunk* chunk = WritableChunk(index, in_chunk + piece);
    if (chunk == nullptr) return false;
    std::memcpy(chunk->bytes.get() + in_chunk, in, piece);
    in += piece;
    offset += piece;
    size_ = std::max(size_, offset);
  }
  return true;
}

bool MemBytes::Resize(int64 new_size) {
  if (new_size < size_) {
    const int64 first_dropped = (new_size + kChunkSize - 1) / kChunkSize;
    chunks_.erase(chunks_.lower_bound(first_dropped), chunks_.end());
    const int64 cut = new_size % kChunkSize;
    auto last = chunks_.find(new_size / kChunkSize);
    if (cut != 0 && last != chunks_.end() && last->second->capacity > cut) {
      // Keep the zero-tail invariant; a shared chunk is copied first so that
      // snapshots keep their bytes.
      Chunk* chunk = WritableChunk(last->first, cut);
      if (chunk == nullptr) return false;
      std::memset(chunk->bytes.get() + cut, 0, chunk->capacity - cut);
    }
  }
  size_ = new_size;
  return true;
}

std::shared_ptr<const void> MemBytes::Pin(int64 offset, int64 count,
                                          const char** data) const {
  if (count <= 0) return nullptr;
  const int64 index = offset / kChunkSize;
  if ((offset + count - 1) / kChunkSize != index) return nullptr;
  auto it = chunks_.find(index);
  if (it == chunks_.end()) return nullptr;
  const int64 in_chunk = offset - index * kChunkSize;
  if (in_chunk + count > it->second->capacity) return nullptr;
  *data = it->second->bytes.get() + in_chunk;
  return it->second;
}

}  // namespace mem
}  // namespace file
