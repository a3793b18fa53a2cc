// A conformance suite every file system must pass, and the fixture the
// file-system tests share. Instantiate the suite with the root under which
// each test gets a fresh directory: INSTANTIATE_TEST_SUITE_P(Mine,
// FsConformance, ::testing::Values(std::string("/mine/root"))). What a file
// system cannot do it declares in an FsRoot's capabilities; the suite then
// checks that it refuses those operations instead of skipping them.
#ifndef TESTS_CC_FS_CONFORMANCE_H_
#define TESTS_CC_FS_CONFORMANCE_H_

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <type_traits>

#include "file/base/core/operation.h"
#include "file/base/file.h"

// Closes (and frees) a handle at the end of a scope.
struct Closer {
  void operator()(File* f) const {
    if (f != nullptr) file::CloseAndDelete(f);
  }
};
using Handle = std::unique_ptr<File, Closer>;

// Under AddressSanitizer a failed allocation ends the process instead of
// throwing, so tests of allocation failure skip themselves there.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool kUnderSanitizer = true;
#else
inline constexpr bool kUnderSanitizer = false;
#endif
#define PQ_SKIP_IF_ALLOCATION_FAILURE_KILLS() \
  if (kUnderSanitizer) GTEST_SKIP() << "sanitizers die on a failed allocation instead of throwing"

// The error code a failed call left in `op` or on handle `h`, or -1 when the
// call did not fail (false, -1 or null).
template <typename R>
bool Failed(const R& r) {
  if constexpr (std::is_same_v<R, bool> || std::is_pointer_v<R>) return !r;
  else return r == -1;
}
template <typename R>
int ErrorOf(const R& result, const file::Operation& op) { return Failed(result) ? op.error() : -1; }
template <typename R, typename H>
int ErrorOf(const R& result, const H& h) { return Failed(result) ? h->GetCurrentErrorCode() : -1; }

// Opens `name`, failing the test (not aborting it) when that does not work.
Handle OpenOrFail(const ::string& name, const char* mode);
// The rest of an open handle's contents from its position on.
::string ReadAll(File* f);

// Gives each test a fresh directory <root>/fsconf.<pid>.<n>, removed after it.
class FsTest : public ::testing::Test {
 protected:
  void MakeDir(const std::string& root);
  void TearDown() override;

  // The full name of `relative` inside the test's directory.
  ::string P(const std::string& relative) const;
  // Writes (giving the full name) / reads a whole file, failing the test on error.
  ::string Put(const std::string& relative, const std::string& contents);
  ::string Get(const std::string& relative);
  // The stat of `relative`, failing the test when there is none.
  FileStat StatOf(const std::string& relative);
  bool Exists(const std::string& relative) const { return File::Exists(P(relative).c_str()); }
  // Set attribute bits / create directories (with parents), failing the test on error.
  void SetAttr(const std::string& relative, uint32 bits);
  void MkDirs(const std::string& relative);

  ::string dir_;
};

// What file systems may lack; everything is there unless declared absent.
struct FsCapabilities {
  bool advisory_locks = true;  // LockInfo locks on opens, stats and matches
  bool set_mtime = true;
  bool set_group = true;
  // Whether a file open for writing can be opened by other handles at the
  // same time (if not, those opens fail with ERROR_TEMPORARY).
  bool readers_beside_writer = true;
};

// Where a conformance run works: a fixed root, or one found when the first
// test runs (a server started on demand: `root` is then a label), and what
// the file system can do.
struct FsRoot {
  FsRoot(std::string fixed) : root(std::move(fixed)) {}  // NOLINT: plain roots convert
  FsRoot(std::string label, std::function<std::string()> find, FsCapabilities capabilities)
      : root(std::move(label)), resolve(std::move(find)), caps(capabilities) {}
  std::string Root() const { return resolve ? resolve() : root; }
  std::string root;
  std::function<std::string()> resolve;
  FsCapabilities caps;
};
inline void PrintTo(const FsRoot& r, std::ostream* os) { *os << r.root; }

class FsConformance : public FsTest, public ::testing::WithParamInterface<FsRoot> {
 protected:
  void SetUp() override { MakeDir(GetParam().Root()); }
  const FsCapabilities& caps() const { return GetParam().caps; }
};

// Runs `child(k)` for k < n in forked processes, expecting each to return true.
void RunInChildren(int n, const std::function<bool(int)>& child);
// Forks `writer`, which calls its argument with the number of each record it
// has made safe and never returns; kills it once it acknowledged `enough`
// (or stopped) and gives the last number acknowledged (-1: none).
int KillAfterAcks(int enough, const std::function<void(const std::function<void(int)>& ack)>& writer);

// The root for local directories: $PQ_TEST_TMP when set, else /tmp.
std::string LocalTestRoot();

// A fresh local directory <LocalTestRoot()>/<tag>.<pid>.<n>, removed with
// everything in it when the object goes.
class ScratchDir {
 public:
  explicit ScratchDir(const std::string& tag);
  ~ScratchDir();
  std::string path;
};

// FsTest on each built-in file system: parameter "local" or "mem".
class BothFsTest : public FsTest, public ::testing::WithParamInterface<std::string> {
 protected:
  void SetUp() override { MakeDir(IsMem() ? "/mem/tests" : LocalTestRoot()); }
  bool IsMem() const { return GetParam() == "mem"; }
};
#define PQ_ON_BOTH_FILE_SYSTEMS(suite) \
  INSTANTIATE_TEST_SUITE_P(FileSystems, suite, ::testing::Values("local", "mem"))

#endif  // TESTS_CC_FS_CONFORMANCE_H_
