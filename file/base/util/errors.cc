#include "file/base/util/errors.h"

#include <cerrno>
#include <iterator>

#include "file/base/util/status.h"

namespace file {

namespace {

// Indexed by ErrorCode; kept next to the enumeration's order on purpose.
const char* const kErrorTexts[] = {
    "ok",                 // OK
    "invalid argument",   // ERROR_INVALID_ARGUMENT
    "deadline exceeded",  // ERROR_DEADLINE_EXCEEDED
    "not found",          // ERROR_NOT_FOUND
    "already exists",     // ERROR_ALREADY_EXISTS
    "permission denied",  // ERROR_PERMISSION_DENIED
    "wrong type",         // ERROR_WRONG_TYPE
    "not empty",          // ERROR_NOT_EMPTY
    "no space",           // ERROR_NO_SPACE
    "past end of file",   // ERROR_PAST_EOF
    "unknown error",      // ERROR_UNKNOWN
    "unimplemented",      // ERROR_UNIMPLEMENTED
    "internal error",     // INTERNAL_ERROR
    "temporary error",    // ERROR_TEMPORARY
};
static_assert(std::size(kErrorTexts) == MAX_ERROR_CODE + 1,
              "every error code needs a text");

struct ErrnoMapping {
  int errno_value;
  ErrorCode code;
};

// A table rather than a switch: several errno names share a value on some
// systems (EAGAIN/EWOULDBLOCK, ENOTSUP/EOPNOTSUPP), which a switch rejects.
const ErrnoMapping kErrnoMappings[] = {
    {ENOENT, ERROR_NOT_FOUND},
    {ENXIO, ERROR_NOT_FOUND},
    {ENODEV, ERROR_NOT_FOUND},
    {EEXIST, ERROR_ALREADY_EXISTS},
    {EACCES, ERROR_PERMISSION_DENIED},
    {EPERM, ERROR_PERMISSION_DENIED},
    {EROFS, ERROR_PERMISSION_DENIED},
    {ENOTDIR, ERROR_WRONG_TYPE},
    {EISDIR, ERROR_WRONG_TYPE},
    {ESPIPE, ERROR_WRONG_TYPE},
    {ENOTEMPTY, ERROR_NOT_EMPTY},
    {ENOSPC, ERROR_NO_SPACE},
    {EDQUOT, ERROR_NO_SPACE},
    {EFBIG, ERROR_NO_SPACE},
    {EMLINK, ERROR_NO_SPACE},
    {EAGAIN, ERROR_TEMPORARY},
    {EWOULDBLOCK, ERROR_TEMPORARY},
    {EINTR, ERROR_TEMPORARY},
    {EBUSY, ERROR_TEMPORARY},
    {ETXTBSY, ERROR_TEMPORARY},
    {ENOMEM, ERROR_TEMPORARY},
    {ENOBUFS, ERROR_TEMPORARY},
    {EMFILE, ERROR_TEMPORARY},
    {ENFILE, ERROR_TEMPORARY},
    {EDEADLK, ERROR_TEMPORARY},
    {ENOLCK, ERROR_TEMPORARY},
    {ECONNREFUSED, ERROR_TEMPORARY},
    {ECONNRESET, ERROR_TEMPORARY},
    {ENETDOWN, ERROR_TEMPORARY},
    {ENETUNREACH, ERROR_TEMPORARY},
    {EHOSTUNREACH, ERROR_TEMPORARY},
    {ETIMEDOUT, ERROR_DEADLINE_EXCEEDED},
    {EINVAL, ERROR_INVALID_ARGUMENT},
    {ENAMETOOLONG, ERROR_INVALID_ARGUMENT},
    {ELOOP, ERROR_INVALID_ARGUMENT},
    {EBADF, ERROR_INVALID_ARGUMENT},
    {EFAULT, ERROR_INVALID_ARGUMENT},
    {ERANGE, ERROR_INVALID_ARGUMENT},
    {EOVERFLOW, ERROR_INVALID_ARGUMENT},
    {E2BIG, ERROR_INVALID_ARGUMENT},
    {ENOSYS, ERROR_UNIMPLEMENTED},
    {EOPNOTSUPP, ERROR_UNIMPLEMENTED},
    {ENOTSUP, ERROR_UNIMPLEMENTED},
    {ENOTTY, ERROR_UNIMPLEMENTED},
    {EXDEV, ERROR_UNIMPLEMENTED},
    {EIO, INTERNAL_ERROR},
    {EUCLEAN, INTERNAL_ERROR},
};

class FileErrorSpace : public util::ErrorSpace {
 public:
  FileErrorSpace() : util::ErrorSpace("file") {}
  ::string String(int code) const override { return ErrorToString(code); }
};

}  // namespace

::string ErrorToString(int code) {
  if (code < 0 || code > MAX_ERROR_CODE) {
    return "unknown error code " + std::to_string(code);
  }
  return kErrorTexts[code];
}

int TranslateFromErrno(int errno_value) {
  if (errno_value == 0) return OK;
  for (const ErrnoMapping& m : kErrnoMappings) {
    if (m.errno_value == errno_value) return m.code;
  }
  return ERROR_UNKNOWN;
}

util::ErrorSpace* ErrorSpace() {
  // Never destroyed: statuses naming it may outlive static destruction.
  static FileErrorSpace* const space = new FileErrorSpace;
  return space;
}

}  // namespace file
