// Logs are record files: each file of a log reads as a record file and a
// record file reads as a log; messages, batch positions and carried buffers.
#include <algorithm>
#include <set>

#include "file/base/recordio.h"
#include "tests/cc/log_testing.h"

namespace {

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
    w.EnableCompression(6);
    for (int i = 300; i < 400; ++i) ASSERT_TRUE(w.WriteRecord(Record(i)));
  }
  // The files, read one by one as record files, hold the log in order.
  std::vector<std::string> all;
  for (int n = 0; File::Exists(LogBase(base_).FileName(n).c_str()); ++n) {
    for (auto& r : ReadRecordFile(LogBase(base_).FileName(n))) all.push_back(r);
  }
  ASSERT_EQ(all.size(), 400u);
  for (int i = 0; i < 400; ++i) ASSERT_EQ(all[i], Record(i));
  EXPECT_GT(FileCount(), 5);

  // A record file written by the record writer under a log's name.
  const ::string other = dir_ + "/other.";
  {
    RecordWriter w(File::Open((other + "seq00000").c_str(), "w"));
    ASSERT_TRUE(w.WriteRecord(::string("one")));
    w.EnableCWCompression(1, 0, false, true);
    ASSERT_TRUE(w.WriteRecord(::string("two")));
    ASSERT_TRUE(w.Close());
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
  ASSERT_TRUE(w.WriteRecord("not a message"));
  ASSERT_TRUE(w.Flush());
  LogReader r(base_);
  TaggedMessage out;
  ASSERT_TRUE(r.ReadProtocolMessageIfAvailable(&out));
  EXPECT_EQ(out.text, "hello");
  EXPECT_FALSE(r.ReadProtocolMessageIfAvailable(&out));  // consumed, not a message
  EXPECT_NE(r.last_error().find("not a message"), std::string::npos) << r.last_error();
  EXPECT_FALSE(r.ReadProtocolMessageIfAvailable(&out));  // nothing more
  EXPECT_FALSE(r.ReadProtocolMessageIfAvailable(nullptr));
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
    ASSERT_TRUE(r.Seek(positions[i]));
    ASSERT_TRUE(r.ReadRecordAsStringIfAvailable(&s));
    EXPECT_EQ(s, std::to_string(i));
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
  const auto first = ReadRecordFile(LogBase(base_).FileName(0));
  EXPECT_EQ(std::count(first.begin(), first.end(), "held"), 0);
  const auto records = ReadAll();
  EXPECT_EQ(std::count(records.begin(), records.end(), "held"), 1);
  EXPECT_EQ(records.size(), 21u);
}

}  // namespace
