// A conformance suite every file system must pass. Instantiate it with the
// root directory under which each test gets a fresh directory of its own:
//
//   INSTANTIATE_TEST_SUITE_P(Mine, FsConformance,
//                            ::testing::Values(std::string("/mine/root")));
#ifndef TESTS_CC_FS_CONFORMANCE_H_
#define TESTS_CC_FS_CONFORMANCE_H_

#include <gtest/gtest.h>

#include <string>

#include "file/base/file.h"

class FsConformance : public ::testing::TestWithParam<std::string> {
 protected:
  // Creates <root>/fsconf.<pid>.<n>, a fresh directory for this test.
  void SetUp() override;
  // Removes the test's directory and everything in it.
  void TearDown() override;

  // The full name of `relative` inside the test's directory.
  ::string P(const std::string& relative) const;
  // Writes / reads a whole file, failing the test on error.
  void Put(const std::string& relative, const std::string& contents);
  ::string Get(const std::string& relative);

  ::string dir_;
};

// The root for local instantiations: $PQ_TEST_TMP when set, else /tmp.
std::string LocalTestRoot();

#endif  // TESTS_CC_FS_CONFORMANCE_H_
