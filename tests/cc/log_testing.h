// A fresh log directory per test on the local or the in-memory file system,
// and helpers to write and read whole logs.
#ifndef TESTS_CC_LOG_TESTING_H_
#define TESTS_CC_LOG_TESTING_H_

#include <string>
#include <vector>

#include "file/base/logio.h"
#include "tests/cc/fs_conformance.h"

class LogTest : public BothFsTest {
 protected:
  void SetUp() override {
    BothFsTest::SetUp();
    base_ = dir_ + "/app.";
  }
  void TearDown() override {
    LogWriter::setLogChunkSize_TEST(0);
    BothFsTest::TearDown();
  }

  static std::string Record(int i) { return "record-" + std::to_string(i) + std::string(i % 97, 'x'); }
  static std::vector<std::string> Records(int n, const char* last = nullptr) {  // Record(0..n-1), then `last`
    std::vector<std::string> out;
    for (int i = 0; i < n; ++i) out.push_back(Record(i));
    if (last != nullptr) out.push_back(last);
    return out;
  }

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

  ::string base_;
};

#endif  // TESTS_CC_LOG_TESTING_H_
