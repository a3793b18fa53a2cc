// Read-buffer arguments: the bytes of any object that offers the
// interpreter's read-buffer interface (str, buffer, array, ...).
#ifndef WRAPPERS_BUFFERS_H_
#define WRAPPERS_BUFFERS_H_

#include "wrappers/arguments.h"

namespace pq {

// The bytes of a read-buffer object, valid for the call. A str is lent as
// it is (immutable, and the argument tuple keeps it alive); the bytes of
// mutable objects are copied first, so another thread resizing them while
// the lock is released cannot pull them away.
struct ReadBuffer {
  const char* data = nullptr;
  size_t size = 0;
};

template <>
struct Param<ReadBuffer> : OneSlot<Candidate::kAny, 'O'> {
  ReadBuffer value;
  ::string copy;
  bool Load(const Slot& slot) {
    const void* data = nullptr;
    Py_ssize_t length = 0;
    // Raises the interpreter's own error for objects without the interface.
    if (PyObject_AsReadBuffer(slot.o, &data, &length) == -1) return false;
    if (PyString_Check(slot.o)) {
      value = ReadBuffer{static_cast<const char*>(data), static_cast<size_t>(length)};
    } else {
      copy.assign(static_cast<const char*>(data), static_cast<size_t>(length));
      value = ReadBuffer{copy.data(), copy.size()};
    }
    return true;
  }
  ReadBuffer Get() { return value; }
};

}  // namespace pq

#endif  // WRAPPERS_BUFFERS_H_
