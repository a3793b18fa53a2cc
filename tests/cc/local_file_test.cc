// Behaviour specific to the local file system, the registry and the shared
// File layer (the conformance suite covers what every file system shares).
#include <gtest/gtest.h>
#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <thread>

#include "file/base/attr_record.h"
#include "file/base/file.h"
#include "file/base/local_file.h"
#include "file/base/operation.h"

namespace {

struct Closer {
  void operator()(File* f) const {
    if (f != nullptr) file::CloseAndDelete(f);
  }
};
using Handle = std::unique_ptr<File, Closer>;

class LocalFileTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const char* root = std::getenv("PQ_TEST_TMP");
    std::string base = root != nullptr && root[0] != '\0' ? root : "/tmp";
    ASSERT_TRUE(File::RecursivelyCreateDir(base, DEFAULT_FILE_MODE));
    std::string pattern = base + "/localfile.XXXXXX";
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    dir_ = pattern;
  }
  void TearDown() override {
    int files = 0;
    int dirs = 0;
    File::DeleteRecursively(dir_, &files, &dirs);
  }
  ::string P(const std::string& relative) const { return dir_ + "/" + relative; }
  void Put(const std::string& relative, const std::string& contents) {
    ASSERT_TRUE(File::WriteStringToFile(contents, P(relative)));
  }

  ::string dir_;
};

// ---- Registry -----------------------------------------------------------------------

TEST(RegistryTest, BuiltinsAreRegisteredAndOtherKindsAreNot) {
  const auto local = FileFactory::Find(FileFactory::local_file);
  const auto mem = FileFactory::Find(FileFactory::mem_file);
  ASSERT_NE(local, nullptr);
  ASSERT_NE(mem, nullptr);
  EXPECT_NE(local, mem);
  EXPECT_EQ(FileFactory::Find(FileFactory::tarn_file), nullptr);
  EXPECT_EQ(FileFactory::Find(FileFactory::encrypted_file), nullptr);
  EXPECT_EQ(FileFactory::Find(nullptr), nullptr);
  EXPECT_STREQ(FileFactory::local_file, "local");
  EXPECT_STREQ(FileFactory::mem_file, "mem");
  EXPECT_EQ(FileFactory::ForName("/mem/x"), mem);
  EXPECT_EQ(FileFactory::ForName("/mem"), mem);
  EXPECT_EQ(FileFactory::ForName("/memory"), local);
  EXPECT_EQ(FileFactory::ForName("relative/name"), local);
  EXPECT_EQ(FileFactory::ForName(nullptr), local);
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
  EXPECT_EQ(FileFactory::FindBestFactory({"/pq-registry-test/a", "/pq-registry-test/b"}).get(),
            &outer);
  EXPECT_EQ(FileFactory::FindBestFactory({"/pq-registry-test/a", "/pq-registry-test/deeper/b"}),
            nullptr);
  EXPECT_EQ(FileFactory::FindBestFactory({}), nullptr);
  EXPECT_TRUE(FileFactory::UnRegisterFactoryPrefix("/pq-registry-test/deeper/"));
  EXPECT_FALSE(FileFactory::UnRegisterFactoryPrefix("/pq-registry-test/deeper/"));
  EXPECT_EQ(FileFactory::ForName("/pq-registry-test/deeper/a").get(), &outer);
  EXPECT_TRUE(FileFactory::UnRegisterFactoryPrefix("/pq-registry-test/"));
  EXPECT_EQ(FileFactory::ForName("/pq-registry-test/a"),
            FileFactory::Find(FileFactory::local_file));
  FileFactory::RegisterFactory(&outer, "pq-registry-test-name");
  EXPECT_EQ(FileFactory::Find("pq-registry-test-name").get(), &outer);
}

TEST(RegistryTest, FilterMatchesHidesWhatTheTypeHides) {
  vector<::string> names = {"d/b", "d/.hidden", "d/old~", "d/.a.attr", "d/a", "d/b"};
  FileFactory::FilterMatches("d/*", &names, File::MATCH_DEFAULT, 0);
  EXPECT_EQ(names, (vector<::string>{"d/a", "d/b"}));
  names = {"d/.hidden", "d/old~", "d/.a.attr"};
  FileFactory::FilterMatches("d/*", &names, File::MATCH_ALL, 1);
  EXPECT_EQ(names, (vector<::string>{"d/.a.attr", "d/.hidden", "d/old~"}));
  names = {"d/.hidden", "d/.a.attr"};
  FileFactory::FilterMatches("d/.*", &names, File::MATCH_DEFAULT, 0);
  EXPECT_EQ(names, (vector<::string>{"d/.hidden"}));
  names = {"d/.a.attr"};
  FileFactory::FilterMatches("d/.a.attr", &names, File::MATCH_DEFAULT, 0);  // spelled out
  EXPECT_EQ(names, (vector<::string>{"d/.a.attr"}));
}

