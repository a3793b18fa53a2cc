// The store of checksum/version/finalisation records, on a local directory
// and under /mem/ alike.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <random>
#include <string>

#include "file/base/attr_record.h"
#include "file/base/file.h"
#include "file/base/file_attributes.h"
#include "file/base/operation.h"

namespace {

constexpr int64 kBlock = ChecksumState::kBlockSize;

std::string RandomBytes(size_t n, unsigned seed) {
  std::mt19937 gen(seed);
  std::string bytes(n, '\0');
  for (char& c : bytes) c = static_cast<char>(gen());
  return bytes;
}

ChecksumState StateOf(const std::string& bytes) {
  ChecksumState state;
  state.Add(bytes.data(), bytes.size());
  return state;
}

// Each test gets a fresh directory under the parameter's root: "local" (a
// temporary directory) or "mem".
class FileAttributeStoreTest : public ::testing::TestWithParam<std::string> {
 protected:
  void SetUp() override {
    if (GetParam() == "mem") {
      static int count = 0;
      dir_ = "/mem/h7attr." + std::to_string(getpid()) + "." + std::to_string(++count);
      ASSERT_TRUE(File::RecursivelyCreateDir(dir_, 0755));
    } else {
      const char* base = std::getenv("PQ_TEST_TMP");
      std::string root = base != nullptr && *base != '\0' ? base : "/tmp";
      ASSERT_TRUE(File::RecursivelyCreateDir(root, 0755));
      std::string pattern = root + "/h7attr.XXXXXX";
      ASSERT_NE(mkdtemp(pattern.data()), nullptr);
      dir_ = pattern;
    }
    store_.ClearCache();
  }

  void TearDown() override {
    int files = 0, dirs = 0;
    File::DeleteRecursively(dir_, &files, &dirs);
    EXPECT_FALSE(File::Exists(dir_.c_str()));
  }

  ::string P(const std::string& name) const { return dir_ + "/" + name; }

  ::string Put(const std::string& name, const std::string& contents) {
    const ::string path = P(name);
    EXPECT_TRUE(File::WriteStringToFile(contents, path));
    return path;
  }

  static FileAttr Record(const std::string& data, int64 time) {
    FileAttr attr;
    attr.checksum = StateOf(data);
    attr.version = FileVersion(time, 42);
    return attr;
  }

