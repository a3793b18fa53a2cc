// The library's small value types: error codes, statuses, versions, stat
// records, open options, and the log record format.
#include <errno.h>
#include <sys/stat.h>
#include <time.h>

#include <climits>
#include <regex>
#include <set>
#include <sstream>
#include <thread>

#include <gtest/gtest.h>

#include "file/base/errors.h"
#include "file/base/file_attributes.h"
#include "file/base/file_open_options.h"
#include "file/base/filestat.h"
#include "file/base/fileversion.h"
#include "file/base/logging.h"
#include "file/base/status.h"

namespace {

TEST(ErrorCodesTest, EveryCodeHasItsOwnText) {
  std::set<std::string> texts;
  for (int code = file::OK; code <= file::MAX_ERROR_CODE; ++code) {
    texts.insert(file::ErrorToString(code));
  }
  EXPECT_EQ(texts.size(), static_cast<size_t>(file::MAX_ERROR_CODE + 1));
  EXPECT_EQ(file::ErrorToString(file::OK), "ok");
  EXPECT_EQ(file::ErrorToString(file::ERROR_NOT_FOUND), "not found");
  EXPECT_EQ(file::ErrorToString(file::ERROR_PAST_EOF), "past end of file");
  EXPECT_EQ(file::ErrorToString(file::ERROR_TEMPORARY), "temporary error");
}

TEST(ErrorCodesTest, OutOfRangeCodesAreNamedByNumber) {
  EXPECT_EQ(file::ErrorToString(file::MAX_ERROR_CODE + 1), "unknown error code 14");
  EXPECT_EQ(file::ErrorToString(-1), "unknown error code -1");
  EXPECT_EQ(file::ErrorToString(INT_MIN), "unknown error code " + std::to_string(INT_MIN));
}

TEST(ErrorCodesTest, TranslateFromErrno) {
  const std::pair<int, int> expected[] = {
      {0, file::OK},
      {ENOENT, file::ERROR_NOT_FOUND},
      {EEXIST, file::ERROR_ALREADY_EXISTS},
      {EACCES, file::ERROR_PERMISSION_DENIED},
      {EPERM, file::ERROR_PERMISSION_DENIED},
      {ENOTDIR, file::ERROR_WRONG_TYPE},
      {ENOTEMPTY, file::ERROR_NOT_EMPTY},
      {ENOSPC, file::ERROR_NO_SPACE},
      {EFBIG, file::ERROR_NO_SPACE},
      {EAGAIN, file::ERROR_TEMPORARY},
      {EINTR, file::ERROR_TEMPORARY},
      {ETIMEDOUT, file::ERROR_DEADLINE_EXCEEDED},
      {EINVAL, file::ERROR_INVALID_ARGUMENT},
      {ENOSYS, file::ERROR_UNIMPLEMENTED},
      {EXDEV, file::ERROR_UNIMPLEMENTED},
      {EIO, file::INTERNAL_ERROR},
      {EPROTO, file::ERROR_UNKNOWN},
      {-ENOENT, file::ERROR_UNKNOWN},
      {123456, file::ERROR_UNKNOWN},
  };
  for (const auto& [errno_value, code] : expected) {
    EXPECT_EQ(file::TranslateFromErrno(errno_value), code) << "errno " << errno_value;
  }
}

TEST(ErrorCodesTest, ErrorSpaceIsOneNamedObject) {
  util::ErrorSpace* space = file::ErrorSpace();
  ASSERT_NE(space, nullptr);
  EXPECT_EQ(space, file::ErrorSpace());
  EXPECT_STREQ(space->name(), "file");
  EXPECT_EQ(space->String(file::ERROR_NO_SPACE), "no space");
  EXPECT_EQ(space->String(99), "unknown error code 99");
}

TEST(StatusTest, ToString) {
  EXPECT_EQ(util::Status().ToString(), "OK");
  util::Status ok(file::ErrorSpace(), 0, "dropped");
  EXPECT_TRUE(ok.ok());
  EXPECT_EQ(ok.error_message(), "");
  EXPECT_EQ(ok.ToString(), "OK");
  util::Status missing(file::ErrorSpace(), file::ERROR_NOT_FOUND, "/x/y");
  EXPECT_FALSE(missing.ok());
  EXPECT_EQ(missing.ToString(), "file::not found: /x/y");
  EXPECT_EQ(util::Status(nullptr, 7, "m").ToString(), "unknown space::code 7: m");
}

TEST(WallTimeTest, NowIsTheEpochClock) {
  WallTime now = WallTime_Now();
  EXPECT_NEAR(now, static_cast<double>(::time(nullptr)), 2.0);
  EXPECT_LE(now, WallTime_Now());
}

// --- FileVersion -------------------------------------------------------------

TEST(FileVersionTest, TextForm) {
  EXPECT_EQ(FileVersion(1700000000000000LL, 0xdeadbeefULL).ToString(),
            "v1700000000000000.00000000deadbeef");
  EXPECT_EQ(FileVersion().ToString(), "v0.0000000000000000");
  EXPECT_EQ(FileVersion(-5, ~0ULL).ToString(), "v-5.ffffffffffffffff");
}

TEST(FileVersionTest, RoundTripsExtremes) {
  const FileVersion versions[] = {
      {0, 0}, {1, 1}, {-1, 0}, {LLONG_MIN, 0}, {LLONG_MAX, ~0ULL}, {42, 1ULL << 63},
  };
  for (const FileVersion& v : versions) {
    FileVersion parsed(7, 7);
    ASSERT_TRUE(FileVersion::FromString(&parsed, v.ToString().c_str())) << v.ToString();
    EXPECT_EQ(parsed.time, v.time);
    EXPECT_EQ(parsed.creator, v.creator);
  }
}

TEST(FileVersionTest, RejectsAnythingButTheCanonicalText) {
  const char* const rejected[] = {
      "",
      "v",
      "v1",
      "v1.",
      "1.0000000000000001",
      "v1.000000000000001",    // 15 hex digits
      "v1.00000000000000001",  // 17 hex digits
      "v01.0000000000000001",  // leading zero
      "v-0.0000000000000001",
      "v+1.0000000000000001",
      "v1.00000000DEADBEEF",  // upper case
      "v1.0x00000000000001",
      "v1.0000000000000001x",  // trailing junk
      "v1.0000000000000001.0000000000000001",
      "v1.2.0000000000000001",
      "v9223372036854775808.0000000000000000",   // time overflows
      "v-9223372036854775809.0000000000000000",  // time underflows
  };
  for (const char* text : rejected) {
    FileVersion target(3, 4);
    EXPECT_FALSE(FileVersion::FromString(&target, text)) << '"' << text << '"';
    EXPECT_EQ(target, FileVersion(3, 4)) << "target changed by \"" << text << '"';
  }
  FileVersion target;
  EXPECT_FALSE(FileVersion::FromString(&target, nullptr));
  EXPECT_FALSE(FileVersion::FromString(nullptr, "v1.0000000000000001"));
}

TEST(FileVersionTest, OrdersTimeSignedThenCreatorUnsigned) {
  EXPECT_EQ(FileVersion::cmp(FileVersion(-1, 0), FileVersion(0, 0)), -1);
  EXPECT_EQ(FileVersion::cmp(FileVersion(5, 1ULL << 63), FileVersion(5, 1)), 1);
  EXPECT_EQ(FileVersion::cmp(FileVersion(1, 0), FileVersion(0, ~0ULL)), 1);
  EXPECT_EQ(FileVersion::cmp(FileVersion(9, 9), FileVersion(9, 9)), 0);
  EXPECT_TRUE(FileVersion(LLONG_MIN, ~0ULL) < FileVersion(0, 0));
  EXPECT_TRUE(FileVersion(2, 3) <= FileVersion(2, 3));
  EXPECT_TRUE(FileVersion(2, 4) >= FileVersion(2, 3));
  EXPECT_TRUE(FileVersion(2, 4) != FileVersion(2, 3));
  EXPECT_FALSE(FileVersion(2, 4) > FileVersion(3, 0));
}

// --- FileStat, FileProperties, FileOpenOptions --------------------------------

void ExpectDefaultStat(const FileStat& st) {
  EXPECT_EQ(st.length, -1);
  EXPECT_EQ(st.mtime, 0);
  EXPECT_EQ(st.attributes.attr, 0u);
  EXPECT_EQ(st.mode, 0u);
  EXPECT_EQ(st.owner, "");
  EXPECT_EQ(st.group, "");
  EXPECT_EQ(st.data_members, -1);
  EXPECT_EQ(st.code_members, -1);
  EXPECT_EQ(st.encoding, "");
  EXPECT_EQ(st.identifier, 0);
  EXPECT_TRUE(st.properties.empty());
}

TEST(FileStatTest, ClearRestoresEveryDefault) {
  FileStat st;
  ExpectDefaultStat(st);
  st.length = 10;
  st.mtime = 20;
  st.attributes.attr = Attr_t::FROZEN;
  st.mode = S_IFDIR | 0755;
  st.owner = ::string("a\0b", 3);
  st.group = "g";
  st.data_members = 3;
  st.code_members = 4;
  st.encoding = "e";
  st.identifier = 99;
  st.properties.Set("k", "v");
  FileStat copy(st);
  EXPECT_EQ(copy.owner.size(), 3u);
  EXPECT_TRUE(copy.properties == st.properties);
  st.Clear();
  ExpectDefaultStat(st);
  EXPECT_EQ(copy.identifier, 99);  // the copy is independent
}

TEST(FileStatTest, IsDirectoryLooksAtTheFileType) {
  FileStat st;
  EXPECT_FALSE(st.IsDirectory());
  st.mode = S_IFDIR | 0700;
  EXPECT_TRUE(st.IsDirectory());
  st.mode = S_IFREG | 0777;
  EXPECT_FALSE(st.IsDirectory());
  st.mode = S_IFSOCK | 0777;  // shares the directory bit, yet is no directory
  EXPECT_FALSE(st.IsDirectory());
}

TEST(FilePropertiesTest, Get) {
  file::FileProperties p;
  ::string value = "untouched";
  EXPECT_FALSE(p.Get("replicas", &value));
  EXPECT_EQ(value, "untouched");
  p.Set("replicas", "3");
  EXPECT_TRUE(p.Get("replicas", &value));
  EXPECT_EQ(value, "3");
  EXPECT_TRUE(p.Get("replicas", nullptr));
}

TEST(FileOpenOptionsTest, TextsAreCopied) {
  FileOpenOptions o;
  char group[] = "staff";
  char role[] = "reader";
  o.set_group(group);
  o.set_requested_role(role);
  group[0] = 'X';
  role[0] = 'X';
  EXPECT_STREQ(o.group(), "staff");
  EXPECT_STREQ(o.requested_role(), "reader");
  o.set_group("");
  EXPECT_STREQ(o.group(), "");
  o.set_group(nullptr);
  EXPECT_EQ(o.group(), nullptr);
}

TEST(FileAttributesTest, ProcessWideStoreExistsFromTheStart) {
  EXPECT_NE(file_attributes, nullptr);
}

// --- Logging -----------------------------------------------------------------

// Local date and time with microseconds, as every record carries it.
const std::string kTimestamp = "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{6} ";
const std::string kRecordPattern = "[IWEF] " + kTimestamp;

TEST(LoggingTest, OneLinePerRecord) {
  testing::internal::CaptureStderr();
  LogMessage("dir/some_file.cc", 42, logging::ERROR).stream() << "hello " << 7;
  LogMessage("a.cc", 1, -3).stream() << "ends with newline\n";
  LogMessage("b.cc", 2, logging::WARNING).stream();
  std::string output = testing::internal::GetCapturedStderr();

  std::istringstream lines(output);
  std::string line;
  ASSERT_TRUE(std::getline(lines, line));
  EXPECT_TRUE(std::regex_match(line, std::regex("E " + kTimestamp +
                                                "dir/some_file\\.cc:42\\] hello 7")))
      << line;
  ASSERT_TRUE(std::getline(lines, line));
  EXPECT_EQ(line.substr(0, 2), "I ");  // negative severities clamp to INFO
  EXPECT_NE(line.find(" a.cc:1] ends with newline"), std::string::npos) << line;
  ASSERT_TRUE(std::getline(lines, line));
  EXPECT_TRUE(std::regex_match(line, std::regex(kRecordPattern + "b\\.cc:2\\] ")))
      << line;
  EXPECT_FALSE(std::getline(lines, line)) << "unexpected extra line: " << line;
}

TEST(LoggingTest, ConcurrentRecordsDoNotInterleave) {
  constexpr int kThreads = 4;
  constexpr int kRecords = 200;
  testing::internal::CaptureStderr();
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t] {
      for (int i = 0; i < kRecords; ++i) {
        LogMessage("t.cc", t, logging::INFO).stream() << std::string(100, 'a' + t) << " end";
      }
    });
  }
  for (auto& thread : threads) thread.join();
  std::string output = testing::internal::GetCapturedStderr();
  std::regex record(kRecordPattern + "t\\.cc:([0-9])\\] ([a-z])\\2{99} end");
  std::istringstream lines(output);
  std::string line;
  int count = 0;
  while (std::getline(lines, line)) {
    ++count;
    std::smatch m;
    ASSERT_TRUE(std::regex_match(line, m, record)) << line;
    EXPECT_EQ(m[2].str()[0] - 'a', std::stoi(m[1].str()));
  }
  EXPECT_EQ(count, kThreads * kRecords);
}

TEST(LoggingDeathTest, FatalRecordIsWrittenThenAborts) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(LogMessage("x/y.cc", 7, logging::FATAL).stream() << "boom",
               "F [-0-9]+ [:.0-9]+ x/y\\.cc:7\\] boom");
  EXPECT_DEATH(LogMessageFatal("file/base/file.h", 654).stream() << "Check failed: f != NULL ",
               "file/base/file\\.h:654\\] Check failed: f != NULL");
  // Severities above FATAL are clamped to it.
  EXPECT_DEATH(LogMessage("z.cc", 3, 9).stream() << "too severe", "F .* z\\.cc:3\\] too severe");
}


}  // namespace
