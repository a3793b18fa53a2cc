#include "tests/cc/fs_conformance.h"

#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>

#include "file/base/async.h"
#include "file/base/operation.h"

namespace {

std::atomic<int> test_dir_counter{0};

// Closes (and frees) a handle at the end of a scope.
struct Closer {
  void operator()(File* f) const {
    if (f != nullptr) file::CloseAndDelete(f);
  }
};
using Handle = std::unique_ptr<File, Closer>;

Handle OpenOrFail(const ::string& name, const char* mode) {
  File* f = File::Open(name.c_str(), mode);
  EXPECT_NE(f, nullptr) << "open " << name << " " << mode;
  return Handle(f);
}

::string ReadAll(File* f) {
  ::string contents;
  EXPECT_GE(f->ReadToString(&contents, -1), 0) << f->GetCurrentErrorMessage();
  return contents;
}

bool Contains(const ::string& text, const ::string& part) {
  return text.find(part) != ::string::npos;
}

}  // namespace

std::string LocalTestRoot() {
  const char* root = std::getenv("PQ_TEST_TMP");
  return root != nullptr && root[0] != '\0' ? root : "/tmp";
}

void FsConformance::SetUp() {
  const ::string root = GetParam();
  ASSERT_TRUE(File::RecursivelyCreateDir(root, DEFAULT_FILE_MODE)) << root;
  dir_ = File::JoinPath(root, "fsconf." + std::to_string(getpid()) + "." +
                                  std::to_string(test_dir_counter++));
  int files = 0;
  int dirs = 0;
  if (File::Exists(dir_.c_str())) File::DeleteRecursively(dir_, &files, &dirs);
  ASSERT_TRUE(File::CreateDir(dir_.c_str(), 0755)) << dir_;
}

void FsConformance::TearDown() {
  if (dir_.empty()) return;
  int files = 0;
  int dirs = 0;
  File::DeleteRecursively(dir_, &files, &dirs);
  EXPECT_FALSE(File::Exists(dir_.c_str()));
}

::string FsConformance::P(const std::string& relative) const {
  return File::JoinPath(dir_, relative);
}

void FsConformance::Put(const std::string& relative, const std::string& contents) {
  ASSERT_TRUE(File::WriteStringToFile(contents, P(relative))) << P(relative);
}

::string FsConformance::Get(const std::string& relative) {
  ::string contents;
  EXPECT_TRUE(File::ReadFileToString(P(relative), &contents)) << P(relative);
  return contents;
}

// ---- Open modes -------------------------------------------------------------------

TEST_P(FsConformance, OpenMissingForReadFailsWithNotFound) {
  const ::string name = P("missing");
  EXPECT_EQ(File::Open(name.c_str(), "r"), nullptr);
  File* f = File::Create(name, "r");
  ASSERT_NE(f, nullptr);
  file::Operation op;
  EXPECT_FALSE(f->OpenWithOp(&op));
  EXPECT_EQ(op.error(), file::ERROR_NOT_FOUND);
  EXPECT_EQ(f->GetCurrentErrorCode(), file::ERROR_NOT_FOUND);
  EXPECT_TRUE(Contains(f->GetCurrentErrorMessage(), name)) << f->GetCurrentErrorMessage();
  file::CloseAndDelete(f);
  EXPECT_EQ(File::Open(P("r-plus-missing").c_str(), "r+"), nullptr);
}

TEST_P(FsConformance, BadModesAreRefused) {
  for (const char* mode : {"", "x", "rw", "r++", "wbb", "+r"}) {
    EXPECT_EQ(File::Create(P("f"), mode), nullptr) << mode;
    EXPECT_EQ(File::Open(P("f").c_str(), mode), nullptr) << mode;
  }
  EXPECT_FALSE(File::Exists(P("f").c_str()));
}

TEST_P(FsConformance, WriteModesCreateTruncateAndAppend) {
  Put("f", "hello world");
  { Handle f = OpenOrFail(P("f"), "w"); }
  EXPECT_EQ(Get("f"), "");
  {
    Handle f = OpenOrFail(P("f"), "ab");
    EXPECT_EQ(f->Write("one", 3), 3);
  }
  {
    Handle f = OpenOrFail(P("f"), "a");
    f->Seek(0);  // append mode writes at the end whatever the position
    EXPECT_EQ(f->Write("two", 3), 3);
  }
  EXPECT_EQ(Get("f"), "onetwo");
  {
    Handle f = OpenOrFail(P("f"), "r+");
    EXPECT_EQ(f->Write("ON", 2), 2);
    EXPECT_EQ(ReadAll(f.get()), "etwo");
  }
  EXPECT_EQ(Get("f"), "ONetwo");
  {
    Handle f = OpenOrFail(P("f"), "a+");
    EXPECT_EQ(ReadAll(f.get()), "ONetwo");  // a+ reads from the start
    EXPECT_EQ(f->Write("!", 1), 1);
  }
  {
    Handle f = OpenOrFail(P("f"), "w+b");
    EXPECT_EQ(f->Write("xyz", 3), 3);
    ASSERT_TRUE(f->Seek(1));
    EXPECT_EQ(ReadAll(f.get()), "yz");
  }
  EXPECT_EQ(Get("f"), "xyz");
}

TEST_P(FsConformance, HandleDirectionIsEnforced) {
  Put("f", "data");
  char buffer[8];
  {
    Handle f = OpenOrFail(P("f"), "r");
    EXPECT_EQ(f->Write("x", 1), -1);
    EXPECT_EQ(f->GetCurrentErrorCode(), file::ERROR_PERMISSION_DENIED);
    EXPECT_FALSE(f->Truncate(0));
  }
  {
    Handle f = OpenOrFail(P("f"), "a");
    EXPECT_EQ(f->Read(buffer, sizeof(buffer)), -1);
    EXPECT_EQ(f->GetCurrentErrorCode(), file::ERROR_PERMISSION_DENIED);
    f->ClearError();
    EXPECT_EQ(f->GetCurrentErrorCode(), file::OK);
    EXPECT_EQ(f->GetCurrentErrorMessage(), "");
  }
  EXPECT_EQ(Get("f"), "data");
}

