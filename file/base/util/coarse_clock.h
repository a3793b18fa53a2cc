// A monotonic clock for cache lifetimes: read from the kernel's last tick
// (a few milliseconds of resolution) without reading the hardware clock, so
// that a per-operation freshness check costs next to nothing.
#ifndef FILE_BASE_UTIL_COARSE_CLOCK_H_
#define FILE_BASE_UTIL_COARSE_CLOCK_H_

#include <time.h>

#include <cstdint>

namespace util {

// Nanoseconds since an unspecified start, never going back.
inline int64_t CoarseMonotonicNanos() {
  struct timespec now;
  clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
  return static_cast<int64_t>(now.tv_sec) * 1000000000 + now.tv_nsec;
}

}  // namespace util

#endif  // FILE_BASE_UTIL_COARSE_CLOCK_H_
