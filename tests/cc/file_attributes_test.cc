// The store of checksum/version/finalisation records, on a local directory
// and under /mem/ alike.
#include <string>

#include "file/base/core/attr_record.h"
#include "file/base/core/file_attributes.h"
#include "file/base/core/operation.h"
#include "tests/cc/checksum_testing.h"
#include "tests/cc/fs_conformance.h"

namespace {

using checksum_testing::kBlock;
using checksum_testing::RandomBytes;
using checksum_testing::StateOf;

FileAttr Record(const std::string& data, int64 time) {
  FileAttr attr;
  attr.checksum = StateOf(data);
  attr.version = FileVersion(time, 42);
  return attr;
}

class FileAttributeStoreTest : public BothFsTest {
 protected:
  void SetUp() override {
    BothFsTest::SetUp();
    store_.ClearCache();
  }
  // Writes `contents` to `name`; with `time` >= 0 also stores their record.
  ::string Put(const std::string& name, const std::string& contents, int64 time = -1) {
    const ::string path = BothFsTest::Put(name, contents);
    if (time < 0) return path;
    const FileAttr attr = Record(contents, time);
    EXPECT_TRUE(store_.Store(path.c_str(), &attr));
    return path;
  }

  FileAttributes store_;
  FileAttr loaded_;
};

TEST_P(FileAttributeStoreTest, StoreThenLoadInTheAttributeRecord) {
  const ::string name = Put("a", "contents");
  loaded_.version = FileVersion(7, 1);
  EXPECT_FALSE(store_.Load(name.c_str(), &loaded_));
  EXPECT_TRUE(loaded_.version.IsEmpty()) << "a failed load clears the record";

  const FileAttr stored = Record("contents", 123);
  ASSERT_TRUE(store_.Store(name.c_str(), &stored));
  ASSERT_TRUE(store_.Load(name.c_str(), &loaded_));
  EXPECT_TRUE(loaded_.checksum == stored.checksum);
  EXPECT_EQ(loaded_.version, stored.version);
  EXPECT_FALSE(loaded_.finalized);

  ::string record_name, text;
  FileAttributes::GetAttributeFileName(name.c_str(), &record_name);
  EXPECT_EQ(record_name, P(".a.attr"));
  ASSERT_TRUE(File::ReadFileToString(record_name, &text));
  EXPECT_NE(text.find("version v123.000000000000002a\n"), ::string::npos) << text;
  EXPECT_NE(text.find("finalized 0\n"), ::string::npos) << text;

  // Store needs an existing plain file that is no record itself.
  EXPECT_FALSE(store_.Store(P("missing").c_str(), &stored));
  EXPECT_FALSE(store_.Store(dir_.c_str(), &stored)) << "directories carry no checksum";
  EXPECT_FALSE(store_.Store(record_name.c_str(), &stored)) << "records have no records";
  EXPECT_FALSE(store_.Store(nullptr, &stored));
  EXPECT_FALSE(store_.Store(name.c_str(), nullptr));

  // A damaged record loads as nothing.
  ASSERT_TRUE(File::WriteStringToFile(
      ::string("checksum 0 0 zz -\nversion v1.0000000000000001\nfinalized 0\n"), record_name));
  store_.ClearCache();
  EXPECT_FALSE(store_.Load(name.c_str(), &loaded_));
}

// The record and the file system's attributes share one file and leave each
// other alone.
TEST_P(FileAttributeStoreTest, DeleteKeepsFileSystemAttributesAndGoesOnPastFailures) {
  const ::string a = Put("a", "data"), b = Put("b", "2", 5);
  ASSERT_TRUE(File::SetAttributes(a.c_str(), Attr_t(Attr_t::APPEND)));
  const FileAttr stored = Record("data", 5);
  ASSERT_TRUE(store_.Store(a.c_str(), &stored));
  EXPECT_EQ(StatOf("a").attributes.attr, static_cast<uint32>(Attr_t::APPEND));
  ASSERT_TRUE(File::SetAttributes(a.c_str(), Attr_t(Attr_t::PROTECTED)));
  ASSERT_TRUE(store_.Load(a.c_str(), &loaded_));
  EXPECT_EQ(loaded_.version, stored.version);

  file::Operation op;
  EXPECT_EQ(ErrorOf(store_.DeleteWithOp("", &op), op), file::ERROR_INVALID_ARGUMENT);
  EXPECT_TRUE(store_.DeleteWithOp(a.c_str(), &op)) << op.Status();
  EXPECT_FALSE(store_.Load(a.c_str(), &loaded_));
  EXPECT_EQ(StatOf("a").attributes.attr, static_cast<uint32>(Attr_t::PROTECTED));
  EXPECT_TRUE(store_.Delete(a.c_str())) << "nothing stored is success";

  // Bulk deletion gives one flag per name and goes on past a failure.
  ASSERT_TRUE(store_.Store(a.c_str(), &stored));
  vector<bool> results;
  EXPECT_FALSE(store_.BulkDeleteWithOp({a, "", b}, &results, &op));
  EXPECT_EQ(results, (vector<bool>{true, false, true}));
  EXPECT_FALSE(store_.Load(a.c_str(), &loaded_) || store_.Load(b.c_str(), &loaded_));
  // With nothing else in it, the record file goes.
  EXPECT_TRUE(File::Exists(P(".a.attr").c_str()));
  ASSERT_TRUE(File::SetAttributes(a.c_str(), Attr_t(0)));
  EXPECT_FALSE(File::Exists(P(".a.attr").c_str()) || File::Exists(P(".b.attr").c_str()));
}

TEST_P(FileAttributeStoreTest, FinalizeRecordsTheChecksumAndForbidsWriting) {
  const std::string data = RandomBytes(kBlock + 300, 1);
  const ::string name = Put("f", data);
  ASSERT_TRUE(store_.Finalize(name.c_str()));
  ASSERT_TRUE(store_.Load(name.c_str(), &loaded_));
  EXPECT_TRUE(loaded_.finalized);
  EXPECT_TRUE(loaded_.checksum == StateOf(data));
  EXPECT_TRUE(StatOf("f").attributes.has(Attr_t::FINALIZED));  // what that forbids, conformance checks
  const FileAttr other = Record("other", 9);
  EXPECT_FALSE(store_.Store(name.c_str(), &other)) << "a finalized record is final";
  EXPECT_TRUE(store_.Finalize(name.c_str())) << "finalizing twice is fine";

  // A matching record is kept; a stale one is refused and the file stays writable.
  const ::string good = Put("good", "abc", 77);
  ASSERT_TRUE(store_.Finalize(good.c_str()));
  ASSERT_TRUE(store_.Load(good.c_str(), &loaded_));
  EXPECT_EQ(loaded_.version, FileVersion(77, 42));
  const ::string stale = Put("stale", "abcd");
  const FileAttr abc = Record("abc", 77);
  ASSERT_TRUE(store_.Store(stale.c_str(), &abc));
  EXPECT_FALSE(store_.Finalize(stale.c_str()));
  ASSERT_TRUE(store_.Load(stale.c_str(), &loaded_));
  EXPECT_FALSE(loaded_.finalized);
  OpenOrFail(stale, "a");

  EXPECT_FALSE(store_.Finalize(P("missing").c_str()) || store_.Finalize(dir_.c_str()));
}

TEST_P(FileAttributeStoreTest, LoadPrefixRebuildsTheChecksumOfTheFirstBytes) {
  const std::string data = RandomBytes(2 * kBlock + kBlock / 2 + 100, 2);
  const ::string name = Put("p", data, 3);
  for (int64 n : {int64{0}, int64{100}, kBlock, kBlock + 77, 2 * kBlock + 5, int64(data.size())}) {
    ASSERT_TRUE(store_.LoadPrefix(name.c_str(), n, &loaded_)) << n;
    EXPECT_TRUE(loaded_.checksum == StateOf(data.substr(0, n))) << n;
    EXPECT_EQ(loaded_.version, FileVersion(3, 42));
  }
  for (int64 n : {int64(data.size()) + 1, int64{-1}}) EXPECT_FALSE(store_.LoadPrefix(name.c_str(), n, &loaded_)) << n;
  EXPECT_FALSE(store_.LoadPrefix(P("missing").c_str(), 0, &loaded_));

  // Bytes that no longer match the record are noticed within the block read.
  std::string changed = data;
  changed[kBlock + 500] ^= 1;
  ASSERT_TRUE(File::WriteStringToFile(changed, name));
  EXPECT_FALSE(store_.LoadPrefix(name.c_str(), kBlock + 77, &loaded_));
  EXPECT_TRUE(store_.LoadPrefix(name.c_str(), 2 * kBlock + 5, &loaded_))
      << "only the block being rebuilt is read";
}

TEST_P(FileAttributeStoreTest, CacheFollowsThisProcessAndClearCacheTheRest) {
  const ::string name = Put("c", "x", 1000);
  ASSERT_TRUE(store_.Load(name.c_str(), &loaded_));

  // A change through any store, or through the file layer, is seen at once.
  FileAttributes other;
  const FileAttr second = Record("x", 2000);
  ASSERT_TRUE(other.Store(name.c_str(), &second));
  ASSERT_TRUE(store_.Load(name.c_str(), &loaded_));
  EXPECT_EQ(loaded_.version.time, 2000);

  // A record file written directly is seen after ClearCache.
  ::string text;
  ASSERT_TRUE(File::ReadFileToString(P(".c.attr"), &text));
  const size_t at = text.find("v2000.");
  ASSERT_NE(at, ::string::npos);
  text.replace(at, 6, "v3000.");
  ASSERT_TRUE(File::WriteStringToFile(text, P(".c.attr")));
  ASSERT_TRUE(store_.Load(name.c_str(), &loaded_));
  EXPECT_EQ(loaded_.version.time, 2000);
  store_.ClearCache();
  ASSERT_TRUE(store_.Load(name.c_str(), &loaded_));
  EXPECT_EQ(loaded_.version.time, 3000);

  ASSERT_TRUE(File::Delete(name.c_str()));
  EXPECT_FALSE(store_.Load(name.c_str(), &loaded_)) << "deleting the file drops its record";
}

PQ_ON_BOTH_FILE_SYSTEMS(FileAttributeStoreTest);

TEST(FileAttributesTest, VersionsIncreaseAndNameTheProcess) {
  FileAttributes store;
  FileVersion last = store.CreateVersion();
  EXPECT_EQ(last.creator & 0xffffffffu, static_cast<uint64>(getpid()));
  for (int i = 0; i < 1000; ++i) {
    const FileVersion next = file_attributes->CreateVersion();
    EXPECT_TRUE(last < next && next.creator == last.creator) << i;
    last = next;
  }
}

}  // namespace
