// Log positions and file names; writing, reading, tailing, collecting and
// truncating logs on both file systems; logs as record files.
#include <algorithm>
#include <atomic>
#include <climits>
#include <chrono>
#include <set>
#include <thread>

#include "file/base/recordio.h"
#include "tests/cc/log_testing.h"

namespace {

TEST(LogPositions, PackingIsExactOrderedLikeThePairsAndRefusesPartsOutOfRange) {
  const std::pair<int, int64> pairs[] = {
      {0, 0}, {0, 1}, {0, LogBase::kMaxOffset}, {1, 0}, {7, 4096}, {99999, 5}, {LogBase::kMaxFileNumber, LogBase::kMaxOffset}};
  int64 previous = -1;
  for (const auto& [file, offset] : pairs) {
    const int64 p = LogBase::MakeLogPosition(file, offset);
    EXPECT_GT(p, previous) << file << ":" << offset;
    EXPECT_EQ(std::make_pair(LogBase::LogPositionToFileNumber(p), LogBase::LogPositionToOffset(p)), std::make_pair(file, offset));
    int64 parsed = -5;
    EXPECT_TRUE(LogBase::TextToPosition(LogBase::PositionToText(p).c_str(), &parsed) && parsed == p) << p;
    EXPECT_LT(LogBase::PositionToText(p).size(), static_cast<size_t>(kMaxLogReaderPosLen));
    previous = p;
  }
  // Parts out of range give no position.
  for (const auto& [file, offset] : {std::pair<int, int64>{-1, 0}, {0, -1}, {LogBase::kMaxFileNumber + 1, 0},
                                     {0, LogBase::kMaxOffset + 1}}) {
    EXPECT_EQ(LogBase::MakeLogPosition(file, offset), -1) << file << ":" << offset;
  }
  EXPECT_EQ(std::make_pair(LogBase::LogPositionToFileNumber(-1), LogBase::LogPositionToOffset(LLONG_MIN)),
            std::make_pair(-1, int64{-1}));
}

// The start and end of a log have texts of their own; parts out of range
// (8388608: a file number; 1099511627776: an offset) or malformed give none.
TEST(LogPositions, TextForms) {
  int64 p = 12345;
  EXPECT_TRUE(LogBase::TextToPosition("-1", &p) && p == LogBase::kLogStart && LogBase::TextToPosition("-2", &p) &&
              p == LogBase::kLogEnd);
  for (const char* text : {"", "3:", "3:4:5", "-3", "99999999999999999999999:1", "8388608:0", "0:1099511627776"}) {
    EXPECT_FALSE(LogBase::TextToPosition(text, &p)) << text;
  }
  EXPECT_FALSE(LogBase::TextToPosition(nullptr, nullptr));
}

TEST(LogNames, FileNamesAndTheirNumbers) {
  LogBase base("/logs/x.");
  EXPECT_EQ(base.FileName(7) + " " + base.FileName(123456), "/logs/x.seq00007 /logs/x.seq123456");
  const struct { const char* name; int number; } cases[] = {
      {"aseq123456", 123456}, {"/l/x.seq0001", -1}, {"/l/x.seq00001a", -1}, {"/l/x.seq99999999999", -1}, {nullptr, -1}};
  for (const auto& c : cases) EXPECT_EQ(LogBase::LogFileNameToFileNumber(c.name), c.number) << c.name;
  EXPECT_EQ(LogBase(std::string(5000, 'b')).FileName(1).size(), 4095u);  // long bases are cut
}

PQ_ON_BOTH_FILE_SYSTEMS(LogTest);

TEST_P(LogTest, PositionsNameRecordsSeekBackAndAddAcrossFiles) {
  LogWriter::setLogChunkSize_TEST(300);
  LogWriter w(base_, "", LogWriter::SINGLE_WRITER, 64);
  std::vector<int64> before;  // the writer's position before each record
  for (int i = 0; i < 40; ++i) {
    before.push_back(w.EOFPosition());
    ASSERT_TRUE(w.WriteRecord(Record(i)));
  }
  ASSERT_TRUE(w.Flush());
  LogReader r(base_);
  // Adding bytes crosses from a file's end into the next.
  const int64 start = LogBase::MakeLogPosition(0, 0), file0 = File::GetFileSize(r.FileName(0).c_str());
  EXPECT_EQ(r.LogPositionAdd(start, file0 + 3), LogBase::MakeLogPosition(1, 3));
  EXPECT_EQ(r.LogPositionAdd(LogBase::MakeLogPosition(1, 3), -(file0 + 3)), start);
  std::vector<int64> at;
  ::string s;
  while (r.ReadRecordAsStringIfAvailable(&s)) at.push_back(r.LastRecordPosition());
  ASSERT_EQ(at.size(), 40u);
  for (int i = 0; i < 40; ++i) {  // a record that would start a file at its chunk size starts the next
    const bool same_file = LogBase::LogPositionToFileNumber(before[i]) == LogBase::LogPositionToFileNumber(at[i]);
    EXPECT_TRUE(!same_file || before[i] == at[i]) << i << ": " << before[i] << " " << at[i];
  }
  EXPECT_EQ(r.Tell(), r.EOFPosition());
  ASSERT_TRUE(r.Seek(at[17]));
  ASSERT_TRUE(r.ReadRecordAsStringIfAvailable(&s));
  EXPECT_EQ(s, Record(17));
  char text[kMaxLogReaderPosLen];
  r.GetPosition(text, sizeof(text));
  LogReader from_text(base_, LogBase::kLogEnd);
  ASSERT_TRUE(from_text.SetInitialPosition(text));
  ASSERT_TRUE(from_text.ReadRecordAsStringIfAvailable(&s));
  EXPECT_EQ(s, Record(18));
  EXPECT_FALSE(from_text.SetInitialPosition("nonsense") || r.Seek(-7));
  // Cut text: never past the given length, always terminated.
  char small[4] = {'z', 'z', 'z', 'z'};
  r.GetPosition(small, 3);
  EXPECT_EQ(std::string(small + 2, 2), std::string("\0z", 2));
}

TEST_P(LogTest, ReaderStartedBeforeTheLogFollowsItAcrossFiles) {
  LogWriter::setLogChunkSize_TEST(500);
  LogReader tail(base_);
  ::string s;
  EXPECT_FALSE(tail.ReadRecordAsStringIfAvailable(&s));
  LogWriter w(base_, "", LogWriter::SINGLE_WRITER, 256);
  int next = 0;
  for (int round = 0; round < 20; ++round) {
    for (int k = 0; k < 7; ++k) ASSERT_TRUE(w.WriteRecord(Record(round * 7 + k)));
    ASSERT_TRUE(w.Flush());
    for (const auto& record : Drain(&tail)) EXPECT_EQ(record, Record(next++));
    ASSERT_EQ(next, (round + 1) * 7);
  }
  EXPECT_GT(w.current_file_number(), 3);
  EXPECT_EQ(FileCount(), w.current_file_number() + 1);
  EXPECT_EQ(tail.NumBytesSkipped(), 0);
  // A reader started at the end sees only what comes after.
  LogReader from_end(base_, LogBase::kLogEnd);
  EXPECT_FALSE(from_end.ReadRecordAsStringIfAvailable(&s));
  ASSERT_TRUE(w.WriteRecord("new") && w.Flush());
  EXPECT_EQ(Drain(&from_end), std::vector<std::string>{"new"});
}

TEST_P(LogTest, GarbageCollectDeletesWhollyEarlierFiles) {
  LogWriter::setLogChunkSize_TEST(200);
  LogWriter w(base_, "", LogWriter::SINGLE_WRITER, 64);
  for (int i = 0; i < 30; ++i) ASSERT_TRUE(w.WriteRecord(std::string(120, 'g')));
  ASSERT_TRUE(w.Flush());
  const int files = FileCount();
  ASSERT_GT(files, 5);
  std::vector<std::string> deleted;
  FunctionCallback1<const ::string&> done([&](const ::string& name) { deleted.push_back(name); });
  ASSERT_TRUE(LogReader::GarbageCollect(base_, LogBase::MakeLogPosition(4, 50), &done));
  EXPECT_EQ(deleted, (std::vector<std::string>{w.FileName(0), w.FileName(1), w.FileName(2), w.FileName(3)}));
  EXPECT_EQ(FileCount(), files - 4);
  // A reader from the start begins at the oldest file left (each file
  // holds two 132-byte frames).
  EXPECT_EQ(ReadAll().size(), 30u - 4 * 2);
}

TEST_P(LogTest, TruncateCutsBackAndANewWriterContinues) {
  LogWriter::setLogChunkSize_TEST(300);
  int64 cut = -1;
  {
    LogWriter w(base_, "", LogWriter::SINGLE_WRITER, 64);
    for (int i = 0; i < 40; ++i) {
      if (i == 25) cut = w.EOFPosition();
      ASSERT_TRUE(w.WriteRecord(Record(i)));
    }
  }
  ASSERT_TRUE(LogWriter::TruncateLog(base_.c_str(), LogBase::PositionToText(cut).c_str()));
  EXPECT_EQ(FileCount(), LogBase::LogPositionToFileNumber(cut) + 1);
  {
    LogWriter w(base_, "", LogWriter::SINGLE_WRITER, 64);
    ASSERT_TRUE(w.WriteRecord("after the cut"));
  }
  EXPECT_EQ(ReadAll(), Records(25, "after the cut"));
  EXPECT_FALSE(LogWriter::TruncateLog(base_.c_str(), "0:999999999"));  // past the file's end
}

TEST_P(LogTest, DamageInOneFileIsSkippedAndCounted) {
  LogWriter::setLogChunkSize_TEST(1000);
  {
    LogWriter w(base_, "", LogWriter::SINGLE_WRITER, 128);
    for (int i = 0; i < 60; ++i) ASSERT_TRUE(w.WriteRecord(std::string(90, 'd')));
  }
  ASSERT_EQ(OpenOrFail(base_ + "seq00001", "r+")->PWrite(40, "XXXXXXXX", 8), 8);
  LogReader r(base_);
  const auto records = Drain(&r);
  EXPECT_TRUE(records.size() >= 58u && records.size() < 60u) << records.size();
  EXPECT_GT(r.NumBytesSkipped(), 0);
  for (const auto& record : records) EXPECT_EQ(record, std::string(90, 'd'));
}

TEST_P(LogTest, ConcurrentAppendersLoseAndTearNothing) {
  LogWriter::setLogChunkSize_TEST(20000);
  constexpr int kThreads = 4, kEach = 500;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      LogWriter w(base_, "t" + std::to_string(t), LogWriter::CONCURRENT_APPENDERS, 1024);
      ASSERT_TRUE(w.last_error().empty()) << w.last_error();
      for (int i = 0; i < kEach; ++i) ASSERT_TRUE(w.WriteRecord(std::to_string(t) + ":" + Record(i)));
    });
  }
  for (auto& t : threads) t.join();
  std::set<std::string> seen;
  LogReader r(base_);
  for (const auto& record : Drain(&r)) EXPECT_TRUE(seen.insert(record).second) << record;
  EXPECT_EQ(seen.size(), static_cast<size_t>(kThreads * kEach));
  EXPECT_EQ(r.NumBytesSkipped(), 0);
  EXPECT_GT(FileCount(), 3);
}

