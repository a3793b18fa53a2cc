// The position of a handle whose file system keeps it itself, because no
// kernel descriptor holds one (memory, remote and archived files). One handle
// may be used from several threads: a sequential read or write holds the
// position while it moves it, so two of them never use the same bytes.
#ifndef FILE_BASE_CORE_KEPT_POSITION_H_
#define FILE_BASE_CORE_KEPT_POSITION_H_

#include <mutex>

#include "file/base/util/base_types.h"

namespace file {

class KeptPosition {
 public:
  int64 Get() {
    std::lock_guard<std::mutex> lock(mu_);
    return value_;
  }
  void Set(int64 value) {
    std::lock_guard<std::mutex> lock(mu_);
    value_ = value;
  }
  // Runs fn(position&) with the position held; fn may move it.
  template <typename Fn>
  auto Holding(Fn fn) {
    std::lock_guard<std::mutex> lock(mu_);
    return fn(value_);
  }
  // Runs io(position) with the position held and moves the position past
  // the bytes io reports done (a count; nothing moves for 0 or -1).
  template <typename Io>
  int64 Advance(Io io) {
    return Holding([&](int64& position) {
      const int64 n = io(position);
      if (n > 0) position += n;
      return n;
    });
  }

 private:
  std::mutex mu_;
  int64 value_ = 0;
};

}  // namespace file

#endif  // FILE_BASE_CORE_KEPT_POSITION_H_
