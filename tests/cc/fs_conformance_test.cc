#include "tests/cc/fs_conformance.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "file/base/core/async.h"
#include "file/base/core/operation.h"

namespace {

std::atomic<int> test_dir_counter{0};

bool Contains(const ::string& text, const ::string& part) {
  return text.find(part) != ::string::npos;
}

// Waits for an asynchronous operation and gives its error code.
int Finished(AsyncIOWatcher* done) {
  done->Wait();
  return done->Error();
}

}  // namespace

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

std::string LocalTestRoot() {
  const char* root = std::getenv("PQ_TEST_TMP");
  return root != nullptr && root[0] != '\0' ? root : "/tmp";
}

void RunInChildren(int n, const std::function<bool(int)>& child) {
  std::vector<pid_t> pids;
  for (int k = 0; k < n; ++k) {
    const pid_t pid = fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) _exit(child(k) ? 0 : 1);
    pids.push_back(pid);
  }
  for (pid_t pid : pids) {
    int status = 0;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "child " << pid;
  }
}

int KillAfterAcks(int enough, const std::function<void(const std::function<void(int)>& ack)>& writer) {
  int fds[2];
  EXPECT_EQ(pipe(fds), 0);
  const pid_t pid = fork();
  if (pid == 0) {
    close(fds[0]);
    writer([&](int i) {
      if (write(fds[1], &i, sizeof i) != sizeof i) _exit(1);
    });
    _exit(1);
  }
  close(fds[1]);
  int acked = -1, got, status = 0;
  while (pid > 0 && acked < enough && read(fds[0], &got, sizeof got) == sizeof got) acked = got;
  if (pid > 0) {
    kill(pid, SIGKILL);
    waitpid(pid, &status, 0);
  }
  while (read(fds[0], &got, sizeof got) == sizeof got) acked = got;
  close(fds[0]);
  EXPECT_TRUE(pid > 0 && WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << "the writer died on its own";
  return acked;
}

ScratchDir::ScratchDir(const std::string& tag)
    : path(LocalTestRoot() + "/" + tag + "." + std::to_string(getpid()) + "." + std::to_string(test_dir_counter++)) {
  EXPECT_TRUE(File::RecursivelyCreateDir(path, 0755)) << path;
}

ScratchDir::~ScratchDir() {
  int files = 0, dirs = 0;
  File::DeleteRecursively(path, &files, &dirs);
}

void FsTest::MakeDir(const std::string& root) {
  ASSERT_TRUE(File::RecursivelyCreateDir(root, DEFAULT_FILE_MODE)) << root;
  dir_ = File::JoinPath(root, "fsconf." + std::to_string(getpid()) + "." +
                                  std::to_string(test_dir_counter++));
  int files = 0, dirs = 0;
  if (File::Exists(dir_.c_str())) File::DeleteRecursively(dir_, &files, &dirs);
  ASSERT_TRUE(File::CreateDir(dir_.c_str(), 0755)) << dir_;
}

void FsTest::TearDown() {
  if (dir_.empty()) return;
  int files = 0, dirs = 0;
  File::DeleteRecursively(dir_, &files, &dirs);
  EXPECT_FALSE(File::Exists(dir_.c_str()));
}

::string FsTest::P(const std::string& relative) const { return File::JoinPath(dir_, relative); }

::string FsTest::Put(const std::string& relative, const std::string& contents) {
  EXPECT_TRUE(File::WriteStringToFile(contents, P(relative))) << P(relative);
  return P(relative);
}

::string FsTest::Get(const std::string& relative) {
  ::string contents;
  EXPECT_TRUE(File::ReadFileToString(P(relative), &contents)) << P(relative);
  return contents;
}

FileStat FsTest::StatOf(const std::string& relative) {
  FileStat st;
  EXPECT_TRUE(File::Stat(P(relative).c_str(), &st)) << P(relative);
  return st;
}

void FsTest::SetAttr(const std::string& relative, uint32 bits) {
  ASSERT_TRUE(File::SetAttributes(P(relative).c_str(), Attr_t(bits))) << P(relative);
}

void FsTest::MkDirs(const std::string& relative) {
  ASSERT_TRUE(File::RecursivelyCreateDir(P(relative), 0755)) << P(relative);
}

TEST_P(FsConformance, FailedOpensSayWhy) {
  MkDirs("d");
  struct Case { const char* name; const char* mode; int error; };
  for (const Case& c : {Case{"missing", "r", file::ERROR_NOT_FOUND}, Case{"missing", "r+", file::ERROR_NOT_FOUND},
                        Case{"d", "r", file::ERROR_WRONG_TYPE}}) {
    SCOPED_TRACE(::testing::Message() << c.name << " " << c.mode);
    EXPECT_EQ(File::Open(P(c.name).c_str(), c.mode), nullptr);
    Handle f(File::Create(P(c.name), c.mode));
    ASSERT_NE(f, nullptr);
    file::Operation op;
    EXPECT_EQ(ErrorOf(f->OpenWithOp(&op), op), c.error);
    EXPECT_EQ(f->GetCurrentErrorCode(), c.error);
    EXPECT_TRUE(Contains(f->GetCurrentErrorMessage(), P(c.name))) << f->GetCurrentErrorMessage();
  }
  for (const char* bad : {"", "x", "rw", "r++", "r+b+", "wbb", "+r"}) EXPECT_FALSE(File::Create(P("f"), bad)) << bad;
  EXPECT_EQ(File::Open(P("f").c_str(), nullptr), nullptr);
  // A handle that was never opened refuses I/O and creates nothing.
  File* f = File::Create(P("f"), "w");
  ASSERT_NE(f, nullptr);
  EXPECT_EQ(ErrorOf(f->Write("x", 1), f), file::ERROR_INVALID_ARGUMENT);
  EXPECT_EQ(f->CreateFileName(), P("f"));
  EXPECT_TRUE(file::CloseAndDelete(f));
  EXPECT_FALSE(Exists("f"));
}

TEST_P(FsConformance, WriteModesCreateTruncateAndAppend) {
  Put("f", "hello world");
  OpenOrFail(P("f"), "w");
  EXPECT_EQ(Get("f"), "");
  EXPECT_EQ(OpenOrFail(P("f"), "ab")->Write("one", 3), 3);
  {
    Handle f = OpenOrFail(P("f"), "a");
    f->Seek(0);  // append mode writes at the end whatever the position
    EXPECT_EQ(f->Write("two", 3), 3);
  }
  {
    Handle f = OpenOrFail(P("f"), "rb+");
    EXPECT_EQ(f->Write("ON", 2), 2);
    EXPECT_EQ(ReadAll(f.get()), "etwo");
  }
  EXPECT_EQ(Get("f"), "ONetwo");
  {
    Handle f = OpenOrFail(P("f"), "a+");
    EXPECT_EQ(ReadAll(f.get()), "ONetwo");  // a+ reads from the start
    EXPECT_EQ(f->Write("!", 1), 1);
  }
  EXPECT_EQ(Get("f"), "ONetwo!");
  EXPECT_EQ(OpenOrFail(P("f"), "w+b")->Write("xyz", 3), 3);  // reading back on w+: the next test
  EXPECT_EQ(Get("f"), "xyz");
}

TEST_P(FsConformance, HandleDirectionIsEnforced) {
  Put("f", "data");
  char buffer[8];
  {
    Handle f = OpenOrFail(P("f"), "r");
    EXPECT_EQ(ErrorOf(f->Write("x", 1), f), file::ERROR_PERMISSION_DENIED);
    EXPECT_FALSE(f->Truncate(0));
  }
  Handle f = OpenOrFail(P("f"), "a");
  EXPECT_EQ(ErrorOf(f->Read(buffer, sizeof(buffer)), f), file::ERROR_PERMISSION_DENIED);
  EXPECT_EQ(f->GetMemBlock(0, 2, 0), nullptr);
  f.reset();
  EXPECT_EQ(Get("f"), "data");
}

TEST_P(FsConformance, SequentialIoSeekTellEofAndTruncate) {
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
  EXPECT_EQ(ErrorOf(f->Seek(-1), f), file::ERROR_INVALID_ARGUMENT);
  EXPECT_TRUE(f->Truncate(2));
  EXPECT_EQ(f->Size(), 2);
  file::Operation op;
  EXPECT_TRUE(f->Resize(4, &op));
  EXPECT_EQ(f->Size(), 4);
  EXPECT_EQ(f->PRead(0, buffer, 4), 4);
  EXPECT_EQ(std::string(buffer, 4), std::string("01\0\0", 4));
  EXPECT_EQ(ErrorOf(f->TruncateWithOp(-1, &op), op), file::ERROR_INVALID_ARGUMENT);
}

TEST_P(FsConformance, PositionedIoAndAppendsLeaveThePositionAlone) {
  Handle f = OpenOrFail(P("f"), "w+");
  EXPECT_EQ(f->PWrite(5, "ab", 2), 2);
  EXPECT_EQ(f->Size(), 7);
  char buffer[16];
  std::memset(buffer, 'x', sizeof(buffer));
  EXPECT_EQ(f->PRead(0, buffer, 16), 7);
  EXPECT_EQ(std::string(buffer, 7), std::string("\0\0\0\0\0ab", 7));  // the hole reads as zeros
  EXPECT_EQ(f->PRead(7, buffer, 4), 0);
  EXPECT_EQ(ErrorOf(f->PRead(-1, buffer, 4), f), file::ERROR_INVALID_ARGUMENT);
  EXPECT_EQ(f->WriteRegion("CD", 1, 2), 2);
  EXPECT_EQ(f->ReadRegion(buffer, 0, 4), 4);
  EXPECT_EQ(std::string(buffer, 4), std::string("\0CD\0", 4));
  EXPECT_EQ(f->Append("-tail", 5), 5);
  IOBuffer record("[rec]", 5);
  EXPECT_EQ(f->RecordAppend(&record), 12);  // where the record landed
  EXPECT_EQ(f->Tell(), 0);
  EXPECT_EQ(ReadAll(f.get()), std::string("\0CD\0\0ab-tail[rec]", 17));
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

TEST_P(FsConformance, StringsAreByteExact) {
  const std::string data("a\0b\0c" "0123456789", 15);
  const std::string tail("\0z", 2);
  Put("f", data);
  ASSERT_TRUE(File::AppendStringToFile(tail, P("f")));
  EXPECT_EQ(Get("f"), data + tail);
  Handle f = OpenOrFail(P("f"), "r");
  ::string contents;
  EXPECT_EQ(f->ReadToString(&contents, 4), 4);
  EXPECT_EQ(contents, data.substr(0, 4));
  EXPECT_EQ(f->ReadToString(&contents, -1), 13);
  EXPECT_EQ(contents, data.substr(4) + tail);
  Put("empty", "");
  contents = "stale";
  EXPECT_EQ(OpenOrFail(P("empty"), "r")->ReadToString(&contents, -1), 0);
  EXPECT_EQ(contents, "");
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
  EXPECT_EQ(ErrorOf(f->TryMMap(39000, 2000), f), file::ERROR_PAST_EOF);
  Handle small = OpenOrFail(P("small"), "r");
  EXPECT_EQ(ErrorOf(small->GetMemBlock(11, 1, 0), small), file::ERROR_PAST_EOF);
}

TEST_P(FsConformance, StatFillsEveryFieldAndMissingNamesAreNotFound) {
  Put("a", "12345");
  Put("b", "");
  MkDirs("d");
  FileStat st = StatOf("a");
  EXPECT_EQ(st.length, 5);
  EXPECT_NEAR(st.mtime, time(nullptr), 60);
  EXPECT_EQ(st.mode & 0170000, 0100000u);  // a regular file
  EXPECT_FALSE(st.owner.empty() || st.group.empty());
  EXPECT_EQ(st.attributes.attr, 0u);
  EXPECT_NE(StatOf("b").identifier, st.identifier);
  EXPECT_TRUE(StatOf("d").IsDirectory());
  FileStat through_handle;
  ASSERT_TRUE(OpenOrFail(P("a"), "r")->Stat(&through_handle));
  EXPECT_EQ(std::pair(through_handle.identifier, through_handle.length), std::pair(st.identifier, int64{5}));

  file::Operation op;
  EXPECT_EQ(ErrorOf(File::StatWithOp(P("missing").c_str(), &st, &op), op), file::ERROR_NOT_FOUND);
  EXPECT_TRUE(Contains(op.message(), P("missing"))) << op.message();
  EXPECT_TRUE(File::GetFileSize(P("missing").c_str()) == -1 && !File::Readable(P("missing").c_str()));
  EXPECT_FALSE(File::ExistsWithOp(P("missing").c_str(), &op));
  EXPECT_TRUE(op.ok());  // absence is an answer, not a failure
}

// Listings never show attribute records; unknown match types are refused
// (every int is a value of MatchType).
TEST_P(FsConformance, MatchAndDepthFirstListing) {
  MkDirs("sub/e");
  for (const char* name : {"a.txt", "b.txt", "c.log", ".hidden.txt", "old.txt~", "sub/d.txt", "sub/e/f", "z"}) {
    Put(name, "x");
  }
  SetAttr("a.txt", Attr_t::ARCHIVAL_PENDING);
  vector<::string> matches, files, dirs;
  ASSERT_TRUE(File::Match(P("*.txt").c_str(), &matches));
  EXPECT_EQ(matches, (vector<::string>{P("a.txt"), P("b.txt")}));
  ASSERT_TRUE(File::ExtendedMatch(P("*").c_str(), &matches, File::MATCH_ALL));
  EXPECT_EQ(matches, (vector<::string>{P(".hidden.txt"), P("a.txt"), P("b.txt"), P("c.log"),
                                       P("old.txt~"), P("sub"), P("z")}));
  ASSERT_TRUE(File::Match(P("{c.log,sub/*}").c_str(), &matches));
  EXPECT_EQ(matches, (vector<::string>{P("c.log"), P("sub/d.txt"), P("sub/e")}));
  ASSERT_TRUE(File::GetMatchingFiles(P("*").c_str(), &matches));
  EXPECT_EQ(matches, (vector<::string>{P("a.txt"), P("b.txt"), P("c.log"), P("z")}));
  int error = -1;
  File::DFListFileAndDir(dir_, File::MATCH_ALL, &files, &dirs, &error);
  EXPECT_EQ(error, file::OK);
  EXPECT_EQ(files, (vector<::string>{P(".hidden.txt"), P("a.txt"), P("b.txt"), P("c.log"), P("old.txt~"),
                                     P("sub/d.txt"), P("sub/e/f"), P("z")}));  // depth first
  EXPECT_EQ(dirs, (vector<::string>{P("sub"), P("sub/e")}));
  File::DFListFileAndDir(P("missing"), File::MATCH_DEFAULT, &files, &dirs, &error);
  EXPECT_EQ(error, file::ERROR_NOT_FOUND);
  for (int bad : {-1, 4}) {
    const auto type = static_cast<File::MatchType>(bad);
    matches = {"stale"};
    file::Operation op;
    EXPECT_FALSE(File::ExtendedMatchWithOp(P("*").c_str(), &matches, type, &op)) << bad;
    EXPECT_EQ(op.error(), file::ERROR_INVALID_ARGUMENT) << bad;
    EXPECT_TRUE(Contains(op.message(), "unknown match type")) << op.message();
    matches = {P("a.txt")};
    FileFactory::FilterMatches(P("*").c_str(), &matches, type, 0);
    EXPECT_TRUE(matches.empty()) << bad;
  }
}

TEST_P(FsConformance, DeleteRenameAndCopyRespectKindAndOverwrite) {
  const std::string data("copy\0me", 7);
  Put("a", data);
  Put("b", "old");
  MkDirs("d");
  file::Operation op;
  EXPECT_FALSE(File::DeleteWithOp(P("d").c_str(), &op));
  EXPECT_NE(op.error(), file::OK);
  EXPECT_TRUE(File::IsDirectory(P("d").c_str()));
  EXPECT_FALSE(File::Copy(P("a").c_str(), P("b").c_str(), false));
  EXPECT_EQ(ErrorOf(File::RenameWithOp(P("a").c_str(), P("b").c_str(), false, &op), op), file::ERROR_ALREADY_EXISTS);
  EXPECT_EQ(Get("b"), "old");
  EXPECT_TRUE(File::Copy(P("a").c_str(), P("b").c_str(), true));
  EXPECT_EQ(Get("b"), data);
  EXPECT_TRUE(File::CopyWithAttr(P("a").c_str(), P("c").c_str(), Attr_t(Attr_t::APPEND), false));
  EXPECT_EQ(StatOf("c").attributes.attr, static_cast<uint32>(Attr_t::APPEND));
  EXPECT_EQ(Get("c"), data);
  EXPECT_FALSE(File::Copy(P("d").c_str(), P("e").c_str(), true));
  EXPECT_FALSE(File::Copy(P("missing").c_str(), P("e").c_str(), true));
  Put("b", "B");
  EXPECT_TRUE(File::Rename(P("b").c_str(), P("a").c_str(), true));
  EXPECT_FALSE(Exists("b"));
  EXPECT_EQ(Get("a"), "B");
  EXPECT_EQ(ErrorOf(File::RenameWithOp(P("missing").c_str(), P("e").c_str(), false, &op), op), file::ERROR_NOT_FOUND);
  EXPECT_TRUE(File::Delete(P("a").c_str()) && !Exists("a"));
  EXPECT_EQ(ErrorOf(File::DeleteWithOp(P("a").c_str(), &op), op), file::ERROR_NOT_FOUND);
}

TEST_P(FsConformance, SnapshotsAndRenamesCarryAttributeRecords) {
  MkDirs("t/sub");
  Put("t/a", "A");
  Put("t/sub/b", "B");
  SetAttr("t/a", Attr_t::ARCHIVAL_PENDING);
  ASSERT_TRUE(File::SnapshotFile(P("t/a").c_str(), P("a.snap").c_str(), 0600));
  ASSERT_TRUE(File::Snapshot(P("t").c_str(), P("t.snap").c_str(), DEFAULT_FILE_MODE, 0700));
  Put("t/a", "changed");
  EXPECT_EQ(Get("a.snap") + Get("t.snap/a") + Get("t.snap/sub/b"), "AAB");  // the bytes of their time
  EXPECT_EQ(StatOf("a.snap").mode & 07777, 0600u);
  EXPECT_EQ(StatOf("t.snap/sub").mode & 07777, 0700u);
  for (const char* copy : {"a.snap", "t.snap/a"}) {
    EXPECT_EQ(StatOf(copy).attributes.attr, static_cast<uint32>(Attr_t::ARCHIVAL_PENDING)) << copy;
  }
  EXPECT_FALSE(File::Snapshot(P("t").c_str(), P("t.snap").c_str(), DEFAULT_FILE_MODE, 0700));
  EXPECT_FALSE(File::SnapshotFile(P("t").c_str(), P("t2.snap").c_str(), 0600));
  // Attribute records travel with renames too, and go with deletes.
  ASSERT_TRUE(File::Rename(P("a.snap").c_str(), P("b").c_str(), false));
  EXPECT_EQ(StatOf("b").attributes.attr, static_cast<uint32>(Attr_t::ARCHIVAL_PENDING));
  EXPECT_EQ(Get("b"), "A");
  ASSERT_TRUE(File::Delete(P("b").c_str()));
  Put("b", "new");
  EXPECT_EQ(StatOf("b").attributes.attr, 0u);  // the old record went with the old file
  EXPECT_FALSE(File::SetAttributes(P("missing").c_str(), Attr_t(Attr_t::APPEND)));
}

TEST_P(FsConformance, ProtectedFilesCannotBeDeletedOrReplaced) {
  MkDirs("t");
  Put("t/p", "keep");
  SetAttr("t/p", Attr_t::PROTECTED);
  file::Operation op;
  EXPECT_EQ(ErrorOf(File::DeleteWithOp(P("t/p").c_str(), &op), op), file::ERROR_PERMISSION_DENIED);
  EXPECT_FALSE(File::RenameWithOp(P("t/p").c_str(), P("q").c_str(), true, &op));
  EXPECT_EQ(op.error(), file::ERROR_PERMISSION_DENIED);
  Put("other", "x");
  EXPECT_FALSE(File::Rename(P("other").c_str(), P("t/p").c_str(), true));
  int files = -1, dirs = -1;
  FileFactory::ForName(dir_.c_str())->DeleteRecursivelyWithOp(P("t"), &files, &dirs, &op);
  EXPECT_EQ(op.error(), file::ERROR_PERMISSION_DENIED);
  EXPECT_EQ(Get("t/p"), "keep");
  SetAttr("t/p", 0);
  EXPECT_TRUE(File::Delete(P("t/p").c_str()));
}

TEST_P(FsConformance, FinalizedAndFrozenFilesRefuseWriting) {
  for (uint32 bit : {Attr_t::FINALIZED, Attr_t::FROZEN}) {
    Put("f", "final");
    SetAttr("f", bit);
    for (const char* mode : {"w", "a", "r+", "w+", "a+"}) {
      Handle f(File::Create(P("f"), mode));
      ASSERT_NE(f, nullptr);
      EXPECT_EQ(ErrorOf(f->Open(), f), file::ERROR_PERMISSION_DENIED) << mode;
    }
    OpenOrFail(P("f"), "r");
    EXPECT_EQ(Get("f"), "final");
    SetAttr("f", 0);
  }
  // The open that sets FINALIZED may still write; later ones may not.
  Handle f(File::OpenWithAttr(P("g").c_str(), "w", Attr_t(Attr_t::FINALIZED)));
  ASSERT_NE(f, nullptr);
  EXPECT_EQ(f->Write("abc", 3), 3);
  f.reset();
  EXPECT_EQ(File::Open(P("g").c_str(), "a"), nullptr);
  File::DeleteFileAttributes(P("g").c_str());
  OpenOrFail(P("g"), "a");
}

TEST_P(FsConformance, AppendOnlyFilesTakeWritesOnlyAtTheEnd) {
  Put("log", "12");
  SetAttr("log", Attr_t::APPEND);
  EXPECT_EQ(File::Open(P("log").c_str(), "w"), nullptr);  // would truncate
  EXPECT_EQ(OpenOrFail(P("log"), "a")->Write("34", 2), 2);
  Handle f = OpenOrFail(P("log"), "r+");
  EXPECT_EQ(ErrorOf(f->Write("x", 1), f), file::ERROR_PERMISSION_DENIED);
  EXPECT_EQ(f->PWrite(1, "x", 1), -1);
  EXPECT_EQ(f->PWrite(4, "5", 1), 1);
  EXPECT_FALSE(f->Truncate(1));
  EXPECT_EQ(f->Append("6", 1), 1);
  FileStat st;
  ASSERT_TRUE(f->Stat(&st));
  EXPECT_EQ(st.attributes.attr, static_cast<uint32>(Attr_t::APPEND));
  f.reset();
  EXPECT_EQ(Get("log"), "123456");
}

TEST_P(FsConformance, DirectoryLifecycleAndRecursiveDelete) {
  file::Operation op;
  EXPECT_EQ(ErrorOf(File::CreateDirWithOp(P("x/y").c_str(), 0755, &op), op), file::ERROR_NOT_FOUND);
  ASSERT_TRUE(File::CreateDir(P("x").c_str(), 0755));
  EXPECT_EQ(ErrorOf(File::CreateDirWithOp(P("x").c_str(), 0755, &op), op), file::ERROR_ALREADY_EXISTS);
  ASSERT_TRUE(File::RecursivelyCreateDir(P("x/y/z"), 0755));
  EXPECT_TRUE(File::RecursivelyCreateDir(P("x/y/z"), 0755));  // already there
  Put("x/y/f", "");
  EXPECT_FALSE(File::RecursivelyCreateDir(P("x/y/f/g"), 0755));
  EXPECT_EQ(ErrorOf(File::DeleteDirWithOp(P("x").c_str(), &op), op), file::ERROR_NOT_EMPTY);
  EXPECT_TRUE(File::DeleteDir(P("x/y/z").c_str()) && !File::IsDirectory(P("x/y/z").c_str()));
  MkDirs("x/a");
  for (const char* name : {"x/a/f2", "x/a/.dot"}) Put(name, "");
  SetAttr("x/y/f", Attr_t::ARCHIVAL_PENDING);
  int files = -1, dirs = -1;
  File::DeleteRecursively(P("x"), &files, &dirs);
  EXPECT_EQ(std::pair(files, dirs), std::pair(3, 3));  // the attribute record is not counted
  EXPECT_FALSE(Exists("x"));
}

TEST_P(FsConformance, ModesMtimesGroupsAndStatfs) {
  Put("f", "");
  ASSERT_TRUE(File::SetMode(P("f").c_str(), 0640));
  const long before = StatOf("f").mtime;  // NOLINT
  EXPECT_EQ(File::SetMtime(P("f").c_str(), 1000000000L), caps().set_mtime);
  const FileStat st = StatOf("f");
  EXPECT_EQ(st.mode & 07777, 0640u);
  EXPECT_EQ(st.mtime, caps().set_mtime ? 1000000000L : before);
  EXPECT_FALSE(File::SetMode(P("missing").c_str(), 0640));
  EXPECT_FALSE(File::SetMode(P("f").c_str(), 010000));
  EXPECT_EQ(File::SetGroup(P("f").c_str(), st.group.c_str()), caps().set_group);
  EXPECT_FALSE(File::SetGroup(P("f").c_str(), "no-such-group-pq"));
  int64 total = -1, free_bytes = -1, available = -1;
  ASSERT_TRUE(File::Statfs(dir_.c_str(), &total, &free_bytes, &available));
  EXPECT_TRUE(total > 0 && total >= free_bytes && free_bytes >= available) << total << " " << free_bytes;
}

TEST_P(FsConformance, BulkOperationsGiveOneFlagPerName) {
  Put("a", "A");
  Put("c", "CC");
  const vector<::string> names = {P("a"), P("b"), P("c")};
  const vector<bool> a_and_c = {true, false, true};
  vector<bool> flags;
  EXPECT_FALSE(File::BulkExist(names, &flags));
  EXPECT_EQ(flags, a_and_c);
  EXPECT_FALSE(File::BulkSetAttributes(names, Attr_t(Attr_t::FROZEN), &flags));
  EXPECT_EQ(flags, a_and_c);
  EXPECT_EQ(File::Open(P("a").c_str(), "w"), nullptr);
  EXPECT_TRUE(File::BulkSetAttributes({P("a"), P("c")}, Attr_t(0), &flags));
  file::Operation op;
  EXPECT_FALSE(File::BulkDeleteWithOp(names, &op, &flags));
  EXPECT_EQ(flags, a_and_c);
  EXPECT_EQ(op.error(), file::ERROR_NOT_FOUND);
  EXPECT_TRUE(Contains(op.message(), P("b")));
  Put("a", "");
  EXPECT_FALSE(File::BulkRename({P("a")}, {P("x"), P("y")}, false, &flags));  // unequal lists
  EXPECT_TRUE(Exists("a"));
}

// Positioned reads are covered by the handle safety and remote suites.
TEST_P(FsConformance, AsyncOperationsCompleteTheirWatcher) {
  Put("f", "12345");
  AsyncIOWatcher stat_done, missing_done, open_done, write_done;
  FileStat st;
  ASSERT_TRUE(File::StatAsync(P("f").c_str(), &st, &stat_done));
  EXPECT_EQ(Finished(&stat_done), file::OK);
  EXPECT_EQ(std::pair(stat_done.Bytes(), st.length), std::pair(int64{5}, int64{5}));
  ASSERT_TRUE(File::StatAsync(P("missing").c_str(), &st, &missing_done));
  EXPECT_EQ(Finished(&missing_done), file::ERROR_NOT_FOUND);
  Handle f(File::OpenAsync(P("f").c_str(), "r+", &open_done));
  ASSERT_NE(f, nullptr);
  ASSERT_EQ(Finished(&open_done), file::OK);
  int64 count = -1;
  IOBuffer out("ab", 2);
  ASSERT_TRUE(f->PWriteAsync(5, &out, &count, &write_done));
  EXPECT_EQ(std::pair(Finished(&write_done), count), std::pair(int{file::OK}, int64{2}));
  EXPECT_EQ(ReadAll(f.get()), "12345ab");
}

TEST_P(FsConformance, PassedDeadlineFailsWithoutDoingTheWork) {
  Put("f", "untouched");
  file::Operation op;
  op.SetDeadlineLength(-1);
  FileStat st;
  EXPECT_EQ(ErrorOf(File::StatWithOp(P("f").c_str(), &st, &op), op), file::ERROR_DEADLINE_EXCEEDED);
  EXPECT_EQ(ErrorOf(File::DeleteWithOp(P("f").c_str(), &op), op), file::ERROR_DEADLINE_EXCEEDED);
  EXPECT_FALSE(File::CreateDirWithOp(P("d").c_str(), 0755, &op) || Exists("d"));
  Handle f = OpenOrFail(P("f"), "r+");
  EXPECT_EQ(ErrorOf(f->WriteWithOp("XX", 2, &op), op), file::ERROR_DEADLINE_EXCEEDED);
  EXPECT_TRUE(f->IsSoftError());
  char buffer[4];
  EXPECT_EQ(f->PReadWithOp(0, buffer, 4, &op), -1);
  file::Operation fresh;
  EXPECT_EQ(f->PReadWithOp(0, buffer, 4, &fresh), 4);
  EXPECT_TRUE(fresh.ok());
  f.reset();
  EXPECT_EQ(Get("f"), "untouched");
}

TEST_P(FsConformance, OpensBesideAWriter) {
  Put("f", "old");
  Handle writer = OpenOrFail(P("f"), "r+");
  EXPECT_EQ(writer->Write("new", 3), 3);
  file::Operation op;
  Handle reader(File::Create(P("f"), "r"));
  ASSERT_NE(reader, nullptr);
  if (caps().readers_beside_writer) {
    ASSERT_TRUE(reader->OpenWithOp(&op)) << op.message();
    EXPECT_EQ(ReadAll(reader.get()), "new");
    return;
  }
  // Refused for now, and worth retrying once the writer has closed.
  EXPECT_EQ(ErrorOf(reader->OpenWithOp(&op), op), file::ERROR_TEMPORARY) << op.message();
  EXPECT_TRUE(reader->IsSoftError());
  writer.reset();
  ASSERT_TRUE(reader->OpenWithOp(&op)) << op.message();
  EXPECT_EQ(ReadAll(reader.get()), "new");
}

TEST_P(FsConformance, LockedOpensConflict) {
  Put("f", "");
  LockInfo exclusive(LockInfo::EXCLUSIVE, /*blocking=*/false);
  LockInfo shared(LockInfo::SHARED, /*blocking=*/false);
  if (!caps().advisory_locks) {
    // Refused, and said so: never a lock that does not exclude anybody.
    Handle f = OpenOrFail(P("f"), "r");
    EXPECT_EQ(ErrorOf(f->AccessWithLock(&shared), f), file::ERROR_UNIMPLEMENTED);
    EXPECT_EQ(File::OpenLocked(P("f").c_str(), "r", &exclusive), nullptr);
    FileStat st;
    EXPECT_FALSE(File::StatLocked(P("f").c_str(), &shared, &st));
    EXPECT_FALSE(f->SupportsHaspLockedAccess());
    return;
  }
  Handle holder(File::OpenLocked(P("f").c_str(), "r", &exclusive));
  ASSERT_NE(holder, nullptr);
  Handle second = OpenOrFail(P("f"), "r");
  ASSERT_NE(second, nullptr);
  EXPECT_EQ(ErrorOf(second->AccessWithLock(&shared), second), file::ERROR_TEMPORARY);
  EXPECT_TRUE(second->IsSoftError());
  FileStat st;
  EXPECT_FALSE(File::StatLocked(P("f").c_str(), &shared, &st));
  holder.reset();  // closing releases the lock
  EXPECT_TRUE(second->AccessWithLock(&shared));
  EXPECT_TRUE(File::StatLocked(P("f").c_str(), &shared, &st));
}

TEST_P(FsConformance, UnsupportedHandleOperationsSayUnimplemented) {
  Put("f", "x");
  Handle f = OpenOrFail(P("f"), "r");
  vector<int> disks;
  EXPECT_EQ(ErrorOf(f->FindAllMirrorDisks(0, &disks), f), file::ERROR_UNIMPLEMENTED);
  vector<File::DataVariant*> variants;
  file::Operation op;
  EXPECT_EQ(ErrorOf(f->ReadMultipleDataVariants(0, 1, 2, &variants, &op), op), file::ERROR_UNIMPLEMENTED);
}

INSTANTIATE_TEST_SUITE_P(Local, FsConformance, ::testing::Values(LocalTestRoot()));