TEST_P(FsConformance, DirectoriesCannotBeOpenedAsFiles) {
  ASSERT_TRUE(File::CreateDir(P("d").c_str(), 0755));
  File* f = File::Create(P("d"), "r");
  ASSERT_NE(f, nullptr);
  EXPECT_FALSE(f->Open());
  EXPECT_EQ(f->GetCurrentErrorCode(), file::ERROR_WRONG_TYPE);
  file::CloseAndDelete(f);
}

TEST_P(FsConformance, UnopenedHandleRefusesIo) {
  File* f = File::Create(P("f"), "w");
  ASSERT_NE(f, nullptr);
  EXPECT_EQ(f->Write("x", 1), -1);
  EXPECT_EQ(f->GetCurrentErrorCode(), file::ERROR_INVALID_ARGUMENT);
  EXPECT_EQ(f->CreateFileName(), P("f"));
  EXPECT_TRUE(file::CloseAndDelete(f));
  EXPECT_FALSE(File::Exists(P("f").c_str()));
}

// ---- Reads, writes, positions -------------------------------------------------------------

TEST_P(FsConformance, SequentialIoSeekTellEof) {
  Handle f = OpenOrFail(P("f"), "w+");
  EXPECT_EQ(f->Write("0123456789", 10), 10);
  EXPECT_EQ(f->Tell(), 10);
  EXPECT_TRUE(f->eof());
  EXPECT_TRUE(f->Seek(3));
  char buffer[4] = {};
  EXPECT_EQ(f->Read(buffer, 4), 4);
  EXPECT_EQ(std::string(buffer, 4), "3456");
  EXPECT_FALSE(f->eof());
  EXPECT_EQ(f->Read(buffer, 4), 3);
  EXPECT_EQ(f->Read(buffer, 4), 0);
  EXPECT_TRUE(f->eof());
  EXPECT_FALSE(f->Seek(-1));
  EXPECT_EQ(f->GetCurrentErrorCode(), file::ERROR_INVALID_ARGUMENT);
  EXPECT_EQ(f->Size(), 10);
  EXPECT_EQ(f->SizeHint(), 10);
}

TEST_P(FsConformance, PositionedIoFillsHolesWithZeros) {
  Handle f = OpenOrFail(P("f"), "w+");
  EXPECT_EQ(f->PWrite(5, "ab", 2), 2);
  EXPECT_EQ(f->Size(), 7);
  char buffer[16];
  std::memset(buffer, 'x', sizeof(buffer));
  EXPECT_EQ(f->PRead(0, buffer, 16), 7);
  EXPECT_EQ(std::string(buffer, 7), std::string("\0\0\0\0\0ab", 7));
  EXPECT_EQ(f->PRead(7, buffer, 4), 0);
  EXPECT_EQ(f->PRead(100, buffer, 4), 0);
  EXPECT_EQ(f->PRead(-1, buffer, 4), -1);
  EXPECT_EQ(f->GetCurrentErrorCode(), file::ERROR_INVALID_ARGUMENT);
  EXPECT_EQ(f->Tell(), 0);  // positioned I/O leaves the position alone
  EXPECT_EQ(f->WriteRegion("CD", 1, 2), 2);
  EXPECT_EQ(f->ReadRegion(buffer, 0, 4), 4);
  EXPECT_EQ(std::string(buffer, 4), std::string("\0CD\0", 4));
}

TEST_P(FsConformance, TruncateAndResize) {
  Handle f = OpenOrFail(P("f"), "w+");
  EXPECT_EQ(f->Write("abcdef", 6), 6);
  EXPECT_TRUE(f->Truncate(2));
  EXPECT_EQ(f->Size(), 2);
  file::Operation op;
  EXPECT_TRUE(f->Resize(4, &op));
  EXPECT_EQ(f->Size(), 4);
  char buffer[4];
  EXPECT_EQ(f->PRead(0, buffer, 4), 4);
  EXPECT_EQ(std::string(buffer, 4), std::string("ab\0\0", 4));
  EXPECT_FALSE(f->TruncateWithOp(-1, &op));
  EXPECT_EQ(op.error(), file::ERROR_INVALID_ARGUMENT);
}

TEST_P(FsConformance, ReadLineNeverWritesPastItsLimit) {
  Put("f", "abc\ndefgh\nlast");
  Handle f = OpenOrFail(P("f"), "r");
  char buffer[16];
  std::memset(buffer, '#', sizeof(buffer));
  ASSERT_EQ(f->ReadLine(buffer, 16), buffer);
  EXPECT_STREQ(buffer, "abc\n");
  std::memset(buffer, '#', sizeof(buffer));
  ASSERT_NE(f->ReadLine(buffer, 4), nullptr);  // 3 bytes and the NUL
  EXPECT_STREQ(buffer, "def");
  EXPECT_EQ(buffer[4], '#');
  ASSERT_NE(f->ReadLine(buffer, 16), nullptr);  // the rest of the split line
  EXPECT_STREQ(buffer, "gh\n");
  ASSERT_NE(f->ReadLine(buffer, 16), nullptr);  // no final newline
  EXPECT_STREQ(buffer, "last");
  EXPECT_EQ(f->ReadLine(buffer, 16), nullptr);  // end of file
  EXPECT_EQ(f->ReadLine(buffer, 0), nullptr);
  ASSERT_TRUE(f->Seek(0));
  std::memset(buffer, '#', sizeof(buffer));
  ASSERT_NE(f->ReadLine(buffer, 1), nullptr);  // room for the NUL only
  EXPECT_EQ(buffer[0], '\0');
  EXPECT_EQ(buffer[1], '#');
  EXPECT_EQ(f->Tell(), 0);
}