TEST_P(LogTest, SingleWriterRefusesASecondWriter) {
  LogWriter first(base_, "first", LogWriter::SINGLE_WRITER);
  ASSERT_TRUE(first.WriteRecord("one"));
  LogWriter second(base_, "second", LogWriter::SINGLE_WRITER), appender(base_, "third", LogWriter::CONCURRENT_APPENDERS);
  EXPECT_NE(second.last_error().find("in use"), std::string::npos) << second.last_error();
  EXPECT_FALSE(second.WriteRecord("two") || appender.WriteRecord("three"));
  first.Close();
  EXPECT_TRUE(second.Open(base_, "second", LogWriter::SINGLE_WRITER) && second.WriteRecord("two"));
}

TEST_P(LogTest, UnusableBasesFailWithoutCrashing) {
  LogWriter in_missing_dir(dir_ + "/no/such/dir/x.", "");
  EXPECT_FALSE(in_missing_dir.WriteRecord("x") || in_missing_dir.last_error().empty());
  ASSERT_TRUE(File::WriteStringToFile("plain", dir_ + "/plain"));
  LogReader r(dir_ + "/plain/x.");
  EXPECT_TRUE(Drain(&r).empty() && r.EOFPosition() == 0);
  LogWriter bad_flags(base_, "", LogWriter::AUTO, 100, 64), bad_concurrency(base_, "", static_cast<LogWriter::Concurrency>(9));
  EXPECT_FALSE(bad_flags.Flush() || bad_concurrency.WriteRecord("x"));
}

