// Parameter kinds of the stream families: sizes taken with PyInt_AsLong,
// and an optional flag whose default is true.
#ifndef WRAPPERS_STREAM_PARAMS_H_
#define WRAPPERS_STREAM_PARAMS_H_

#include <cstddef>

#include "wrappers/arguments.h"

namespace pq {

// size_t: "O" through PyInt_AsLong; a negative value arrives as a huge size,
// which the streams refuse or cut (they never allocate it).
template <>
struct Param<size_t> : OneSlot<Candidate::kInteger, 'O'> {
  size_t value = 0;
  bool Load(const Slot& slot) {
    value = static_cast<size_t>(PyInt_AsLong(slot.o));
    return !PyErr_Occurred();
  }
  size_t Get() { return value; }
};

// A trailing optional truth value that is true when left out.
struct TrueUnlessGiven {
  bool value = true;
  operator bool() const { return value; }  // NOLINT
};
template <>
struct Param<TrueUnlessGiven> : OneSlot<Candidate::kInteger, 'O'> {
  TrueUnlessGiven value;
  bool Load(const Slot& slot) {
    if (!slot.o) return true;  // not given
    value.value = PyInt_AsLong(slot.o) != 0;
    return !PyErr_Occurred();
  }
  TrueUnlessGiven Get() { return value; }
};

}  // namespace pq

#endif  // WRAPPERS_STREAM_PARAMS_H_
