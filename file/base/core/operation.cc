#include "file/base/core/operation.h"

#include "file/base/util/logging.h"

namespace file {

Operation::Operation() = default;

Operation::~Operation() = default;

int Operation::error() const {
  std::lock_guard<std::mutex> lock(mu_);
  return error_;
}

::string Operation::message() const {
  std::lock_guard<std::mutex> lock(mu_);
  return message_;
}

void Operation::CheckSuccess() const {
  if (ok()) return;
  LogMessageFatal(__FILE__, __LINE__).stream() << "Check failed: operation succeeded: " << Status();
}

::string Operation::Status() const {
  std::lock_guard<std::mutex> lock(mu_);
  if (error_ == OK) return "OK";
  return ErrorToString(error_) + ": " + message_;
}

util::Status Operation::ToStatus() const {
  std::lock_guard<std::mutex> lock(mu_);
  return util::Status(ErrorSpace(), error_, message_);
}

void Operation::CopyFrom(const Operation& other) {
  if (&other == this) return;
  std::scoped_lock lock(mu_, other.mu_);
  error_ = other.error_;
  message_ = other.message_;
  deadline_ = other.deadline_;
  has_deadline_ = other.has_deadline_;
  priority_ = other.priority_;
  retry_ = other.retry_;
  descriptor_ = other.descriptor_;
  resource_user_ = other.resource_user_;
  traffic_class_ = other.traffic_class_;
  started_ = other.started_;
  elapsed_ = other.elapsed_;
}

void Operation::SetDeadlineLength(double seconds_from_now) {
  SetAbsoluteDeadline(WallTime_Now() + seconds_from_now);
}

void Operation::SetAbsoluteDeadline(WallTime when) {
  std::lock_guard<std::mutex> lock(mu_);
  deadline_ = when;
  has_deadline_ = true;
}

void Operation::ClearDeadline() {
  std::lock_guard<std::mutex> lock(mu_);
  deadline_ = 0;
  has_deadline_ = false;
}

bool Operation::HasDeadline() const {
  std::lock_guard<std::mutex> lock(mu_);
  return has_deadline_;
}

WallTime Operation::GetDeadline() const {
  std::lock_guard<std::mutex> lock(mu_);
  return has_deadline_ ? deadline_ : 0;
}

bool Operation::DeadlineExceeded() const {
  std::lock_guard<std::mutex> lock(mu_);
  return has_deadline_ && WallTime_Now() >= deadline_;
}

util::Priority Operation::priority() const {
  std::lock_guard<std::mutex> lock(mu_);
  return priority_;
}

void Operation::set_priority(util::Priority p) {
  std::lock_guard<std::mutex> lock(mu_);
  priority_ = p;
}

void Operation::InternalStart(const StringPiece& method, const StringPiece& file) {
  ::string descriptor = method.ToString() + "(" + file.ToString() + ")";
  WallTime now = WallTime_Now();
  std::lock_guard<std::mutex> lock(mu_);
  descriptor_ = std::move(descriptor);
  started_ = now;
  elapsed_ = 0;
}

void Operation::InternalFinish() {
  WallTime now = WallTime_Now();
  std::lock_guard<std::mutex> lock(mu_);
  // Without a start there is nothing to measure.
  if (started_ != 0) elapsed_ = now - started_;
}

double Operation::elapsed_seconds() const {
  std::lock_guard<std::mutex> lock(mu_);
  return elapsed_;
}

void Operation::SetError(ErrorCode code, const StringPiece& message) {
  std::lock_guard<std::mutex> lock(mu_);
  error_ = code;
  // Success carries no message, as in util::Status.
  message_ = code == OK ? ::string() : message.ToString();
}

void Operation::ClearError() { SetError(OK, StringPiece()); }

bool Operation::retry() const {
  std::lock_guard<std::mutex> lock(mu_);
  return retry_;
}

void Operation::set_retry(bool r) {
  std::lock_guard<std::mutex> lock(mu_);
  retry_ = r;
}

::string Operation::descriptor() const {
  std::lock_guard<std::mutex> lock(mu_);
  return descriptor_;
}

::string Operation::resource_user() const {
  std::lock_guard<std::mutex> lock(mu_);
  return resource_user_;
}

void Operation::set_resource_user(const ::string& user) {
  std::lock_guard<std::mutex> lock(mu_);
  resource_user_ = user;
}

void Operation::set_traffic_class(const net_base::OptionalTrafficClass& tc) {
  std::lock_guard<std::mutex> lock(mu_);
  traffic_class_ = tc;
}

bool Fail(Operation* op, ErrorCode code, const StringPiece& message) {
  if (op != nullptr) op->SetError(code, message);
  return false;
}

}  // namespace file
