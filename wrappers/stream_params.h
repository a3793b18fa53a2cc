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
using TrueUnlessGiven = Defaulted<bool, true>;

}  // namespace pq

#endif  // WRAPPERS_STREAM_PARAMS_H_
