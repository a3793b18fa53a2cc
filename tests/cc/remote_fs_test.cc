// The remote file system against XRootD servers on loopback, started through
// tools/xrootd-cluster under a temporary directory and stopped by pid (the
// script watches this process and stops its daemons if the test dies in any
// other way): on a shared standalone server the conformance suite (with its
// declared differences), names, errors, deadlines, server-side checksums and
// vector reads; on servers of their own a cluster of one redirector and two
// data servers used from several threads, a server killed mid-write, a full one.
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "file/base/core/async.h"
#include "file/base/core/operation.h"
#include "file/base/remote/remote_file.h"
#include "file/base/remote/remote_name.h"
#include "tests/cc/fs_conformance.h"

namespace {

// One run of tools/xrootd-cluster: a standalone server or a cluster. Going
// out of scope asks the script to stop without waiting for it.
struct ServerProcess {
  ~ServerProcess() { Stop(/*wait=*/false); }
  // Starts the servers (a standalone one on a tmpfs of `space` if given) and
  // waits until they serve; false with *error set when they do not.
  bool Start(bool cluster, std::string* error, const char* space = nullptr);
  void Stop(bool wait) {
    if (pid > 0 && kill(pid, SIGTERM) == 0 && wait) waitpid(pid, &status, 0);
    pid = -1;
  }

