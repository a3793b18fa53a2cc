#include "file/base/util/open_mode.h"

namespace file {

bool ParseOpenMode(const char* mode, OpenMode* out) {
  if (mode == nullptr || out == nullptr) return false;
  OpenMode parsed;
  switch (mode[0]) {
    case 'r':
      parsed.read = true;
      break;
    case 'w':
      parsed.write = parsed.create = parsed.truncate = true;
      break;
    case 'a':
      parsed.write = parsed.append = parsed.create = true;
      break;
    default:
      return false;
  }
  bool seen_plus = false;
  bool seen_b = false;
  for (const char* p = mode + 1; *p != '\0'; ++p) {
    if (*p == '+' && !seen_plus) {
      seen_plus = true;
    } else if (*p == 'b' && !seen_b) {
      seen_b = true;
    } else {
      return false;
    }
  }
  if (seen_plus) parsed.read = parsed.write = true;
  *out = parsed;
  return true;
}

}  // namespace file
