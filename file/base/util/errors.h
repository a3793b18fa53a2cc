// Error codes of the file library and their texts.
#ifndef FILE_BASE_ERRORS_H_
#define FILE_BASE_ERRORS_H_

#include "file/base/util/base_types.h"

namespace util {
class ErrorSpace;
}

namespace file {

enum ErrorCode : int {
  OK = 0,
  ERROR_INVALID_ARGUMENT = 1,
  ERROR_DEADLINE_EXCEEDED = 2,
  ERROR_NOT_FOUND = 3,
  ERROR_ALREADY_EXISTS = 4,
  ERROR_PERMISSION_DENIED = 5,
  ERROR_WRONG_TYPE = 6,
  ERROR_NOT_EMPTY = 7,
  ERROR_NO_SPACE = 8,
  ERROR_PAST_EOF = 9,
  ERROR_UNKNOWN = 10,
  ERROR_UNIMPLEMENTED = 11,
  INTERNAL_ERROR = 12,
  ERROR_TEMPORARY = 13,
  MAX_ERROR_CODE = 13,
};

// A short human text for an error code ("not found", ...); codes outside the
// range give "unknown error code N".
::string ErrorToString(int code);

// Maps an errno value to the library's error code (ENOENT -> ERROR_NOT_FOUND,
// ...); 0 gives OK and unlisted values ERROR_UNKNOWN.
int TranslateFromErrno(int errno_value);

// The process-wide error space naming the codes above.
util::ErrorSpace* ErrorSpace();

}  // namespace file

#endif  // FILE_BASE_ERRORS_H_
