// FileCloser and FileDeleter: what letting go of a file does, on local disk
// and in memory.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <type_traits>
#include <vector>

#include "file/base/file.h"
#include "file/base/core/file_holders.h"

namespace {

static_assert(!std::is_copy_constructible_v<FileCloser> && !std::is_copy_assignable_v<FileCloser>);
static_assert(!std::is_copy_constructible_v<FileDeleter> && !std::is_copy_assignable_v<FileDeleter>);
static_assert(std::is_default_constructible_v<FileCloser>);
static_assert(!std::is_default_constructible_v<FileDeleter>);
// Taking a handle over is always spelled out.
static_assert(!std::is_convertible_v<File*, FileCloser> && !std::is_convertible_v<File*, FileDeleter>);

// Runs every case once under a fresh local directory and once under /mem/.
class HoldersTest : public ::testing::TestWithParam<bool> {
 protected:
  void SetUp() override {
    static int serial = 0;
    const char* root = std::getenv("PQ_TEST_TMP");
    dir_ = GetParam() ? "/mem" : root != nullptr && root[0] != '\0' ? root : "/tmp";
    dir_ += "/holders-" + std::to_string(getpid()) + "-" + std::to_string(++serial);
    ASSERT_TRUE(File::RecursivelyCreateDir(dir_, DEFAULT_FILE_MODE));
  }
  void TearDown() override {
    for (File* f : handles_) delete f;  // holders close their files but never free them
    int files = 0, dirs = 0;
    File::DeleteRecursively(dir_, &files, &dirs);
  }

  std::string Path(const std::string& name) const { return dir_ + "/" + name; }
  bool Exists(const std::string& name) const { return File::Exists(Path(name).c_str()); }
  // Whether a handle for `name` is open, as the library's open-handle list
  // tells ("<name> <mode>" per line).
  bool IsOpen(const std::string& name) const {
    const std::string open = "\n" + File::GetOpenFiles();
    return open.find("\n" + Path(name) + " ") != std::string::npos;
  }

  // A file with contents, open for reading and writing.
  File* OpenNew(const std::string& name) {
    EXPECT_TRUE(File::WriteStringToFile("data", Path(name)));
    File* f = File::Open(Path(name).c_str(), "r+");
    EXPECT_NE(f, nullptr);
    if (f != nullptr) handles_.push_back(f);
    return f;
  }

  std::string dir_;
  std::vector<File*> handles_;
};

// Accessors, release and reset to another handle are also driven through the
// binding (tests/python/test_holders.py); these are the cases it cannot reach.
TEST_P(HoldersTest, CloserClosesAndDeleterDeletesEvenAnUnopenedHandle) {
  File* f = OpenNew("a");
  {
    FileCloser closer(f);
    FileDeleter deleter(OpenNew("b"));
    EXPECT_EQ(closer->Size(), 4);
    EXPECT_TRUE(IsOpen("a") && IsOpen("b"));
  }
  EXPECT_FALSE(IsOpen("a") || IsOpen("b"));
  ::string contents;
  EXPECT_TRUE(File::ReadFileToString(Path("a"), &contents));
  EXPECT_EQ(contents, "data");
  EXPECT_FALSE(Exists("b"));

  ASSERT_TRUE(File::WriteStringToFile("x", Path("c")));
  File* unopened = File::Create(Path("c"), "r");
  ASSERT_NE(unopened, nullptr);
  handles_.push_back(unopened);
  { FileDeleter deleter(unopened); }
  EXPECT_FALSE(Exists("c"));
}

TEST_P(HoldersTest, ReleaseGivesUpTheFileAndResetEndsTheHeldOne) {
  File* f = OpenNew("a");
  {
    FileDeleter deleter(f);
    EXPECT_EQ(deleter.release(), f);
    EXPECT_EQ(deleter.get(), nullptr);
  }
  EXPECT_TRUE(IsOpen("a") && Exists("a"));
  EXPECT_EQ(f->Write("!", 1), 1);
  EXPECT_TRUE(f->Close());

  File* second = OpenNew("c");
  {
    FileCloser closer(OpenNew("b"));
    closer.reset(second);
    EXPECT_FALSE(IsOpen("b"));
    EXPECT_EQ(closer.get(), second);
  }
  EXPECT_FALSE(IsOpen("c"));
  EXPECT_TRUE(Exists("b") && Exists("c"));
}

// reset does not compare: the held file is ended and the closed handle kept;
// ending it again when the holder goes is harmless.
TEST_P(HoldersTest, ResetToTheHeldPointerEndsItAndKeepsTheClosedHandle) {
  File* f = OpenNew("a");
  {
    FileDeleter deleter(f);
    deleter.reset(f);
    EXPECT_EQ(deleter.get(), f);
    EXPECT_FALSE(IsOpen("a"));
    EXPECT_FALSE(Exists("a"));
    EXPECT_LT(f->Size(), 0);  // a closed handle refuses work
    EXPECT_TRUE(f->Close());  // and closing it again does nothing
  }
  EXPECT_FALSE(Exists("a"));
}

INSTANTIATE_TEST_SUITE_P(FileSystems, HoldersTest, ::testing::Values(false, true),
                         [](const ::testing::TestParamInfo<bool>& info) { return info.param ? "Mem" : "Local"; });

}  // namespace
