// RecordWriter and RecordReader over real files of both file systems.
#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <set>
#include <thread>

#include "file/base/core/async.h"
#include "file/base/recordio.h"
#include "file/base/streams/checkpoint.h"
#include "tests/cc/fs_conformance.h"

namespace {

std::string Rec(int i, size_t n) {
  std::string s = "#" + std::to_string(i) + ":";
  while (s.size() < n) s.push_back(static_cast<char>('a' + (i + s.size()) % 23));
  s.resize(n);
  return s;
}

std::unique_ptr<RecordReader> Reader(const ::string& name) {
  File* f = File::Open(name.c_str(), "r");
  EXPECT_NE(f, nullptr) << name;
  return std::make_unique<RecordReader>(f);
}
// Every record `r` returns from where it stands.
std::vector<std::string> ReadAll(RecordReader* r) {
  std::vector<std::string> out;
  ::string s;
  while (r->ReadRecord(&s)) out.push_back(s);
  return out;
}
std::vector<std::string> ReadAllRecords(const ::string& name) { return ReadAll(Reader(name).get()); }

// Writes Rec(i, size(i)) for i < n and returns the records.
std::vector<std::string> WriteRecords(RecordWriter* w, int n, const std::function<size_t(int)>& size) {
  std::vector<std::string> out;
  for (int i = 0; i < n; ++i) {
    out.push_back(Rec(i, size(i)));
    EXPECT_TRUE(w->WriteRecord(out.back())) << i;
  }
  EXPECT_TRUE(w->Close());
  return out;
}

class RecordIoTest : public BothFsTest {
 protected:
  RecordWriter* NewWriter(const std::string& rel, int buffer = 65536,
                          RecordWriter::Concurrency c = RecordWriter::SINGLE_WRITER) {
    File* f = File::Open(P(rel).c_str(), c == RecordWriter::SINGLE_WRITER ? "w" : "a");
    EXPECT_NE(f, nullptr);
    return new RecordWriter(f, buffer, c);
  }
};

PQ_ON_BOTH_FILE_SYSTEMS(RecordIoTest);

// Every codec, switched between records, with sizes at and around the
// fragment size, read back exactly with positions that seek back exactly.
TEST_P(RecordIoTest, RoundTripsWithEveryCodecAndSeeksBack) {
  std::unique_ptr<RecordWriter> w(NewWriter("a.rec", 8192));
  std::vector<std::string> want;
  std::vector<int64> positions;
  const size_t sizes[] = {0, 1, 100, records::kFragmentPayload - 1, records::kFragmentPayload,
                          records::kFragmentPayload + 1, 3 * records::kFragmentPayload + 5};
  using Mode = std::function<void(RecordWriter*)>;
  for (const Mode& mode : {Mode([](RecordWriter* w) { w->DisableCompression(); }),
                           Mode([](RecordWriter* w) { w->EnableCompression(6); }),
                           Mode([](RecordWriter* w) { w->EnableCWCompression(3, 20, false, false); }),
                           Mode([](RecordWriter* w) { w->EnableCWCompression(1, 0, true, true, 4096); }),
                           Mode([](RecordWriter* w) { w->EnablePlumeCompression(1); }),
                           Mode([](RecordWriter* w) { w->DisableCompression(); })}) {
    mode(w.get());
    for (size_t n : sizes) {
      want.push_back(Rec(static_cast<int>(want.size()), n));
      positions.push_back(w->Tell());
      ASSERT_TRUE(w->WriteRecord(want.back()));
    }
  }
  ASSERT_TRUE(w->Close());
  auto reader = Reader(P("a.rec"));
  EXPECT_EQ(ReadAll(reader.get()), want);
  EXPECT_EQ(reader->skipped_bytes(), 0);
  EXPECT_TRUE(reader->AtEOF(true));
  ::string s;
  for (size_t i = want.size(); i-- > 0;) {
    ASSERT_TRUE(reader->Seek(positions[i]) && reader->ReadRecord(&s)) << i;
    EXPECT_TRUE(s == want[i] && reader->LastRecordPosition() == positions[i]) << i;
  }
}

// The same records through every way of reading ahead: sequential
// read-ahead, a lookahead, a small window, and a prefetched range.
TEST_P(RecordIoTest, ReadAheadOptionsReadTheSameRecords) {
  std::unique_ptr<RecordWriter> w(NewWriter("ra.rec"));
  const auto want = WriteRecords(w.get(), 400, [](int i) { return (i * 7919) % 100000; });
  const char* texts[] = {"enable_aio=1", "lookahead=262144, memory_budget=1048576", "buffer_size=4096\nfixed_size=0",
                         "enable_aio=true lookahead_on_open=0,lookahead=65536"};
  for (const char* text : texts) {
    RecordReaderOptions o;
    ASSERT_TRUE(o.LoadOptionsFromString(text));
    RecordReader r(File::Open(P("ra.rec").c_str(), "r"), o);
    EXPECT_EQ(r.AsyncReadEnabled(), o.enable_aio()) << text;
    AsyncIOWatcher fetched;
    r.Prefetch(0, 1 << 20, &fetched);
    fetched.Wait();
    EXPECT_EQ(fetched.Error(), 0);
    EXPECT_TRUE(ReadAll(&r) == want) << text;  // no printing of megabytes on failure
    ::string s;
    EXPECT_TRUE(r.Seek(0) && r.ReadRecord(&s) && s == want[0]) << text;
  }
}

// Two damaged runs: each skipped as one region, counted, never returned.
TEST_P(RecordIoTest, DamageIsSkippedCountedAndBounded) {
  std::unique_ptr<RecordWriter> w(NewWriter("d.rec"));
  const auto want = WriteRecords(w.get(), 300, [](int i) { return 50 + (i * 37) % 3000; });
  Handle f = OpenOrFail(P("d.rec"), "r+");
  const int64 size = f->Size();
  const std::string junk(100, '\x5a');
  for (int64 at : {size / 3, 2 * size / 3}) ASSERT_EQ(f->PWrite(at, junk.data(), 100), 100);
  f.reset();
  const std::set<std::string> all(want.begin(), want.end());
  auto r = Reader(P("d.rec"));
  const auto got = ReadAll(r.get());
  for (const auto& s : got) EXPECT_TRUE(all.count(s)) << "a record never written came back";
  // Each 100-byte run touches at most two records of these sizes.
  EXPECT_GE(got.size(), want.size() - 4);
  EXPECT_LT(got.size(), want.size());
  EXPECT_EQ(r->skipped_regions(), 2);
  EXPECT_GT(r->skipped_bytes(), 100);
  EXPECT_LT(r->skipped_bytes(), 2 * (3000 + 200));
}

TEST_P(RecordIoTest, GrowingFileIsReadAsRecordsComplete) {
  std::unique_ptr<RecordWriter> w(NewWriter("g.rec", 4096));
  RecordReader r(File::Open(P("g.rec").c_str(), "r"));
  void* data;
  size_t len;
  EXPECT_EQ(r.TryReadRecord(&data, &len), RecordReader::READ_DONE);
  // A record larger than the writer's buffer goes out whole at once; a
  // small one waits in the buffer until Flush.
  const std::string big = Rec(1, 3 * records::kFragmentPayload);
  ASSERT_TRUE(w->WriteRecord(big));
  ASSERT_TRUE(w->WriteRecord("small"));
  ASSERT_EQ(r.TryReadRecord(&data, &len), RecordReader::READ_OK);
  EXPECT_TRUE(std::string(static_cast<char*>(data), len) == big);
  EXPECT_EQ(r.TryReadRecord(&data, &len), RecordReader::READ_DONE);
  ASSERT_TRUE(w->Flush());
  ASSERT_EQ(r.TryReadRecord(&data, &len), RecordReader::READ_OK);
  EXPECT_EQ(std::string(static_cast<char*>(data), len), "small");
  // A torn frame at the end: RETRY without a blocking read, nothing skipped.
  Handle raw = OpenOrFail(P("g.rec"), "a");
  std::string framed;
  records::AppendRecord(0, "later", 5, &framed);
  ASSERT_TRUE(raw->Write(framed.data(), 7) == 7 && raw->Flush());
  EXPECT_EQ(r.TryReadRecord(&data, &len), RecordReader::READ_RETRY);
  EXPECT_FALSE(r.ReadRecord(&data, &len));
  ASSERT_TRUE(raw->Write(framed.data() + 7, framed.size() - 7) == static_cast<int64>(framed.size() - 7) && raw->Flush());
  ASSERT_TRUE(r.ReadRecord(&data, &len));
  EXPECT_EQ(std::string(static_cast<char*>(data), len), "later");
  EXPECT_EQ(r.skipped_bytes(), 0);
}

TEST_P(RecordIoTest, ConcurrentAppendersFromThreadsNeverTear) {
  const int kThreads = 4, kEach = 400;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      std::unique_ptr<RecordWriter> w(NewWriter("c.rec", 4096, t % 2 ? RecordWriter::AUTO
                                                                       : RecordWriter::CONCURRENT_APPENDERS));
      if (t == 3) w->EnableCWCompression(1, 0, false, false, 2048);
      for (int i = 0; i < kEach; ++i) ASSERT_TRUE(w->WriteRecord(Rec(t * 100000 + i, 10 + (i * 131) % 5000)));
      ASSERT_TRUE(w->Close());
    });
  }
  for (auto& t : threads) t.join();
  auto r = Reader(P("c.rec"));
  const auto got = ReadAll(r.get());
  EXPECT_EQ(r->skipped_bytes(), 0);
  ASSERT_EQ(got.size(), static_cast<size_t>(kThreads * kEach));
  std::vector<int> next(kThreads, 0);
  for (const auto& s : got) {  // each writer's records arrive whole and in order
    const int id = std::stoi(s.substr(1));
    const int t = id / 100000, i = id % 100000;
    ASSERT_EQ(i, next[t]++);
    EXPECT_EQ(s, Rec(id, 10 + (i * 131) % 5000));
  }
}