// ---- Names and records -------------------------------------------------------------------

TEST(AttributeRecordTest, NamesAndText) {
  EXPECT_EQ(file::AttributeRecordName("d/x"), "d/.x.attr");
  EXPECT_EQ(file::AttributeRecordName("x"), ".x.attr");
  EXPECT_EQ(file::AttributeRecordName("d/"), "");
  EXPECT_TRUE(File::IsAttributeFilename("d/.x.attr"));
  EXPECT_TRUE(File::IsAttributeFilename(".x.attr"));
  EXPECT_FALSE(File::IsAttributeFilename(".attr"));
  EXPECT_FALSE(File::IsAttributeFilename("..attr"));
  EXPECT_FALSE(File::IsAttributeFilename("x.attr"));
  EXPECT_FALSE(File::IsAttributeFilename(".x.attr/y"));
  EXPECT_FALSE(File::IsAttributeFilename(nullptr));
  file::AttributeRecord record;
  record.Parse("checksum abc def\nattributes 5\ngarbage\n\n");
  EXPECT_EQ(record.attributes().attr, 5u);
  record.set_attributes(Attr_t(0));
  EXPECT_EQ(record.Serialize(), "checksum abc def\n");
  record.set_attributes(Attr_t(Attr_t::DEFAULT));
  EXPECT_EQ(record.Serialize(), "checksum abc def\n");
}

TEST_F(LocalFileTest, AttributeRecordIsAFileBesideItsFileAndKeepsOtherKeys) {
  Put("f", "x");
  Put(".f.attr", "version v1.2\n");
  ASSERT_TRUE(File::SetAttributes(P("f").c_str(), Attr_t(Attr_t::PROTECTED)));
  ::string text;
  ASSERT_TRUE(File::ReadFileToString(P(".f.attr"), &text));
  EXPECT_EQ(text, "attributes 2\nversion v1.2\n");
  ASSERT_TRUE(File::SetAttributes(P("f").c_str(), Attr_t(0)));
  ASSERT_TRUE(File::ReadFileToString(P(".f.attr"), &text));
  EXPECT_EQ(text, "version v1.2\n");
  Put(".g.attr", "attributes 1\n");  // a record whose file is gone: an orphan
  File::DeleteFileAttributes(P("g").c_str());
  EXPECT_FALSE(File::Exists(P(".g.attr").c_str()));
}

// ---- Handles -------------------------------------------------------------------------------

TEST_F(LocalFileTest, LargeRangesAreRealMappings) {
  Put("big", std::string(70000, 'm'));
  Handle f(File::Open(P("big").c_str(), "r"));
  ASSERT_NE(f, nullptr);
  EXPECT_TRUE(f->IsLocalFile());
  std::unique_ptr<MemBlock> block(f->TryMMap(4097, 50000));
  ASSERT_NE(block, nullptr);
  EXPECT_TRUE(block->is_mapped());
  EXPECT_EQ(block->offset(), 4097);
  EXPECT_EQ(std::string(block->data(), 5), "mmmmm");
  Handle writer(File::Open(P("big").c_str(), "a"));
  ASSERT_NE(writer, nullptr);
  EXPECT_EQ(writer->GetMemBlock(0, 10, 0), nullptr);  // write-only handles do not read
}

TEST_F(LocalFileTest, FifosAreRecognisedAndReadLineWorksOnThem) {
  ASSERT_EQ(mkfifo(P("pipe").c_str(), 0600), 0);
  Handle pipe(File::Open(P("pipe").c_str(), "r+"));  // r+ does not wait for a writer
  ASSERT_NE(pipe, nullptr);
  EXPECT_TRUE(pipe->IsFifo());
  EXPECT_EQ(pipe->Write("one\ntwo\n", 8), 8);
  char line[16];
  ASSERT_NE(pipe->ReadLine(line, sizeof(line)), nullptr);
  EXPECT_STREQ(line, "one\n");
  ASSERT_NE(pipe->ReadLine(line, sizeof(line)), nullptr);
  EXPECT_STREQ(line, "two\n");
  Put("plain", "");
  Handle plain(File::Open(P("plain").c_str(), "r"));
  EXPECT_FALSE(plain->IsFifo());
}

