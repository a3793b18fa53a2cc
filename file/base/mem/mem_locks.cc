#include "file/base/mem/mem_locks.h"

#include <cerrno>
#include <condition_variable>
#include <map>
#include <mutex>

namespace file {
namespace mem {
namespace {

struct LockState {
  int shared_holders = 0;
  bool exclusive_held = false;
};

class LockTable {
 public:
  static LockTable& Get() {
    static LockTable* table = new LockTable;  // outlives every handle
    return *table;
  }

  int Acquire(int64 node_id, bool exclusive, bool blocking) {
    std::unique_lock<std::mutex> lock(mu_);
    auto available = [&] {
      auto it = states_.find(node_id);
      if (it == states_.end()) return true;
      if (it->second.exclusive_held) return false;
      return !exclusive || it->second.shared_holders == 0;
    };
    if (!available()) {
      if (!blocking) return EWOULDBLOCK;
      released_.wait(lock, available);
    }
    LockState& state = states_[node_id];
    if (exclusive) {
      state.exclusive_held = true;
    } else {
      ++state.shared_holders;
    }
    return 0;
  }

  void Release(int64 node_id, bool exclusive) {
    {
      std::lock_guard<std::mutex> lock(mu_);
      auto it = states_.find(node_id);
      if (it == states_.end()) return;
      if (exclusive) {
        it->second.exclusive_held = false;
      } else {
        --it->second.shared_holders;
      }
      if (!it->second.exclusive_held && it->second.shared_holders == 0) {
        states_.erase(it);
      }
    }
    released_.notify_all();
  }

 private:
  std::mutex mu_;
  std::condition_variable released_;
  std::map<int64, LockState> states_;
};

class HeldNodeLock : public HeldLock {
 public:
  HeldNodeLock(int64 node_id, bool exclusive)
      : node_id_(node_id), exclusive_(exclusive) {}
  ~HeldNodeLock() override { LockTable::Get().Release(node_id_, exclusive_); }

 private:
  const int64 node_id_;
  const bool exclusive_;
};

}  // namespace

int AcquireNodeLock(int64 node_id, const LockInfo& request,
                    std::unique_ptr<HeldLock>* held) {
  const int error =
      LockTable::Get().Acquire(node_id, request.exclusive(), request.blocking());
  if (error == 0) {
    held->reset(new HeldNodeLock(node_id, request.exclusive()));
  }
  return error;
}

}  // namespace mem
}  // namespace file
