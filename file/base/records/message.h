// proto2::Message: the small message interface record and log writers
// accept. A message turns itself into bytes and back; writers store those
// bytes as one record and readers hand them back to ParseFromString.
#ifndef FILE_BASE_RECORDS_MESSAGE_H_
#define FILE_BASE_RECORDS_MESSAGE_H_

#include <utility>

#include "file/base/util/base_types.h"

namespace proto2 {

class Message {
 public:
  virtual ~Message() = default;
  // Appends the message's bytes to *out; false when it cannot be written
  // (for example, a required part is missing).
  virtual bool AppendToString(::string* out) const = 0;
  // Replaces the message with the one `bytes` hold; false when they are not
  // a message of this kind.
  virtual bool ParseFromString(const ::string& bytes) = 0;
};

// A message that is just its bytes: what a caller without a schema of its
// own writes and reads.
class BytesMessage : public Message {
 public:
  BytesMessage() = default;
  explicit BytesMessage(::string bytes) : bytes_(std::move(bytes)) {}
  bool AppendToString(::string* out) const override {
    out->append(bytes_);
    return true;
  }
  bool ParseFromString(const ::string& bytes) override {
    bytes_ = bytes;
    return true;
  }
  const ::string& bytes() const { return bytes_; }

 private:
  ::string bytes_;
};

}  // namespace proto2

#endif  // FILE_BASE_RECORDS_MESSAGE_H_
