// A process-wide replaceable function, read often and set rarely: readers get
// a reference-counted snapshot, so a hook can be swapped while calls through
// the old one are still running.
#ifndef FILE_BASE_HOOK_SLOT_H_
#define FILE_BASE_HOOK_SLOT_H_

#include <memory>
#include <mutex>
#include <utility>

namespace file {

template <class Fn>
class HookSlot {
 public:
  // An empty `fn` clears the slot.
  void Set(Fn fn) {
    std::shared_ptr<const Fn> installed;
    if (fn) installed = std::make_shared<const Fn>(std::move(fn));
    std::lock_guard<std::mutex> lock(mutex_);
    fn_ = std::move(installed);
  }

  // Null when nothing is installed.
  std::shared_ptr<const Fn> Get() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return fn_;
  }

 private:
  mutable std::mutex mutex_;
  std::shared_ptr<const Fn> fn_;
};

}  // namespace file

#endif  // FILE_BASE_HOOK_SLOT_H_