TEST_F(LocalFileTest, PermissionsAndGroupOfCreatedFiles) {
  const mode_t old_mask = umask(022);
  Handle f(File::OpenFullySpecified(P("f").c_str(), "w", Attr_t(Attr_t::DEFAULT), 0640, nullptr));
  umask(old_mask);
  ASSERT_NE(f, nullptr);
  FileStat st;
  ASSERT_TRUE(File::Stat(P("f").c_str(), &st));
  EXPECT_EQ(st.mode & 07777, 0640u);
  const struct group* own = getgrgid(getegid());
  ASSERT_NE(own, nullptr);
  Handle g(File::OpenFullySpecified(P("g").c_str(), "w", Attr_t(Attr_t::DEFAULT),
                                    DEFAULT_FILE_MODE, own->gr_name));
  ASSERT_NE(g, nullptr);
  ASSERT_TRUE(File::Stat(P("g").c_str(), &st));
  EXPECT_EQ(st.group, own->gr_name);
  File* bad = File::Create(P("h"), "w");
  File* unknown_group = File::CreateFullySpecified(P("h").c_str(), "w", Attr_t(Attr_t::DEFAULT),
                                                   DEFAULT_FILE_MODE, "no-such-group-pq");
  ASSERT_NE(unknown_group, nullptr);
  EXPECT_FALSE(unknown_group->Open());
  EXPECT_EQ(unknown_group->GetCurrentErrorCode(), file::ERROR_NOT_FOUND);
  file::CloseAndDelete(unknown_group);
  file::CloseAndDelete(bad);
  EXPECT_TRUE(File::SetOwner(P("g").c_str(), st.owner.c_str()));
  EXPECT_FALSE(File::SetOwner(P("g").c_str(), "no-such-user-pq"));
}

TEST_F(LocalFileTest, DirectIoOpensOrSaysWhyNot) {
  FileOpenOptions options;
  options.set_direct_io();
  File* f = File::CreateWithOptions(P("direct").c_str(), "w", options);
  ASSERT_NE(f, nullptr);
  if (!f->Open()) {
    EXPECT_EQ(f->GetCurrentErrorCode(), file::ERROR_UNIMPLEMENTED) << f->GetCurrentErrorMessage();
  }
  file::CloseAndDelete(f);
}

TEST_F(LocalFileTest, ErrorMessagesNameTheOperationAndFile) {
  File* f = File::Create(P("missing"), "r");
  ASSERT_NE(f, nullptr);
  EXPECT_FALSE(f->Open());
  EXPECT_EQ(f->GetCurrentErrorMessage(), "Open " + P("missing") + ": No such file or directory");
  file::CloseAndDelete(f);
}

TEST_F(LocalFileTest, SyncAndHintsOnLocalHandles) {
  FileOpenOptions options;
  options.set_sync_write();
  options.set_access_pattern(file::SEQUENTIAL);
  options.set_cache_policy(file::UNCACHED);
  Handle f(File::OpenWithOptions(P("f").c_str(), "w", options));
  ASSERT_NE(f, nullptr);
  EXPECT_EQ(f->Write("abc", 3), 3);
  EXPECT_TRUE(f->Flush());
  EXPECT_TRUE(f->Sync());
  EXPECT_TRUE(f->DataSync());
}

// ---- Or-die forms ------------------------------------------------------------------------------

TEST_F(LocalFileTest, OrDieFormsEndTheProcessWithTheirTexts) {
  EXPECT_DEATH(File::OpenOrDie("", "r"), "file/base/file.h:654\\] Bad name for open:");
  const ::string missing = P("missing");
  EXPECT_DEATH(File::OpenOrDie(missing.c_str(), "r"),
               "file.h:658\\] Could not open:" + missing + " with mode:r");
  const ::string unwritable = P("no/such/dir/f");
  EXPECT_DEATH(File::OpenForAppendOrDie(unwritable.c_str()),
               "file.h:683\\] Check failed: f != NULL : could not open " + unwritable +
                   " for append");
  ::string contents;
  EXPECT_DEATH(File::ReadFileToStringOrDie(missing.c_str(), &contents), "ReadFileToString");
  EXPECT_DEATH(File::WriteStringToFileOrDie("x", unwritable.c_str()), "WriteStringToFile");
}

TEST_F(LocalFileTest, CheckpointOpensPositionTheHandle) {
  Put("f", "0123456789");
  CheckpointRecord checkpoint(P("f"), 4);
  Handle reader(File::OpenToCheckpointOrDie(P("f").c_str(), "r", &checkpoint));
  EXPECT_EQ(reader->Tell(), 4);
  FileAttr* attr = reinterpret_cast<FileAttr*>(&checkpoint);  // must be overwritten
  Handle writer(File::OpenOrDieForWriting(P("f").c_str(), "r+", &checkpoint, true, &attr));
  EXPECT_EQ(attr, nullptr);
  EXPECT_EQ(writer->Tell(), 4);
  EXPECT_EQ(writer->Size(), 4);
  File::WriteStringToFileOrDie("whole", P("g").c_str());
  File::AppendStringToFileOrDie("!", P("g").c_str());
  ::string contents;
  File::ReadFileToStringOrDie(P("g").c_str(), &contents);
  EXPECT_EQ(contents, "whole!");
}

