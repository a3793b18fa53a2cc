// An owned, growable byte buffer used by the asynchronous and record-append
// handle operations.
#ifndef FILE_BASE_IOBUFFER_H_
#define FILE_BASE_IOBUFFER_H_

#include <cstring>
#include <string>

#include "file/base/util/base_types.h"

class IOBuffer {
 public:
  IOBuffer() = default;
  IOBuffer(const void* data, size_t size) { Append(data, size); }

  const char* data() const { return bytes_.data(); }
  char* mutable_data() { return bytes_.data(); }
  size_t size() const { return bytes_.size(); }
  bool empty() const { return bytes_.empty(); }

  void Append(const void* data, size_t size) {
    bytes_.append(static_cast<const char*>(data), size);
  }
  void Append(const std::string& s) { bytes_.append(s); }
  // Grows with zero bytes or cuts the tail.
  void Resize(size_t size) { bytes_.resize(size); }
  void Clear() { bytes_.clear(); }
  ::string ToString() const { return ::string(bytes_); }

 private:
  std::string bytes_;
};

#endif  // FILE_BASE_IOBUFFER_H_