TEST_P(FsConformance, ReadToStringHonoursPositionAndLimit) {
  Put("empty", "");
  {
    Handle f = OpenOrFail(P("empty"), "r");
    ::string contents = "stale";
    EXPECT_EQ(f->ReadToString(&contents, -1), 0);
    EXPECT_EQ(contents, "");
  }
  const std::string data("a\0b\0c" "0123456789", 15);
  Put("f", data);
  Handle f = OpenOrFail(P("f"), "r");
  ::string contents;
  EXPECT_EQ(f->ReadToString(&contents, 4), 4);
  EXPECT_EQ(contents, data.substr(0, 4));
  EXPECT_EQ(f->ReadToString(&contents, -1), 11);
  EXPECT_EQ(contents, data.substr(4));
}

TEST_P(FsConformance, AppendAndRecordAppendReportWhereBytesLanded) {
  Put("f", "head");
  Handle f = OpenOrFail(P("f"), "r+");
  EXPECT_EQ(f->Append("-tail", 5), 5);
  IOBuffer record("[rec]", 5);
  EXPECT_EQ(f->RecordAppend(&record), 9);
  EXPECT_EQ(f->Tell(), 0);  // appends do not move the handle's position
  EXPECT_EQ(ReadAll(f.get()), "head-tail[rec]");
}

TEST_P(FsConformance, WholeFileStringsAreByteExact) {
  const std::string data("x\0y\n\0", 5);
  ASSERT_TRUE(File::WriteStringToFile(data, P("f")));
  ::string contents;
  ASSERT_TRUE(File::ReadFileToString(P("f"), &contents));
  EXPECT_EQ(contents, data);
  ASSERT_TRUE(File::AppendStringToFile(std::string("\0z", 2), P("f")));
  ASSERT_TRUE(File::ReadFileToString(P("f"), &contents));
  EXPECT_EQ(contents, data + std::string("\0z", 2));
  EXPECT_FALSE(File::ReadFileToString(P("missing"), &contents));
  EXPECT_FALSE(File::WriteStringToFile("x", P("no/such/dir")));
}

TEST_P(FsConformance, MemBlocksAndMappings) {
  std::string big(40000, '\0');
  for (size_t i = 0; i < big.size(); ++i) big[i] = static_cast<char>('a' + i % 26);
  Put("big", big);
  Put("small", "0123456789");
  Handle f = OpenOrFail(P("big"), "r");
  std::unique_ptr<MemBlock> block(f->GetMemBlock(39990, 100, 0));
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(block->size(), 10);  // cut at end of file
  EXPECT_EQ(std::string(block->data(), 10), big.substr(39990));
  std::unique_ptr<MemBlock> mapped(f->TryMMap(5000, 30000));
  ASSERT_NE(mapped, nullptr) << f->GetCurrentErrorMessage();
  EXPECT_EQ(std::string(mapped->data(), mapped->size()), big.substr(5000, 30000));
  EXPECT_EQ(f->TryMMap(39000, 2000), nullptr);
  EXPECT_EQ(f->GetCurrentErrorCode(), file::ERROR_PAST_EOF);
  std::unique_ptr<MemBlock> disk(f->GetMemBlockFromDisk(1, 3, 2));
  ASSERT_NE(disk, nullptr);
  EXPECT_EQ(std::string(disk->data(), disk->size()), "bcd");
  Handle small = OpenOrFail(P("small"), "r");
  EXPECT_EQ(small->TryMMap(0, 4), nullptr);  // too small to be worth a mapping
  EXPECT_NE(small->GetCurrentErrorCode(), file::OK);
  EXPECT_EQ(small->GetMemBlock(11, 1, 0), nullptr);
  EXPECT_EQ(small->GetCurrentErrorCode(), file::ERROR_PAST_EOF);
}

// ---- Stat and match -------------------------------------------------------------------------

TEST_P(FsConformance, StatFillsEveryField) {
  Put("a", "12345");
  Put("b", "");
  ASSERT_TRUE(File::CreateDir(P("d").c_str(), 0755));
  FileStat st;
  ASSERT_TRUE(File::Stat(P("a").c_str(), &st));
  EXPECT_EQ(st.length, 5);
  EXPECT_NEAR(st.mtime, time(nullptr), 60);
  EXPECT_FALSE(st.IsDirectory());
  EXPECT_EQ(st.mode & 0170000, 0100000u);  // a regular file
  EXPECT_FALSE(st.owner.empty());
  EXPECT_FALSE(st.group.empty());
  EXPECT_NE(st.identifier, 0);
  EXPECT_EQ(st.attributes.attr, 0u);
  FileStat other;
  ASSERT_TRUE(File::Stat(P("b").c_str(), &other));
  EXPECT_NE(other.identifier, st.identifier);
  ASSERT_TRUE(File::Stat(P("d").c_str(), &other));
  EXPECT_TRUE(other.IsDirectory());
  EXPECT_TRUE(File::IsDirectory(P("d").c_str()));
  EXPECT_FALSE(File::IsDirectory(P("a").c_str()));
  EXPECT_EQ(File::GetFileSize(P("a").c_str()), 5);
  EXPECT_EQ(File::GetFileSize(P("missing").c_str()), -1);
  Handle f = OpenOrFail(P("a"), "r");
  FileStat through_handle;
  ASSERT_TRUE(f->Stat(&through_handle));
  EXPECT_EQ(through_handle.identifier, st.identifier);
  EXPECT_EQ(through_handle.length, 5);
}

TEST_P(FsConformance, StatWithOpReportsNotFound) {
  file::Operation op;
  FileStat st;
  EXPECT_FALSE(File::StatWithOp(P("missing").c_str(), &st, &op));
  EXPECT_EQ(op.error(), file::ERROR_NOT_FOUND);
  EXPECT_TRUE(Contains(op.message(), P("missing"))) << op.message();
  EXPECT_FALSE(File::Exists(P("missing").c_str()));
  EXPECT_FALSE(File::ExistsWithOp(P("missing").c_str(), &op));
  EXPECT_TRUE(op.ok());  // absence is an answer, not a failure
  EXPECT_FALSE(File::Readable(P("missing").c_str()));
}