TEST_P(RecordIoTest, LengthLimitMovesToTheOpenersFilesOrRefuses) {
  std::unique_ptr<RecordWriter> w(NewWriter("m.rec", 4096));
  w->SetMaxFileLength(1000, nullptr);
  ASSERT_TRUE(w->WriteRecord(std::string(900, 'x')));
  EXPECT_EQ(ErrorOf(w->WriteRecord(std::string(200, 'y')), w), file::ERROR_NO_SPACE);
  NumberedRecordWriterOpener opener(P("m.rec"));
  w->SetMaxFileLength(1000, &opener);
  for (int i = 0; i < 10; ++i) ASSERT_TRUE(w->WriteRecord(Rec(i, 400)));
  EXPECT_FALSE(w->WriteRecord(std::string(2000, 'z')));  // fits no file
  ASSERT_TRUE(w->Close());
  std::vector<std::string> got = ReadAllRecords(P("m.rec"));
  for (int k = 1; File::Exists((P("m.rec") + "." + std::to_string(k)).c_str()); ++k) {
    EXPECT_LE(StatOf("m.rec." + std::to_string(k)).length, 1000);
    for (auto& s : ReadAllRecords(P("m.rec") + "." + std::to_string(k))) got.push_back(s);
  }
  ASSERT_EQ(got.size(), 11u);
  for (int i = 0; i < 10; ++i) EXPECT_EQ(got[i + 1], Rec(i, 400));
}

