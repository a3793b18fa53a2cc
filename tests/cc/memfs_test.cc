// The memory file system: the shared conformance suite on a root under
// "/mem/", plus what only memory files do (page sharing, unlink while open,
// in-process locks, concurrency, the edge of the "/mem/" name space).
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <thread>

#include "file/base/file.h"
#include "file/base/mem_bytes.h"
#include "file/base/mem_identity.h"
#include "file/base/operation.h"
#include "tests/cc/fs_conformance.h"

namespace {

using file::mem::MemBytes;

// ---- The shared suite ----------------------------------------------------------

// Each test makes its own directory under this root (created on demand).
INSTANTIATE_TEST_SUITE_P(Mem, FsConformance,
                         ::testing::Values(std::string("/mem/conformance")));

// ---- Page store ------------------------------------------------------------------

::string ReadAll(const MemBytes& bytes) {
  ::string out(static_cast<size_t>(bytes.size()), '\0');
  bytes.Read(0, out.data(), bytes.size());
  return out;
}

TEST(MemBytes, WritesAcrossChunkBoundariesAndHolesReadAsZeros) {
  MemBytes bytes;
  const int64 chunk = MemBytes::kChunkSize;
  const ::string pattern = "0123456789";
  ASSERT_TRUE(bytes.Write(chunk - 4, pattern.data(), pattern.size()));
  ASSERT_TRUE(bytes.Write(3 * chunk + 1, "z", 1));
  EXPECT_EQ(bytes.size(), 3 * chunk + 2);
  ::string out(static_cast<size_t>(bytes.size()), 'x');
  bytes.Read(0, out.data(), bytes.size());
  EXPECT_EQ(out.substr(chunk - 4, 10), pattern);
  EXPECT_EQ(out[3 * chunk + 1], 'z');
  EXPECT_EQ(out.find_first_not_of('\0', 0), static_cast<size_t>(chunk - 4));
  EXPECT_EQ(out.find_first_not_of('\0', chunk + 6),
            static_cast<size_t>(3 * chunk + 1));
}

TEST(MemBytes, ShrinkThenGrowShowsZerosNotOldBytes) {
  MemBytes bytes;
  const ::string text(1000, 'a');
  ASSERT_TRUE(bytes.Write(0, text.data(), text.size()));
  ASSERT_TRUE(bytes.Resize(10));
  ASSERT_TRUE(bytes.Resize(1000));
  const ::string out = ReadAll(bytes);
  EXPECT_EQ(out.substr(0, 10), ::string(10, 'a'));
  EXPECT_EQ(out.substr(10), ::string(990, '\0'));
  // Writing past the end after a shrink must not resurrect old bytes either.
  ASSERT_TRUE(bytes.Resize(5));
  ASSERT_TRUE(bytes.Write(20, "b", 1));
  EXPECT_EQ(ReadAll(bytes), ::string(5, 'a') + ::string(15, '\0') + "b");
}

TEST(MemBytes, CopiesAreIndependentSnapshots) {
  MemBytes original;
  ASSERT_TRUE(original.Write(0, "hello", 5));
  MemBytes copy = original;
  ASSERT_TRUE(original.Write(0, "J", 1));
  ASSERT_TRUE(copy.Write(4, "!", 1));
  ASSERT_TRUE(original.Resize(2));
  EXPECT_EQ(ReadAll(original), "Je");
  EXPECT_EQ(ReadAll(copy), "hell!");
}

TEST(MemBytes, PinKeepsBytesThroughLaterWritesAndTruncation) {
  MemBytes bytes;
  ASSERT_TRUE(bytes.Write(0, "abcdef", 6));
  const char* data = nullptr;
  auto pin = bytes.Pin(1, 3, &data);
  ASSERT_NE(pin, nullptr);
  ASSERT_TRUE(bytes.Write(0, "XYZXYZ", 6));
  ASSERT_TRUE(bytes.Resize(2));
  EXPECT_EQ(::string(data, 3), "bcd");
  // A range across two chunks cannot be pinned, and neither can a hole.
  ASSERT_TRUE(bytes.Write(MemBytes::kChunkSize * 2, "q", 1));
  EXPECT_EQ(bytes.Pin(MemBytes::kChunkSize - 1, 2, &data), nullptr);
  EXPECT_EQ(bytes.Pin(MemBytes::kChunkSize + 5, 2, &data), nullptr);
}

// ---- Permission rule ----------------------------------------------------------------

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

TEST(MemIdentity, NewNodesBelongToTheProcessUser) {
  const auto who = file::mem::CurrentIdentity();
  EXPECT_FALSE(who->user.empty());
  EXPECT_FALSE(who->group.empty());
  EXPECT_EQ(who->privileged, geteuid() == 0);
  EXPECT_EQ(file::mem::KnownUserName(std::to_string(geteuid()).c_str()),
            who->user);
  EXPECT_EQ(file::mem::KnownUserName(who->user.c_str()), who->user);
  EXPECT_EQ(file::mem::KnownGroupName("no such group here"), std::nullopt);
}

// ---- Through the File interface -------------------------------------------------------

class MemFs : public ::testing::Test {
 protected:
  void SetUp() override {
    static std::atomic<int> counter{0};
    dir_ = "/mem/memfs-" + std::to_string(getpid()) + "-" +
           std::to_string(counter++);
    ASSERT_TRUE(File::RecursivelyCreateDir(dir_, 0777));
  }
  void TearDown() override {
    int files = 0;
    int dirs = 0;
    File::DeleteRecursively(dir_, &files, &dirs);
  }

