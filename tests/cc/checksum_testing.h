// Data helpers shared by the checksum and attribute-store tests.
#ifndef TESTS_CC_CHECKSUM_TESTING_H_
#define TESTS_CC_CHECKSUM_TESTING_H_

#include <random>
#include <string>

#include "file/base/checksums/checksum.h"

namespace checksum_testing {

inline constexpr int64 kBlock = ChecksumState::kBlockSize;

// n reproducible pseudo-random bytes.
inline std::string RandomBytes(size_t n, unsigned seed) {
  std::mt19937 gen(seed);
  std::string bytes(n, '\0');
  for (char& c : bytes) c = static_cast<char>(gen());
  return bytes;
}

inline ChecksumState StateOf(const std::string& bytes) {
  ChecksumState state;
  state.Add(bytes.data(), bytes.size());
  return state;
}

}  // namespace checksum_testing

#endif  // TESTS_CC_CHECKSUM_TESTING_H_