TEST_P(FsConformance, MatchHonoursMatchTypesAndBraces) {
  for (const char* name : {"a.txt", "b.txt", "c.log", ".hidden.txt", "old.txt~"}) Put(name, "x");
  ASSERT_TRUE(File::CreateDir(P("sub").c_str(), 0755));
  Put("sub/d.txt", "x");
  vector<::string> matches;
  ASSERT_TRUE(File::Match(P("*.txt").c_str(), &matches));
  EXPECT_EQ(matches, (vector<::string>{P("a.txt"), P("b.txt")}));
  ASSERT_TRUE(File::ExtendedMatch(P("*").c_str(), &matches, File::MATCH_ALL));
  EXPECT_EQ(matches, (vector<::string>{P(".hidden.txt"), P("a.txt"), P("b.txt"), P("c.log"),
                                       P("old.txt~"), P("sub")}));
  ASSERT_TRUE(File::ExtendedMatch(P("*.txt*").c_str(), &matches, File::MATCH_BACKUPS));
  EXPECT_EQ(matches, (vector<::string>{P("a.txt"), P("b.txt"), P("old.txt~")}));
  ASSERT_TRUE(File::ExtendedMatch(P("*.txt").c_str(), &matches, File::MATCH_DOTFILES));
  EXPECT_EQ(matches, (vector<::string>{P(".hidden.txt"), P("a.txt"), P("b.txt")}));
  ASSERT_TRUE(File::Match(P("{c.log,sub/*}").c_str(), &matches));
  EXPECT_EQ(matches, (vector<::string>{P("c.log"), P("sub/d.txt")}));
  ASSERT_TRUE(File::Match(P("[ab].t?t").c_str(), &matches));
  EXPECT_EQ(matches, (vector<::string>{P("a.txt"), P("b.txt")}));
  ASSERT_TRUE(File::Match(P("nothing*").c_str(), &matches));
  EXPECT_TRUE(matches.empty());
  ASSERT_TRUE(File::GetMatchingFiles(P("*").c_str(), &matches));
  EXPECT_EQ(matches, (vector<::string>{P("a.txt"), P("b.txt"), P("c.log")}));
}

TEST_P(FsConformance, AttributeRecordsStayOutOfListings) {
  Put("f", "x");
  ASSERT_TRUE(File::SetAttributes(P("f").c_str(), Attr_t(Attr_t::ARCHIVAL_PENDING)));
  vector<::string> matches;
  ASSERT_TRUE(File::ExtendedMatch(P("*").c_str(), &matches, File::MATCH_ALL));
  EXPECT_EQ(matches, (vector<::string>{P("f")}));
  vector<::string> files;
  vector<::string> dirs;
  int error = -1;
  File::DFListFileAndDir(dir_, File::MATCH_ALL, &files, &dirs, &error);
  EXPECT_EQ(error, file::OK);
  EXPECT_EQ(files, (vector<::string>{P("f")}));
}

TEST_P(FsConformance, DepthFirstListing) {
  ASSERT_TRUE(File::RecursivelyCreateDir(P("a/b"), 0755));
  Put("a/b/f1", "");
  Put("a/f2", "");
  Put("z", "");
  vector<::string> files;
  vector<::string> dirs;
  int error = -1;
  File::DFListFileAndDir(dir_, File::MATCH_DEFAULT, &files, &dirs, &error);
  EXPECT_EQ(error, file::OK);
  EXPECT_EQ(files, (vector<::string>{P("a/b/f1"), P("a/f2"), P("z")}));
  EXPECT_EQ(dirs, (vector<::string>{P("a"), P("a/b")}));
  File::DFListFileAndDir(P("missing"), File::MATCH_DEFAULT, &files, &dirs, &error);
  EXPECT_EQ(error, file::ERROR_NOT_FOUND);
}

// ---- Delete, rename, copy -------------------------------------------------------------------

TEST_P(FsConformance, DeleteFilesNotDirectories) {
  Put("f", "x");
  ASSERT_TRUE(File::CreateDir(P("d").c_str(), 0755));
  EXPECT_TRUE(File::Delete(P("f").c_str()));
  EXPECT_FALSE(File::Exists(P("f").c_str()));
  file::Operation op;
  EXPECT_FALSE(File::DeleteWithOp(P("f").c_str(), &op));
  EXPECT_EQ(op.error(), file::ERROR_NOT_FOUND);
  EXPECT_FALSE(File::DeleteWithOp(P("d").c_str(), &op));
  EXPECT_NE(op.error(), file::OK);
  EXPECT_TRUE(File::IsDirectory(P("d").c_str()));
  Put("g1", "");
  Put("g2", "");
  EXPECT_TRUE(File::DeleteMatchingFiles(P("g*").c_str()));
  EXPECT_FALSE(File::Exists(P("g1").c_str()));
  EXPECT_FALSE(File::Exists(P("g2").c_str()));
}

TEST_P(FsConformance, RenameRespectsOverwrite) {
  Put("a", "A");
  Put("b", "B");
  file::Operation op;
  EXPECT_FALSE(File::RenameWithOp(P("a").c_str(), P("b").c_str(), false, &op));
  EXPECT_EQ(op.error(), file::ERROR_ALREADY_EXISTS);
  EXPECT_EQ(Get("b"), "B");
  EXPECT_TRUE(File::Rename(P("a").c_str(), P("b").c_str(), true));
  EXPECT_FALSE(File::Exists(P("a").c_str()));
  EXPECT_EQ(Get("b"), "A");
  EXPECT_TRUE(File::Rename(P("b").c_str(), P("c").c_str(), false));
  EXPECT_EQ(Get("c"), "A");
  EXPECT_FALSE(File::RenameWithOp(P("missing").c_str(), P("d").c_str(), false, &op));
  EXPECT_EQ(op.error(), file::ERROR_NOT_FOUND);
}