  ::string Path(const char* leaf) const { return dir_ + "/" + leaf; }

  static ::string Contents(const ::string& name) {
    ::string contents;
    EXPECT_TRUE(File::ReadFileToString(name, &contents)) << name;
    return contents;
  }

  ::string dir_;
};

TEST_F(MemFs, NamesOutsideMemAreNotClaimed) {
  const auto mem = FileFactory::Find(FileFactory::mem_file);
  ASSERT_NE(mem, nullptr);
  EXPECT_EQ(FileFactory::ForName("/mem/x"), mem);
  EXPECT_NE(FileFactory::ForName("/memory/x"), mem);
  EXPECT_NE(FileFactory::ForName("/tmp/mem/x"), mem);
  EXPECT_NE(FileFactory::ForName("mem/x"), mem);
  // Walking up out of the tree does not reach the local disk.
  EXPECT_FALSE(File::Exists("/mem/../etc/passwd"));
  EXPECT_FALSE(File::Exists("/mem/.."));
  EXPECT_TRUE(File::IsDirectory("/mem/../../mem/./"));
  ASSERT_TRUE(File::WriteStringToFile("x", Path("f")));
  EXPECT_TRUE(File::Exists(("/mem/../mem/" + dir_.substr(5) + "/f").c_str()));
}

TEST_F(MemFs, RootAlwaysExistsAndCannotBeRemoved) {
  EXPECT_TRUE(File::IsDirectory("/mem/"));
  EXPECT_FALSE(File::DeleteDir("/mem/"));
  file::Operation op;
  EXPECT_FALSE(File::RenameWithOp("/mem/", Path("moved").c_str(), false, &op));
  EXPECT_TRUE(File::IsDirectory("/mem"));
}

TEST_F(MemFs, CreatingNeedsAnExistingParentDirectory) {
  file::Operation op;
  EXPECT_EQ(File::Open(Path("missing/f").c_str(), "w"), nullptr);
  ASSERT_TRUE(File::WriteStringToFile("x", Path("plain")));
  EXPECT_EQ(File::Open(Path("plain/f").c_str(), "w"), nullptr);
  FileStat stat;
  EXPECT_FALSE(File::StatWithOp(Path("plain/").c_str(), &stat, &op));
  EXPECT_EQ(op.error(), file::ERROR_WRONG_TYPE);
  EXPECT_FALSE(File::StatWithOp(Path("missing").c_str(), &stat, &op));
  EXPECT_EQ(op.error(), file::ERROR_NOT_FOUND);
  EXPECT_EQ(op.message(), "Stat " + Path("missing") + ": No such file or directory");
}

TEST_F(MemFs, OpenHandleKeepsDataAfterUnlink) {
  const ::string name = Path("doomed");
  File* f = File::Open(name.c_str(), "w+");
  ASSERT_NE(f, nullptr);
  ASSERT_EQ(f->Write("before", 6), 6);
  ASSERT_TRUE(File::Delete(name.c_str()));
  EXPECT_FALSE(File::Exists(name.c_str()));
  EXPECT_EQ(f->Write(" after", 6), 6);
  char buffer[32] = {};
  EXPECT_EQ(f->PRead(0, buffer, sizeof(buffer)), 12);
  EXPECT_STREQ(buffer, "before after");
  // A new file under the old name is a different file.
  ASSERT_TRUE(File::WriteStringToFile("new", name));
  EXPECT_EQ(f->Size(), 12);
  EXPECT_TRUE(file::CloseAndDelete(f));
  EXPECT_EQ(Contents(name), "new");
}

TEST_F(MemFs, RenameKeepsIdentityAndOpenHandles) {
  const ::string from = Path("a");
  const ::string to = Path("b");
  File* f = File::Open(from.c_str(), "w");
  ASSERT_NE(f, nullptr);
  FileStat before;
  ASSERT_TRUE(File::Stat(from.c_str(), &before));
  ASSERT_TRUE(File::Rename(from.c_str(), to.c_str(), false));
  ASSERT_EQ(f->Write("moved", 5), 5);
  ASSERT_TRUE(file::CloseAndDelete(f));
  FileStat after;
  ASSERT_TRUE(File::Stat(to.c_str(), &after));
  EXPECT_EQ(after.identifier, before.identifier);
  EXPECT_EQ(Contents(to), "moved");
}

TEST_F(MemFs, DirectoryRenameRules) {
  ASSERT_TRUE(File::RecursivelyCreateDir(Path("d/inner"), 0777));
  ASSERT_TRUE(File::RecursivelyCreateDir(Path("full/x"), 0777));
  ASSERT_TRUE(File::CreateDir(Path("empty").c_str(), 0777));
  file::Operation op;
  EXPECT_FALSE(File::RenameWithOp(Path("d").c_str(), Path("d/inner/d").c_str(),
                                  false, &op));
  EXPECT_EQ(op.error(), file::ERROR_INVALID_ARGUMENT);
  EXPECT_FALSE(File::RenameWithOp(Path("d").c_str(), Path("full").c_str(),
                                  true, &op));
  EXPECT_EQ(op.error(), file::ERROR_NOT_EMPTY);
  EXPECT_TRUE(File::Rename(Path("d").c_str(), Path("empty").c_str(), true));
  EXPECT_TRUE(File::IsDirectory(Path("empty/inner").c_str()));
  EXPECT_FALSE(File::Exists(Path("d").c_str()));
}

TEST_F(MemFs, SparseWritesAndLargeSequentialFiles) {
  File* f = File::Open(Path("sparse").c_str(), "w+");
  ASSERT_NE(f, nullptr);
  const int64 far = 3 * MemBytes::kChunkSize + 7;
  ASSERT_EQ(f->PWrite(far, "end", 3), 3);
  EXPECT_EQ(f->Size(), far + 3);
  ::string middle(100, 'x');
  ASSERT_EQ(f->PRead(MemBytes::kChunkSize, middle.data(), 100), 100);
  EXPECT_EQ(middle, ::string(100, '\0'));
  ASSERT_TRUE(f->Truncate(0));
  // 16 MiB in odd-sized pieces: every byte lands where it should.
  ::string piece(4099, '\0');
  for (int i = 0; i < 4096; ++i) {
    for (size_t j = 0; j < piece.size(); ++j) piece[j] = static_cast<char>(i + j);
    ASSERT_EQ(f->Write(piece.data(), piece.size()), 4099);
  }
  EXPECT_EQ(f->Size(), int64{4096} * 4099);
  char probe[3];
  ASSERT_EQ(f->PRead(int64{4095} * 4099 + 10, probe, 3), 3);
  EXPECT_EQ(probe[0], static_cast<char>(4095 + 10));
  EXPECT_TRUE(file::CloseAndDelete(f));
}

TEST_F(MemFs, BlocksAndSnapshotsArePointInTime) {
  const ::string name = Path("source");
  ::string text(MemBytes::kChunkSize + 100, 'a');
  ASSERT_TRUE(File::WriteStringToFile(text, name));
  File* f = File::Open(name.c_str(), "r+");
  ASSERT_NE(f, nullptr);
  std::unique_ptr<MemBlock> pinned(f->GetMemBlock(10, 20, 0));
  std::unique_ptr<MemBlock> spanning(
      f->TryMMap(MemBytes::kChunkSize - 10, 20));
  ASSERT_NE(pinned, nullptr);
  ASSERT_NE(spanning, nullptr);
  ASSERT_TRUE(File::SnapshotFile(name.c_str(), Path("snap").c_str(), 0644));
  const ::string overwrite(text.size(), 'b');
  ASSERT_EQ(f->PWrite(0, overwrite.data(), overwrite.size()),
            static_cast<int64>(overwrite.size()));
  EXPECT_EQ(::string(pinned->data(), pinned->size()), ::string(20, 'a'));
  EXPECT_EQ(::string(spanning->data(), spanning->size()), ::string(20, 'a'));
  EXPECT_EQ(Contents(Path("snap")), text);
  ASSERT_TRUE(File::AppendStringToFile("more", Path("snap")));
  EXPECT_EQ(f->Size(), static_cast<int64>(text.size()));
  EXPECT_TRUE(file::CloseAndDelete(f));
  FileStat snap;
  ASSERT_TRUE(File::Stat(Path("snap").c_str(), &snap));
  EXPECT_EQ(snap.mode & 07777, 0644u);
}

TEST_F(MemFs, StatReportsOwnerModeAndUniqueIdentifiers) {
  ASSERT_TRUE(File::WriteStringToFile("12345", Path("one")));
  ASSERT_TRUE(File::WriteStringToFile("", Path("two")));
  FileStat one;
  FileStat two;
  ASSERT_TRUE(File::Stat(Path("one").c_str(), &one));
  ASSERT_TRUE(File::Stat(Path("two").c_str(), &two));
  const auto who = file::mem::CurrentIdentity();
  EXPECT_EQ(one.length, 5);
  EXPECT_EQ(one.owner, who->user);
  EXPECT_EQ(one.group, who->group);
  EXPECT_TRUE(S_ISREG(one.mode));
  EXPECT_EQ(one.mode & 0777, 0666 & ~file::mem::CurrentUmask());
  EXPECT_NE(one.identifier, two.identifier);
  EXPECT_NEAR(one.mtime, time(nullptr), 5);
  FileStat dir;
  ASSERT_TRUE(File::Stat(dir_.c_str(), &dir));
  EXPECT_TRUE(dir.IsDirectory());
}

TEST_F(MemFs, StatfsReportsMachineMemory) {
  int64 total = -1;
  int64 free_bytes = -1;
  int64 available = -1;
  ASSERT_TRUE(File::Statfs(dir_.c_str(), &total, &free_bytes, &available));
  EXPECT_GT(total, 0);
  EXPECT_GE(free_bytes, 0);
  EXPECT_LE(free_bytes, total);
  EXPECT_EQ(available, free_bytes);
  EXPECT_FALSE(File::Statfs(Path("missing").c_str(), &total, nullptr, nullptr));
}

TEST_F(MemFs, DirectIoIsRefusedAndHandlesAreNotLocal) {
  FileOpenOptions direct;
  direct.set_direct_io();
  File* f = File::CreateWithOptions(Path("d").c_str(), "w", direct);
  ASSERT_NE(f, nullptr);
  file::Operation op;
  EXPECT_FALSE(f->OpenWithOp(&op));
  EXPECT_EQ(op.error(), file::ERROR_UNIMPLEMENTED);
  file::CloseAndDelete(f);
  File* plain = File::Open(Path("p").c_str(), "w");
  ASSERT_NE(plain, nullptr);
  EXPECT_FALSE(plain->IsLocalFile());
  EXPECT_TRUE(plain->Sync());
  EXPECT_TRUE(plain->SetAccessPattern(file::SEQUENTIAL, file::UNCACHED));
  EXPECT_FALSE(plain->SetAccessPattern(7, file::CACHED));
  EXPECT_TRUE(file::CloseAndDelete(plain));
}

TEST_F(MemFs, OwnerGroupAndPermissionBits) {
  const auto who = file::mem::CurrentIdentity();
  const ::string name = Path("f");
  ASSERT_TRUE(File::WriteStringToFile("x", name));
  EXPECT_TRUE(File::SetOwner(name.c_str(), who->user.c_str()));
  EXPECT_TRUE(File::SetGroup(name.c_str(), std::to_string(getegid()).c_str()));
  FileStat stat;
  ASSERT_TRUE(File::Stat(name.c_str(), &stat));
  EXPECT_EQ(stat.group, who->group);  // ids are stored as names
  file::Operation op;
  EXPECT_FALSE(File::SetGroupWithOp(name.c_str(), "no such group here", &op));
  EXPECT_EQ(op.error(), file::ERROR_NOT_FOUND);
  EXPECT_EQ(op.message(), "SetGroup " + name + ": unknown group no such group here");
  File* created = File::OpenFullySpecified(Path("g").c_str(), "w", Attr_t(), 0600,
                                           "no such group here");
  EXPECT_EQ(created, nullptr);
  EXPECT_FALSE(File::Exists(Path("g").c_str()));
  // Bits that shut everyone out stop only unprivileged processes.
  ASSERT_TRUE(File::SetMode(name.c_str(), 0));
  EXPECT_EQ(File::Readable(name.c_str()), who->privileged);
  File* f = File::Open(name.c_str(), "r");
  EXPECT_EQ(f != nullptr, who->privileged);
  if (f != nullptr) file::CloseAndDelete(f);
}

TEST_F(MemFs, CopiesCrossToTheLocalDiskAndBack) {
  const char* tmp = std::getenv("PQ_TEST_TMP");
  ::string local_dir = ::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") +
                       "/memfs_test.XXXXXX";
  ASSERT_NE(mkdtemp(local_dir.data()), nullptr);
  const std::string data("cross\0over", 10);
  ASSERT_TRUE(File::WriteStringToFile(data, Path("m")));
  const ::string local = local_dir + "/l";
  EXPECT_TRUE(File::Copy(Path("m").c_str(), local.c_str(), false));
  EXPECT_TRUE(File::Copy(local.c_str(), Path("back").c_str(), false));
  EXPECT_EQ(Contents(Path("back")), data);
  EXPECT_FALSE(File::Rename(Path("m").c_str(), (local_dir + "/r").c_str(), false));
  int files = 0;
  int dirs = 0;
  File::DeleteRecursively(local_dir, &files, &dirs);
  EXPECT_EQ(files, 1);
}

TEST_F(MemFs, LocksConflictInProcessAndReleaseOnClose) {
  const ::string name = Path("locked");
  ASSERT_TRUE(File::WriteStringToFile("x", name));
  LockInfo exclusive(LockInfo::EXCLUSIVE, /*blocking=*/false);
  LockInfo shared(LockInfo::SHARED, /*blocking=*/false);
  File* first = File::OpenLocked(name.c_str(), "r", &shared);
  File* second = File::OpenLocked(name.c_str(), "r", &shared);
  ASSERT_NE(first, nullptr);
  ASSERT_NE(second, nullptr);
  EXPECT_EQ(File::OpenLocked(name.c_str(), "r", &exclusive), nullptr);
  file::CloseAndDelete(first);
  file::CloseAndDelete(second);
  File* owner = File::OpenLocked(name.c_str(), "r", &exclusive);
  ASSERT_NE(owner, nullptr);
  // A blocking request waits until the holder lets go.
  std::atomic<bool> acquired{false};
  std::thread waiter([&] {
    LockInfo blocking(LockInfo::EXCLUSIVE, /*blocking=*/true);
    File* f = File::OpenLocked(name.c_str(), "r", &blocking);
    acquired = f != nullptr;
    if (f != nullptr) file::CloseAndDelete(f);
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_FALSE(acquired);
  file::CloseAndDelete(owner);
  waiter.join();
  EXPECT_TRUE(acquired);
}

TEST_F(MemFs, ConcurrentWritersOnDifferentFilesAndOneAppendTarget) {
  constexpr int kThreads = 8;
  constexpr int kRecords = 500;
  const ::string shared = Path("log");
  ASSERT_TRUE(File::WriteStringToFile("", shared));
  vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      File* own = File::Open(Path(("own" + std::to_string(t)).c_str()).c_str(), "w");
      File* log = File::Open(shared.c_str(), "a");
      if (own == nullptr || log == nullptr) return;
      const ::string record(64, static_cast<char>('A' + t));
      for (int i = 0; i < kRecords; ++i) {
        own->Write(record.data(), record.size());
        log->Write(record.data(), record.size());
      }
      file::CloseAndDelete(own);
      file::CloseAndDelete(log);
    });
  }
  for (auto& thread : threads) thread.join();
  for (int t = 0; t < kThreads; ++t) {
    EXPECT_EQ(Contents(Path(("own" + std::to_string(t)).c_str())),
              ::string(64 * kRecords, static_cast<char>('A' + t)));
  }
  const ::string log = Contents(shared);
  ASSERT_EQ(log.size(), size_t{64} * kRecords * kThreads);
  // Appends are atomic: every 64-byte record is one writer's.
  for (size_t i = 0; i < log.size(); i += 64) {
    ASSERT_EQ(log.substr(i, 64), ::string(64, log[i])) << "at " << i;
  }
}

}  // namespace
