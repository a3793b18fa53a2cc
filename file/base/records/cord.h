// Cord: a byte string held as a list of pieces, so that large values can be
// built by appending without copying what is already there.
#ifndef FILE_BASE_RECORDS_CORD_H_
#define FILE_BASE_RECORDS_CORD_H_

#include <memory>
#include <string>
#include <vector>

#include "file/base/util/base_types.h"

class Cord {
 public:
  Cord() = default;
  explicit Cord(const std::string& bytes) { Append(bytes); }

  void Append(const std::string& bytes) {
    if (bytes.empty()) return;
    pieces_.push_back(std::make_shared<const std::string>(bytes));
    size_ += bytes.size();
  }
  void Append(const Cord& other) {
    pieces_.insert(pieces_.end(), other.pieces_.begin(), other.pieces_.end());
    size_ += other.size_;
  }
  size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }
  // Calls f(data, n) for each piece in order.
  template <class F>
  void ForEachPiece(F f) const {
    for (const auto& p : pieces_) f(p->data(), p->size());
  }
  std::string ToString() const {
    std::string out;
    out.reserve(size_);
    ForEachPiece([&](const char* d, size_t n) { out.append(d, n); });
    return out;
  }

 private:
  std::vector<std::shared_ptr<const std::string>> pieces_;
  size_t size_ = 0;
};

#endif  // FILE_BASE_RECORDS_CORD_H_
