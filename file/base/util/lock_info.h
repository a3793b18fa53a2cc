// Advisory whole-file locks requested by the ...Locked opens and queries.
#ifndef FILE_BASE_LOCK_INFO_H_
#define FILE_BASE_LOCK_INFO_H_

#include "file/base/util/base_types.h"

// What lock to take: shared (many holders) or exclusive (one holder), and
// whether to wait for a conflicting holder or fail at once. A LockInfo is a
// request; the lock itself is held by the handle (or, for the by-name forms,
// for the duration of one call) and released on Close.
//
// Local files hold a real flock(2) lock, so other processes see it; memory
// files hold an entry in an in-process lock table. A try-lock that meets a
// conflicting holder fails with file::ERROR_TEMPORARY.
class LockInfo {
 public:
  enum Mode : int { SHARED = 0, EXCLUSIVE = 1 };

  LockInfo() = default;
  LockInfo(Mode mode, bool blocking) : mode_(mode), blocking_(blocking) {}

  Mode mode() const { return mode_; }
  bool exclusive() const { return mode_ == EXCLUSIVE; }
  bool blocking() const { return blocking_; }
  void set_mode(Mode mode) { mode_ = mode; }
  void set_blocking(bool blocking) { blocking_ = blocking; }

 private:
  Mode mode_ = EXCLUSIVE;
  bool blocking_ = false;
};

namespace file {
// A lock a file system holds on a caller's behalf; destroying it releases
// the lock.
class HeldLock {
 public:
  virtual ~HeldLock() = default;
};
}  // namespace file

#endif  // FILE_BASE_LOCK_INFO_H_