TEST_P(FsConformance, CopyRespectsOverwriteAndAttributes) {
  const std::string data("copy\0me", 7);
  Put("a", data);
  Put("b", "old");
  EXPECT_FALSE(File::Copy(P("a").c_str(), P("b").c_str(), false));
  EXPECT_EQ(Get("b"), "old");
  EXPECT_TRUE(File::Copy(P("a").c_str(), P("b").c_str(), true));
  EXPECT_EQ(Get("b"), data);
  EXPECT_TRUE(File::CopyWithAttr(P("a").c_str(), P("c").c_str(), Attr_t(Attr_t::APPEND), false));
  FileStat st;
  ASSERT_TRUE(File::Stat(P("c").c_str(), &st));
  EXPECT_EQ(st.attributes.attr, static_cast<uint32>(Attr_t::APPEND));
  EXPECT_EQ(Get("c"), data);
  ASSERT_TRUE(File::CreateDir(P("d").c_str(), 0755));
  EXPECT_FALSE(File::Copy(P("d").c_str(), P("e").c_str(), true));
  EXPECT_FALSE(File::Copy(P("missing").c_str(), P("e").c_str(), true));
}

TEST_P(FsConformance, HandleToHandleCopies) {
  Put("src", "0123456789");
  Handle source = OpenOrFail(P("src"), "r");
  Handle target = OpenOrFail(P("dst"), "w+");
  ASSERT_TRUE(source->Seek(2));
  EXPECT_TRUE(File::CopyNBytes(source.get(), target.get(), 3, nullptr, nullptr));
  EXPECT_TRUE(File::CopyToEof(source.get(), target.get()));
  EXPECT_FALSE(File::CopyNBytes(source.get(), target.get(), 1, nullptr, nullptr));  // at EOF
  ASSERT_TRUE(target->Seek(0));
  EXPECT_EQ(ReadAll(target.get()), "23456789");
}

TEST_P(FsConformance, SnapshotsAreIndependentCopies) {
  ASSERT_TRUE(File::RecursivelyCreateDir(P("t/sub"), 0755));
  Put("t/a", "A");
  Put("t/sub/b", "B");
  ASSERT_TRUE(File::SetAttributes(P("t/a").c_str(), Attr_t(Attr_t::ARCHIVAL_PENDING)));
  ASSERT_TRUE(File::SnapshotFile(P("t/a").c_str(), P("a.snap").c_str(), 0600));
  ASSERT_TRUE(File::Snapshot(P("t").c_str(), P("t.snap").c_str(), DEFAULT_FILE_MODE, 0700));
  Put("t/a", "changed");
  EXPECT_EQ(Get("a.snap"), "A");
  EXPECT_EQ(Get("t.snap/a"), "A");
  EXPECT_EQ(Get("t.snap/sub/b"), "B");
  FileStat st;
  ASSERT_TRUE(File::Stat(P("a.snap").c_str(), &st));
  EXPECT_EQ(st.mode & 07777, 0600u);
  EXPECT_EQ(st.attributes.attr, static_cast<uint32>(Attr_t::ARCHIVAL_PENDING));
  ASSERT_TRUE(File::Stat(P("t.snap/sub").c_str(), &st));
  EXPECT_EQ(st.mode & 07777, 0700u);
  ASSERT_TRUE(File::Stat(P("t.snap/a").c_str(), &st));
  EXPECT_EQ(st.attributes.attr, static_cast<uint32>(Attr_t::ARCHIVAL_PENDING));
  EXPECT_FALSE(File::Snapshot(P("t").c_str(), P("t.snap").c_str(), DEFAULT_FILE_MODE, 0700));
  EXPECT_FALSE(File::SnapshotFile(P("t").c_str(), P("t2.snap").c_str(), 0600));
}

// ---- Attributes -----------------------------------------------------------------------------

TEST_P(FsConformance, ProtectedFilesCannotBeDeletedOrRenamed) {
  Put("p", "keep");
  ASSERT_TRUE(File::SetAttributes(P("p").c_str(), Attr_t(Attr_t::PROTECTED)));
  file::Operation op;
  EXPECT_FALSE(File::DeleteWithOp(P("p").c_str(), &op));
  EXPECT_EQ(op.error(), file::ERROR_PERMISSION_DENIED);
  EXPECT_FALSE(File::RenameWithOp(P("p").c_str(), P("q").c_str(), true, &op));
  EXPECT_EQ(op.error(), file::ERROR_PERMISSION_DENIED);
  Put("other", "x");
  EXPECT_FALSE(File::Rename(P("other").c_str(), P("p").c_str(), true));
  EXPECT_EQ(Get("p"), "keep");
  ASSERT_TRUE(File::SetAttributes(P("p").c_str(), Attr_t(0)));
  EXPECT_TRUE(File::Delete(P("p").c_str()));
}

TEST_P(FsConformance, FinalizedAndFrozenFilesRefuseWriting) {
  for (uint32 bit : {Attr_t::FINALIZED, Attr_t::FROZEN}) {
    Put("f", "final");
    ASSERT_TRUE(File::SetAttributes(P("f").c_str(), Attr_t(bit)));
    for (const char* mode : {"w", "a", "r+", "w+", "a+"}) {
      File* f = File::Create(P("f"), mode);
      ASSERT_NE(f, nullptr);
      EXPECT_FALSE(f->Open()) << mode;
      EXPECT_EQ(f->GetCurrentErrorCode(), file::ERROR_PERMISSION_DENIED) << mode;
      file::CloseAndDelete(f);
    }
    { Handle reader = OpenOrFail(P("f"), "r"); }
    EXPECT_EQ(Get("f"), "final");
    ASSERT_TRUE(File::SetAttributes(P("f").c_str(), Attr_t(0)));
  }
}

