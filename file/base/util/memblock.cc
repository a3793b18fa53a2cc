#include "file/base/util/memblock.h"

#include <sys/mman.h>

#include <utility>

MemBlock::~MemBlock() {
  if (map_base_ != nullptr) munmap(map_base_, map_length_);
}

MemBlock* MemBlock::FromMapping(void* map_base, size_t map_length,
                                const char* data, int64 size, int64 offset) {
  MemBlock* block = new MemBlock;
  block->map_base_ = map_base;
  block->map_length_ = map_length;
  block->data_ = data;
  block->size_ = size;
  block->offset_ = offset;
  return block;
}

MemBlock* MemBlock::FromCopy(::string bytes, int64 offset) {
  MemBlock* block = new MemBlock;
  block->copy_ = std::move(bytes);
  block->data_ = block->copy_.data();
  block->size_ = static_cast<int64>(block->copy_.size());
  block->offset_ = offset;
  return block;
}

MemBlock* MemBlock::FromPinned(std::shared_ptr<const void> pin,
                               const char* data, int64 size, int64 offset) {
  MemBlock* block = new MemBlock;
  block->pin_ = std::move(pin);
  block->data_ = data;
  block->size_ = size;
  block->offset_ = offset;
  return block;
}
