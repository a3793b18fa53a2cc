// Log names and positions: packing, text form, file-name numbers.
#include <climits>

#include <gtest/gtest.h>

#include "file/base/logio.h"

namespace {

TEST(LogPositions, PackingIsExactAndOrderedLikeThePairs) {
  const std::pair<int, int64> pairs[] = {
      {0, 0}, {0, 1}, {0, LogBase::kMaxOffset}, {1, 0}, {7, 4096}, {99999, 5}, {LogBase::kMaxFileNumber, LogBase::kMaxOffset}};
  int64 previous = -1;
  for (const auto& [file, offset] : pairs) {
    const int64 p = LogBase::MakeLogPosition(file, offset);
    EXPECT_GT(p, previous) << file << ":" << offset;
    EXPECT_EQ(LogBase::LogPositionToFileNumber(p), file);
    EXPECT_EQ(LogBase::LogPositionToOffset(p), offset);
    int64 parsed = -5;
    ASSERT_TRUE(LogBase::TextToPosition(LogBase::PositionToText(p).c_str(), &parsed));
    EXPECT_EQ(parsed, p);
    EXPECT_LT(LogBase::PositionToText(p).size(), static_cast<size_t>(kMaxLogReaderPosLen));
    previous = p;
  }
}

TEST(LogPositions, OutOfRangePartsGiveNoPosition) {
  EXPECT_EQ(LogBase::MakeLogPosition(-1, 0), -1);
  EXPECT_EQ(LogBase::MakeLogPosition(0, -1), -1);
  EXPECT_EQ(LogBase::MakeLogPosition(LogBase::kMaxFileNumber + 1, 0), -1);
  EXPECT_EQ(LogBase::MakeLogPosition(0, LogBase::kMaxOffset + 1), -1);
  EXPECT_EQ(LogBase::LogPositionToFileNumber(-1), -1);
  EXPECT_EQ(LogBase::LogPositionToOffset(LLONG_MIN), -1);
}

TEST(LogPositions, TextForms) {
  struct Case { const char* text; bool ok; int64 position; } cases[] = {
      {"0:0", true, 0},
      {"3:17", true, LogBase::MakeLogPosition(3, 17)},
      {"-1", true, LogBase::kLogStart},
      {"-2", true, LogBase::kLogEnd},
      {"", false, 0},
      {":", false, 0},
      {"3:", false, 0},
      {":3", false, 0},
      {"3:4:5", false, 0},
      {"-3", false, 0},
      {"3 :4", false, 0},
      {"8388608:0", false, 0},        // file number too large
      {"0:1099511627776", false, 0},  // offset too large
      {"99999999999999999999999:1", false, 0},
  };
  for (const Case& c : cases) {
    int64 p = 12345;
    EXPECT_EQ(LogBase::TextToPosition(c.text, &p), c.ok) << c.text;
    if (c.ok) {
      EXPECT_EQ(p, c.position) << c.text;
    }
  }
  EXPECT_FALSE(LogBase::TextToPosition(nullptr, nullptr));
  EXPECT_EQ(LogWriter::GetInitialPosition(), "0:0");
}

TEST(LogNames, FileNamesAndTheirNumbers) {
  LogBase base("/logs/x.");
  EXPECT_EQ(base.FileName(7), "/logs/x.seq00007");
  EXPECT_EQ(base.FileName(123456), "/logs/x.seq123456");
  const struct { const char* name; int number; } cases[] = {
      {"/logs/x.seq00007", 7},   {"aseq00000", 0},      {"aseq123456", 123456},
      {"seq00001", 1},           {"/l/x.seq0001", -1},  {"/l/x.seq00001a", -1},
      {"/l/x.sq00001", -1},      {"", -1},              {"/l/x.seq99999999999", -1},
  };
  for (const auto& c : cases) EXPECT_EQ(LogBase::LogFileNameToFileNumber(c.name), c.number) << c.name;
  EXPECT_EQ(LogBase::LogFileNameToFileNumber(nullptr), -1);
}

TEST(LogNames, LongBasesAreCutAt4095Characters) {
  LogBase base(std::string(5000, 'b'));
  EXPECT_EQ(base.FileName(1).size(), 4095u);
}

TEST(LogChunkSize, TestHookChangesAndRestores) {
  EXPECT_EQ(LogBase::GetLogChunkSize(), LogBase::kDefaultChunkSize);
  LogWriter::setLogChunkSize_TEST(4096);
  EXPECT_EQ(LogBase::GetLogChunkSize(), 4096);
  LogWriter::setLogChunkSize_TEST(-3);
  EXPECT_EQ(LogBase::GetLogChunkSize(), LogBase::kDefaultChunkSize);
}

}  // namespace
