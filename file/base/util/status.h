// Small value types shared by operations: status, priority, time, text views.
#ifndef FILE_BASE_STATUS_H_
#define FILE_BASE_STATUS_H_

#include <cstring>
#include <string_view>

#include "file/base/util/base_types.h"

// Seconds since the epoch, as a floating-point value.
typedef double WallTime;
WallTime WallTime_Now();

// A non-owning view of bytes.
class StringPiece {
 public:
  StringPiece() = default;
  StringPiece(const char* s) : data_(s), size_(s ? std::strlen(s) : 0) {}  // NOLINT
  StringPiece(const char* d, size_t n) : data_(d), size_(n) {}
  StringPiece(const std::string& s) : data_(s.data()), size_(s.size()) {}  // NOLINT
  const char* data() const { return data_; }
  size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }
  ::string ToString() const { return ::string(data_, size_); }
  std::string_view view() const { return std::string_view(data_, size_); }

 private:
  const char* data_ = nullptr;
  size_t size_ = 0;
};

namespace util {

// Names the codes of one error domain.
class ErrorSpace {
 public:
  explicit ErrorSpace(const char* name) : name_(name) {}
  virtual ~ErrorSpace() = default;
  const char* name() const { return name_; }
  virtual ::string String(int code) const = 0;

 private:
  const char* name_;
};

// An error code of an error space with a message; code 0 is success.
class Status {
 public:
  Status() = default;
  Status(const ErrorSpace* space, int code, const ::string& message)
      : space_(space), code_(code), message_(code == 0 ? ::string() : message) {}
  bool ok() const { return code_ == 0; }
  int error_code() const { return code_; }
  const ::string& error_message() const { return message_; }
  const ErrorSpace* error_space() const { return space_; }
  // "OK", or "<space>::<code text>: <message>".
  ::string ToString() const;
  bool operator==(const Status& o) const { return code_ == o.code_ && message_ == o.message_; }

 private:
  const ErrorSpace* space_ = nullptr;
  int code_ = 0;
  ::string message_;
};

// Scheduling priority of an operation: higher runs first. 0 is the default.
class Priority {
 public:
  Priority() = default;
  explicit Priority(int level) : level_(level) {}
  int level() const { return level_; }
  bool operator==(const Priority& o) const { return level_ == o.level_; }

 private:
  int level_ = 0;
};

}  // namespace util

namespace net_base {
// A network traffic class, or none.
class OptionalTrafficClass {
 public:
  OptionalTrafficClass() = default;
  explicit OptionalTrafficClass(int value) : has_(true), value_(value) {}
  bool has_value() const { return has_; }
  int value() const { return value_; }
  void clear() { has_ = false; value_ = 0; }
  bool operator==(const OptionalTrafficClass& o) const { return has_ == o.has_ && value_ == o.value_; }

 private:
  bool has_ = false;
  int value_ = 0;
};
}  // namespace net_base

#endif  // FILE_BASE_STATUS_H_
