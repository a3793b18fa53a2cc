// Fundamental types shared by the whole file library.
//
// The library's own string class (`::string`) is a distinct class from
// std::string: library signatures take and return it, and the binding keeps a
// separate conversion pair for each. It behaves as std::string in every other
// respect and converts to and from it implicitly.
#ifndef FILE_BASE_BASE_TYPES_H_
#define FILE_BASE_BASE_TYPES_H_

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

typedef int8_t int8;
typedef int16_t int16;
typedef int32_t int32;
typedef long long int64;  // NOLINT: distinct from ssize_t (long) on purpose
typedef uint8_t uint8;
typedef uint16_t uint16;
typedef uint32_t uint32;
typedef unsigned long long uint64;  // NOLINT

using std::shared_ptr;
using std::vector;

class string : public std::string {
 public:
  using std::string::string;
  using std::string::operator=;
  string() = default;
  string(const std::string& s) : std::string(s) {}             // NOLINT
  string(std::string&& s) noexcept : std::string(std::move(s)) {}  // NOLINT
  string(const string&) = default;
  string(string&&) noexcept = default;
  string& operator=(const string&) = default;
  string& operator=(string&&) noexcept = default;
};

namespace std {
template <>
struct hash<::string> : hash<std::string> {};
}  // namespace std

#endif  // FILE_BASE_BASE_TYPES_H_
