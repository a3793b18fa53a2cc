// FileCloser and FileDeleter: what letting go of a file does, on local disk
// and in memory.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <vector>
#include <cstdlib>
#include <string>
#include <type_traits>

#include "file/base/file.h"
#include "file/base/file_holders.h"

namespace {

static_assert(!std::is_copy_constructible_v<FileCloser> && !std::is_copy_assignable_v<FileCloser>);
static_assert(!std::is_copy_constructible_v<FileDeleter> && !std::is_copy_assignable_v<FileDeleter>);
static_assert(std::is_default_constructible_v<FileCloser>);
static_assert(!std::is_default_constructible_v<FileDeleter>);
// Taking a handle over is always spelled out.
static_assert(!std::is_convertible_v<File*, FileCloser> && !std::is_convertible_v<File*, FileDeleter>);

// Whether a handle for `name` is open, as the library's open-handle list
// tells ("<name> <mode>" per line).
bool IsOpen(const std::string& name) {
  const std::string open = File::GetOpenFiles();
  const std::string line = name + ' ';
  for (size_t at = 0; at < open.size();) {
    if (open.compare(at, line.size(), line) == 0) return true;
    const size_t end = open.find('\n', at);
    if (end == std::string::npos) break;
    at = end + 1;
  }
  return false;
}

// Runs every case once under a fresh local directory and once under /mem/.
class HoldersTest : public ::testing::TestWithParam<bool> {
 protected:
  void SetUp() override {
    if (GetParam()) {
      static int serial = 0;
      dir_ = "/mem/holders-" + std::to_string(getpid()) + "-" + std::to_string(++serial);
      ASSERT_TRUE(File::RecursivelyCreateDir(dir_, DEFAULT_FILE_MODE));
    } else {
      const char* root = std::getenv("PQ_TEST_TMP");
      const std::string base = root != nullptr && root[0] != '\0' ? root : "/tmp";
      ASSERT_TRUE(File::RecursivelyCreateDir(base, DEFAULT_FILE_MODE));
      std::string pattern = base + "/holders.XXXXXX";
      ASSERT_NE(mkdtemp(pattern.data()), nullptr);
      dir_ = pattern;
    }
  }
  void TearDown() override {
    // Holders close their files but never free them: the test owns them.
    for (File* f : handles_) delete f;
    int files = 0;
    int dirs = 0;
    File::DeleteRecursively(dir_, &files, &dirs);
  }

  std::string Path(const std::string& name) const { return dir_ + "/" + name; }

  // A file with contents, open for reading and writing.
  File* OpenNew(const std::string& name) {
    EXPECT_TRUE(File::WriteStringToFile("data", Path(name)));
    return Track(File::Open(Path(name).c_str(), "r+"));
  }

  File* Track(File* f) {
    EXPECT_NE(f, nullptr);
    if (f != nullptr) handles_.push_back(f);
    return f;
  }

  std::string dir_;
  std::vector<File*> handles_;
};

TEST_P(HoldersTest, EmptyCloserHoldsNullAndEndsNothing) {
  FileCloser closer;
  EXPECT_EQ(closer.get(), nullptr);
  EXPECT_EQ(*closer, nullptr);
  EXPECT_EQ(closer.operator->(), nullptr);
  EXPECT_EQ(closer.release(), nullptr);
  closer.reset(nullptr);
  EXPECT_EQ(closer.get(), nullptr);
}

TEST_P(HoldersTest, AccessorsHandOutTheHeldPointerUnchanged) {
  File* f = OpenNew("a");
  FileCloser closer(f);
  EXPECT_EQ(closer.get(), f);
  EXPECT_EQ(*closer, f);
  EXPECT_EQ(closer.operator->(), f);
  EXPECT_EQ(closer->Size(), 4);
}

TEST_P(HoldersTest, CloserClosesButKeepsTheFileWhenItGoes) {
  {
    FileCloser closer(OpenNew("a"));
    EXPECT_TRUE(IsOpen(Path("a")));
  }
  EXPECT_FALSE(IsOpen(Path("a")));
  ::string contents;
  EXPECT_TRUE(File::ReadFileToString(Path("a"), &contents));
  EXPECT_EQ(contents, "data");
}

TEST_P(HoldersTest, DeleterDeletesAndClosesWhenItGoes) {
  {
    FileDeleter deleter(OpenNew("a"));
    EXPECT_TRUE(File::Exists(Path("a").c_str()));
  }
  EXPECT_FALSE(File::Exists(Path("a").c_str()));
  EXPECT_FALSE(IsOpen(Path("a")));
}

TEST_P(HoldersTest, DeleterEndsAnUnopenedHandleToo) {
  ASSERT_TRUE(File::WriteStringToFile("x", Path("a")));
  { FileDeleter deleter(Track(File::Create(Path("a"), "r"))); }
  EXPECT_FALSE(File::Exists(Path("a").c_str()));
}

TEST_P(HoldersTest, ReleaseGivesUpTheFileWithoutEndingIt) {
  File* f = OpenNew("a");
  {
    FileDeleter deleter(f);
    EXPECT_EQ(deleter.release(), f);
    EXPECT_EQ(deleter.get(), nullptr);
  }
  EXPECT_TRUE(IsOpen(Path("a")));
  EXPECT_TRUE(File::Exists(Path("a").c_str()));
  EXPECT_EQ(f->Write("!", 1), 1);
  EXPECT_TRUE(f->Close());
}

TEST_P(HoldersTest, ResetEndsTheHeldFileThenHoldsTheNewOne) {
  File* second = OpenNew("b");
  {
    FileCloser closer(OpenNew("a"));
    closer.reset(second);
    EXPECT_FALSE(IsOpen(Path("a")));
    EXPECT_TRUE(IsOpen(Path("b")));
    EXPECT_EQ(closer.get(), second);
  }
  EXPECT_FALSE(IsOpen(Path("b")));
  EXPECT_TRUE(File::Exists(Path("a").c_str()));

  FileDeleter deleter(OpenNew("c"));
  deleter.reset(nullptr);
  EXPECT_FALSE(File::Exists(Path("c").c_str()));
  EXPECT_FALSE(IsOpen(Path("c")));
  EXPECT_EQ(deleter.get(), nullptr);
}

// reset does not compare: the held file is ended and the closed handle kept;
// ending it again when the holder goes is harmless.
TEST_P(HoldersTest, ResetToTheHeldPointerEndsItAndKeepsTheClosedHandle) {
  File* f = OpenNew("a");
  {
    FileDeleter deleter(f);
    deleter.reset(f);
    EXPECT_EQ(deleter.get(), f);
    EXPECT_FALSE(IsOpen(Path("a")));
    EXPECT_FALSE(File::Exists(Path("a").c_str()));
    EXPECT_LT(f->Size(), 0);  // a closed handle refuses work
    EXPECT_TRUE(f->Close());  // and closing it again does nothing
  }
  EXPECT_FALSE(File::Exists(Path("a").c_str()));
}

INSTANTIATE_TEST_SUITE_P(FileSystems, HoldersTest, ::testing::Values(false, true),
                         [](const ::testing::TestParamInfo<bool>& info) { return info.param ? "Mem" : "Local"; });

}  // namespace
