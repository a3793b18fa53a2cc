// Process-wide counters of file operations.
#ifndef FILE_BASE_OPSTATS_H_
#define FILE_BASE_OPSTATS_H_

#include <atomic>

#include "file/base/util/base_types.h"

class FileOpStats {
 public:
  std::atomic<int64> opens{0};
  std::atomic<int64> open_failures{0};
  std::atomic<int64> closes{0};
  std::atomic<int64> reads{0};
  std::atomic<int64> bytes_read{0};
  std::atomic<int64> writes{0};
  std::atomic<int64> bytes_written{0};
  std::atomic<int64> stats{0};
  std::atomic<int64> matches{0};
  std::atomic<int64> deletes{0};
  std::atomic<int64> renames{0};
  std::atomic<int64> copies{0};
  std::atomic<int64> mkdirs{0};
  std::atomic<int64> syncs{0};
  std::atomic<int64> errors{0};

  // "opens=3 open_failures=0 ... errors=1" in the order above.
  ::string ToString() const;
  void Reset();
};

#endif  // FILE_BASE_OPSTATS_H_
