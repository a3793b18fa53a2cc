// A byte-rate limit for copies.
#ifndef FILE_BASE_BANDWIDTH_H_
#define FILE_BASE_BANDWIDTH_H_

#include <chrono>
#include <mutex>

#include "file/base/util/base_types.h"

// Limits the rate of the copies that share it to bytes_per_second. Thread
// safe: several copies may share one limit and then share its rate.
class BandwidthLimit {
 public:
  // bytes_per_second <= 0 means unlimited.
  explicit BandwidthLimit(int64 bytes_per_second);

  int64 bytes_per_second() const { return bytes_per_second_; }
  // Accounts for `bytes` about to be (or just) moved and sleeps as long as
  // needed to keep the running rate at or under the limit.
  void Consume(int64 bytes);

 private:
  const int64 bytes_per_second_;
  std::mutex mu_;
  // The moment at which everything consumed so far has been paid for.
  std::chrono::steady_clock::time_point paid_until_;
};

#endif  // FILE_BASE_BANDWIDTH_H_
