#include "file/base/util/bandwidth.h"

#include <thread>

BandwidthLimit::BandwidthLimit(int64 bytes_per_second)
    : bytes_per_second_(bytes_per_second),
      paid_until_(std::chrono::steady_clock::now()) {}

void BandwidthLimit::Consume(int64 bytes) {
  if (bytes_per_second_ <= 0 || bytes <= 0) return;
  using Clock = std::chrono::steady_clock;
  const auto cost = std::chrono::duration_cast<Clock::duration>(
      std::chrono::duration<double>(static_cast<double>(bytes) /
                                    static_cast<double>(bytes_per_second_)));
  Clock::time_point wake;
  {
    std::lock_guard<std::mutex> lock(mu_);
    // Idle time is not banked: a limit that was unused for a while does not
    // allow a burst above the rate afterwards.
    const auto now = Clock::now();
    if (paid_until_ < now) paid_until_ = now;
    paid_until_ += cost;
    wake = paid_until_;
  }
  // Sleep until these bytes are paid for; concurrent users queue behind
  // each other because each extends paid_until_.
  std::this_thread::sleep_until(wake);
}
