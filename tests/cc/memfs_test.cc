// The memory file system: the shared conformance suite on a root under
// "/mem/", plus what only memory files do (page sharing, unlink while open,
// in-process locks, concurrency, the edge of the "/mem/" name space).
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>

#include "file/base/mem/mem_bytes.h"
#include "file/base/mem/mem_identity.h"
#include "file/base/core/operation.h"
#include "tests/cc/fs_conformance.h"

namespace {

using file::mem::MemBytes;

// Each test makes its own directory under this root (created on demand).
INSTANTIATE_TEST_SUITE_P(Mem, FsConformance, ::testing::Values(std::string("/mem/conformance")));

::string Bytes(const MemBytes& bytes) {
  ::string out(static_cast<size_t>(bytes.size()), 'x');
  bytes.Read(0, out.data(), bytes.size());
  return out;
}

TEST(MemBytes, WritesAcrossChunkBoundariesAndHolesReadAsZeros) {
  MemBytes bytes;
  const int64 chunk = MemBytes::kChunkSize;
  ASSERT_TRUE(bytes.Write(chunk - 4, "0123456789", 10));
  ASSERT_TRUE(bytes.Write(3 * chunk + 1, "z", 1));
  EXPECT_EQ(bytes.size(), 3 * chunk + 2);
  const ::string out = Bytes(bytes);
  EXPECT_EQ(out.substr(chunk - 4, 10), "0123456789");
  EXPECT_EQ(out[3 * chunk + 1], 'z');
  EXPECT_EQ(out.find_first_not_of('\0', 0), static_cast<size_t>(chunk - 4));
  EXPECT_EQ(out.find_first_not_of('\0', chunk + 6), static_cast<size_t>(3 * chunk + 1));
}

// Shrinking then growing through a handle is in the conformance suite; a
// write past the end after a shrink must not resurrect old bytes either.
TEST(MemBytes, WritePastTheEndAfterAShrinkShowsZerosNotOldBytes) {
  MemBytes bytes;
  const ::string text(1000, 'a');
  ASSERT_TRUE(bytes.Write(0, text.data(), text.size()));
  ASSERT_TRUE(bytes.Resize(5));
  ASSERT_TRUE(bytes.Write(20, "b", 1));
  EXPECT_EQ(Bytes(bytes), ::string(5, 'a') + ::string(15, '\0') + "b");
}

// Copies and pins staying apart from later writes show through snapshots
// and memory blocks (this suite and the handle safety suite); a hole has
// nothing to pin.
TEST(MemBytes, HolesAreNeverPinned) {
  MemBytes bytes;
  const char* data = nullptr;
  ASSERT_TRUE(bytes.Write(MemBytes::kChunkSize * 2, "q", 1));
  EXPECT_EQ(bytes.Pin(MemBytes::kChunkSize - 1, 2, &data), nullptr);
  EXPECT_EQ(bytes.Pin(MemBytes::kChunkSize + 5, 2, &data), nullptr);
}

TEST(MemIdentity, PermissionBitsPickOwnerThenGroupThenOthers) {
  file::mem::Identity who;
  who.user = "alice";
  who.group = "staff";
  who.groups = {"staff", "wheel"};
  EXPECT_EQ(file::mem::GrantedAccess(who, "alice", "other", 0640), 6u);
  EXPECT_EQ(file::mem::GrantedAccess(who, "bob", "wheel", 0640), 4u);
  EXPECT_EQ(file::mem::GrantedAccess(who, "bob", "other", 0640), 0u);
  // The owner class applies even when it grants less than the others'.
  EXPECT_EQ(file::mem::GrantedAccess(who, "alice", "other", 0007), 0u);
  who.privileged = true;
  EXPECT_EQ(file::mem::GrantedAccess(who, "bob", "other", 0), 7u);
}

class MemFs : public FsTest {
 protected:
  void SetUp() override { MakeDir("/mem/memfs"); }
};

TEST_F(MemFs, NameSpaceEndsAtTheRoot) {
  // Walking up out of the tree does not reach the local disk.
  EXPECT_FALSE(File::Exists("/mem/../etc/passwd") || File::Exists("/mem/.."));
  EXPECT_TRUE(File::IsDirectory("/mem/../../mem/./"));
  Put("f", "x");
  EXPECT_TRUE(File::Exists(("/mem/../mem/" + dir_.substr(5) + "/f").c_str()));
  // The root always exists and cannot be removed or moved.
  EXPECT_FALSE(File::DeleteDir("/mem/") || File::Rename("/mem/", P("moved").c_str(), false));
  EXPECT_TRUE(File::IsDirectory("/mem"));
}

TEST_F(MemFs, NamesThroughAPlainFileAreNoDirectories) {
  Put("plain", "x");
  EXPECT_EQ(File::Open(P("plain/f").c_str(), "w"), nullptr);
  FileStat stat;
  file::Operation op;
  EXPECT_EQ(ErrorOf(File::StatWithOp(P("plain/").c_str(), &stat, &op), op), file::ERROR_WRONG_TYPE);
}

TEST_F(MemFs, HandlesFollowTheFileNotTheName) {
  Handle f = OpenOrFail(P("a"), "w+");
  const auto identifier = StatOf("a").identifier;
  ASSERT_TRUE(File::Rename(P("a").c_str(), P("b").c_str(), false));
  ASSERT_EQ(f->Write("moved", 5), 5);
  EXPECT_EQ(StatOf("b").identifier, identifier);
  EXPECT_EQ(Get("b"), "moved");
  // Unlinked while open: the handle keeps its data.
  ASSERT_TRUE(File::Delete(P("b").c_str()));
  EXPECT_FALSE(Exists("b"));
  EXPECT_EQ(f->Write(" on", 3), 3);
  char buffer[32] = {};
  EXPECT_EQ(f->PRead(0, buffer, sizeof(buffer)), 8);
  EXPECT_STREQ(buffer, "moved on");
  // A new file under the old name is a different file.
  Put("b", "new");
  EXPECT_EQ(f->Size(), 8);
  EXPECT_TRUE(file::CloseAndDelete(f.release()));
  EXPECT_EQ(Get("b"), "new");
}

TEST_F(MemFs, DirectoryRenameRules) {
  for (const char* dir : {"d/inner", "full/x", "empty"}) MkDirs(dir);
  file::Operation op;
  EXPECT_FALSE(File::RenameWithOp(P("d").c_str(), P("d/inner/d").c_str(), false, &op));
  EXPECT_EQ(op.error(), file::ERROR_INVALID_ARGUMENT);
  EXPECT_EQ(ErrorOf(File::RenameWithOp(P("d").c_str(), P("full").c_str(), true, &op), op), file::ERROR_NOT_EMPTY);
  EXPECT_TRUE(File::Rename(P("d").c_str(), P("empty").c_str(), true));
  EXPECT_TRUE(File::IsDirectory(P("empty/inner").c_str()));
  EXPECT_FALSE(Exists("d"));
}

// Blocks across a chunk boundary and snapshots keep the bytes of their time
// when the file is written in place (the handle safety suite covers blocks
// within a chunk).
TEST_F(MemFs, BlocksAndSnapshotsArePointInTime) {
  const ::string text(MemBytes::kChunkSize + 100, 'a');
  Put("source", text);
  Handle f = OpenOrFail(P("source"), "r+");
  std::unique_ptr<MemBlock> spanning(f->TryMMap(MemBytes::kChunkSize - 10, 20));
  ASSERT_NE(spanning, nullptr);
  ASSERT_TRUE(File::SnapshotFile(P("source").c_str(), P("snap").c_str(), 0644));
  const ::string overwrite(text.size(), 'b');
  ASSERT_EQ(f->PWrite(0, overwrite.data(), overwrite.size()), static_cast<int64>(text.size()));
  EXPECT_EQ(::string(spanning->data(), spanning->size()), ::string(20, 'a'));
  EXPECT_EQ(Get("snap"), text);
  ASSERT_TRUE(File::AppendStringToFile("more", P("snap")));
  EXPECT_EQ(f->Size(), static_cast<int64>(text.size()));
}

TEST_F(MemFs, OwnerGroupAndPermissionBits) {
  const auto who = file::mem::CurrentIdentity();
  const ::string name = P("f");
  Put("f", "x");
  FileStat stat = StatOf("f");
  EXPECT_EQ(stat.owner + ":" + stat.group, who->user + ":" + who->group);
  EXPECT_EQ(stat.mode & 0777, 0666 & ~file::mem::CurrentUmask());
  EXPECT_TRUE(File::SetOwner(name.c_str(), who->user.c_str()));
  ASSERT_TRUE(File::SetGroup(name.c_str(), std::to_string(getegid()).c_str()));
  EXPECT_EQ(StatOf("f").group, who->group);  // ids are stored as names
  file::Operation op;
  EXPECT_EQ(ErrorOf(File::SetGroupWithOp(name.c_str(), "no such group here", &op), op), file::ERROR_NOT_FOUND);
  EXPECT_EQ(File::OpenFullySpecified(P("g").c_str(), "w", Attr_t(), 0600, "no such group here"), nullptr);
  EXPECT_FALSE(Exists("g"));
  // Bits that shut everyone out stop only unprivileged processes.
  ASSERT_TRUE(File::SetMode(name.c_str(), 0));
  EXPECT_EQ(File::Readable(name.c_str()), who->privileged);
  Handle f(File::Open(name.c_str(), "r"));
  EXPECT_EQ(f != nullptr, who->privileged);
}

TEST_F(MemFs, BlockingLockWaitsForTheHolder) {
  Put("locked", "x");
  LockInfo exclusive(LockInfo::EXCLUSIVE, /*blocking=*/false);
  Handle owner(File::OpenLocked(P("locked").c_str(), "r", &exclusive));
  ASSERT_NE(owner, nullptr);
  std::atomic<bool> acquired{false};
  std::thread waiter([&] {
    LockInfo blocking(LockInfo::EXCLUSIVE, /*blocking=*/true);
    Handle f(File::OpenLocked(P("locked").c_str(), "r", &blocking));
    acquired = f != nullptr;
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_FALSE(acquired);
  owner.reset();
  waiter.join();
  EXPECT_TRUE(acquired);
}

TEST_F(MemFs, ConcurrentWritersOnDifferentFilesAndOneAppendTarget) {
  constexpr int kThreads = 8;
  constexpr int kRecords = 500;
  Put("log", "");
  vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      Handle own(File::Open(P("own" + std::to_string(t)).c_str(), "w"));
      Handle log(File::Open(P("log").c_str(), "a"));
      if (own == nullptr || log == nullptr) return;
      const ::string record(64, static_cast<char>('A' + t));
      for (int i = 0; i < kRecords; ++i) {
        own->Write(record.data(), record.size());
        log->Write(record.data(), record.size());
      }
    });
  }
  for (auto& thread : threads) thread.join();
  for (int t = 0; t < kThreads; ++t) {
    EXPECT_EQ(Get("own" + std::to_string(t)), ::string(64 * kRecords, static_cast<char>('A' + t)));
  }
  const ::string log = Get("log");
  ASSERT_EQ(log.size(), size_t{64} * kRecords * kThreads);
  // Appends are atomic: every 64-byte record is one writer's.
  for (size_t i = 0; i < log.size(); i += 64) ASSERT_EQ(log.substr(i, 64), ::string(64, log[i])) << "at " << i;
}

}  // namespace
