#include "file/base/util/status.h"

#include <time.h>

WallTime WallTime_Now() {
  struct timespec now;
  clock_gettime(CLOCK_REALTIME, &now);
  return static_cast<double>(now.tv_sec) + now.tv_nsec * 1e-9;
}

namespace util {

::string Status::ToString() const {
  if (ok()) return "OK";
  // A status without a space still says which code it carries.
  ::string space_name = space_ != nullptr ? space_->name() : "unknown space";
  ::string code_text = space_ != nullptr ? space_->String(code_)
                                         : "code " + std::to_string(code_);
  return space_name + "::" + code_text + ": " + message_;
}

}  // namespace util
