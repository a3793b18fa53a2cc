// Name handling that must not lose data or let a protection slip: copies and
// renames of a file onto itself, attribute records found under every spelling
// of a name, whole-file reads of files too big for memory, and queued work
// that throws.
#include <dirent.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include <new>
#include <stdexcept>
#include <string>

#include "file/base/core/async.h"
#include "file/base/core/file_factory_internal.h"
#include "file/base/core/operation.h"
#include "tests/cc/fs_conformance.h"

namespace {

class NamespaceSafety : public FsTest, public ::testing::WithParamInterface<std::string> {
 protected:
  void SetUp() override { MakeDir(GetParam()); }
  bool IsLocal() const { return GetParam().rfind("/mem", 0) != 0; }
  // `relative` spelled with a doubled slash after the test directory.
  ::string DoubleSlash(const std::string& relative) const { return dir_ + "//" + relative; }
  Attr_t AttributesOf(const ::string& name) {
    FileStat stat;
    EXPECT_TRUE(File::Stat(name.c_str(), &stat)) << name;
    return stat.attributes;
  }
};

INSTANTIATE_TEST_SUITE_P(Roots, NamespaceSafety,
                         ::testing::Values(LocalTestRoot(), std::string("/mem/namespace-safety")));

// ---- Copies onto the source itself -----------------------------------------------------

TEST_P(NamespaceSafety, CopyOntoItselfFailsAndKeepsTheFile) {
  MkDirs("d");
  Put("d/x", "precious data");
  const ::string x = P("d/x");
  for (const ::string& same : vector<::string>{x, P("d/./x"), dir_ + "/d//x", DoubleSlash("d/x"), P("./d/x")}) {
    EXPECT_FALSE(File::Copy(x.c_str(), same.c_str(), true)) << same;
    EXPECT_FALSE(File::Copy(same.c_str(), x.c_str(), true)) << same;
    EXPECT_FALSE(File::CopyFullySpecified(same.c_str(), x.c_str(), Attr_t(Attr_t::DEFAULT),
                                          DEFAULT_FILE_MODE, nullptr, true, true, true))
        << same;
    EXPECT_EQ(Get("d/x"), "precious data") << same;
  }
  // A different file is still overwritten as asked.
  Put("d/y", "old");
  EXPECT_TRUE(File::Copy(x.c_str(), P("d/y").c_str(), true));
  EXPECT_EQ(Get("d/y"), "precious data");
}

TEST_P(NamespaceSafety, CopyOntoAHardLinkOrSymlinkOfItselfFails) {
  if (!IsLocal()) GTEST_SKIP() << "links exist only on the local file system";
  Put("x", "precious data");
  ASSERT_EQ(link(P("x").c_str(), P("hard").c_str()), 0);
  ASSERT_EQ(symlink(P("x").c_str(), P("soft").c_str()), 0);
  EXPECT_FALSE(File::Copy(P("x").c_str(), P("hard").c_str(), true));
  EXPECT_FALSE(File::Copy(P("hard").c_str(), P("x").c_str(), true));
  EXPECT_FALSE(File::Copy(P("soft").c_str(), P("x").c_str(), true));
  EXPECT_EQ(Get("x"), "precious data");
  EXPECT_EQ(Get("hard"), "precious data");
  unlink(P("soft").c_str());  // a dangling link would stop the cleanup
}

// ---- Renames onto the source itself ---------------------------------------------------

TEST_P(NamespaceSafety, RenameOntoItselfNeedsOverwriteOnEveryFileSystem) {
  Put("a", "contents");
  for (const ::string& same : {P("a"), P("./a"), DoubleSlash("a")}) {
    EXPECT_FALSE(File::Rename(P("a").c_str(), same.c_str(), false)) << same;
    EXPECT_EQ(Get("a"), "contents") << same;
  }
  EXPECT_TRUE(File::Rename(P("a").c_str(), P("a").c_str(), true));
  EXPECT_TRUE(File::Rename(P("a").c_str(), P("./a").c_str(), true));
  EXPECT_EQ(Get("a"), "contents");
}

// ---- Attribute records under every spelling of a name -------------------------------------

TEST_P(NamespaceSafety, ProtectedDirectoryResistsTrailingSlashAndDotForms) {
  MkDirs("p");
  SetAttr("p", Attr_t::PROTECTED);
  for (const ::string& spelling : {P("p/"), P("p//"), P("p/."), P("./p/"), DoubleSlash("p")}) {
    EXPECT_FALSE(File::DeleteDir(spelling.c_str())) << spelling;
    EXPECT_FALSE(File::Rename(spelling.c_str(), P("q").c_str(), false)) << spelling;
    EXPECT_TRUE(Exists("p")) << spelling;
    EXPECT_TRUE(AttributesOf(spelling).has(Attr_t::PROTECTED)) << spelling;
  }
  // Clearing through the slash form clears the one record, and deleting
  // through it takes the record along.
  ASSERT_TRUE(File::SetAttributes(P("p/").c_str(), Attr_t(0)));
  EXPECT_FALSE(Exists(".p.attr"));
  SetAttr("p", Attr_t::APPEND);
  EXPECT_TRUE(File::DeleteDir(P("p/").c_str()));
  EXPECT_FALSE(Exists("p"));
  EXPECT_FALSE(Exists(".p.attr"));
  MkDirs("p");
  EXPECT_EQ(AttributesOf(P("p")).attr, 0u);
}

TEST_P(NamespaceSafety, ProtectedFileResistsDoubledSlashAndDotForms) {
  Put("f", "x");
  SetAttr("f", Attr_t::PROTECTED);
  for (const ::string& spelling : {DoubleSlash("f"), P("./f")}) {
    EXPECT_FALSE(File::Delete(spelling.c_str())) << spelling;
    EXPECT_FALSE(File::Rename(spelling.c_str(), P("g").c_str(), false)) << spelling;
    EXPECT_TRUE(Exists("f")) << spelling;
  }
  SetAttr("f", 0);  // so that the directory can be cleaned up
}

TEST_P(NamespaceSafety, RenameWithTrailingSlashesCarriesTheRecord) {
  MkDirs("dd");
  SetAttr("dd", Attr_t::APPEND);
  ASSERT_TRUE(File::Rename(P("dd/").c_str(), P("ee/").c_str(), false));
  EXPECT_FALSE(Exists(".dd.attr"));
  EXPECT_TRUE(Exists(".ee.attr"));
  EXPECT_TRUE(AttributesOf(P("ee")).has(Attr_t::APPEND));
  MkDirs("dd");
  EXPECT_EQ(AttributesOf(P("dd")).attr, 0u);
  // A protected directory cannot leave under its slash form either.
  SetAttr("ee", Attr_t::PROTECTED);
  EXPECT_FALSE(File::Rename(P("ee/").c_str(), P("ff/").c_str(), false));
  EXPECT_TRUE(Exists("ee"));
  SetAttr("ee", 0);
}

TEST_P(NamespaceSafety, StatSeesRecordChangesMadeThroughAnotherSpelling) {
  MkDirs("s");
  EXPECT_EQ(AttributesOf(P("s")).attr, 0u);  // now cached as "no attributes"
  ASSERT_TRUE(File::SetAttributes(P("s/").c_str(), Attr_t(Attr_t::APPEND)));
  EXPECT_TRUE(AttributesOf(P("s")).has(Attr_t::APPEND));
  EXPECT_TRUE(AttributesOf(P("s/")).has(Attr_t::APPEND));
  ASSERT_TRUE(File::Rename(P("s//").c_str(), P("t").c_str(), false));
  EXPECT_TRUE(AttributesOf(P("t")).has(Attr_t::APPEND));
  MkDirs("s");
  EXPECT_EQ(AttributesOf(P("s")).attr, 0u);
}

// ---- Whole-file reads of files bigger than memory -----------------------------------------

int OpenDescriptors() {
  int count = 0;
  DIR* fds = opendir("/proc/self/fd");
  if (fds == nullptr) return -1;
  while (readdir(fds) != nullptr) ++count;
  closedir(fds);
  return count;
}

TEST_P(NamespaceSafety, ReadingAHugeSparseFileFailsCleanly) {
  const int64 huge = int64{1} << 40;
  {
    Handle f = OpenOrFail(P("sparse"), "w");
    ASSERT_NE(f, nullptr);
    ASSERT_TRUE(f->Truncate(huge)) << f->GetCurrentErrorMessage();
  }
  const int before = OpenDescriptors();
  const shared_ptr<FileFactory> fs = FileFactory::ForName(P("sparse").c_str());
  ::string contents = "untouched";
  file::Operation op;
  bool ok = true;
  EXPECT_NO_THROW(ok = fs->ReadFileToString(P("sparse"), &contents, &op));
  EXPECT_FALSE(ok);
  EXPECT_EQ(op.error(), file::ERROR_NO_SPACE) << op.message();
  EXPECT_NE(op.message().find(P("sparse")), ::string::npos) << op.message();
  EXPECT_EQ(OpenDescriptors(), before);
  // An ordinary file next to it still reads.
  Put("small", "abc");
  EXPECT_EQ(Get("small"), "abc");
}

// The process's address space in bytes, from /proc; 0 when unknown.
int64 AddressSpaceInUse() {
  FILE* statm = fopen("/proc/self/statm", "r");
  if (statm == nullptr) return 0;
  long pages = 0;  // NOLINT
  const bool read = fscanf(statm, "%ld", &pages) == 1;
  fclose(statm);
  return read ? int64{pages} * sysconf(_SC_PAGESIZE) : 0;
}

TEST_P(NamespaceSafety, AllocationFailureWhileReadingIsAnError) {
  PQ_SKIP_IF_ALLOCATION_FAILURE_KILLS();
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const ::string name = P("sparse");
  // In a child whose address space is capped well below the file's size,
  // the read must fail with an error instead of throwing.
  EXPECT_EXIT(
      {
        File* f = File::Open(name.c_str(), "w");
        if (f == nullptr || !f->Truncate(int64{1} << 30) || !file::CloseAndDelete(f)) {
          std::_Exit(2);
        }
        const int64 in_use = AddressSpaceInUse();
        if (in_use == 0) std::_Exit(3);
        struct rlimit limit;
        limit.rlim_cur = limit.rlim_max = static_cast<rlim_t>(in_use + (int64{256} << 20));
        if (setrlimit(RLIMIT_AS, &limit) != 0) std::_Exit(4);
        ::string contents;
        file::Operation op;
        const bool ok =
            FileFactory::ForName(name.c_str())->ReadFileToString(name, &contents, &op);
        const int code = !ok && op.error() != file::OK && contents.empty() ? 0 : 1;
        // The child ran its own SetUp but will not run TearDown.
        int files = 0;
        int dirs = 0;
        File::DeleteRecursively(dir_, &files, &dirs);
        std::_Exit(code);
      },
      ::testing::ExitedWithCode(0), "");
}

// ---- Queued work that throws ----------------------------------------------------------------

TEST(QueuedWork, ThrowingWorkStillFinishes) {
  AsyncIOWatcher failed;
  ASSERT_TRUE(file_internal::QueueNamedWork(&failed, [](file::Operation*) -> int64 {
    throw std::runtime_error("boom");
  }));
  ASSERT_TRUE(failed.WaitWithTimeout(10000));
  EXPECT_EQ(failed.Error(), file::ERROR_UNKNOWN);
  EXPECT_EQ(failed.Bytes(), 0);

  AsyncIOWatcher starved;
  ASSERT_TRUE(file_internal::QueueNamedWork(&starved, [](file::Operation*) -> int64 {
    throw std::bad_alloc();
  }));
  ASSERT_TRUE(starved.WaitWithTimeout(10000));
  EXPECT_EQ(starved.Error(), file::ERROR_TEMPORARY);

  AsyncIOWatcher fine;
  ASSERT_TRUE(file_internal::QueueNamedWork(&fine, [](file::Operation*) { return int64{7}; }));
  ASSERT_TRUE(fine.WaitWithTimeout(10000));
  EXPECT_EQ(fine.Error(), file::OK);
  EXPECT_EQ(fine.Bytes(), 7);
}

}  // namespace