  pid_t pid = -1;
  std::string prefix;  // "root://127.0.0.1:PORT/": a name is this followed by an absolute path
  std::vector<pid_t> daemons;  // the xrootd daemons the script started
  int status = 0;  // the script's wait status once stopped and waited for
};

bool ServerProcess::Start(bool cluster, std::string* error, const char* space) {
  const std::string script = std::string(PQ_SOURCE_DIR) + "/tools/xrootd-cluster";
  const std::string watch = std::to_string(getpid());
  int out[2];
  if (pipe2(out, O_CLOEXEC) != 0 || (pid = fork()) < 0) {
    *error = "pipe or fork failed";
    return false;
  }
  if (pid == 0) {
    dup2(out[1], STDOUT_FILENO);
    const char* argv[] = {"bash", script.c_str(), "--watch", watch.c_str(),
                          cluster ? "--cluster" : space != nullptr ? "--space" : nullptr, space, nullptr};
    execv("/bin/bash", const_cast<char* const*>(argv));
    _exit(127);
  }
  close(out[1]);
  FILE* lines = fdopen(out[0], "r");
  char line[4096];
  std::string first;
  while (first != "ready" && std::fgets(line, sizeof(line), lines) != nullptr) {
    std::istringstream words(line);
    words >> first;
    if (first.rfind("root://", 0) == 0) prefix = first;
    std::string name, program;
    long daemon = 0;  // NOLINT
    if (first == "daemon" && words >> name >> program >> daemon && program == "xrootd") daemons.push_back(daemon);
  }
  std::fclose(lines);  // the script writes nothing after "ready"
  if (first == "ready" && !prefix.empty()) return true;
  *error = "tools/xrootd-cluster did not report a ready server (see its messages above)";
  Stop(/*wait=*/true);
  return false;
}

ServerProcess* shared_server = nullptr;

// The standalone server the remote tests of this process share: started on
// first use, told to stop when the process exits (without waiting: nothing
// here needs the daemons' last 2 s). Fails the calling test (and returns "")
// when it cannot be started.
std::string SharedServerPrefix() {
  static std::once_flag once;
  static std::string failure;
  std::call_once(once, [] {
    shared_server = new ServerProcess;
    if (!shared_server->Start(/*cluster=*/false, &failure)) return;
    std::atexit([] { shared_server->Stop(/*wait=*/false); });
  });
  EXPECT_FALSE(shared_server->prefix.empty()) << failure;
  return shared_server->prefix;
}

std::string RemoteRoot() { return SharedServerPrefix() + "/conformance"; }

// The server keeps no locks, sets no modification times, changes no groups,
// and gives a writer the file to itself.
constexpr FsCapabilities kRemoteCapabilities{
    .advisory_locks = false, .set_mtime = false, .set_group = false, .readers_beside_writer = false};
INSTANTIATE_TEST_SUITE_P(Remote, FsConformance,
                         ::testing::Values(FsRoot("root://<standalone server>", RemoteRoot, kRemoteCapabilities)));

double Now() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

TEST(RemoteName, SplitsServerAndPath) {
  // "server|path|spelled prefix|parent"
  const std::pair<const char*, const char*> cases[] = {
      {"root://h:1094//a/b", "root://h:1094|/a/b|root://h:1094/|root://h:1094//a"},
      {"root://h:1094/a/b", "root://h:1094|/a/b|root://h:1094|root://h:1094/a"},
      {"root://h///a/", "root://h|/a/|root://h//|root://h///"},
      {"root://h/", "root://h|/|root://h|root://h/"},
      {"root://[::1]:1094//x", "root://[::1]:1094|/x|root://[::1]:1094/|root://[::1]:1094//"},
  };
  for (const auto& [name, expected] : cases) {
    file::remote::RemoteName n;
    ::string reason;
    ASSERT_TRUE(file::remote::ParseRemoteName(name, &n, &reason)) << reason;
    EXPECT_EQ(n.server + "|" + n.path + "|" + n.spelled_prefix + "|" + file::remote::RemoteParent(n), expected);
  }
}

TEST(RemoteName, MalformedNamesFailWithoutReachingAServer) {
  file::remote::RemoteName n;
  ::string reason;
  for (const char* name : {"root://", "root:///x", "root://:1094//x", "root://h:0//x", "root://h:65536//x",
                           "root://h:12a//x", "root://u@h//x", "root://h//x?y=1", "root://h//x#frag"}) {
    SCOPED_TRACE(name);
    reason.clear();
    EXPECT_FALSE(file::remote::ParseRemoteName(name, &n, &reason));
    EXPECT_FALSE(reason.empty());
    file::Operation op;
    FileStat st;
    EXPECT_EQ(ErrorOf(File::StatWithOp(name, &st, &op), op), file::ERROR_INVALID_ARGUMENT) << op.message();
    EXPECT_EQ(File::Open(name, "w"), nullptr);
  }
  EXPECT_FALSE(file::remote::ParseRemoteName(::string("root://h//a\0b", 13), &n, &reason));
}

// Nothing listens on port 1 of the loopback address.
TEST(RemoteUnreachable, FailsSoftWithinTheDeadline) {
  const char* name = "root://127.0.0.1:1//x";
  file::Operation op, open_op;
  op.SetDeadlineLength(1.5);
  open_op.SetDeadlineLength(1.5);
  double start = Now();
  FileStat st;
  EXPECT_FALSE(File::StatWithOp(name, &st, &op));
  EXPECT_LT(Now() - start, 3.0);
  EXPECT_TRUE(op.error() == file::ERROR_TEMPORARY || op.error() == file::ERROR_DEADLINE_EXCEEDED) << op.Status();
  EXPECT_NE(op.message().find(name), ::string::npos) << op.message();
  Handle f(File::Create(name, "w"));
  ASSERT_NE(f, nullptr);
  start = Now();
  EXPECT_FALSE(f->OpenWithOp(&open_op));
  EXPECT_LT(Now() - start, 3.0);
  EXPECT_TRUE(f->IsSoftError()) << f->GetCurrentErrorMessage();
}

class RemoteFs : public FsTest {
 protected:
  void SetUp() override {
    const std::string prefix = SharedServerPrefix();
    ASSERT_FALSE(prefix.empty());
    MakeDir(prefix + "/remote");
  }
};

TEST_F(RemoteFs, ServerChecksumsMatchTheKnownValues) {
  Put("f", "123456789");
  ::string hex;
  ASSERT_TRUE(file::remote::ServerChecksum(P("f"), "crc32c", &hex, nullptr));
  EXPECT_EQ(hex, "e3069283");  // CRC-32C check value
  file::Operation op;
  EXPECT_FALSE(file::remote::ServerChecksum(P("missing"), "crc32c", &hex, &op));
  EXPECT_NE(op.error(), file::OK);
  EXPECT_EQ(ErrorOf(file::remote::ServerChecksum(P("f"), "crc32c&x=1", &hex, &op), op), file::ERROR_INVALID_ARGUMENT);
}

TEST_F(RemoteFs, VectorReadsCutRangesAtTheEnd) {
  std::string data(100000, '\0');
  for (size_t i = 0; i < data.size(); ++i) data[i] = static_cast<char>('a' + i % 23);
  Put("f", data);
  Handle f = OpenOrFail(P("f"), "r");
  auto* remote = dynamic_cast<file::remote::RemoteFile*>(f.get());
  ASSERT_NE(remote, nullptr);
  vector<::string> out;
  file::Operation op;
  ASSERT_TRUE(remote->ReadRanges({{0, 5}, {99990, 100}, {50000, 0}, {200000, 4}, {7, 3}}, &out, &op))
      << op.message();
  EXPECT_EQ(out, (vector<::string>{data.substr(0, 5), data.substr(99990), "", "", data.substr(7, 3)}));
  EXPECT_EQ(ErrorOf(remote->ReadRanges({{-1, 3}}, &out, &op), op), file::ERROR_INVALID_ARGUMENT);
  EXPECT_FALSE(remote->ReadRanges(vector<file::remote::RemoteFile::Range>(1025, {0, 1}), &out, &op));
}

TEST_F(RemoteFs, ManyAsyncReadsAndWritesInFlightAtOnce) {
  Handle f = OpenOrFail(P("f"), "w+");
  constexpr int kCount = 32;
  std::vector<IOBuffer> pieces, back(kCount);
  for (int i = 0; i < kCount; ++i) pieces.emplace_back(std::string(1000, static_cast<char>('A' + i)).data(), 1000);
  std::vector<AsyncIOWatcher> writes(kCount), reads(kCount);
  std::vector<int64> written(kCount, 0), got(kCount, 0);
  for (int i = 0; i < kCount; ++i) ASSERT_TRUE(f->PWriteAsync(i * 1000, &pieces[i], &written[i], &writes[i]));
  for (int i = 0; i < kCount; ++i) {
    writes[i].Wait();
    EXPECT_EQ(std::pair(writes[i].Error(), written[i]), std::pair(int{file::OK}, int64{1000}));
  }
  for (int i = kCount - 1; i >= 0; --i) ASSERT_TRUE(f->PReadAsync(i * 1000 + 500, 1000, &back[i], &got[i], &reads[i]));
  for (int i = 0; i < kCount; ++i) {
    reads[i].Wait();
    ASSERT_EQ(reads[i].Error(), file::OK);
    EXPECT_EQ(got[i], i == kCount - 1 ? 500 : 1000);  // the last one meets the end
    EXPECT_EQ(back[i].ToString().substr(0, 500), std::string(500, static_cast<char>('A' + i)));
  }
  // A closed handle refuses new requests, through the watcher if not at once.
  ASSERT_TRUE(f->Close());
  AsyncIOWatcher late;
  if (f->PReadAsync(0, 10, &back[0], &got[0], &late)) {
    late.Wait();
    EXPECT_NE(late.Error(), file::OK);
  }
}

// The directory cases (not empty, exists, missing parent) the server would
// do differently and the locks it does not keep are refused as the
// conformance suite checks; these are the rest.
TEST_F(RemoteFs, ErrorsCarryCodesAndTheServersWords) {
  Put("f", "x");
  file::Operation op;
  const bool moved = File::RenameWithOp(P("f").c_str(), "root://127.0.0.1:1//elsewhere", false, &op);
  EXPECT_EQ(ErrorOf(moved, op), file::ERROR_UNIMPLEMENTED) << op.message();
  EXPECT_NE(op.message().find(dir_), ::string::npos) << op.message();
  // The server's own refusals: a directory its daemon may not write into.
  MkDirs("ro");
  ASSERT_TRUE(File::SetMode(P("ro").c_str(), 0555));
  Handle refused(File::Create(P("ro/x"), "w"));
  ASSERT_NE(refused, nullptr);
  EXPECT_EQ(ErrorOf(refused->OpenWithOp(&op), op), file::ERROR_PERMISSION_DENIED) << op.message();
  ASSERT_TRUE(File::SetMode(P("ro").c_str(), 0755));
  // Opening for writing with a group to set is refused before anything is created.
  FileOpenOptions options;
  options.set_group("root");
  EXPECT_EQ(File::OpenWithOptions(P("g").c_str(), "w", options), nullptr);
  EXPECT_FALSE(Exists("g"));
}

// Under a deadline reads go through a buffer of the file system's own (the
// wait may end first); with a generous one the bytes still arrive whole.
TEST_F(RemoteFs, ReadsAndWritesUnderADeadline) {
  Put("f", std::string(1 << 20, 'x'));
  Handle f = OpenOrFail(P("f"), "r+");
  file::Operation op;
  op.SetDeadlineLength(30);
  std::string buffer(1 << 20, '\0');
  EXPECT_EQ(f->PReadWithOp(0, buffer.data(), buffer.size(), &op), 1 << 20);
  EXPECT_EQ(buffer, std::string(1 << 20, 'x'));
  EXPECT_EQ(f->PWriteWithOp(10, "yy", 2, &op), 2);
  EXPECT_EQ(f->PReadWithOp(9, buffer.data(), 4, &op), 4);
  EXPECT_EQ(buffer.substr(0, 4), "xyyx");
}

TEST(RemoteCluster, FilesWrittenThroughTheRedirectorReadBack) {
  ServerProcess cluster;
  std::string error;
  ASSERT_TRUE(cluster.Start(/*cluster=*/true, &error)) << error;
  // Each new name costs the redirector a lookup (about a second), reads and
  // stats too: the files go side by side.
  constexpr int kFiles = 8;
  auto name = [&](int i) { return cluster.prefix + "/smoke-" + std::to_string(i); };
  auto contents = [](int i) { return std::string(1000 + i, static_cast<char>('a' + i)); };
  std::vector<::string> back(kFiles);
  std::vector<FileStat> stats(kFiles);
  std::vector<int> ok(kFiles, 0);
  std::vector<std::thread> threads;
  for (int i = 0; i < kFiles; ++i) {
    threads.emplace_back([&, i] {
      ok[i] = File::WriteStringToFile(contents(i), name(i)) && File::ReadFileToString(name(i), &back[i]) &&
              File::Stat(name(i).c_str(), &stats[i]);
    });
  }
  for (auto& t : threads) t.join();
  for (int i = 0; i < kFiles; ++i) {
    EXPECT_TRUE(ok[i]) << name(i);
    EXPECT_EQ(back[i], contents(i)) << name(i);
    EXPECT_EQ(stats[i].length, 1000 + i) << name(i);
  }
}

TEST(RemoteFault, AServerKilledMidWriteFailsSoftAndNothingIsAcknowledged) {
  ServerProcess server;
  std::string error;
  ASSERT_TRUE(server.Start(/*cluster=*/false, &error)) << error;
  ASSERT_EQ(server.daemons.size(), 1u);
  const std::string name = server.prefix + "/victim";
  File* f = File::Open(name.c_str(), "w");
  ASSERT_NE(f, nullptr);
  const std::string piece(1 << 20, 'x');
  ASSERT_EQ(f->Write(piece.data(), piece.size()), static_cast<int64>(piece.size()));
  ASSERT_EQ(kill(server.daemons[0], SIGKILL), 0);
  file::Operation op, stat_op;
  op.SetDeadlineLength(2);
  stat_op.SetDeadlineLength(1);
  double start = Now();
  int64 result = 0;
  for (int i = 0; i < 20 && result >= 0; ++i) result = f->WriteWithOp(piece.data(), piece.size(), &op);
  EXPECT_EQ(result, -1) << "writes to a dead server were acknowledged";
  EXPECT_LT(Now() - start, 2 + 2.0);
  EXPECT_TRUE(f->IsSoftError()) << f->GetCurrentErrorMessage();
  EXPECT_NE(f->GetCurrentErrorMessage().find(name), ::string::npos) << f->GetCurrentErrorMessage();
  // Closing cannot confirm the writes either.
  start = Now();
  EXPECT_FALSE(file::CloseAndDelete(f));
  EXPECT_LT(Now() - start, 15.0);
  FileStat st;
  EXPECT_FALSE(File::StatWithOp(name.c_str(), &st, &stat_op));
  EXPECT_TRUE(stat_op.error() == file::ERROR_TEMPORARY || stat_op.error() == file::ERROR_DEADLINE_EXCEEDED)
      << stat_op.Status();
}

// A full server acknowledged a write that fitted in part: Sync and Close say so.
TEST(RemoteFault, AFullServerFailsWritesAndCloseAndKeepsAPrefix) {
  ServerProcess server;
  std::string error;
  if (!server.Start(/*cluster=*/false, &error, "4m") && WIFEXITED(server.status) && WEXITSTATUS(server.status) == 3)
    GTEST_SKIP() << "this machine cannot give a server a private tmpfs (no user or mount namespaces)";
  ASSERT_FALSE(server.prefix.empty()) << error;
  const std::string name = server.prefix + "/full";
  Handle f = OpenOrFail(name, "w");
  std::string written, piece;
  file::Operation op;
  for (int64 n = 0, i = 0; n >= 0 && i < 6; ++i, written += n >= 0 ? piece : "")  // the third fits in part
    n = f->WriteWithOp(piece.assign(3 << 19, static_cast<char>('a' + i)).data(), 3 << 19, &op);
  EXPECT_TRUE(op.error() == file::ERROR_NO_SPACE && op.message().find(name) != ::string::npos) << op.message();
  EXPECT_EQ(ErrorOf(f->PWriteWithOp(5 << 20, "z", 1, &op), op), file::ERROR_NO_SPACE);
  EXPECT_EQ(ErrorOf(f->Sync(), f), file::ERROR_NO_SPACE) << f->GetCurrentErrorMessage();
  EXPECT_EQ(ErrorOf(f->Close(), f), file::ERROR_NO_SPACE) << f->GetCurrentErrorMessage();
  ::string back;
  ASSERT_TRUE(File::ReadFileToString(name, &back) && File::Delete(name.c_str()));
  EXPECT_TRUE(back.size() >= 2u << 20 && back.size() < written.size() && back == written.substr(0, back.size()));
  EXPECT_TRUE(File::WriteStringToFile(back, name));
}

}  // namespace
