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

// a + b, as a template-usable text.
template <Text A, Text B>
struct Concat {
  static constexpr auto Make() {
    struct Buffer {
      char s[A.size() + B.size() + 1];
    } out{};
    size_t k = 0;
    for (size_t i = 0; i < A.size(); ++i) out.s[k++] = A.s[i];
    for (size_t i = 0; i < B.size(); ++i) out.s[k++] = B.s[i];
    out.s[k] = 0;
    return out;
  }
  static constexpr Text<A.size() + B.size() + 1> value{Make().s};
};

// An argument-parsing format: letters + ":" + the function's name.
template <Text Letters, Text Name>
constexpr auto kParseFormat = Concat<Concat<Letters, ":">::value, Name>::value;

}  // namespace pq

#endif  // WRAPPERS_TEXT_H_