TEST_P(FsConformance, AppendOnlyFilesTakeWritesOnlyAtTheEnd) {
  Put("log", "12");
  ASSERT_TRUE(File::SetAttributes(P("log").c_str(), Attr_t(Attr_t::APPEND)));
  EXPECT_EQ(File::Open(P("log").c_str(), "w"), nullptr);  // would truncate
  {
    Handle f = OpenOrFail(P("log"), "a");
    EXPECT_EQ(f->Write("34", 2), 2);
  }
  Handle f = OpenOrFail(P("log"), "r+");
  EXPECT_EQ(f->Write("x", 1), -1);
  EXPECT_EQ(f->GetCurrentErrorCode(), file::ERROR_PERMISSION_DENIED);
  EXPECT_EQ(f->PWrite(1, "x", 1), -1);
  EXPECT_EQ(f->PWrite(4, "5", 1), 1);
  EXPECT_FALSE(f->Truncate(1));
  EXPECT_EQ(f->Append("6", 1), 1);
  EXPECT_EQ(Get("log"), "123456");
  FileStat st;
  ASSERT_TRUE(f->Stat(&st));
  EXPECT_EQ(st.attributes.attr, static_cast<uint32>(Attr_t::APPEND));
}

TEST_P(FsConformance, AttributesTravelWithRenameAndGoWithDelete) {
  Put("a", "x");
  ASSERT_TRUE(File::SetAttributes(P("a").c_str(), Attr_t(Attr_t::ARCHIVAL_PENDING)));
  ASSERT_TRUE(File::Rename(P("a").c_str(), P("b").c_str(), false));
  FileStat st;
  ASSERT_TRUE(File::Stat(P("b").c_str(), &st));
  EXPECT_EQ(st.attributes.attr, static_cast<uint32>(Attr_t::ARCHIVAL_PENDING));
  ASSERT_TRUE(File::Delete(P("b").c_str()));
  Put("b", "new");
  ASSERT_TRUE(File::Stat(P("b").c_str(), &st));
  EXPECT_EQ(st.attributes.attr, 0u);  // the old record went with the old file
  EXPECT_FALSE(File::SetAttributes(P("missing").c_str(), Attr_t(Attr_t::APPEND)));
}

TEST_P(FsConformance, OpenWithAttrRecordsAttributes) {
  Handle f(File::OpenWithAttr(P("f").c_str(), "w", Attr_t(Attr_t::FINALIZED)));
  ASSERT_NE(f, nullptr);
  EXPECT_EQ(f->Write("abc", 3), 3);  // the open that finalizes may still write
  f.reset();
  EXPECT_EQ(File::Open(P("f").c_str(), "a"), nullptr);
  File::DeleteFileAttributes(P("f").c_str());
  Handle again = OpenOrFail(P("f"), "a");
}

// ---- Directories ---------------------------------------------------------------------------

TEST_P(FsConformance, DirectoryLifecycle) {
  file::Operation op;
  EXPECT_FALSE(File::CreateDirWithOp(P("x/y").c_str(), 0755, &op));
  EXPECT_EQ(op.error(), file::ERROR_NOT_FOUND);
  ASSERT_TRUE(File::CreateDir(P("x").c_str(), 0755));
  EXPECT_FALSE(File::CreateDirWithOp(P("x").c_str(), 0755, &op));
  EXPECT_EQ(op.error(), file::ERROR_ALREADY_EXISTS);
  ASSERT_TRUE(File::RecursivelyCreateDir(P("x/y/z"), 0755));
  EXPECT_TRUE(File::RecursivelyCreateDir(P("x/y/z"), 0755));  // already there
  Put("x/y/f", "");
  EXPECT_FALSE(File::RecursivelyCreateDir(P("x/y/f/g"), 0755));
  EXPECT_FALSE(File::DeleteDirWithOp(P("x").c_str(), &op));
  EXPECT_EQ(op.error(), file::ERROR_NOT_EMPTY);
  EXPECT_TRUE(File::DeleteDir(P("x/y/z").c_str()));
  EXPECT_FALSE(File::IsDirectory(P("x/y/z").c_str()));
}

TEST_P(FsConformance, DeleteRecursivelyCounts) {
  ASSERT_TRUE(File::RecursivelyCreateDir(P("t/a/b"), 0755));
  Put("t/f1", "");
  Put("t/a/f2", "");
  Put("t/a/b/f3", "");
  Put("t/a/b/.dot", "");
  ASSERT_TRUE(File::SetAttributes(P("t/f1").c_str(), Attr_t(Attr_t::ARCHIVAL_PENDING)));
  int files = -1;
  int dirs = -1;
  File::DeleteRecursively(P("t"), &files, &dirs);
  EXPECT_EQ(files, 4);
  EXPECT_EQ(dirs, 3);
  EXPECT_FALSE(File::Exists(P("t").c_str()));
  File::DeleteRecursively(P("t"), &files, &dirs);
  EXPECT_EQ(files, 0);
  EXPECT_EQ(dirs, 0);
}

TEST_P(FsConformance, DeleteRecursivelyStopsAtProtectedFiles) {
  ASSERT_TRUE(File::CreateDir(P("t").c_str(), 0755));
  Put("t/keep", "");
  ASSERT_TRUE(File::SetAttributes(P("t/keep").c_str(), Attr_t(Attr_t::PROTECTED)));
  file::Operation op;
  int files = -1;
  int dirs = -1;
  FileFactory::ForName(dir_.c_str())->DeleteRecursivelyWithOp(P("t"), &files, &dirs, &op);
  EXPECT_EQ(op.error(), file::ERROR_PERMISSION_DENIED);
  EXPECT_TRUE(File::Exists(P("t/keep").c_str()));
  ASSERT_TRUE(File::SetAttributes(P("t/keep").c_str(), Attr_t(0)));
}

