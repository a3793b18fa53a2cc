// A fresh directory per test, on the local file system or under /mem/.
#ifndef TESTS_CC_REDUNDANCY_TESTING_H_
#define TESTS_CC_REDUNDANCY_TESTING_H_

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "file/base/file.h"

namespace redundancy_testing {

// Parameter "local" (under $PQ_TEST_TMP or /tmp) or "mem".
class DirTest : public ::testing::TestWithParam<std::string> {
 protected:
  void SetUp() override {
    static int count = 0;
    const char* base = std::getenv("PQ_TEST_TMP");
    dir_ = GetParam() == "mem" ? "/mem" : base != nullptr && *base != '\0' ? base : "/tmp";
    dir_ += "/rs." + std::to_string(getpid()) + "." + std::to_string(++count);
    ASSERT_TRUE(File::RecursivelyCreateDir(dir_, 0755));
  }
  void TearDown() override {
    int files = 0, dirs = 0;
    File::DeleteRecursively(dir_, &files, &dirs);
  }
  std::string P(const std::string& name) const { return dir_ + "/" + name; }
  std::string Put(const std::string& name, const std::string& contents) {
    EXPECT_TRUE(File::WriteStringToFile(contents, P(name)));
    return P(name);
  }
  std::string dir_;
};

}  // namespace redundancy_testing

#endif  // TESTS_CC_REDUNDANCY_TESTING_H_