  ::string dir_;
  FileAttributes store_;
};

TEST_P(FileAttributeStoreTest, StoreThenLoadInTheAttributeRecord) {
  const ::string name = Put("a", "contents");
  FileAttr attr;
  attr.version = FileVersion(7, 1);
  EXPECT_FALSE(store_.Load(name.c_str(), &attr));
  EXPECT_TRUE(attr.version.IsEmpty()) << "a failed load clears the record";

  const FileAttr stored = Record("contents", 123);
  ASSERT_TRUE(store_.Store(name.c_str(), &stored));
  ASSERT_TRUE(store_.Load(name.c_str(), &attr));
  EXPECT_TRUE(attr.checksum == stored.checksum);
  EXPECT_EQ(attr.version, stored.version);
  EXPECT_FALSE(attr.finalized);

  ::string record_name;
  FileAttributes::GetAttributeFileName(name.c_str(), &record_name);
  EXPECT_EQ(record_name, P(".a.attr"));
  ::string text;
  ASSERT_TRUE(File::ReadFileToString(record_name, &text));
  EXPECT_NE(text.find("checksum "), ::string::npos) << text;
  EXPECT_NE(text.find("version v123.000000000000002a\n"), ::string::npos) << text;
  EXPECT_NE(text.find("finalized 0\n"), ::string::npos) << text;
}

TEST_P(FileAttributeStoreTest, StoreNeedsAnExistingFile) {
  const FileAttr attr = Record("", 1);
  EXPECT_FALSE(store_.Store(P("missing").c_str(), &attr));
  EXPECT_FALSE(store_.Store(dir_.c_str(), &attr)) << "directories carry no checksum";
  EXPECT_FALSE(store_.Store(P(".a.attr").c_str(), &attr)) << "records have no records";
  EXPECT_FALSE(store_.Store(nullptr, &attr));
  EXPECT_FALSE(store_.Store(Put("a", "x").c_str(), nullptr));
}

TEST_P(FileAttributeStoreTest, FileSystemAttributesAndRecordLiveSideBySide) {
  const ::string name = Put("a", "data");
  ASSERT_TRUE(File::SetAttributes(name.c_str(), Attr_t(Attr_t::APPEND)));
  const FileAttr stored = Record("data", 5);
  ASSERT_TRUE(store_.Store(name.c_str(), &stored));
  FileStat stat;
  ASSERT_TRUE(File::Stat(name.c_str(), &stat));
  EXPECT_EQ(stat.attributes.attr, static_cast<uint32>(Attr_t::APPEND));

  ASSERT_TRUE(File::SetAttributes(name.c_str(), Attr_t(Attr_t::PROTECTED)));
  FileAttr loaded;
  ASSERT_TRUE(store_.Load(name.c_str(), &loaded));
  EXPECT_EQ(loaded.version, stored.version);

  // Deleting the FileAttr keeps the file system's attributes.
  ASSERT_TRUE(store_.Delete(name.c_str()));
  EXPECT_FALSE(store_.Load(name.c_str(), &loaded));
  ASSERT_TRUE(File::Stat(name.c_str(), &stat));
  EXPECT_EQ(stat.attributes.attr, static_cast<uint32>(Attr_t::PROTECTED));
  EXPECT_TRUE(store_.Delete(name.c_str())) << "nothing stored is success";

  // With nothing else in it, the record file goes.
  ASSERT_TRUE(File::SetAttributes(name.c_str(), Attr_t(0)));
  ASSERT_TRUE(store_.Store(name.c_str(), &stored));
  ASSERT_TRUE(store_.Delete(name.c_str()));
  EXPECT_FALSE(File::Exists(P(".a.attr").c_str()));
}

TEST_P(FileAttributeStoreTest, DeleteWithOpRecordsItsFailures) {
  const ::string name = Put("a", "data");
  const FileAttr stored = Record("data", 5);
  ASSERT_TRUE(store_.Store(name.c_str(), &stored));

  file::Operation op;
  op.SetDeadlineLength(-1);
  EXPECT_FALSE(store_.DeleteWithOp(name.c_str(), &op));
  EXPECT_EQ(op.error(), file::ERROR_DEADLINE_EXCEEDED);
  FileAttr loaded;
  EXPECT_TRUE(store_.Load(name.c_str(), &loaded)) << "a passed deadline does no work";

  op.ClearDeadline();
  EXPECT_FALSE(store_.DeleteWithOp("", &op));
  EXPECT_EQ(op.error(), file::ERROR_INVALID_ARGUMENT);
  EXPECT_TRUE(store_.DeleteWithOp(name.c_str(), &op));
  EXPECT_TRUE(op.ok()) << op.Status();
  EXPECT_FALSE(store_.Load(name.c_str(), &loaded));
}

TEST_P(FileAttributeStoreTest, BulkDeleteGivesOneFlagPerName) {
  const ::string a = Put("a", "1"), b = Put("b", "2");
  const FileAttr stored = Record("1", 5);
  ASSERT_TRUE(store_.Store(a.c_str(), &stored));
  ASSERT_TRUE(store_.Store(b.c_str(), &stored));
  vector<bool> results;
  file::Operation op;
  EXPECT_FALSE(store_.BulkDeleteWithOp({a, "", b}, &results, &op));
  EXPECT_EQ(results, (vector<bool>{true, false, true}));
  EXPECT_EQ(op.error(), file::ERROR_INVALID_ARGUMENT);
  FileAttr loaded;
  EXPECT_FALSE(store_.Load(a.c_str(), &loaded));
  EXPECT_FALSE(store_.Load(b.c_str(), &loaded));
  EXPECT_TRUE(store_.BulkDelete({a, b}, &results));
  EXPECT_EQ(results, (vector<bool>{true, true}));
}

TEST_P(FileAttributeStoreTest, FinalizeRecordsTheChecksumAndForbidsWriting) {
  const std::string data = RandomBytes(kBlock + 300, 1);
  const ::string name = Put("f", data);
  ASSERT_TRUE(store_.Finalize(name.c_str()));

  FileAttr attr;
  ASSERT_TRUE(store_.Load(name.c_str(), &attr));
  EXPECT_TRUE(attr.finalized);
  EXPECT_TRUE(attr.checksum == StateOf(data));
  EXPECT_FALSE(attr.version.IsEmpty());
  FileStat stat;
  ASSERT_TRUE(File::Stat(name.c_str(), &stat));
  EXPECT_TRUE(stat.attributes.has(Attr_t::FINALIZED));

  EXPECT_EQ(File::Open(name.c_str(), "a"), nullptr);
  File* reader = File::Open(name.c_str(), "r");
  ASSERT_NE(reader, nullptr);
  EXPECT_TRUE(file::CloseAndDelete(reader));
  const FileAttr other = Record("other", 9);
  EXPECT_FALSE(store_.Store(name.c_str(), &other)) << "a finalized record is final";
  EXPECT_TRUE(store_.Finalize(name.c_str())) << "finalizing twice is fine";
  ASSERT_TRUE(store_.Load(name.c_str(), &attr));
  EXPECT_TRUE(attr.checksum == StateOf(data));
}

TEST_P(FileAttributeStoreTest, FinalizeKeepsAMatchingRecordAndRefusesAStaleOne) {
  const ::string good = Put("good", "abc");
  const FileAttr stored = Record("abc", 77);
  ASSERT_TRUE(store_.Store(good.c_str(), &stored));
  ASSERT_TRUE(store_.Finalize(good.c_str()));
  FileAttr attr;
  ASSERT_TRUE(store_.Load(good.c_str(), &attr));
  EXPECT_EQ(attr.version, stored.version);

  const ::string stale = Put("stale", "abcd");
  ASSERT_TRUE(store_.Store(stale.c_str(), &stored));
  EXPECT_FALSE(store_.Finalize(stale.c_str()));
  ASSERT_TRUE(store_.Load(stale.c_str(), &attr));
  EXPECT_FALSE(attr.finalized);
  File* writer = File::Open(stale.c_str(), "a");
  ASSERT_NE(writer, nullptr) << "a refused finalisation leaves the file writable";
  EXPECT_TRUE(file::CloseAndDelete(writer));

  EXPECT_FALSE(store_.Finalize(P("missing").c_str()));
  EXPECT_FALSE(store_.Finalize(dir_.c_str()));
}

TEST_P(FileAttributeStoreTest, LoadPrefixRebuildsTheChecksumOfTheFirstBytes) {
  const std::string data = RandomBytes(2 * kBlock + kBlock / 2 + 100, 2);
  const ::string name = Put("p", data);
  FileAttr stored = Record(data, 3);
  stored.finalized = false;
  ASSERT_TRUE(store_.Store(name.c_str(), &stored));

  for (int64 n : {int64{0}, int64{100}, kBlock, kBlock + 77, 2 * kBlock + 5, int64(data.size())}) {
    FileAttr prefix;
    ASSERT_TRUE(store_.LoadPrefix(name.c_str(), n, &prefix)) << n;
    EXPECT_TRUE(prefix.checksum == StateOf(data.substr(0, n))) << n;
    EXPECT_EQ(prefix.version, stored.version);
  }
  FileAttr prefix;
  EXPECT_FALSE(store_.LoadPrefix(name.c_str(), data.size() + 1, &prefix));
  EXPECT_FALSE(store_.LoadPrefix(name.c_str(), -1, &prefix));
  EXPECT_FALSE(store_.LoadPrefix(P("missing").c_str(), 0, &prefix));

  // Bytes that no longer match the record are noticed within the block read.
  std::string changed = data;
  changed[kBlock + 500] ^= 1;
  ASSERT_TRUE(File::WriteStringToFile(changed, name));
  EXPECT_FALSE(store_.LoadPrefix(name.c_str(), kBlock + 77, &prefix));
  EXPECT_TRUE(store_.LoadPrefix(name.c_str(), 2 * kBlock + 5, &prefix))
      << "only the block being rebuilt is read";
}

TEST_P(FileAttributeStoreTest, CacheFollowsThisProcessAndClearCacheTheRest) {
  const ::string name = Put("c", "x");
  const FileAttr first = Record("x", 1000);
  ASSERT_TRUE(store_.Store(name.c_str(), &first));
  FileAttr attr;
  ASSERT_TRUE(store_.Load(name.c_str(), &attr));

  // A change through any store, or through the file layer, is seen at once.
  FileAttributes other;
  const FileAttr second = Record("x", 2000);
  ASSERT_TRUE(other.Store(name.c_str(), &second));
  ASSERT_TRUE(store_.Load(name.c_str(), &attr));
  EXPECT_EQ(attr.version.time, 2000);

  // A record file written directly is seen after ClearCache.
  ::string record_name;
  FileAttributes::GetAttributeFileName(name.c_str(), &record_name);
  ::string text;
  ASSERT_TRUE(File::ReadFileToString(record_name, &text));
  const size_t at = text.find("v2000.");
  ASSERT_NE(at, ::string::npos);
  text.replace(at, 6, "v3000.");
  ASSERT_TRUE(File::WriteStringToFile(text, record_name));
  ASSERT_TRUE(store_.Load(name.c_str(), &attr));
  EXPECT_EQ(attr.version.time, 2000);
  store_.ClearCache();
  ASSERT_TRUE(store_.Load(name.c_str(), &attr));
  EXPECT_EQ(attr.version.time, 3000);

  ASSERT_TRUE(File::Delete(name.c_str()));
  EXPECT_FALSE(store_.Load(name.c_str(), &attr)) << "deleting the file drops its record";
}

TEST_P(FileAttributeStoreTest, DamagedRecordLoadsAsNothing) {
  const ::string name = Put("d", "x");
  ASSERT_TRUE(File::WriteStringToFile(::string("checksum 0 0 zz -\nversion v1.0000000000000001\nfinalized 0\n"),
                                      P(".d.attr")));
  FileAttr attr;
  EXPECT_FALSE(store_.Load(name.c_str(), &attr));
}

INSTANTIATE_TEST_SUITE_P(Roots, FileAttributeStoreTest, ::testing::Values("local", "mem"));

TEST(FileAttributesVersionTest, VersionsIncreaseAndNameTheProcess) {
  FileAttributes store;
  const int64 before = static_cast<int64>(WallTime_Now() * 1e6);
  FileVersion last = store.CreateVersion();
  EXPECT_GE(last.time, before - 1);
  EXPECT_EQ(last.creator & 0xffffffffu, static_cast<uint64>(getpid()));
  for (int i = 0; i < 1000; ++i) {
    const FileVersion next = file_attributes->CreateVersion();
    EXPECT_LT(last, next);
    EXPECT_EQ(next.creator, last.creator);
    last = next;
  }
}

TEST(FileAttributesNameTest, AttributeFileNames) {
  ::string out = "junk";
  FileAttributes::GetAttributeFileName("dir/name", &out);
  EXPECT_EQ(out, "dir/.name.attr");
  FileAttributes::GetAttributeFileName("/mem/x", &out);
  EXPECT_EQ(out, "/mem/.x.attr");
  FileAttributes::GetAttributeFileName("dir/", &out);
  EXPECT_EQ(out, "");
  FileAttributes::GetAttributeFileName(nullptr, &out);
  EXPECT_EQ(out, "");
  EXPECT_TRUE(File::IsAttributeFilename("dir/.name.attr"));
}

}  // namespace
