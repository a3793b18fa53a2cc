// Handles and names under pressure, on both file systems: locks refused or
// changed, Close racing I/O, reads too big for memory, failing asynchronous
// jobs, memory blocks outliving their bytes, attributes changed under an open
// handle, and copies, renames and attribute records under other spellings of
// the same name.
#include <dirent.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <new>
#include <stdexcept>
#include <thread>

#include "file/base/core/async.h"
#include "file/base/core/file_factory_internal.h"
#include "file/base/core/operation.h"
#include "file/base/util/iobuffer.h"
#include "file/base/util/lock_info.h"
#include "file/base/util/memblock.h"
#include "tests/cc/fs_conformance.h"

namespace {

class HandleSafety : public BothFsTest {
 protected:
  // `relative` spelled with a doubled slash after the test directory.
  ::string DoubleSlash(const std::string& relative) const { return dir_ + "//" + relative; }
  Attr_t AttributesOf(const ::string& name) {
    FileStat stat;
    EXPECT_TRUE(File::Stat(name.c_str(), &stat)) << name;
    return stat.attributes;
  }
};

PQ_ON_BOTH_FILE_SYSTEMS(HandleSafety);

// A refused lock changes nothing: not the file a truncating open would
// empty, nor the lock the handle already holds.
TEST_P(HandleSafety, RefusedLocksLeaveFileAndHeldLockAlone) {
  Put("f", "important contents");
  LockInfo shared(LockInfo::SHARED, /*blocking=*/false);
  LockInfo exclusive(LockInfo::EXCLUSIVE, /*blocking=*/false);
  Handle holder(File::OpenLocked(P("f").c_str(), "r", &exclusive));
  ASSERT_NE(holder, nullptr);
  EXPECT_EQ(Handle(File::OpenLocked(P("f").c_str(), "w", &exclusive)), nullptr);
  EXPECT_EQ(Get("f"), "important contents");
  holder.reset();
  // Once the lock is free the open truncates as "w" always does.
  Handle writer(File::OpenLocked(P("f").c_str(), "w", &exclusive));
  ASSERT_NE(writer, nullptr);
  EXPECT_EQ(writer->Size(), 0);
  EXPECT_EQ(Get("f"), "");
  writer.reset();

  Handle a(File::OpenLocked(P("f").c_str(), "r", &shared));
  Handle b(File::OpenLocked(P("f").c_str(), "r", &shared));
  ASSERT_NE(a, nullptr);
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(ErrorOf(a->AccessWithLock(&exclusive), a), file::ERROR_TEMPORARY);
  b.reset();
  // Now that it is alone, a may upgrade, and then others are shut out.
  EXPECT_TRUE(a->AccessWithLock(&exclusive)) << a->GetCurrentErrorMessage();
  EXPECT_EQ(Handle(File::OpenLocked(P("f").c_str(), "r", &shared)), nullptr);
  // A shared-to-shared change never lets go in between.
  Handle c(File::OpenLocked(P("g").c_str(), "w", &shared));
  ASSERT_NE(c, nullptr);
  EXPECT_TRUE(c->AccessWithLock(&shared));
  EXPECT_EQ(Handle(File::OpenLocked(P("g").c_str(), "r", &exclusive)), nullptr);
}

TEST_P(HandleSafety, IoAfterOrRacingCloseFailsCleanly) {
  Put("f", ::string(4096, 'x'));
  {
    Handle f = OpenOrFail(P("f"), "r");
    ASSERT_TRUE(f->Close());  // reads and writes after a close are the race's end below
    EXPECT_EQ(f->GetMemBlock(0, 3, 0), nullptr);
    EXPECT_TRUE(f->Close());
  }
  for (int iteration = 0; iteration < 500; ++iteration) {
    File* f = File::Open(P("f").c_str(), "r+");
    ASSERT_NE(f, nullptr);
    std::atomic<bool> running{false};
    std::atomic<int> bad{0};
    // Keeps doing I/O until the close shows, so the two always overlap.
    std::thread io([&] {
      char buffer[64];
      for (int i = 0; i < 1000000; ++i) {
        if (i == 8) running = true;
        const int64 n = (i % 2 == 0) ? f->PRead(0, buffer, sizeof(buffer)) : f->PWrite(0, "xxxx", 4);
        if (n >= 0) continue;
        // A failure after the close must say so, not report a reused or
        // vanished descriptor.
        if (f->GetCurrentErrorCode() != file::ERROR_INVALID_ARGUMENT ||
            f->GetCurrentErrorMessage().find("not open") == ::string::npos) {
          ++bad;
        }
        break;
      }
      running = true;
    });
    while (!running) {
    }
    EXPECT_TRUE(f->Close());
    io.join();
    ASSERT_EQ(bad, 0) << f->GetCurrentErrorMessage();
    delete f;
  }
}

// More bytes than this machine could hold in memory.
int64 MoreThanMemory() { return 2 * sysconf(_SC_PHYS_PAGES) * sysconf(_SC_PAGESIZE) + 4096; }

int OpenDescriptors() {
  int count = 0;
  DIR* fds = opendir("/proc/self/fd");
  while (fds != nullptr && readdir(fds) != nullptr) ++count;
  if (fds != nullptr) closedir(fds);
  return count;
}

// Whole-file reads through a handle, a name, memory blocks and an async read
// of a sparse file larger than memory fail cleanly, allocating nothing.
TEST_P(HandleSafety, ReadsOfAFileLargerThanMemoryFail) {
  Handle f = OpenOrFail(P("sparse"), "w+");
  if (!f->Truncate(MoreThanMemory())) GTEST_SKIP() << f->GetCurrentErrorMessage();
  ASSERT_TRUE(f->Seek(0));
  ::string contents = "old";
  EXPECT_EQ(ErrorOf(f->ReadToString(&contents, -1), f), file::ERROR_NO_SPACE);
  EXPECT_NE(f->GetCurrentErrorMessage().find("memory"), ::string::npos) << f->GetCurrentErrorMessage();
  EXPECT_TRUE(contents.empty());
  EXPECT_EQ(f->GetMemBlockFromDisk(0, MoreThanMemory(), 0), nullptr);
  EXPECT_EQ(f->GetMemBlock(0, MoreThanMemory(), 0), nullptr);
  IOBuffer data;
  int64 n = -7;
  AsyncIOWatcher done;
  ASSERT_TRUE(f->PReadAsync(0, MoreThanMemory(), &data, &n, &done));
  ASSERT_TRUE(done.WaitWithTimeout(10000));
  EXPECT_EQ(done.Error(), file::ERROR_NO_SPACE);
  EXPECT_EQ(data.size(), 0u);

  const int before = OpenDescriptors();
  file::Operation op;
  bool ok = true;
  contents = "untouched";
  EXPECT_NO_THROW(ok = FileFactory::ForName(dir_.c_str())->ReadFileToString(P("sparse"), &contents, &op));
  EXPECT_FALSE(ok);
  EXPECT_EQ(op.error(), file::ERROR_NO_SPACE) << op.message();
  EXPECT_NE(op.message().find(P("sparse")), ::string::npos) << op.message();
  EXPECT_EQ(OpenDescriptors(), before);
}

// The process's current virtual size in bytes.
int64 VirtualSize() {
  std::ifstream statm("/proc/self/statm");
  int64 pages = 0;
  statm >> pages;
  return pages * sysconf(_SC_PAGESIZE);
}

TEST_P(HandleSafety, AllocationFailureWhileReadingIsAnError) {
  PQ_SKIP_IF_ALLOCATION_FAILURE_KILLS();
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  // In a child whose address space is capped well below the file's size,
  // reads through the handle and the name must fail with an error, not throw.
  EXPECT_EXIT(
      {
        File* f = File::Open(P("sparse").c_str(), "w+");
        if (f == nullptr || !f->Truncate(int64{1} << 30) || !f->Seek(0)) std::_Exit(2);
        struct rlimit limit;
        limit.rlim_cur = limit.rlim_max = VirtualSize() + (int64{256} << 20);
        if (setrlimit(RLIMIT_AS, &limit) != 0) std::_Exit(3);
        ::string contents;
        const int64 n = f->ReadToString(&contents, -1);
        std::fprintf(stderr, "result %lld code %d: %s\n", static_cast<long long>(n),
                     f->GetCurrentErrorCode(), f->GetCurrentErrorMessage().c_str());
        if (n != -1 || f->GetCurrentErrorCode() != file::ERROR_TEMPORARY) std::_Exit(4);
        if (!file::CloseAndDelete(f)) std::_Exit(5);
        contents.clear();
        file::Operation op;
        const bool ok = FileFactory::ForName(dir_.c_str())->ReadFileToString(P("sparse"), &contents, &op);
        const int code = !ok && op.error() != file::OK && contents.empty() ? 0 : 6;
        int counts[2];  // the child will not run TearDown
        File::DeleteRecursively(dir_, &counts[0], &counts[1]);
        std::_Exit(code);
      },
      ::testing::ExitedWithCode(0), "Cannot allocate memory");
}

// An absurd length reads what there is; the forms that fail report the
// handle's error through their watcher.
TEST_P(HandleSafety, AsyncFormsFinishWithTheHandlesOutcome) {
  Put("f", "hello");
  Handle f = OpenOrFail(P("f"), "r");
  IOBuffer data, record("abc", 3);
  int64 n = -7, offset = 0;
  AsyncIOWatcher read, append, sync;
  ASSERT_TRUE(f->PReadAsync(0, int64{1} << 61, &data, &n, &read));
  ASSERT_TRUE(read.WaitWithTimeout(10000));
  EXPECT_EQ(read.Error(), file::OK);
  EXPECT_EQ(n, 5);
  EXPECT_EQ(data.ToString(), "hello");
  ASSERT_TRUE(f->RecordAppendAsync(&record, &offset, &append));
  append.Wait();
  EXPECT_EQ(append.Error(), file::ERROR_PERMISSION_DENIED);
  EXPECT_EQ(offset, -1);
  ASSERT_TRUE(f->Close());
  ASSERT_TRUE(f->SyncAsync(&sync));
  sync.Wait();
  EXPECT_EQ(sync.Error(), file::ERROR_INVALID_ARGUMENT);
}

TEST_P(HandleSafety, MemBlocksKeepTheBytesTheyWereMadeFrom) {
  Put("f", ::string(3 * kMinMMapSize, 'a'));
  Handle f = OpenOrFail(P("f"), "r+");
  std::unique_ptr<MemBlock> block(f->GetMemBlock(0, 8192, 0));
  std::unique_ptr<MemBlock> fresh(f->GetMemBlockFromDisk(4096, 8192, 0));
  ASSERT_NE(block, nullptr);
  ASSERT_NE(fresh, nullptr);
  ASSERT_EQ(f->PWrite(0, ::string(16384, 'Z').data(), 16384), 16384);
  EXPECT_EQ(::string(block->data(), block->size()), ::string(8192, 'a'));
  EXPECT_EQ(::string(fresh->data(), fresh->size()), ::string(8192, 'a'));
  // Truncating the file under a block must not make reading it fatal.
  ASSERT_TRUE(f->Truncate(0));
  EXPECT_EQ(block->data()[8191], 'a');
  EXPECT_EQ(fresh->data()[8191], 'a');
}

// An APPEND attribute set or cleared while a handle is open takes effect on it.
TEST_P(HandleSafety, AppendAttributeChangedAfterOpenIsFollowed) {
  Put("f", "0123456789");
  Handle f = OpenOrFail(P("f"), "r+");
  SetAttr("f", Attr_t::APPEND);
  EXPECT_EQ(ErrorOf(f->PWrite(0, "XX", 2), f), file::ERROR_PERMISSION_DENIED);
  ASSERT_TRUE(f->Seek(2));
  EXPECT_EQ(f->Write("XX", 2), -1);
  EXPECT_EQ(ErrorOf(f->Truncate(3), f), file::ERROR_PERMISSION_DENIED);
  EXPECT_EQ(Get("f"), "0123456789");
  // Writing at the end, and growing, stay allowed.
  EXPECT_EQ(f->PWrite(10, "ab", 2), 2);
  EXPECT_TRUE(f->Truncate(20));
  EXPECT_EQ(f->Size(), 20);
  SetAttr("f", 0);
  EXPECT_EQ(f->PWrite(0, "XX", 2), 2) << f->GetCurrentErrorMessage();
  EXPECT_TRUE(f->Truncate(4)) << f->GetCurrentErrorMessage();
  EXPECT_EQ(Get("f"), "XX23");
}

TEST_P(HandleSafety, CopyOntoItselfFailsAndKeepsTheFile) {
  MkDirs("d");
  Put("d/x", "precious data");
  const ::string x = P("d/x");
  for (const ::string& same : vector<::string>{x, P("d/./x"), dir_ + "/d//x", DoubleSlash("d/x"), P("./d/x")}) {
    EXPECT_FALSE(File::Copy(x.c_str(), same.c_str(), true)) << same;
    EXPECT_FALSE(File::Copy(same.c_str(), x.c_str(), true)) << same;
    EXPECT_EQ(Get("d/x"), "precious data") << same;
  }
}

TEST_P(HandleSafety, CopyOntoAHardLinkOrSymlinkOfItselfFails) {
  if (IsMem()) GTEST_SKIP() << "links exist only on the local file system";
  Put("x", "precious data");
  ASSERT_EQ(link(P("x").c_str(), P("hard").c_str()), 0);
  ASSERT_EQ(symlink(P("x").c_str(), P("soft").c_str()), 0);
  auto copy = [&](const char* from, const char* to) { return File::Copy(P(from).c_str(), P(to).c_str(), true); };
  EXPECT_FALSE(copy("x", "hard") || copy("hard", "x") || copy("soft", "x"));
  EXPECT_EQ(Get("x"), "precious data");
  EXPECT_EQ(Get("hard"), "precious data");
  unlink(P("soft").c_str());  // a dangling link would stop the cleanup
}


TEST_P(HandleSafety, RenameOntoItselfNeedsOverwriteOnEveryFileSystem) {
  Put("a", "contents");
  for (const ::string& same : {P("a"), P("./a"), DoubleSlash("a")}) {
    EXPECT_FALSE(File::Rename(P("a").c_str(), same.c_str(), false)) << same;
    EXPECT_EQ(Get("a"), "contents") << same;
  }
  EXPECT_TRUE(File::Rename(P("a").c_str(), P("a").c_str(), true));
  EXPECT_TRUE(File::Rename(P("a").c_str(), P("./a").c_str(), true));
  EXPECT_EQ(Get("a"), "contents");
}


TEST_P(HandleSafety, ProtectedNamesAndRecordsFollowOtherSpellings) {
  MkDirs("p");
  Put("f", "x");
  SetAttr("p", Attr_t::PROTECTED);
  SetAttr("f", Attr_t::PROTECTED);
  const std::pair<::string, bool> spellings[] = {{P("p/"), true},  {P("p//"), true},         {P("p/."), true},
                                                 {P("./p/"), true}, {DoubleSlash("p"), true}, {DoubleSlash("f"), false},
                                                 {P("./f"), false}};
  for (const auto& [spelling, is_dir] : spellings) {
    EXPECT_FALSE(is_dir ? File::DeleteDir(spelling.c_str()) : File::Delete(spelling.c_str())) << spelling;
    EXPECT_FALSE(File::Rename(spelling.c_str(), P("q").c_str(), false)) << spelling;
    EXPECT_TRUE(AttributesOf(spelling).has(Attr_t::PROTECTED)) << spelling;  // and still there
  }
  SetAttr("f", 0);  // so that the directory can be cleaned up
  // Set, cleared, moved and deleted through slash forms, the record is the
  // directory's one record, never a stale cached answer.
  ASSERT_TRUE(File::SetAttributes(P("p/").c_str(), Attr_t(0)));
  EXPECT_FALSE(Exists(".p.attr"));
  EXPECT_EQ(AttributesOf(P("p")).attr, 0u);  // now cached as "no attributes"
  ASSERT_TRUE(File::SetAttributes(P("p/").c_str(), Attr_t(Attr_t::APPEND)));
  EXPECT_TRUE(AttributesOf(P("p")).has(Attr_t::APPEND));
  ASSERT_TRUE(File::Rename(P("p//").c_str(), P("t/").c_str(), false));
  EXPECT_FALSE(Exists(".p.attr"));
  EXPECT_TRUE(AttributesOf(P("t")).has(Attr_t::APPEND));
  EXPECT_TRUE(File::DeleteDir(P("t/").c_str()));
  EXPECT_FALSE(Exists("t") || Exists(".t.attr"));
  MkDirs("t");
  EXPECT_EQ(AttributesOf(P("t")).attr, 0u);
}

TEST(QueuedWork, ThrowingWorkStillFinishes) {
  const struct { std::function<int64(file::Operation*)> work; int error; int64 bytes; } cases[] = {
      {[](file::Operation*) -> int64 { throw std::runtime_error("boom"); }, file::ERROR_UNKNOWN, 0},
      {[](file::Operation*) -> int64 { throw std::bad_alloc(); }, file::ERROR_TEMPORARY, 0},
      {[](file::Operation*) { return int64{7}; }, file::OK, 7},
  };
  for (const auto& c : cases) {
    AsyncIOWatcher done;
    ASSERT_TRUE(file_internal::QueueNamedWork(&done, c.work));
    ASSERT_TRUE(done.WaitWithTimeout(10000));
    EXPECT_EQ(std::pair(done.Error(), done.Bytes()), std::pair(c.error, c.bytes));
  }
}

}  // namespace
