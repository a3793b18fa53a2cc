// A fresh log directory per test on the local or the in-memory file system,
// and helpers to write and read whole logs.
#ifndef TESTS_CC_LOG_TESTING_H_
#define TESTS_CC_LOG_TESTING_H_

#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "file/base/file.h"
#include "file/base/logio.h"

class LogTest : public ::testing::TestWithParam<std::string> {
 protected:
  void SetUp() override {
    static int count = 0;
    const char* root = std::getenv("PQ_TEST_TMP");
    dir_ = GetParam() == "mem" ? "/mem" : root != nullptr && *root != '\0' ? root : "/tmp";
    dir_ += "/logs." + std::to_string(getpid()) + "." + std::to_string(++count);
    ASSERT_TRUE(File::RecursivelyCreateDir(dir_, 0755));
    base_ = dir_ + "/app.";
  }
  void TearDown() override {
    LogWriter::setLogChunkSize_TEST(0);
    int files = 0, dirs = 0;
    File::DeleteRecursively(dir_, &files, &dirs);
  }

  static std::string Record(int i) { return "record-" + std::to_string(i) + std::string(i % 97, 'x'); }

  // Every record available now.
  static std::vector<std::string> Drain(LogReader* reader) {
    std::vector<std::string> out;
    ::string record;
    while (reader->ReadRecordAsStringIfAvailable(&record)) out.push_back(record);
    return out;
  }
  std::vector<std::string> ReadAll() {
    LogReader reader(base_);
    return Drain(&reader);
  }
  int FileCount() const {
    std::vector<::string> names;
    EXPECT_TRUE(File::Match((base_ + "seq*").c_str(), &names));
    return static_cast<int>(names.size());
  }

  ::string dir_;
  ::string base_;
};

#endif  // TESTS_CC_LOG_TESTING_H_
