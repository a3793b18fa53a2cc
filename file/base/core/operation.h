// The per-call record of a "...WithOp" operation: deadline, priority, retry,
// resource user, traffic class, and the error the call ended with.
// Thread-safe: an operation may be shared between threads.
#ifndef FILE_BASE_OPERATION_H_
#define FILE_BASE_OPERATION_H_

#include <mutex>

#include "file/base/util/base_types.h"
#include "file/base/util/errors.h"
#include "file/base/util/status.h"

namespace file {

class Operation {
 public:
  Operation();
  ~Operation();
  Operation(const Operation&) = delete;
  Operation& operator=(const Operation&) = delete;

  int error() const;
  bool ok() const { return error() == OK; }
  ::string message() const;
  // Logs fatally ("Check failed: ...") when the operation failed.
  void CheckSuccess() const;
  // "OK", or "<code text>: <message>".
  ::string Status() const;
  util::Status ToStatus() const;
  void CopyFrom(const Operation& other);

  void SetDeadlineLength(double seconds_from_now);
  void SetAbsoluteDeadline(WallTime when);
  void ClearDeadline();
  bool HasDeadline() const;
  WallTime GetDeadline() const;  // 0 when there is none
  // True when a deadline is set and has passed.
  bool DeadlineExceeded() const;

  util::Priority priority() const;
  void set_priority(util::Priority p);

  // Brackets the library's work on behalf of this operation: the descriptor
  // becomes "<method>(<file>)"; InternalFinish records the elapsed time.
  void InternalStart(const StringPiece& method, const StringPiece& file);
  void InternalFinish();
  double elapsed_seconds() const;

  void SetError(ErrorCode code, const StringPiece& message);
  void ClearError();

  bool retry() const;
  void set_retry(bool r);
  ::string descriptor() const;
  ::string resource_user() const;
  void set_resource_user(const ::string& user);
  const net_base::OptionalTrafficClass& traffic_class() const { return traffic_class_; }
  void set_traffic_class(const net_base::OptionalTrafficClass& tc);

 private:
  mutable std::mutex mu_;
  int error_ = OK;
  ::string message_;
  WallTime deadline_ = 0;
  bool has_deadline_ = false;
  util::Priority priority_;
  bool retry_ = false;
  ::string descriptor_;
  ::string resource_user_;
  net_base::OptionalTrafficClass traffic_class_;
  WallTime started_ = 0;
  double elapsed_ = 0;
};

// Records a failure in op when op is not null; returns false so callers can
// write `return Fail(op, ERROR_NOT_FOUND, "...")`.
bool Fail(Operation* op, ErrorCode code, const StringPiece& message);

}  // namespace file

#endif  // FILE_BASE_OPERATION_H_
