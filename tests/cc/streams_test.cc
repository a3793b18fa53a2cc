// Buffered streams: lines and varints across buffer boundaries, large reads,
// non-blocking reads, prefetching and write-behind observed on a slow file
// (read-ahead is measured by bench/streams_readahead.cc), verified reading of a
// file written with an attribute record, checkpoints and rewinds.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <tuple>

#include "file/base/core/async.h"
#include "file/base/core/file_attributes.h"
#include "file/base/core/file_factory.h"
#include "file/base/inputbuffer.h"
#include "file/base/mem/mem_file.h"
#include "file/base/outputbuffer.h"
#include "file/base/streams/checkpoint.h"
#include "tests/cc/fs_conformance.h"

namespace {

using Clock = std::chrono::steady_clock;

// A memory file whose reads and writes take `delay` and count those made on
// the thread that created it; it can also fail its reads from an offset on.
class SlowFile : public file::mem::MemFile {
 public:
  SlowFile(const ::string& name, const char* mode, std::chrono::milliseconds delay)
      : MemFile(FileFactory::ForName(name.c_str()).get(), name.c_str(), mode, FileOpenOptions()),
        delay_(delay) {}
  ~SlowFile() override { CloseBeforeDestroy(); }

  std::atomic<int> on_caller{0};  // reads and writes on the creating thread
  std::atomic<int64> fail_reads_from{-1};

 protected:
  int64 DoPRead(int64 offset, void* buffer, int64 size) override {
    Note();
    if (fail_reads_from >= 0 && offset + size > fail_reads_from) {
      if (offset >= fail_reads_from) return Fail();
      size = fail_reads_from - offset;  // short, then the failure
    }
    return MemFile::DoPRead(offset, buffer, size);
  }
  int64 DoWrite(const void* buffer, uint64 size) override {
    Note();
    return MemFile::DoWrite(buffer, size);
  }

