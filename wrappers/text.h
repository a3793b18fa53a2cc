// Compile-time texts usable as template arguments (function names, formats).
#ifndef WRAPPERS_TEXT_H_
#define WRAPPERS_TEXT_H_

#include <cstddef>

namespace pq {

template <size_t N>
struct Text {
  char s[N];
  constexpr Text(const char (&text)[N]) {  // NOLINT: implicit on purpose
    for (size_t i = 0; i < N; ++i) s[i] = text[i];
  }
  static constexpr size_t size() { return N - 1; }
};

// a + ":" + b, as used in argument-parsing formats.
template <Text A, Text B>
struct JoinColon {
  static constexpr auto make() {
    struct Buffer {
      char s[A.size() + B.size() + 2];
    } out{};
    size_t k = 0;
    for (size_t i = 0; i < A.size(); ++i) out.s[k++] = A.s[i];
    out.s[k++] = ':';
    for (size_t i = 0; i < B.size(); ++i) out.s[k++] = B.s[i];
    out.s[k] = 0;
    return out;
  }
  static constexpr auto value = make();
};

}  // namespace pq

#endif  // WRAPPERS_TEXT_H_