TEST_P(RecordIoTest, CheckpointResumesTheFile) {
  const auto open = [&](const CheckpointRecord* from) {
    return std::unique_ptr<RecordWriter>(RecordWriter::Open(P("k.rec").c_str(), "w", from, 4096, 0, false,
                                                            RecordWriter::SINGLE_WRITER));
  };
  CheckpointWriter cw;
  auto w = open(nullptr);
  ASSERT_TRUE(w != nullptr && w->WriteRecord("one"));
  w->Checkpoint(&cw);
  ASSERT_EQ(cw.count(), 1);
  ASSERT_TRUE(w->WriteRecord("lost after the checkpoint") && w->Close());
  w = open(&cw.last());
  ASSERT_TRUE(w != nullptr && w->WriteRecord("two") && w->Close());
  EXPECT_EQ(ReadAllRecords(P("k.rec")), (std::vector<std::string>{"one", "two"}));
  EXPECT_EQ(RecordWriter::Open(P("other").c_str(), "w", &cw.last(), 0, 0, true, RecordWriter::SINGLE_WRITER), nullptr);
}

TEST_P(RecordIoTest, NonBlockingWritesRetryAndLoseNothing) {
  std::unique_ptr<RecordWriter> w(NewWriter("t.rec", 4096));
  std::vector<std::string> written;
  for (int i = 0; i < 3000; ++i) {
    const std::string rec = Rec(i, 700);
    for (;;) {
      AsyncIOWatcher room;
      const auto st = w->TryWriteRecord(rec.data(), rec.size(), &room);
      ASSERT_NE(st, RecordWriter::WRITE_ERROR);
      if (st == RecordWriter::WRITE_OK) break;
      room.Wait();
    }
    written.push_back(rec);
  }
  ASSERT_TRUE(w->Close());
  EXPECT_EQ(ReadAllRecords(P("t.rec")), written);
}