TEST_P(FsConformance, ModesAndMtimes) {
  Put("f", "");
  ASSERT_TRUE(File::SetMode(P("f").c_str(), 0640));
  FileStat st;
  ASSERT_TRUE(File::Stat(P("f").c_str(), &st));
  EXPECT_EQ(st.mode & 07777, 0640u);
  ASSERT_TRUE(File::SetMtime(P("f").c_str(), 1000000000L));
  ASSERT_TRUE(File::Stat(P("f").c_str(), &st));
  EXPECT_EQ(st.mtime, 1000000000L);
  EXPECT_FALSE(File::SetMode(P("missing").c_str(), 0640));
  EXPECT_FALSE(File::SetMode(P("f").c_str(), 010000));
  ASSERT_TRUE(File::SetGroup(P("f").c_str(), st.group.c_str()));
  EXPECT_FALSE(File::SetGroup(P("f").c_str(), "no-such-group-pq"));
  int64 total = -1;
  int64 free_bytes = -1;
  int64 available = -1;
  ASSERT_TRUE(File::Statfs(dir_.c_str(), &total, &free_bytes, &available));
  EXPECT_GT(total, 0);
  EXPECT_GE(total, free_bytes);
  EXPECT_GE(free_bytes, available);
}

// ---- Bulk operations -----------------------------------------------------------------------

TEST_P(FsConformance, BulkOperationsGiveOneFlagPerName) {
  Put("a", "A");
  Put("c", "CC");
  const vector<::string> names = {P("a"), P("b"), P("c")};
  vector<bool> flags;
  EXPECT_FALSE(File::BulkExist(names, &flags));
  EXPECT_EQ(flags, (vector<bool>{true, false, true}));
  vector<FileStat> stats;
  EXPECT_FALSE(File::BulkStat(names, &flags, &stats));
  ASSERT_EQ(stats.size(), 3u);
  EXPECT_EQ(stats[0].length, 1);
  EXPECT_EQ(stats[2].length, 2);
  vector<File*> files;
  EXPECT_FALSE(File::BulkOpen(names, "r", &files));
  ASSERT_EQ(files.size(), 3u);
  EXPECT_NE(files[0], nullptr);
  EXPECT_EQ(files[1], nullptr);
  EXPECT_NE(files[2], nullptr);
  for (File* f : files) {
    if (f != nullptr) file::CloseAndDelete(f);
  }
  file::Operation op;
  EXPECT_FALSE(File::BulkDeleteWithOp(names, &op, &flags));
  EXPECT_EQ(flags, (vector<bool>{true, false, true}));
  EXPECT_EQ(op.error(), file::ERROR_NOT_FOUND);
  EXPECT_TRUE(Contains(op.message(), P("b")));
  EXPECT_TRUE(File::BulkExist({}, &flags));
  EXPECT_TRUE(flags.empty());
}

TEST_P(FsConformance, BulkRenameAndAttributes) {
  Put("a", "");
  Put("b", "");
  vector<bool> flags;
  EXPECT_FALSE(File::BulkRename({P("a")}, {P("x"), P("y")}, false, &flags));
  EXPECT_TRUE(File::Exists(P("a").c_str()));
  EXPECT_TRUE(File::BulkRename({P("a"), P("b")}, {P("x"), P("y")}, false, &flags));
  EXPECT_EQ(flags, (vector<bool>{true, true}));
  EXPECT_FALSE(File::BulkSetAttributes({P("x"), P("nope")}, Attr_t(Attr_t::FROZEN), &flags));
  EXPECT_EQ(flags, (vector<bool>{true, false}));
  EXPECT_EQ(File::Open(P("x").c_str(), "w"), nullptr);
  EXPECT_TRUE(File::BulkSetMode({P("x"), P("y")}, 0600, &flags));
  EXPECT_TRUE(File::BulkSetAttributes({P("x")}, Attr_t(0), &flags));
}

// ---- Asynchronous operations --------------------------------------------------------------

TEST_P(FsConformance, AsyncOperationsCompleteTheirWatcher) {
  Put("f", "12345");
  FileStat st;
  AsyncIOWatcher stat_done;
  ASSERT_TRUE(File::StatAsync(P("f").c_str(), &st, &stat_done));
  stat_done.Wait();
  EXPECT_EQ(stat_done.Error(), file::OK);
  EXPECT_EQ(stat_done.Bytes(), 5);
  EXPECT_EQ(st.length, 5);

  AsyncIOWatcher missing_done;
  ASSERT_TRUE(File::StatAsync(P("missing").c_str(), &st, &missing_done));
  missing_done.Wait();
  EXPECT_EQ(missing_done.Error(), file::ERROR_NOT_FOUND);

  vector<::string> matches;
  AsyncIOWatcher match_done;
  ASSERT_TRUE(File::MatchAsync(P("*").c_str(), &matches, &match_done));
  match_done.Wait();
  EXPECT_EQ(match_done.Error(), file::OK);
  EXPECT_EQ(matches, (vector<::string>{P("f")}));

  AsyncIOWatcher open_done;
  Handle f(File::OpenAsync(P("f").c_str(), "r+", &open_done));
  ASSERT_NE(f, nullptr);
  open_done.Wait();
  ASSERT_EQ(open_done.Error(), file::OK);
  IOBuffer data;
  int64 count = -1;
  AsyncIOWatcher read_done;
  ASSERT_TRUE(f->PReadAsync(1, 10, &data, &count, &read_done));
  read_done.Wait();
  EXPECT_EQ(read_done.Bytes(), 4);
  EXPECT_EQ(count, 4);
  EXPECT_EQ(data.ToString(), "2345");
  IOBuffer out("ab", 2);
  AsyncIOWatcher write_done;
  ASSERT_TRUE(f->PWriteAsync(5, &out, &count, &write_done));
  write_done.Wait();
  EXPECT_EQ(write_done.Error(), file::OK);
  EXPECT_EQ(count, 2);
  EXPECT_EQ(ReadAll(f.get()), "12345ab");

  AsyncIOWatcher delete_done;
  ASSERT_TRUE(File::DeleteAsync(P("f").c_str(), &delete_done));
  delete_done.Wait();
  EXPECT_EQ(delete_done.Error(), file::OK);
  EXPECT_FALSE(File::Exists(P("f").c_str()));
}