// ---- Copies across file systems, bandwidth, statistics ----------------------------------------

TEST_F(LocalFileTest, CopiesCrossFileSystemsButRenamesDoNot) {
  Put("f", "travel");
  const ::string mem_dir = "/mem/localfile-test-" + std::to_string(getpid());
  ASSERT_TRUE(File::RecursivelyCreateDir(mem_dir, 0755));
  const ::string in_mem = mem_dir + "/f";
  ASSERT_TRUE(File::Copy(P("f").c_str(), in_mem.c_str(), false));
  ::string contents;
  ASSERT_TRUE(File::ReadFileToString(in_mem, &contents));
  EXPECT_EQ(contents, "travel");
  file::Operation op;
  EXPECT_FALSE(File::RenameWithOp(P("f").c_str(), (mem_dir + "/g").c_str(), false, &op));
  EXPECT_EQ(op.error(), file::ERROR_INVALID_ARGUMENT);
  vector<bool> flags;
  EXPECT_TRUE(File::BulkExist({P("f"), in_mem}, &flags));  // one list, two file systems
  EXPECT_EQ(flags, (vector<bool>{true, true}));
  int files = 0;
  int dirs = 0;
  File::DeleteRecursively(mem_dir, &files, &dirs);
  EXPECT_EQ(files, 1);
}

TEST_F(LocalFileTest, BandwidthLimitSlowsCopies) {
  Put("f", std::string(300 * 1024, 'b'));
  BandwidthLimit limit(1024 * 1024);
  const auto start = std::chrono::steady_clock::now();
  ASSERT_TRUE(File::CopyFullySpecified(P("f").c_str(), P("g").c_str(), Attr_t(Attr_t::DEFAULT),
                                       DEFAULT_FILE_MODE, nullptr, false, true, true, &limit));
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  EXPECT_GE(seconds, 0.25);
  FileStat source;
  FileStat copy;
  ASSERT_TRUE(File::Stat(P("f").c_str(), &source));
  ASSERT_TRUE(File::Stat(P("g").c_str(), &copy));
  EXPECT_EQ(copy.length, source.length);
  EXPECT_EQ(copy.mtime, source.mtime);  // preserve_mtime
}

TEST_F(LocalFileTest, StatisticsCountOperations) {
  FileOpStats* stats = File::opstats();
  const int64 opens = stats->opens;
  const int64 written = stats->bytes_written;
  Put("f", "12345");
  EXPECT_EQ(stats->opens, opens + 1);
  EXPECT_EQ(stats->bytes_written, written + 5);
  EXPECT_NE(stats->ToString().find("opens="), std::string::npos);
}

TEST_F(LocalFileTest, ArchiveIsNotAvailable) {
  Put("f", "");
  vector<bool> flags;
  EXPECT_FALSE(File::Archive({P("f")}, FileReedSolomonEncoding(0), 2, &flags));
  EXPECT_EQ(flags, vector<bool>{false});
}

// ---- Process-wide values -------------------------------------------------------------------------

TEST(FileProcessTest, HostPageAndThreadUser) {
  EXPECT_GT(File::pagesize(), 0);
  EXPECT_EQ(File::pagesize() & (File::pagesize() - 1), 0);
  EXPECT_FALSE(File::localhost_name().empty());
  File::SetCurrentThreadUserName("alice");
  ::string other_thread_user = "unset";
  std::thread([&] { other_thread_user = File::GetCurrentThreadUserName(); }).join();
  EXPECT_EQ(File::GetCurrentThreadUserName(), "alice");
  EXPECT_EQ(other_thread_user, "");
  File::SetCurrentThreadUserName("");
}

TEST(OpenModeTest, ParsesTheFopenModes) {
  file::OpenMode m;
  ASSERT_TRUE(file::ParseOpenMode("r", &m));
  EXPECT_TRUE(m.read && !m.write && !m.create);
  ASSERT_TRUE(file::ParseOpenMode("wb", &m));
  EXPECT_TRUE(!m.read && m.write && m.create && m.truncate && !m.append);
  ASSERT_TRUE(file::ParseOpenMode("a+", &m));
  EXPECT_TRUE(m.read && m.write && m.append && m.create && !m.truncate);
  ASSERT_TRUE(file::ParseOpenMode("rb+", &m));
  EXPECT_TRUE(m.read && m.write && !m.create);
  for (const char* bad : {"", "r+b+", "rr", "q", "w-"}) EXPECT_FALSE(file::ParseOpenMode(bad, &m)) << bad;
  EXPECT_FALSE(file::ParseOpenMode(nullptr, &m));
}

}  // namespace
