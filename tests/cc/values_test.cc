// The library's small value types: error codes, statuses, versions, stat
// records, open options, and the log record format.
#include <errno.h>
#include <sys/stat.h>
#include <time.h>

#include <climits>
#include <regex>
#include <sstream>
#include <thread>
#include <tuple>

#include <gtest/gtest.h>

#include "file/base/util/errors.h"
#include "file/base/core/file_open_options.h"
#include "file/base/core/filestat.h"
#include "file/base/core/fileversion.h"
#include "file/base/util/logging.h"
#include "file/base/util/status.h"

namespace {

TEST(ErrorCodesTest, TextsErrorSpaceStatusesAndWallTime) {
  for (int code = file::OK; code <= file::MAX_ERROR_CODE; ++code) {  // every code has a text
    EXPECT_EQ(file::ErrorToString(code).find("unknown error code"), std::string::npos) << code;
  }
  EXPECT_EQ(file::ErrorToString(file::ERROR_PAST_EOF), "past end of file");
  // Out-of-range codes are named by number.
  for (int code : {file::MAX_ERROR_CODE + 1, -1, INT_MIN}) EXPECT_EQ(file::ErrorToString(code), "unknown error code " + std::to_string(code));
  ASSERT_NE(file::ErrorSpace(), nullptr);
  EXPECT_EQ(file::ErrorSpace()->name() + (" " + file::ErrorSpace()->String(file::ERROR_NO_SPACE)), "file no space");
}

TEST(ErrorCodesTest, TranslatesFromErrno) {
  using namespace file;  // NOLINT
  const std::pair<int, int> expected[] = {
      {0, OK}, {ENOENT, ERROR_NOT_FOUND}, {EEXIST, ERROR_ALREADY_EXISTS}, {EACCES, ERROR_PERMISSION_DENIED},
      {ENOTDIR, ERROR_WRONG_TYPE}, {ENOTEMPTY, ERROR_NOT_EMPTY}, {ENOSPC, ERROR_NO_SPACE}, {EAGAIN, ERROR_TEMPORARY},
      {ETIMEDOUT, ERROR_DEADLINE_EXCEEDED}, {EXDEV, ERROR_UNIMPLEMENTED}, {EIO, INTERNAL_ERROR}, {-ENOENT, ERROR_UNKNOWN}};
  for (const auto& [errno_value, code] : expected) EXPECT_EQ(TranslateFromErrno(errno_value), code) << errno_value;
  // Statuses print their space and code; OK drops the message.
  util::Status ok(file::ErrorSpace(), 0, "dropped");
  EXPECT_TRUE(ok.ok() && ok.error_message().empty());
  EXPECT_EQ(ok.ToString(), "OK");
  EXPECT_FALSE(util::Status(file::ErrorSpace(), file::ERROR_NOT_FOUND, "/x/y").ok());
  EXPECT_EQ(util::Status(nullptr, 7, "m").ToString(), "unknown space::code 7: m");
  EXPECT_NEAR(WallTime_Now(), static_cast<double>(::time(nullptr)), 2.0);  // the epoch clock
}

TEST(FileVersionTest, TextFormRoundTripsExtremesAndIsTheOnlyOneAccepted) {
  EXPECT_EQ(FileVersion(1700000000000000LL, 0xdeadbeefULL).ToString(), "v1700000000000000.00000000deadbeef");
  EXPECT_EQ(FileVersion().ToString(), "v0.0000000000000000");
  EXPECT_EQ(FileVersion(-5, ~0ULL).ToString(), "v-5.ffffffffffffffff");
  const FileVersion versions[] = {{0, 0}, {1, 1}, {-1, 0}, {LLONG_MIN, 0}, {LLONG_MAX, ~0ULL}, {42, 1ULL << 63}};
  for (const FileVersion& v : versions) {
    FileVersion parsed(7, 7);
    EXPECT_TRUE(FileVersion::FromString(&parsed, v.ToString().c_str()) && parsed == v) << v.ToString();
  }
  // Anything but the canonical text is refused and changes nothing.
  const char* const rejected[] = {"", "v1.", "1.0000000000000001", "v1.000000000000001", "v1.00000000000000001",
                                  "v01.0000000000000001", "v-0.0000000000000001", "v1.00000000DEADBEEF",
                                  "v1.0000000000000001x", "v9223372036854775808.0000000000000000"};
  for (const char* text : rejected) {
    FileVersion target(3, 4);
    EXPECT_FALSE(FileVersion::FromString(&target, text)) << '"' << text << '"';
    EXPECT_EQ(target, FileVersion(3, 4)) << "target changed by \"" << text << '"';
  }
  FileVersion target;
  EXPECT_FALSE(FileVersion::FromString(&target, nullptr) || FileVersion::FromString(nullptr, "v1.0000000000000001"));
}

// Time compares signed, then the creator unsigned.
TEST(FileVersionTest, Orders) {
  const FileVersion ascending[] = {{LLONG_MIN, ~0ULL}, {-1, 0}, {0, 0}, {0, ~0ULL}, {1, 0}, {5, 1}, {5, 1ULL << 63}};
  for (int i = 0; i < 7; ++i) {
    for (int j = 0; j < 7; ++j) {
      const FileVersion &a = ascending[i], &b = ascending[j];
      EXPECT_EQ(FileVersion::cmp(a, b), (i > j) - (i < j)) << i << " " << j;
      EXPECT_EQ(std::make_tuple(a < b, a <= b, a > b, a >= b, a == b, a != b),
                std::make_tuple(i < j, i <= j, i > j, i >= j, i == j, i != j)) << i << " " << j;
    }
  }
}

auto Fields(const FileStat& s) {
  return std::make_tuple(s.length, s.mtime, s.attributes.attr, s.mode, s.owner, s.group, s.data_members,
                         s.code_members, s.encoding, s.identifier, s.properties.empty());
}

TEST(FileStatTest, ClearRestoresEveryDefaultAndIsDirectoryLooksAtTheType) {
  const auto defaults = std::make_tuple(int64{-1}, 0L, 0u, 0u, ::string(), ::string(), -1, -1, ::string(), int64{0}, true);
  FileStat st;
  EXPECT_EQ(Fields(st), defaults);
  st = FileStat{10, 20, Attr_t(Attr_t::FROZEN), S_IFDIR | 0755, ::string("a\0b", 3), "g", 3, 4, "e", 99, {}};
  st.properties.Set("k", "v");
  st.Clear();
  EXPECT_EQ(Fields(st), defaults);
  st.mode = S_IFSOCK | 0777;  // a socket shares the directory bit, yet is no directory
  EXPECT_FALSE(st.IsDirectory());
}

TEST(FileOpenOptionsTest, TextsAreCopied) {
  FileOpenOptions o;
  char group[] = "staff";
  o.set_group(group);
  group[0] = 'X';
  EXPECT_STREQ(o.group(), "staff");
  o.set_group(nullptr);
  EXPECT_EQ(o.group(), nullptr);
}

// Local date and time with microseconds, as every record carries it.
const std::string kRecordPattern = "[IWEF] [0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{6} ";

TEST(LoggingTest, ConcurrentRecordsDoNotInterleave) {
  constexpr int kThreads = 4, kRecords = 200;
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
  std::istringstream lines(testing::internal::GetCapturedStderr());
  std::regex record(kRecordPattern + "t\\.cc:([0-9])\\] ([a-z])\\2{99} end");
  std::string line;
  int count = 0;
  for (std::smatch m; std::getline(lines, line); ++count) {
    ASSERT_TRUE(std::regex_match(line, m, record)) << line;
    EXPECT_EQ(m[2].str()[0] - 'a', std::stoi(m[1].str()));
  }
  EXPECT_EQ(count, kThreads * kRecords);
}

TEST(LoggingDeathTest, FatalRecordIsWrittenThenAborts) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(LogMessage("x/y.cc", 7, logging::FATAL).stream() << "boom", "F [-0-9]+ [:.0-9]+ x/y\\.cc:7\\] boom");
  // Severities above FATAL are clamped to it (failed checks: OperationDeathTest).
  EXPECT_DEATH(LogMessage("z.cc", 3, 9).stream() << "too severe", "F .* z\\.cc:3\\] too severe");
}

}  // namespace
