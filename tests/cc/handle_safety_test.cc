// Handles under pressure, on both file systems: locks that are refused or
// changed, Close racing I/O on other threads, allocations that cannot be
// satisfied, asynchronous jobs that fail in unusual ways, memory blocks that
// outlive the bytes they were made from, and attributes changed while a
// handle is open.
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <thread>

#include "file/base/core/async.h"
#include "file/base/util/iobuffer.h"
#include "file/base/util/lock_info.h"
#include "file/base/util/memblock.h"
#include "file/base/core/operation.h"
#include "tests/cc/fs_conformance.h"

namespace {

class HandleSafety : public FsTest, public ::testing::WithParamInterface<std::string> {
 protected:
  void SetUp() override { MakeDir(GetParam()); }
  bool IsMem() const { return GetParam().rfind("/mem/", 0) == 0; }
};

INSTANTIATE_TEST_SUITE_P(FileSystems, HandleSafety,
                         ::testing::Values(LocalTestRoot(), std::string("/mem/handle-safety")));

// More bytes than this machine could hold in memory.
int64 MoreThanMemory() {
  const int64 pages = sysconf(_SC_PHYS_PAGES);
  const int64 page = sysconf(_SC_PAGESIZE);
  return 2 * pages * page + 4096;
}

// ---- Locks ---------------------------------------------------------------------

TEST_P(HandleSafety, RefusedLockedTruncatingOpenLeavesTheFileAlone) {
  Put("f", "important contents");
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
}

TEST_P(HandleSafety, RefusedLockChangeKeepsTheLockAlreadyHeld) {
  Put("f", "x");
  LockInfo shared(LockInfo::SHARED, /*blocking=*/false);
  LockInfo exclusive(LockInfo::EXCLUSIVE, /*blocking=*/false);
  Handle a(File::OpenLocked(P("f").c_str(), "r", &shared));
  Handle b(File::OpenLocked(P("f").c_str(), "r", &shared));
  ASSERT_NE(a, nullptr);
  ASSERT_NE(b, nullptr);
  EXPECT_FALSE(a->AccessWithLock(&exclusive));
  EXPECT_EQ(a->GetCurrentErrorCode(), file::ERROR_TEMPORARY);
  b.reset();
  // a still holds its shared lock, so nobody may lock exclusively.
  EXPECT_EQ(Handle(File::OpenLocked(P("f").c_str(), "r", &exclusive)), nullptr);
  // Now that it is alone, a may upgrade, and then others are shut out.
  EXPECT_TRUE(a->AccessWithLock(&exclusive)) << a->GetCurrentErrorMessage();
  EXPECT_EQ(Handle(File::OpenLocked(P("f").c_str(), "r", &shared)), nullptr);
  // A shared-to-shared change never lets go in between.
  Handle c(File::OpenLocked(P("g").c_str(), "w", &shared));
  ASSERT_NE(c, nullptr);
  EXPECT_TRUE(c->AccessWithLock(&shared));
  EXPECT_EQ(Handle(File::OpenLocked(P("g").c_str(), "r", &exclusive)), nullptr);
}

// ---- Close racing I/O ---------------------------------------------------------------

TEST_P(HandleSafety, CloseRacingReadsAndWritesFailsThemCleanly) {
  Put("f", ::string(4096, 'x'));
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
        const int64 n = (i % 2 == 0) ? f->PRead(0, buffer, sizeof(buffer))
                                     : f->PWrite(0, "xxxx", 4);
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

TEST_P(HandleSafety, IoAfterCloseReportsTheHandleIsNotOpen) {
  Put("f", "abc");
  Handle f = OpenOrFail(P("f"), "r");
  ASSERT_TRUE(f->Close());
  char buffer[4];
  EXPECT_EQ(f->PRead(0, buffer, 3), -1);
  EXPECT_EQ(f->GetCurrentErrorCode(), file::ERROR_INVALID_ARGUMENT);
  EXPECT_NE(f->GetCurrentErrorMessage().find("file is not open"), ::string::npos);
  EXPECT_EQ(f->GetMemBlock(0, 3, 0), nullptr);
  EXPECT_TRUE(f->Close());
}

// ---- Allocation failures --------------------------------------------------------------

// The process's current virtual size in bytes.
int64 VirtualSize() {
  std::ifstream statm("/proc/self/statm");
  int64 pages = 0;
  statm >> pages;
  return pages * sysconf(_SC_PAGESIZE);
}

TEST_P(HandleSafety, ReadToStringOfAFileLargerThanMemoryFails) {
  Handle f = OpenOrFail(P("sparse"), "w+");
  if (!f->Truncate(MoreThanMemory())) GTEST_SKIP() << f->GetCurrentErrorMessage();
  ASSERT_TRUE(f->Seek(0));
  ::string contents = "old";
  EXPECT_EQ(f->ReadToString(&contents, -1), -1);
  EXPECT_EQ(f->GetCurrentErrorCode(), file::ERROR_NO_SPACE);
  EXPECT_NE(f->GetCurrentErrorMessage().find("memory"), ::string::npos)
      << f->GetCurrentErrorMessage();
  EXPECT_TRUE(contents.empty());
  EXPECT_EQ(f->GetMemBlockFromDisk(0, MoreThanMemory(), 0), nullptr);
  EXPECT_EQ(f->GetMemBlock(0, MoreThanMemory(), 0), nullptr);
}

TEST_P(HandleSafety, ReadToStringTurnsAllocationFailureIntoAnError) {
  PQ_SKIP_IF_ALLOCATION_FAILURE_KILLS();
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  // In a child whose address space is capped well below the file's size,
  // the read must fail with an error instead of throwing.
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
        std::_Exit(n == -1 && f->GetCurrentErrorCode() == file::ERROR_TEMPORARY ? 0 : 4);
      },
      ::testing::ExitedWithCode(0), "Cannot allocate memory");
}