TEST_P(FsConformance, AsyncOpenOfMissingFileReportsThroughWatcher) {
  AsyncIOWatcher done;
  File* f = File::OpenAsync(P("missing").c_str(), "r", &done);
  ASSERT_NE(f, nullptr);
  done.Wait();
  EXPECT_EQ(done.Error(), file::ERROR_NOT_FOUND);
  file::CloseAndDelete(f);
}

// ---- Operations and deadlines -----------------------------------------------------------------

TEST_P(FsConformance, PassedDeadlineFailsWithoutDoingTheWork) {
  Put("f", "untouched");
  file::Operation op;
  op.SetDeadlineLength(-1);
  FileStat st;
  EXPECT_FALSE(File::StatWithOp(P("f").c_str(), &st, &op));
  EXPECT_EQ(op.error(), file::ERROR_DEADLINE_EXCEEDED);
  EXPECT_FALSE(File::DeleteWithOp(P("f").c_str(), &op));
  EXPECT_EQ(op.error(), file::ERROR_DEADLINE_EXCEEDED);
  EXPECT_FALSE(File::CreateDirWithOp(P("d").c_str(), 0755, &op));
  EXPECT_FALSE(File::IsDirectory(P("d").c_str()));
  Handle f = OpenOrFail(P("f"), "r+");
  EXPECT_EQ(f->WriteWithOp("XX", 2, &op), -1);
  EXPECT_EQ(op.error(), file::ERROR_DEADLINE_EXCEEDED);
  EXPECT_TRUE(f->IsSoftError());
  char buffer[4];
  EXPECT_EQ(f->PReadWithOp(0, buffer, 4, &op), -1);
  EXPECT_EQ(Get("f"), "untouched");
  file::Operation fresh;
  EXPECT_EQ(f->PReadWithOp(0, buffer, 4, &fresh), 4);
  EXPECT_TRUE(fresh.ok());
}

// ---- Locks ---------------------------------------------------------------------------------

TEST_P(FsConformance, LockedOpensConflict) {
  Put("f", "");
  LockInfo exclusive(LockInfo::EXCLUSIVE, /*blocking=*/false);
  LockInfo shared(LockInfo::SHARED, /*blocking=*/false);
  File* holder = File::OpenLocked(P("f").c_str(), "r", &exclusive);
  ASSERT_NE(holder, nullptr);
  File* second = File::Create(P("f"), "r");
  ASSERT_NE(second, nullptr);
  ASSERT_TRUE(second->Open());
  EXPECT_FALSE(second->AccessWithLock(&shared));
  EXPECT_EQ(second->GetCurrentErrorCode(), file::ERROR_TEMPORARY);
  EXPECT_TRUE(second->IsSoftError());
  FileStat st;
  EXPECT_FALSE(File::StatLocked(P("f").c_str(), &shared, &st));
  file::CloseAndDelete(holder);  // releases the lock
  EXPECT_TRUE(second->AccessWithLock(&shared));
  File* third = File::OpenLocked(P("f").c_str(), "r", &shared);
  EXPECT_NE(third, nullptr);  // shared holders coexist
  EXPECT_EQ(File::OpenLocked(P("f").c_str(), "r", &exclusive), nullptr);
  EXPECT_TRUE(File::StatLocked(P("f").c_str(), &shared, &st));
  file::CloseAndDelete(second);
  if (third != nullptr) file::CloseAndDelete(third);
  Handle last(File::OpenLocked(P("f").c_str(), "r", &exclusive));
  EXPECT_NE(last, nullptr);
}

// ---- Handles ---------------------------------------------------------------------------------

TEST_P(FsConformance, OpenHandlesAreListedUntilClosed) {
  Put("f", "");
  File* f = File::Open(P("f").c_str(), "r");
  ASSERT_NE(f, nullptr);
  const ::string line = P("f") + " r\n";
  EXPECT_TRUE(Contains(File::GetOpenFiles(), line));
  EXPECT_TRUE(file::CloseAndDelete(f));
  EXPECT_FALSE(Contains(File::GetOpenFiles(), line));
  File* unclosed = File::Open(P("f").c_str(), "r");
  ASSERT_NE(unclosed, nullptr);
  delete unclosed;  // deleting an open handle closes it
  EXPECT_FALSE(Contains(File::GetOpenFiles(), line));
}

TEST_P(FsConformance, UnsupportedHandleOperationsSayUnimplemented) {
  Put("f", "x");
  Handle f = OpenOrFail(P("f"), "r");
  char buffer[1];
  EXPECT_EQ(f->ReadWithVerifier(buffer, 1, nullptr), -1);
  EXPECT_EQ(f->GetCurrentErrorCode(), file::ERROR_UNIMPLEMENTED);
  vector<int> disks;
  EXPECT_FALSE(f->FindAllMirrorDisks(0, &disks));
  EXPECT_EQ(f->GetCurrentErrorCode(), file::ERROR_UNIMPLEMENTED);
  vector<File::DataVariant*> variants;
  file::Operation op;
  EXPECT_FALSE(f->ReadMultipleDataVariants(0, 1, 2, &variants, &op));
  EXPECT_EQ(op.error(), file::ERROR_UNIMPLEMENTED);
  EXPECT_TRUE(f->SetAccessPattern(file::SEQUENTIAL, file::CACHED));
  EXPECT_FALSE(f->SetAccessPattern(7, file::CACHED));
  EXPECT_EQ(f->GetCurrentErrorCode(), file::ERROR_INVALID_ARGUMENT);
}

INSTANTIATE_TEST_SUITE_P(Local, FsConformance, ::testing::Values(LocalTestRoot()));