 private:
  int64 Fail() {
    SetError(file::ERROR_UNKNOWN, "PRead", "injected failure");
    return -1;
  }
  void Note() {
    std::this_thread::sleep_for(delay_);
    if (std::this_thread::get_id() == caller_) ++on_caller;
  }
  std::chrono::milliseconds delay_;
  const std::thread::id caller_ = std::this_thread::get_id();
};

class StreamsTest : public BothFsTest {
 protected:
  // An InputBuffer over `relative` with the given capacity.
  std::unique_ptr<InputBuffer> Reader(const std::string& relative, int capacity) {
    File* f = File::Open(P(relative).c_str(), "r");
    EXPECT_NE(f, nullptr);
    return std::make_unique<InputBuffer>(f, capacity);
  }
  // The same after reading `n` bytes (-1: all) with checksumming set so.
  std::unique_ptr<InputBuffer> ReadChecksummed(const std::string& relative, int capacity, int64 n, bool checksum = true,
                                               bool verify_at_eof = false) {
    auto in = Reader(relative, capacity);
    EXPECT_TRUE(in->SetChecksumming(checksum, verify_at_eof));
    ::string got;
    in->ReadToString(&got, n);
    EXPECT_EQ(static_cast<int64>(got.size()), n < 0 ? in->Size() : n);
    return in;
  }
  SlowFile* Slow(const std::string& relative, const char* mode, int ms) {
    auto* f = new SlowFile(P(relative), mode, std::chrono::milliseconds(ms));
    EXPECT_TRUE(f->Open()) << f->GetCurrentErrorMessage();
    return f;
  }
};

PQ_ON_BOTH_FILE_SYSTEMS(StreamsTest);
class SlowStreamsTest : public StreamsTest {};  // the slow fake file is a memory file
INSTANTIATE_TEST_SUITE_P(Mem, SlowStreamsTest, ::testing::Values("mem"));

::string Pattern(size_t n) {
  ::string s(n, '\0');
  for (size_t i = 0; i < n; ++i) s[i] = static_cast<char>((i * 7 + i / 251) & 0xff);
  return s;
}

TEST_P(StreamsTest, LinesOfEveryLengthAcrossBufferBoundaries) {
  const std::vector<::string> lines = {"", "a", ::string(15, 'b'), ::string(16, 'c'), ::string(17, 'd'),
                                       ::string(100, 'e'), "", "tail without newline"};
  ::string text;
  for (size_t i = 0; i < lines.size(); ++i) text += lines[i] + (i + 1 < lines.size() ? "\n" : "");
  Put("lines", text);
  for (int capacity : {1, 5, 16, 17, 4096}) {
    SCOPED_TRACE(capacity);
    auto in = Reader("lines", capacity);
    for (size_t i = 0; i < lines.size(); ++i) {
      const ::string want = lines[i] + (i + 1 < lines.size() ? "\n" : "");
      EXPECT_EQ(in->ReadLineAsString(SIZE_MAX), want);
    }
    EXPECT_EQ(in->ReadLineAsString(SIZE_MAX), "");
    ::string line;
    EXPECT_TRUE(in->eof() && !in->ReadLine(&line));
    // The bounded forms split long lines and keep the rest.
    ASSERT_TRUE(in->Seek(0));
    for (const char* piece : {"\n", "a", "\n"}) EXPECT_EQ(in->ReadLineAsString(1), piece);
    char buf[8] = {'X', 'X', 'X', 'X', 'X', 'X', 'X', 'X'};
    EXPECT_EQ(in->ReadLine(buf, 6), buf);
    EXPECT_STREQ(buf, "bbbbb");
    EXPECT_EQ(buf[6], 'X') << "wrote past the size given";
    EXPECT_EQ(in->Tell(), 8);
    EXPECT_EQ(in->ReadLine(buf, 0), nullptr);
    ASSERT_TRUE(in->Seek(static_cast<int64>(text.size())));
    EXPECT_EQ(in->ReadLine(buf, sizeof(buf)), nullptr);
  }
}

::string Varint(uint64 v) {
  ::string s;
  for (; v >= 0x80; v >>= 7) s.push_back(static_cast<char>(v | 0x80));
  return s + static_cast<char>(v);
}

TEST_P(StreamsTest, VarintsAcrossBufferBoundariesAndTheirFailures) {
  const std::vector<uint32> values = {0, 1, 127, 128, 300, 16383, 16384, (1u << 21) - 1, 1u << 21,
                                      (1u << 28) - 1, 1u << 28, 0xffffffffu};
  ::string text;
  for (uint32 v : values) text += Varint(v);
  Put("varints", text);
  for (int capacity : {1, 2, 3, 5, 6, 4096}) {
    SCOPED_TRACE(capacity);
    auto in = Reader("varints", capacity);
    for (uint32 v : values) {
      uint32 got = 7;
      EXPECT_TRUE(in->ReadVarint32(&got) && got == v) << v << " read as " << got;
    }
    uint32 untouched = 42;
    EXPECT_FALSE(in->ReadVarint32(&untouched) || untouched != 42u);
  }
  // Cut by the end of the file, six bytes long, above 2^32-1.
  for (const ::string& bad : {::string("\x80\x80", 2), ::string("\x80\x80\x80\x80\x80\x01", 6),
                             ::string("\xff\xff\xff\xff\x1f", 5)}) {
    SCOPED_TRACE(bad.size());
    Put("bad", "ab" + bad);
    for (int capacity : {3, 4096}) {
      auto in = Reader("bad", capacity);
      char two[2];
      uint32 v = 9;
      ASSERT_EQ(in->Read(two, 2), 2);
      EXPECT_FALSE(in->ReadVarint32(&v) || v != 9u);
      EXPECT_EQ(in->Tell(), 2) << "the position goes back to the varint's start";
    }
  }
}

TEST_P(StreamsTest, ReadsSeeksAndSizesAgreeAtEveryPoint) {
  const ::string data = Pattern(10000);
  Put("data", data);
  auto in = Reader("data", 1024);
  EXPECT_EQ(in->Size(), 10000);
  char buf[3000];
  ASSERT_EQ(in->Read(buf, 10), 10);
  EXPECT_EQ(::string(buf, 10), data.substr(0, 10));
  in->SetReadSize(100);  // drops what lies beyond the new size, keeps the position
  ASSERT_EQ(in->Read(buf, 1), 1);
  // Larger than the buffer: straight into the caller's memory.
  ASSERT_EQ(in->Read(buf, 3000), 3000);
  EXPECT_EQ(::string(buf, 3000), data.substr(11, 3000));
  EXPECT_EQ(in->Tell(), 3011);
  // Back inside and far away.
  for (int64 at : {int64{5}, int64{9990}, int64{3011}, int64{0}}) {
    ASSERT_TRUE(in->Seek(at));
    EXPECT_EQ(in->Tell(), at);
    ASSERT_EQ(in->Read(buf, 5), std::min<int64>(5, 10000 - at));
    EXPECT_EQ(::string(buf, std::min<int64>(5, 10000 - at)), data.substr(at, 5));
  }
  EXPECT_FALSE(in->Seek(-1));
  ASSERT_TRUE(in->Seek(9998));
  EXPECT_FALSE(in->eof());
  EXPECT_EQ(in->Read(buf, 100), 2);
  EXPECT_TRUE(in->eof());
  // Past the end: reads nothing, fails nothing.
  ASSERT_TRUE(in->Seek(20000));
  EXPECT_EQ(in->Read(buf, 10), 0);
  EXPECT_FALSE(in->read_error());
}

TEST_P(StreamsTest, ReadToStringIsBoundedByItsMaximumAndByTheFile) {
  const ::string data = Pattern(5000);
  Put("data", data);
  auto in = Reader("data", 512);
  // A string passed again is room to read into: whatever it held before,
  // longer or shorter, it ends up holding exactly the bytes read (-1: all).
  // A hostile maximum (2^40) must not be allocated.
  struct Case { int64 at, max; size_t held; };
  for (const Case& c : {Case{0, 0, 3}, Case{0, 700, 3}, Case{700, int64{1} << 40, 0}, Case{0, 10, 4000},
                        Case{100, 3000, 5}, Case{4990, 100, 2000}, Case{5000, 100, 50}, Case{10, -1, 3}, Case{5000, -1, 9}}) {
    ASSERT_TRUE(in->Seek(c.at));
    ::string out(c.held, '#');
    in->ReadToString(&out, c.max);
    EXPECT_EQ(out, data.substr(static_cast<size_t>(c.at), c.max < 0 ? ::string::npos : size_t(c.max))) << c.at;
    EXPECT_LT(out.capacity(), size_t{1} << 20) << c.at;
  }
}

TEST_P(StreamsTest, OwnershipAndABufferWithoutAFile) {
  Put("a", "first file\n");
  auto in = Reader("a", 64);
  EXPECT_TRUE(in->owns_file());
  EXPECT_EQ(in->ReadLineAsString(100), "first file\n");
  in->RelinquishFileOwnership();
  File* f = in->GetFile();
  EXPECT_TRUE(!in->owns_file() && in->CloseFile() && in->GetFile() == nullptr);
  delete f;  // not owned: still ours
  char c;
  EXPECT_TRUE(in->Read(&c, 1) == 0 && in->read_error());

  InputBuffer none(nullptr);
  EXPECT_TRUE(none.Read(&c, 1) == 0 && none.read_error() && !none.Seek(0) && !none.CloseFile());
  EXPECT_EQ(none.Size(), -1);
  EXPECT_EQ(none.ReadLineAsString(10), "");
}

TEST_P(SlowStreamsTest, TryReadNeverBlocksPrefetchIsUsedAndReadErrorsShow) {
  Put("data", Pattern(20000));
  SlowFile* f = Slow("data", "r", 150);
  InputBuffer in(f, 1024);
  char buf[100];
  AsyncIOWatcher arrived;
  auto start = Clock::now();
  EXPECT_EQ(in.TryRead(buf, 100, &arrived), 0);
  EXPECT_LT(Clock::now() - start, std::chrono::milliseconds(100));
  arrived.Wait();
  EXPECT_EQ(arrived.Error(), 0);
  EXPECT_EQ(in.TryRead(buf, 100, nullptr), 100);
  EXPECT_EQ(::string(buf, 100), Pattern(100));

  AsyncIOWatcher fetched;
  in.Prefetch(10000, 3000, &fetched);
  fetched.Wait();
  EXPECT_EQ(fetched.Bytes(), 3000);
  f->on_caller = 0;
  ASSERT_TRUE(in.Seek(10500) && in.Read(buf, 100) == 100);
  EXPECT_EQ(::string(buf, 100), Pattern(10600).substr(10500));
  EXPECT_EQ(f->on_caller, 0);

  // A failing read comes back short, with the flag.
  f->fail_reads_from = 17000;
  char big[4096];
  EXPECT_TRUE(in.Seek(16000) && in.Read(big, 4096) == 1000 && in.read_error());
}

TEST_P(StreamsTest, VerifiedReadingOfAFileWrittenWithAnAttributeRecord) {
  const int64 kLength = 2 * ChecksumState::kBlockSize + 12345;  // past two history points
  const ::string data = Pattern(static_cast<size_t>(kLength));
  OutputBufferOptions options;
  options.set_attribute_file(true);
  options.set_memory_budget(100000);
  std::unique_ptr<OutputBuffer> out(OutputBuffer::OpenWithOptions(P("f").c_str(), "w", options));
  ASSERT_NE(out, nullptr);
  EXPECT_TRUE(out->keeps_checksum());
  ASSERT_EQ(out->WriteString(data), kLength);
  ASSERT_TRUE(out->CloseFile());

  struct Case { int64 read; bool checksum; int want; };
  for (const Case& c : {Case{kLength, true, InputBuffer::MATCHES_FULL}, Case{ChecksumState::kBlockSize + 3, true,
                        InputBuffer::MATCHES_PREFIX}, Case{kLength, false, InputBuffer::NO_CHECKSUMMING}}) {
    ::string why;
    EXPECT_EQ(ReadChecksummed("f", 65536, c.read, c.checksum)->VerifyChecksum(&why), c.want) << c.read << ": " << why;
  }
  // One changed byte, and the reader notices.
  ASSERT_EQ(OpenOrFail(P("f"), "r+")->PWrite(kLength - 10, "!", 1), 1);
  file_attributes->ClearCache();
  auto in = ReadChecksummed("f", 65536, -1, true, /*verify_at_eof=*/true);
  EXPECT_EQ(in->VerifyChecksum(nullptr), InputBuffer::MISMATCH);
  EXPECT_TRUE(in->read_error()) << "verify_at_eof did not flag the damage";
  Put("plain", "no record");
  EXPECT_EQ(ReadChecksummed("plain", 64, -1)->VerifyChecksum(nullptr), InputBuffer::NO_ATTRIBUTE_FILE);
}

TEST_P(StreamsTest, WritesLinesAlignmentSeekAndTruncateAndLeavesAReadOnlyFileAlone) {
  std::unique_ptr<OutputBuffer> out(new OutputBuffer(File::Open(P("o").c_str(), "w"), 16));
  EXPECT_EQ(out->WriteLine(""), 1);
  EXPECT_EQ(out->WriteString(::string("a\0b", 3)), 3);
  EXPECT_EQ(out->AvailableBuffer(), 12);
  EXPECT_EQ(out->Write(Pattern(40).data(), 40), 40);  // larger than the buffer
  EXPECT_EQ(std::make_pair(out->Tell(), out->Size()), std::make_pair(int64{44}, int64{44}));
  EXPECT_TRUE(out->Align(64, '.'));
  EXPECT_TRUE(out->Align(64, '.'));  // already aligned: nothing
  EXPECT_EQ(out->Tell(), 64);
  EXPECT_TRUE(out->Seek(1) && out->WriteString("A") == 1 && out->Truncate(50));
  EXPECT_EQ(std::make_pair(out->Tell(), out->Size()), std::make_pair(int64{2}, int64{50}));
  EXPECT_TRUE(out->Seek(50) && out->AlignDefault('z'));
  EXPECT_EQ(out->Tell(), OutputBuffer::kDefaultAlignment);
  ASSERT_TRUE(out->CloseFile());
  const ::string want = (::string("\nA\0b", 4) + Pattern(40) + ::string(20, '.')).substr(0, 50);
  EXPECT_EQ(Get("o"), want + ::string(OutputBuffer::kDefaultAlignment - 50, 'z'));

  // A read-only file is left as it was.
  Put("ro", "original");
  out.reset(new OutputBuffer(File::Open(P("ro").c_str(), "r"), 16));
  out->WriteString("0123456789012345678901234567890");
  EXPECT_FALSE(out->Flush() || out->Write("more", 4) != 0);
  out.reset();
  EXPECT_EQ(Get("ro"), "original");
  EXPECT_EQ(OutputBuffer::OpenWithFile(nullptr, OutputBufferOptions()), nullptr);
  EXPECT_EQ(OutputBuffer::OpenWithOptions(P("no/such/dir/x").c_str(), "w", OutputBufferOptions()), nullptr);
}

TEST_P(SlowStreamsTest, WriteBehindOverlapsAndTryWriteNeverBlocks) {
  const int kBuffer = 4096;
  SlowFile* f = Slow("w", "w", 100);
  OutputBuffer out(f, kBuffer, 2 * kBuffer);
  EXPECT_TRUE(out.AsyncEnabled());
  const ::string data = Pattern(3 * kBuffer);
  const auto start = Clock::now();
  ASSERT_EQ(out.Write(data.data(), 2 * kBuffer), 2 * kBuffer);
  EXPECT_LT(Clock::now() - start, std::chrono::milliseconds(80)) << "the caller wrote itself";
  // The budget is now in flight or buffered: TryWrite takes only what fits.
  AsyncIOWatcher room;
  const auto try_start = Clock::now();
  const int took = out.TryWrite(data.data() + 2 * kBuffer, kBuffer, &room);
  EXPECT_LT(Clock::now() - try_start, std::chrono::milliseconds(80));
  EXPECT_LE(took, kBuffer);
  ASSERT_TRUE(out.Write(data.data() + 2 * kBuffer + took, kBuffer - took) == kBuffer - took && out.Flush());
  EXPECT_EQ(f->on_caller, 0);
  ASSERT_TRUE(out.CloseFile());
  EXPECT_EQ(Get("w"), data);
}

TEST_P(StreamsTest, CheckpointsResumeAndRewindKeepTheChecksumRight) {
  CheckpointWriter keeper;
  {
    std::unique_ptr<OutputBuffer> out(
        OutputBuffer::OpenOrDie(P("c").c_str(), "w", nullptr, 64, 0, /*keep_checksum=*/true));
    out->WriteString("first part;");
    out->Checkpoint(&keeper);
    out->WriteString("lost after the checkpoint");
    ASSERT_TRUE(out->Flush());
  }  // the buffer is destroyed without a clean finish
  ASSERT_EQ(keeper.count(), 1);
  EXPECT_EQ(std::make_tuple(keeper.last().offset, keeper.last().has_checksum, keeper.last().filename),
            std::make_tuple(11, true, P("c")));

  // Through a checkpoint file and its text form.
  FileCheckpointWriter saved(P("cp"));
  ASSERT_TRUE(saved.WriteCheckpoint(keeper.last()));
  CheckpointRecord restored;
  ASSERT_TRUE(FileCheckpointWriter::Load(P("cp").c_str(), &restored));
  EXPECT_EQ(restored.checksum, keeper.last().checksum);

  OutputBufferOptions options;
  options.set_checkpoint(&restored);
  options.set_attribute_file(true);
  std::unique_ptr<OutputBuffer> out(OutputBuffer::OpenWithOptions(P("c").c_str(), "w", options));
  ASSERT_NE(out, nullptr);
  EXPECT_EQ(out->Tell(), 11);
  out->WriteString("second part;");
  FileAttr mark;
  out->GetAttributes(&mark);
  EXPECT_EQ(mark.checksum.Length(), 23);
  out->WriteString("to be rewound");
  out->RewindOrDie(mark);
  EXPECT_EQ(out->Tell(), 23);
  out->WriteString("end");
  ASSERT_TRUE(out->CloseFile());
  EXPECT_EQ(Get("c"), "first part;second part;end");

  file_attributes->ClearCache();
  EXPECT_EQ(ReadChecksummed("c", 8, -1)->VerifyChecksum(nullptr), InputBuffer::MATCHES_FULL);
}

TEST(StreamsDeath, ZeroReadSizeAndFailedOpenOrDieEndTheProcessWithTheirTexts) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  InputBuffer in(nullptr);
  EXPECT_DEATH(in.SetReadSize(0), "file/base/inputbuffer.h:252: .*SetReadSize.*size > 0");
  EXPECT_DEATH(OutputBuffer::OpenOrDie("/mem/no/such/dir/f", "w", nullptr, 0, 0, false), "/mem/no/such/dir/f");
}

}  // namespace