class Collector : public BackgroundLogReader {
 public:
  using BackgroundLogReader::BackgroundLogReader;
  ~Collector() override { Stop(); }
  void ProcessRecord(const void* data, int len, const char* position) override {
    records.emplace_back(static_cast<const char*>(data), len);  // read by the test once stopped
    last_position = position;
    ++count;
  }
  std::atomic<size_t> count{0};
  std::vector<std::string> records;
  std::string last_position;
};

TEST_P(LogTest, BackgroundReaderDeliversEveryRecordAndStops) {
  LogWriter::setLogChunkSize_TEST(700);
  Collector c(new LogReader(base_));
  c.set_max_sleep_time_in_secs(0);  // poll without sleeping
  c.Start();
  LogWriter w(base_, "", LogWriter::SINGLE_WRITER, 128, LogWriter::kFlushEachRecord);
  for (int i = 0; i < 100; ++i) ASSERT_TRUE(w.WriteRecord(Record(i)));
  for (int wait = 0; wait < 5000 && c.count < 100; ++wait) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  c.Stop();
  ASSERT_EQ(c.records, Records(100));
  int64 p;
  ASSERT_TRUE(LogBase::TextToPosition(c.last_position.c_str(), &p));
  EXPECT_GT(LogBase::LogPositionToFileNumber(p), 1);
}

