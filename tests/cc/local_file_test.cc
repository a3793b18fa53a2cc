// Behaviour specific to the local file system, the registry and the shared
// File layer (the conformance suite covers what every file system shares).
#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>

#include "file/base/core/attr_record.h"
#include "file/base/core/file_attributes.h"
#include "file/base/local/local_file.h"
#include "file/base/core/operation.h"
#include "tests/cc/fs_conformance.h"

namespace {

class LocalFileTest : public FsTest {
 protected:
  void SetUp() override { MakeDir(LocalTestRoot()); }
};

TEST(RegistryTest, BuiltinsServeTheirNamesAndOtherKindsAreNotRegistered) {
  const auto local = FileFactory::Find(FileFactory::local_file);
  const auto mem = FileFactory::Find(FileFactory::mem_file);
  EXPECT_NE(local, mem);
  EXPECT_EQ(FileFactory::Find(FileFactory::tarn_file), nullptr);
  EXPECT_EQ(FileFactory::Find(nullptr), nullptr);
  for (const char* name : {"/mem/x", "/mem"}) EXPECT_EQ(FileFactory::ForName(name), mem) << name;
  for (const char* name : {"/memory", "/memory/x", "/tmp/mem/x", "mem/x", static_cast<const char*>(nullptr)}) {
    EXPECT_EQ(FileFactory::ForName(name), local) << (name ? name : "null");
  }
  EXPECT_EQ(FileFactory::FindPrefixFactory("/tmp/x"), nullptr);  // local has no prefix
  ::string prefix;
  EXPECT_EQ(FileFactory::FindPrefixFactoryAndPrefix("/mem/a/b", &prefix), mem);
  EXPECT_EQ(prefix, "/mem/");
}

TEST(RegistryTest, LongestPrefixWinsAndUnregisterRestores) {
  LocalFileFactory outer;
  auto inner = std::make_shared<LocalFileFactory>();
  ASSERT_TRUE(FileFactory::RegisterFactoryPrefix(&outer, "/pq-registry-test/"));
  ASSERT_TRUE(FileFactory::RegisterFactoryPrefix(inner, "/pq-registry-test/deeper/"));
  EXPECT_FALSE(FileFactory::RegisterFactoryPrefix(static_cast<FileFactory*>(nullptr), "/x/"));
  EXPECT_EQ(FileFactory::ForName("/pq-registry-test/a").get(), &outer);
  EXPECT_EQ(FileFactory::ForName("/pq-registry-test/deeper/a"), inner);
  EXPECT_EQ(FileFactory::FindBestFactory({"/pq-registry-test/a", "/pq-registry-test/b"}).get(), &outer);
  EXPECT_EQ(FileFactory::FindBestFactory({"/pq-registry-test/a", "/pq-registry-test/deeper/b"}), nullptr);
  EXPECT_EQ(FileFactory::FindBestFactory({}), nullptr);
  EXPECT_TRUE(FileFactory::UnRegisterFactoryPrefix("/pq-registry-test/deeper/"));
  EXPECT_FALSE(FileFactory::UnRegisterFactoryPrefix("/pq-registry-test/deeper/"));
  EXPECT_EQ(FileFactory::ForName("/pq-registry-test/deeper/a").get(), &outer);
  EXPECT_TRUE(FileFactory::UnRegisterFactoryPrefix("/pq-registry-test/"));
  EXPECT_EQ(FileFactory::ForName("/pq-registry-test/a"), FileFactory::Find(FileFactory::local_file));
}

TEST(AttributeRecordTest, NamesAndText) {
  EXPECT_EQ(file::AttributeRecordName("x"), ".x.attr");
  EXPECT_EQ(file::AttributeRecordName("d/"), "");
  ::string out = "junk";
  FileAttributes::GetAttributeFileName(nullptr, &out);
  EXPECT_EQ(out, "");
  for (const char* name : {"d/.x.attr", ".x.attr"}) EXPECT_TRUE(File::IsAttributeFilename(name));
  for (const char* name : {".attr", "..attr", "x.attr", ".x.attr/y"}) {
    EXPECT_FALSE(File::IsAttributeFilename(name)) << name;
  }
  EXPECT_FALSE(File::IsAttributeFilename(nullptr));
  file::AttributeRecord record;
  record.Parse("checksum abc def\nattributes 5\ngarbage\n\n");
  EXPECT_EQ(record.attributes().attr, 5u);
  for (uint32 none : {0u, uint32{Attr_t::DEFAULT}}) {
    record.set_attributes(Attr_t(none));
    EXPECT_EQ(record.Serialize(), "checksum abc def\n") << none;
  }
}

TEST_F(LocalFileTest, AttributeRecordIsAFileBesideItsFileAndKeepsOtherKeys) {
  Put("f", "x");
  Put(".f.attr", "version v1.2\n");
  ASSERT_TRUE(File::SetAttributes(P("f").c_str(), Attr_t(Attr_t::PROTECTED)));
  EXPECT_EQ(Get(".f.attr"), "attributes 2\nversion v1.2\n");
  ASSERT_TRUE(File::SetAttributes(P("f").c_str(), Attr_t(0)));
  EXPECT_EQ(Get(".f.attr"), "version v1.2\n");
  Put(".g.attr", "attributes 1\n");  // a record whose file is gone: an orphan
  File::DeleteFileAttributes(P("g").c_str());
  EXPECT_FALSE(Exists(".g.attr"));
}

TEST_F(LocalFileTest, CloneCopiesEveryByteKeepsTheModeAndNeverReplaces) {
  std::string data;
  for (int i = 0; i < (3 << 18) + 7; ++i) data += static_cast<char>(i * 7 + (i >> 11));  // 3 MiB + 7
  shared_ptr<FileFactory> local = FileFactory::ForName(P("x").c_str());
  for (const std::string& contents : {data, std::string()}) {
    Put("src", contents);
    ASSERT_EQ(chmod(P("src").c_str(), 0640), 0);
    file::Operation op;
    ASSERT_TRUE(local->DoCloneFile(P("src").c_str(), P("dst").c_str(), &op)) << op.message();
    EXPECT_TRUE(Get("dst") == contents) << contents.size();
    EXPECT_EQ(StatOf("dst").mode & 07777, 0640u);
    file::Operation again;  // an existing target stays as it is
    EXPECT_FALSE(local->DoCloneFile(P("src").c_str(), P("dst").c_str(), &again));
    EXPECT_EQ(again.error(), file::ERROR_ALREADY_EXISTS);
    EXPECT_EQ(Get("dst").size(), contents.size());
    ASSERT_TRUE(File::Delete(P("dst").c_str()));
  }
  file::Operation missing;
  EXPECT_EQ(ErrorOf(local->DoCloneFile(P("none").c_str(), P("dst").c_str(), &missing), missing), file::ERROR_NOT_FOUND);
  EXPECT_FALSE(Exists("dst"));
}

TEST_F(LocalFileTest, FifosAreRecognisedAndReadLineWorksOnThem) {
  ASSERT_EQ(mkfifo(P("pipe").c_str(), 0600), 0);
  Handle pipe = OpenOrFail(P("pipe"), "r+");  // r+ does not wait for a writer
  EXPECT_TRUE(pipe->IsFifo() && pipe->IsLocalFile());
  EXPECT_EQ(pipe->Write("one\ntwo\n", 8), 8);
  char line[16];
  ASSERT_NE(pipe->ReadLine(line, sizeof(line)), nullptr);
  EXPECT_STREQ(line, "one\n");
  ASSERT_NE(pipe->ReadLine(line, sizeof(line)), nullptr);
  EXPECT_STREQ(line, "two\n");
}

TEST_F(LocalFileTest, PermissionsAndGroupOfCreatedFiles) {
  const mode_t old_mask = umask(022);
  Handle f(File::OpenFullySpecified(P("f").c_str(), "w", Attr_t(Attr_t::DEFAULT), 0640, nullptr));
  umask(old_mask);
  ASSERT_NE(f, nullptr);
  EXPECT_EQ(StatOf("f").mode & 07777, 0640u);
  const struct group* own = getgrgid(getegid());
  ASSERT_NE(own, nullptr);
  Handle g(File::OpenFullySpecified(P("g").c_str(), "w", Attr_t(Attr_t::DEFAULT),
                                    DEFAULT_FILE_MODE, own->gr_name));
  ASSERT_NE(g, nullptr);
  const FileStat st = StatOf("g");
  EXPECT_EQ(st.group, own->gr_name);
  Handle unknown_group(File::CreateFullySpecified(P("h").c_str(), "w", Attr_t(Attr_t::DEFAULT),
                                                  DEFAULT_FILE_MODE, "no-such-group-pq"));
  ASSERT_NE(unknown_group, nullptr);
  EXPECT_EQ(ErrorOf(unknown_group->Open(), unknown_group), file::ERROR_NOT_FOUND);
}

TEST_F(LocalFileTest, OpenOptionsAndErrorTexts) {
  FileOpenOptions options;
  options.set_sync_write();
  options.set_access_pattern(file::SEQUENTIAL);
  options.set_cache_policy(file::UNCACHED);
  Handle f(File::OpenWithOptions(P("f").c_str(), "w", options));
  ASSERT_NE(f, nullptr);
  EXPECT_EQ(f->Write("abc", 3), 3);
  EXPECT_TRUE(f->Flush() && f->Sync() && f->DataSync()) << f->GetCurrentErrorMessage();
  Handle missing(File::Create(P("missing"), "r"));
  ASSERT_NE(missing, nullptr);
  EXPECT_FALSE(missing->Open());
  EXPECT_EQ(missing->GetCurrentErrorMessage(), "Open " + P("missing") + ": No such file or directory");
}

TEST_F(LocalFileTest, OrDieFormsEndTheProcessWithTheirTextsOrOpenAtTheCheckpoint) {
  EXPECT_DEATH(File::OpenOrDie("", "r"), "file/base/file.h:654\\] Bad name for open:");
  const ::string missing = P("missing");
  EXPECT_DEATH(File::OpenOrDie(missing.c_str(), "r"),
               "file.h:658\\] Could not open:" + missing + " with mode:r");
  const ::string unwritable = P("no/such/dir/f");
  EXPECT_DEATH(File::OpenForAppendOrDie(unwritable.c_str()),
               "file.h:683\\] Check failed: f != NULL : could not open " + unwritable +
                   " for append");
  // The forms that succeed put the handle at the checkpoint.
  Put("f", "0123456789");
  CheckpointRecord checkpoint(P("f"), 4);
  Handle reader(File::OpenToCheckpointOrDie(P("f").c_str(), "r", &checkpoint));
  EXPECT_EQ(reader->Tell(), 4);
  FileAttr* attr = reinterpret_cast<FileAttr*>(&checkpoint);  // must be overwritten
  Handle writer(File::OpenOrDieForWriting(P("f").c_str(), "r+", &checkpoint, true, &attr));
  EXPECT_EQ(attr, nullptr);
  EXPECT_EQ(writer->Tell(), 4);
  EXPECT_EQ(writer->Size(), 4);
}

TEST_F(LocalFileTest, CopiesCrossFileSystemsButRenamesDoNot) {
  const std::string data("cross\0over", 10);
  Put("f", data);
  const ::string mem_dir = "/mem/localfile-test-" + std::to_string(getpid());
  ASSERT_TRUE(File::RecursivelyCreateDir(mem_dir, 0755));
  const ::string in_mem = mem_dir + "/f";
  ASSERT_TRUE(File::Copy(P("f").c_str(), in_mem.c_str(), false));
  ASSERT_TRUE(File::Copy(in_mem.c_str(), P("back").c_str(), false));
  EXPECT_EQ(Get("back"), data);
  file::Operation op;
  EXPECT_FALSE(File::RenameWithOp(P("f").c_str(), (mem_dir + "/g").c_str(), false, &op));
  EXPECT_EQ(op.error(), file::ERROR_INVALID_ARGUMENT);
  EXPECT_FALSE(File::Rename(in_mem.c_str(), P("r").c_str(), false));
  vector<bool> flags;
  EXPECT_TRUE(File::BulkExist({P("f"), in_mem}, &flags));  // one list, two file systems
  EXPECT_EQ(flags, (vector<bool>{true, true}));
  int files = 0, dirs = 0;
  File::DeleteRecursively(mem_dir, &files, &dirs);
  EXPECT_EQ(files, 1);
}

// The limiter is on the copy's path; the copy keeps the source's time.
TEST_F(LocalFileTest, LimitedCopiesKeepBytesAndMtime) {
  Put("f", std::string(300 * 1024, 'b'));
  ASSERT_TRUE(File::SetMtime(P("f").c_str(), 1000000000L));
  BandwidthLimit limit(64 * 1024 * 1024);
  ASSERT_TRUE(File::CopyFullySpecified(P("f").c_str(), P("g").c_str(), Attr_t(Attr_t::DEFAULT),
                                       DEFAULT_FILE_MODE, nullptr, false, true, true, &limit));
  EXPECT_EQ(Get("g"), Get("f"));
  EXPECT_EQ(StatOf("g").mtime, 1000000000L);
}


// Calls made without an Operation are not tagged or timed, yet their
// failures still count.
TEST_F(LocalFileTest, FailedCallsCountAndOnlyACallersOperationIsTagged) {
  FileOpStats* stats = File::opstats();
  Put("f", "12345");
  for (const bool with_op : {false, true}) {
    for (const char* name : {"f", "missing"}) {
      const int64 errors = stats->errors;
      file::Operation op;
      FileStat st;
      const bool ok = File::StatWithOp(P(name).c_str(), &st, with_op ? &op : nullptr);
      EXPECT_EQ(ok, name == ::string("f")) << name;
      EXPECT_EQ(stats->errors, errors + (ok ? 0 : 1)) << name << with_op;
      EXPECT_EQ(op.descriptor(), with_op ? "Stat(" + P(name) + ")" : "") << name;
      EXPECT_EQ(op.ok(), ok || !with_op) << name;
    }
  }
}

}  // namespace