// Buffers that end inside frames (a single writer, then a sole appender,
// each started unaligned by the one before) keep every record whole.
TEST_P(RecordIoTest, StreamedBuffersKeepEveryRecordWhole) {
  Put("s.rec", "");
  std::vector<std::string> want;
  for (int buffer : {4096, 5000}) {
    File* f = File::Open(P("s.rec").c_str(), "a");
    ASSERT_TRUE(f != nullptr && f->Seek(f->Size()));
    RecordWriter w(f, buffer, buffer == 4096 ? RecordWriter::SINGLE_WRITER : RecordWriter::CONCURRENT_APPENDERS);
    w.SetSoleAppender(buffer == 5000);
    for (int n : {7, 4084, 4085, 9000, 1100000, 0, 12345}) {
      want.push_back(Rec(static_cast<int>(want.size()), n));
      ASSERT_TRUE(w.WriteRecord(want.back()));
    }
    ASSERT_TRUE(w.Close());
  }
  auto r = Reader(P("s.rec"));
  EXPECT_EQ(ReadAll(r.get()), want);
  EXPECT_EQ(r->skipped_bytes(), 0);
}

// A write failing inside a record keeps it whole and later records are
// refused; failures say why; a record over the writer's limit is refused.
TEST_P(RecordIoTest, WriteFailuresKeepRecordsWholeAndSayWhy) {
  RecordWriter full(File::Open("/dev/full", "w"), 4096);
  full.NoSyncOnClose();
  ASSERT_TRUE(full.WriteRecord(std::string(3000, 'a')));
  EXPECT_TRUE(full.WriteRecord(std::string(3000, 'b')));  // accepted: its spill fails
  EXPECT_NE(full.GetCurrentErrorCode(), file::OK);
  EXPECT_EQ(full.Tell(), 2 * (3000 + RecordIO::kHeaderSize));  // nothing reached the file, nothing lost
  EXPECT_FALSE(full.WriteRecord(std::string(3000, 'c')) || full.Flush());
  RecordWriter w(File::Open(Put("ro.rec", "").c_str(), "r"), 4096);
  ASSERT_TRUE(w.WriteRecord("buffered"));
  EXPECT_FALSE(w.Flush() || w.GetCurrentErrorCode() == file::OK || w.GetCurrentErrorMessage().empty());
  EXPECT_FALSE(w.WriteRecord(std::string(5000, 'x')));  // needs the buffer written first
  RecordWriter small(File::Open(P("s.rec").c_str(), "w"), 4096, RecordWriter::SINGLE_WRITER, 10);
  EXPECT_EQ(ErrorOf(small.WriteRecord(std::string(11, 'x')), &small), file::ERROR_INVALID_ARGUMENT);
  EXPECT_TRUE(small.WriteRecord(std::string(10, 'x')));
}