class LocalLogTest : public LogTest {};
INSTANTIATE_TEST_SUITE_P(Local, LocalLogTest, ::testing::Values("local"));

TEST_P(LocalLogTest, AppendingProcessesLoseNothing) {
  LogWriter::setLogChunkSize_TEST(30000);
  constexpr int kProcesses = 3, kEach = 400;
  RunInChildren(kProcesses, [&](int p) {
    LogWriter w(base_, "", LogWriter::CONCURRENT_APPENDERS, 2048);
    bool ok = w.last_error().empty();
    for (int i = 0; i < kEach && ok; ++i) ok = w.WriteRecord(std::to_string(p) + "/" + Record(i));
    w.Close();
    return ok;
  });
  const auto records = ReadAll();
  EXPECT_EQ(std::set<std::string>(records.begin(), records.end()).size(), size_t{kProcesses * kEach});
  EXPECT_EQ(records.size(), size_t{kProcesses * kEach});
}

TEST_P(LocalLogTest, WriterKilledAnywhereLeavesEveryFlushedRecord) {
  LogWriter::setLogChunkSize_TEST(5000);
  const int flushed = KillAfterAcks(2000, [&](const std::function<void(int)>& ack) {
    LogWriter w(base_, "doomed", LogWriter::SINGLE_WRITER, 300);
    for (int i = 0;; ++i) {
      if (!w.WriteRecord(Record(i)) || (i % 5 == 4 && !w.Flush())) _exit(1);
      if (i % 5 == 4) ack(i);
    }
  });
  {
    LogWriter after(base_, "after", LogWriter::SINGLE_WRITER, 300);
    ASSERT_TRUE(after.WriteRecord("after the crash")) << after.last_error();
  }
  const auto records = ReadAll();
  // Every acknowledged record (none when the kill came first) and the one after.
  ASSERT_GE(records.size(), static_cast<size_t>(flushed + 2));
  for (int i = 0; i <= flushed; ++i) ASSERT_EQ(records[i], Record(i));
  EXPECT_EQ(records.back(), "after the crash");
}

TEST(LogWriterDeath, AsyncEnabledOnAnUnopenedWriterAborts) {
  EXPECT_DEATH(LogWriter().AsyncEnabled(), "logio.h:426: .*AsyncEnabled.*Assertion `writer_ != __null' failed");
}

// A message whose bytes start with "M:"; others do not parse.
class TaggedMessage : public proto2::Message {
 public:
  bool AppendToString(::string* out) const override {
    if (text.empty()) return false;  // a message needs its text
    out->append("M:" + text);
    return true;
  }
  bool ParseFromString(const ::string& bytes) override {
    if (bytes.compare(0, 2, "M:") != 0) return false;
    text = bytes.substr(2);
    return true;
  }
  ::string text;
};

std::vector<std::string> ReadRecordFile(const ::string& name) {
  std::vector<std::string> out;
  RecordReaderScript reader(File::Open(name.c_str(), "r"), 1 << 16);
  ::string s;
  while (reader.ReadRecordIntoString(&s)) out.push_back(s);
  EXPECT_EQ(reader.skipped_bytes(), 0);
  return out;
}