// ---- Asynchronous jobs ------------------------------------------------------------------

TEST_P(HandleSafety, AsyncReadOfAnAbsurdLengthFinishes) {
  Put("f", "hello");
  Handle f = OpenOrFail(P("f"), "r");
  IOBuffer data;
  int64 n = -7;
  AsyncIOWatcher done;
  ASSERT_TRUE(f->PReadAsync(0, int64{1} << 61, &data, &n, &done));
  ASSERT_TRUE(done.WaitWithTimeout(10000));
  EXPECT_EQ(done.Error(), file::OK);
  EXPECT_EQ(n, 5);
  EXPECT_EQ(data.ToString(), "hello");
}

TEST_P(HandleSafety, AsyncReadThatCannotBeBufferedFinishesWithAnError) {
  Handle f = OpenOrFail(P("sparse"), "w+");
  if (!f->Truncate(MoreThanMemory())) GTEST_SKIP() << f->GetCurrentErrorMessage();
  IOBuffer data;
  int64 n = -7;
  AsyncIOWatcher done;
  ASSERT_TRUE(f->PReadAsync(0, MoreThanMemory(), &data, &n, &done));
  ASSERT_TRUE(done.WaitWithTimeout(10000));
  EXPECT_EQ(done.Error(), file::ERROR_NO_SPACE);
  EXPECT_EQ(data.size(), 0u);
}

TEST_P(HandleSafety, AsyncFormsReportTheHandlesError) {
  Put("f", "hello");
  Handle f = OpenOrFail(P("f"), "r");
  IOBuffer data("abc", 3);
  int64 offset = 0;
  AsyncIOWatcher append;
  ASSERT_TRUE(f->RecordAppendAsync(&data, &offset, &append));
  append.Wait();
  EXPECT_EQ(append.Error(), file::ERROR_PERMISSION_DENIED);
  EXPECT_EQ(offset, -1);
  ASSERT_TRUE(f->Close());
  AsyncIOWatcher sync;
  ASSERT_TRUE(f->SyncAsync(&sync));
  sync.Wait();
  EXPECT_EQ(sync.Error(), file::ERROR_INVALID_ARGUMENT);
}

// ---- Memory blocks ---------------------------------------------------------------------

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

TEST_P(HandleSafety, TryMMapMapsLocalFiles) {
  Put("f", ::string(2 * kMinMMapSize, 'm'));
  Handle f = OpenOrFail(P("f"), "r");
  std::unique_ptr<MemBlock> mapped(f->TryMMap(0, kMinMMapSize));
  ASSERT_NE(mapped, nullptr) << f->GetCurrentErrorMessage();
  EXPECT_EQ(mapped->is_mapped(), !IsMem());
  EXPECT_EQ(::string(mapped->data(), mapped->size()), ::string(kMinMMapSize, 'm'));
}

// ---- Attributes changed under an open handle -------------------------------------------

TEST_P(HandleSafety, AppendAttributeSetAfterOpenIsEnforced) {
  Put("f", "0123456789");
  Handle f = OpenOrFail(P("f"), "r+");
  SetAttr("f", Attr_t::APPEND);
  EXPECT_EQ(f->PWrite(0, "XX", 2), -1);
  EXPECT_EQ(f->GetCurrentErrorCode(), file::ERROR_PERMISSION_DENIED);
  ASSERT_TRUE(f->Seek(2));
  EXPECT_EQ(f->Write("XX", 2), -1);
  EXPECT_FALSE(f->Truncate(3));
  EXPECT_EQ(f->GetCurrentErrorCode(), file::ERROR_PERMISSION_DENIED);
  EXPECT_EQ(Get("f"), "0123456789");
  // Writing at the end, and growing, stay allowed.
  EXPECT_EQ(f->PWrite(10, "ab", 2), 2);
  EXPECT_TRUE(f->Truncate(20));
  EXPECT_EQ(f->Size(), 20);
}

TEST_P(HandleSafety, AppendAttributeClearedAfterOpenNoLongerRestricts) {
  Put("f", "0123456789");
  SetAttr("f", Attr_t::APPEND);
  Handle f = OpenOrFail(P("f"), "r+");
  EXPECT_EQ(f->PWrite(0, "XX", 2), -1);
  SetAttr("f", 0);
  EXPECT_EQ(f->PWrite(0, "XX", 2), 2) << f->GetCurrentErrorMessage();
  EXPECT_TRUE(f->Truncate(4)) << f->GetCurrentErrorMessage();
  EXPECT_EQ(Get("f"), "XX23");
}

}  // namespace
