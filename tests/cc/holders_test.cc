// FileCloser and FileDeleter: what letting go of a file does, on local disk
// and in memory.
#include <string>
#include <type_traits>
#include <vector>

#include "file/base/core/file_holders.h"
#include "tests/cc/fs_conformance.h"

namespace {

// Holders are never copied (a copy would end the file twice), and taking a
// handle over is always spelled out.
static_assert(!std::is_copy_constructible_v<FileCloser> && !std::is_copy_assignable_v<FileDeleter>);
static_assert(!std::is_convertible_v<File*, FileCloser> && !std::is_convertible_v<File*, FileDeleter>);

class HoldersTest : public BothFsTest {
 protected:
  void TearDown() override {
    for (File* f : handles_) delete f;  // holders close their files but never free them
    BothFsTest::TearDown();
  }
  // Whether a handle for `name` is open, as the library's open-handle list
  // tells ("<name> <mode>" per line).
  bool IsOpen(const std::string& name) const {
    const std::string open = "\n" + File::GetOpenFiles();
    return open.find("\n" + P(name) + " ") != std::string::npos;
  }

  // A file with contents, open for reading and writing.
  File* OpenNew(const std::string& name) {
    Put(name, "data");
    File* f = File::Open(P(name).c_str(), "r+");
    EXPECT_NE(f, nullptr);
    if (f != nullptr) handles_.push_back(f);
    return f;
  }

  std::vector<File*> handles_;
};

// Accessors, release and reset to another handle are driven through the
// binding (tests/python/test_file_io.py); these are the cases it cannot reach.
TEST_P(HoldersTest, CloserClosesAndDeleterDeletesEvenAnUnopenedHandle) {
  File* f = OpenNew("a");
  {
    FileCloser closer(f);
    FileDeleter deleter(OpenNew("b"));
    EXPECT_EQ(closer->Size(), 4);
    EXPECT_TRUE(IsOpen("a") && IsOpen("b"));
  }
  EXPECT_FALSE(IsOpen("a") || IsOpen("b") || Exists("b"));
  EXPECT_EQ(Get("a"), "data");
  File* unopened = File::Create(Put("c", "x"), "r");
  ASSERT_NE(unopened, nullptr);
  handles_.push_back(unopened);
  { FileDeleter deleter(unopened); }
  EXPECT_FALSE(Exists("c"));
}

TEST_P(HoldersTest, ResetToTheHeldHandleEndsItOnce) {
  // reset does not compare: the held file is ended and the closed handle kept;
  // ending it again when the holder goes is harmless.
  File* d = OpenNew("d");
  {
    FileDeleter deleter(d);
    deleter.reset(d);
    EXPECT_TRUE(deleter.get() == d && !IsOpen("d") && !Exists("d"));
    EXPECT_LT(d->Size(), 0);  // a closed handle refuses work
    EXPECT_TRUE(d->Close());  // and closing it again does nothing
  }
  EXPECT_FALSE(Exists("d"));
}

PQ_ON_BOTH_FILE_SYSTEMS(HoldersTest);

}  // namespace