TEST_P(LogTest, EachLogFileIsARecordFileAndARecordFileIsALog) {
  LogWriter::setLogChunkSize_TEST(3000);
  {
    LogWriter w(base_, "", LogWriter::SINGLE_WRITER, 1000);
    for (int i = 0; i < 300; ++i) ASSERT_TRUE(w.WriteRecord(Record(i)));
    const int compressed_from = w.current_file_number();
    w.EnableCWCompression(3, 0, false, false, 1);  // kept across files
    for (int i = 300; i < 3000; ++i) ASSERT_TRUE(w.WriteRecord(Record(i)));
    EXPECT_GT(w.current_file_number(), compressed_from + 2);
  }
  // The files, read one by one as record files, hold the log in order.
  std::vector<std::string> all;
  for (int n = 0; File::Exists(LogBase(base_).FileName(n).c_str()); ++n) {
    for (auto& r : ReadRecordFile(LogBase(base_).FileName(n))) all.push_back(r);
  }
  ASSERT_TRUE(all == Records(3000));  // no printing of thousands of records on failure
  EXPECT_TRUE(ReadAll() == all);

  // A record file written by the record writer under a log's name.
  const ::string other = dir_ + "/other.";
  {
    RecordWriter w(File::Open((other + "seq00000").c_str(), "w"));
    ASSERT_TRUE(w.WriteRecord(::string("one")));
    w.EnableCWCompression(1, 0, false, true);
    ASSERT_TRUE(w.WriteRecord(::string("two")) && w.Close());
  }
  LogReader r(other);
  EXPECT_EQ(Drain(&r), (std::vector<std::string>{"one", "two"}));
}

TEST_P(LogTest, MessagesGoThroughTheLog) {
  LogWriter w(base_, "");
  TaggedMessage in;
  in.text = "hello";
  ASSERT_TRUE(w.WriteProtocolMessage(in));
  EXPECT_EQ(w.TryWriteProtocolMessage(TaggedMessage(), nullptr), LogWriter::WRITE_ERROR);  // empty: refused
  EXPECT_NE(w.last_error().find("serialised"), std::string::npos) << w.last_error();
  ASSERT_TRUE(w.WriteRecord("not a message") && w.Flush());
  LogReader r(base_);
  TaggedMessage out;
  ASSERT_TRUE(r.ReadProtocolMessageIfAvailable(&out));
  EXPECT_EQ(out.text, "hello");
  EXPECT_FALSE(r.ReadProtocolMessageIfAvailable(&out));  // consumed, not a message
  EXPECT_NE(r.last_error().find("not a message"), std::string::npos) << r.last_error();
  EXPECT_FALSE(r.ReadProtocolMessageIfAvailable(&out) || r.ReadProtocolMessageIfAvailable(nullptr));  // nothing more
}

// Batch indexes live in 8 bits of a position: records far into what would
// be one batch must still be found again.
TEST_P(LogTest, PositionsOfSmallCompressedRecordsSeekExactly) {
  LogWriter w(base_, "", LogWriter::SINGLE_WRITER, 1 << 20);
  w.EnableCompression(1);
  for (int i = 0; i < 2000; ++i) ASSERT_TRUE(w.WriteRecord(std::to_string(i)));
  ASSERT_TRUE(w.Flush());
  LogReader r(base_);
  ::string s;
  std::vector<int64> positions;
  for (int i = 0; i < 2000; ++i) {
    ASSERT_TRUE(r.ReadRecordAsStringIfAvailable(&s));
    positions.push_back(r.LastRecordPosition());
  }
  for (int i : {0, 254, 255, 256, 700, 1999}) {
    EXPECT_TRUE(r.Seek(positions[i]) && r.ReadRecordAsStringIfAvailable(&s) && s == std::to_string(i)) << i << ": " << s;
  }
}

// Records an appender still holds when another appender has moved the log
// on are written to the newer file, where live readers are.
TEST_P(LogTest, AppenderCarriesHeldRecordsToTheNewerFile) {
  LogWriter::setLogChunkSize_TEST(500);
  LogWriter slow(base_, "slow", LogWriter::CONCURRENT_APPENDERS, 1 << 16);
  ASSERT_TRUE(slow.WriteRecord("held"));
  {
    LogWriter fast(base_, "fast", LogWriter::CONCURRENT_APPENDERS, 100);
    for (int i = 0; i < 20; ++i) ASSERT_TRUE(fast.WriteRecord(Record(i)));
    ASSERT_GT(fast.current_file_number(), 0);
  }
  ASSERT_TRUE(slow.Flush());
  EXPECT_GT(slow.current_file_number(), 0);
  const auto first = ReadRecordFile(LogBase(base_).FileName(0)), records = ReadAll();
  EXPECT_EQ(std::count(first.begin(), first.end(), "held"), 0);
  EXPECT_EQ(std::count(records.begin(), records.end(), "held"), 1);
  EXPECT_EQ(records.size(), 21u);
}

}  // namespace