TEST_P(RecordIoTest, ReaderLimitsSkipLongRecordsAndBatches) {
  std::unique_ptr<RecordWriter> w(NewWriter("l.rec"));
  ASSERT_TRUE(w->WriteRecord(std::string(100000, 'a')));
  ASSERT_TRUE(w->WriteRecord("keep"));
  w->EnableCWCompression(1, 0, false, false);
  for (int i = 0; i < 100; ++i) ASSERT_TRUE(w->WriteRecord(std::string(1000, 'b')));
  w->DisableCompression();
  ASSERT_TRUE(w->WriteRecord("keep too"));
  ASSERT_TRUE(w->Close());
  auto r = Reader(P("l.rec"));
  r->set_max_record_length(50000);
  r->set_max_decoded_record_length(50000);
  EXPECT_EQ(ReadAll(r.get()), (std::vector<std::string>{"keep", "keep too"}));
  EXPECT_EQ(r->skipped_regions(), 2);
}

// Writer processes: forked appenders share one file, and a writer killed
// at a random moment loses nothing it had flushed.
TEST(RecordIoProcesses, ForkedAppendersAndKilledWriter) {
  const ScratchDir dir("recordio_proc");
  const std::string name = dir.path + "/p.rec";
  RunInChildren(3, [&](int k) {
    RecordWriter w(File::Open(name.c_str(), "a"), 4096, RecordWriter::CONCURRENT_APPENDERS);
    bool ok = true;
    for (int i = 0; i < 300; ++i) ok = w.WriteRecord(Rec(k * 100000 + i, 100 + i * 7)) && ok;
    return ok && w.Close();
  });
  auto r = Reader(name);
  EXPECT_EQ(ReadAll(r.get()).size(), 900u);
  EXPECT_EQ(r->skipped_bytes(), 0);

  const std::string killed = dir.path + "/k.rec";
  const int acked = KillAfterAcks(499, [&](const std::function<void(int)>& ack) {
    RecordWriter w(File::Open(killed.c_str(), "w"), 65536);
    for (int i = 0;; ++i) {
      w.WriteRecord(Rec(i, 200 + i % 3000));
      if (i % 10 == 9 && w.Flush()) ack(i);
    }
  });
  const auto records = ReadAllRecords(killed);
  ASSERT_GE(static_cast<int>(records.size()), acked + 1);
  for (size_t i = 0; i < records.size(); ++i) ASSERT_EQ(records[i], Rec(static_cast<int>(i), 200 + i % 3000));
}

// A deterministic stand-in for a fuzzer: mutated and random files through
// the full reader never crash, hang or return an unwritten record.
TEST(RecordIoFuzz, MutatedFilesThroughTheReader) {
  std::string base;
  std::set<std::string> written;
  for (int i = 0; i < 40; ++i) {
    const std::string r = Rec(i, (i * 977) % 70000);
    written.insert(r);
    records::AppendRecord(0, r.data(), r.size(), &base);
  }
  ASSERT_TRUE(File::RecursivelyCreateDir("/mem/recordfuzz", 0755));
  for (unsigned seed = 0; seed < 300; ++seed) {
    std::mt19937 rng(seed);
    std::string bytes = base;
    const int edits = 1 + static_cast<int>(rng() % 20);
    for (int e = 0; e < edits; ++e) {
      const size_t at = rng() % bytes.size();
      switch (rng() % 3) {
        case 0: bytes[at] = static_cast<char>(rng()); break;
        case 1: bytes.erase(at, rng() % 64); break;
        case 2: bytes.insert(at, std::string(rng() % 64, static_cast<char>(rng()))); break;
      }
    }
    if (seed % 10 == 0) bytes.resize(rng() % bytes.size());
    const std::string name = "/mem/recordfuzz/" + std::to_string(seed);
    ASSERT_TRUE(File::WriteStringToFile(bytes, name));
    RecordReader r(File::Open(name.c_str(), "r"), 65536);
    ::string s;
    for (int n = 0; r.ReadRecord(&s); ++n) ASSERT_TRUE(written.count(s) && n < 100) << "seed " << seed;
    File::Delete(name.c_str());
  }
}

}  // namespace
