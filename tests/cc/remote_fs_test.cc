// The remote file system against XRootD servers on loopback, started through
// tools/xrootd-cluster under a temporary directory and stopped by pid (the
// script watches this process and stops its daemons if the test dies in any
// other way): on a shared standalone server the conformance suite (with its
// declared differences), names, errors, deadlines, server-side checksums and
// vector reads; on servers of their own a cluster of one redirector and two
// data servers, and a server killed in the middle of a write.
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
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

class ServerProcess {
 public:
  struct DataServer {
    std::string prefix;    // "root://127.0.0.1:PORT/"
    std::string data_dir;  // where its files live on this machine
  };

  ServerProcess() = default;
  // Does not wait: the script finishes stopping its daemons on its own.
  ~ServerProcess() { Stop(/*wait=*/false); }
  ServerProcess(const ServerProcess&) = delete;
  ServerProcess& operator=(const ServerProcess&) = delete;

  // Starts a standalone server (or a cluster) and waits until it serves;
  // false with *error set when it does not.
  bool Start(bool cluster, std::string* error);
  // Asks the script to stop everything it started; with `wait`, until it has.
  void Stop(bool wait);

  // "root://127.0.0.1:PORT/": a name is this followed by an absolute path.
  const std::string& prefix() const { return prefix_; }
  const std::vector<DataServer>& data_servers() const { return data_servers_; }
  // The pids of the xrootd daemons the script started.
  const std::vector<pid_t>& daemons() const { return daemons_; }

 private:
  pid_t pid_ = -1;
  std::string prefix_;
  std::vector<DataServer> data_servers_;
  std::vector<pid_t> daemons_;
};

bool ServerProcess::Start(bool cluster, std::string* error) {
  int out[2];
  if (pipe2(out, O_CLOEXEC) != 0) {
    *error = "pipe failed";
    return false;
  }
  const std::string script = std::string(PQ_SOURCE_DIR) + "/tools/xrootd-cluster";
  const std::string watch = std::to_string(getpid());
  const pid_t pid = fork();
  if (pid < 0) {
    *error = "fork failed";
    return false;
  }
  if (pid == 0) {
    dup2(out[1], STDOUT_FILENO);
    const char* argv[] = {"bash", script.c_str(), "--watch", watch.c_str(),
                          cluster ? "--cluster" : nullptr, nullptr};
    execv("/bin/bash", const_cast<char* const*>(argv));
    _exit(127);
  }
  pid_ = pid;
  close(out[1]);
  FILE* lines = fdopen(out[0], "r");
  char line[4096];
  bool ready = false;
  while (std::fgets(line, sizeof(line), lines) != nullptr) {
    std::istringstream words(line);
    std::string first;
    words >> first;
    if (first == "ready") {
      ready = true;
      break;
    }
    if (first.rfind("root://", 0) == 0) prefix_ = first;
    if (first == "server") {
      DataServer s;
      words >> s.prefix >> s.data_dir;
      data_servers_.push_back(s);
    }
    if (first == "daemon") {
      std::string name, program;
      long pid_value = 0;  // NOLINT
      words >> name >> program >> pid_value;
      if (program == "xrootd") daemons_.push_back(static_cast<pid_t>(pid_value));
    }
  }
  std::fclose(lines);  // the script writes nothing after "ready"
  if (!ready || prefix_.empty()) {
    *error = "tools/xrootd-cluster did not report a ready server (see its messages above)";
    Stop(true);
    return false;
  }
  return true;
}

void ServerProcess::Stop(bool wait) {
  if (pid_ <= 0) return;
  kill(pid_, SIGTERM);
  if (wait) waitpid(pid_, nullptr, 0);
  pid_ = -1;
}

ServerProcess* shared_server = nullptr;

// At exit the script is told to stop and left to finish on its own: the
// daemons take about 2 s to go, and nothing here needs to wait for that.
void StopSharedServer() {
  if (shared_server != nullptr) shared_server->Stop(/*wait=*/false);
}

// The standalone server the remote tests of this process share: started on
// first use, stopped when the process exits. Fails the calling test (and
// returns "") when it cannot be started.
std::string SharedServerPrefix() {
  static std::once_flag once;
  static std::string prefix, failure;
  std::call_once(once, [] {
    auto* server = new ServerProcess;
    if (!server->Start(/*cluster=*/false, &failure)) return;
    shared_server = server;
    prefix = server->prefix();
    std::atexit(StopSharedServer);
  });
  EXPECT_FALSE(prefix.empty()) << failure;
  return prefix;
}


// A fresh name on the shared server (the prefix plus an absolute path).
std::string RemoteRoot() { return SharedServerPrefix() + "/conformance"; }

FsCapabilities RemoteCapabilities() {
  FsCapabilities caps;
  caps.advisory_locks = false;  // the server keeps none
  caps.set_mtime = false;       // nor sets modification times
  caps.set_group = false;       // nor changes groups
  caps.readers_beside_writer = false;  // a writer has the file to itself
  return caps;
}

INSTANTIATE_TEST_SUITE_P(Remote, FsConformance,
                         ::testing::Values(FsRoot("root://<standalone server>", RemoteRoot,
                                                  RemoteCapabilities())));

double Now() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}


TEST(RemoteName, SplitsServerAndPath) {
  struct Case {
    const char* name;
    const char* server;
    const char* path;
    const char* spelled_prefix;
    const char* parent;
  } cases[] = {
      {"root://h:1094//a/b", "root://h:1094", "/a/b", "root://h:1094/", "root://h:1094//a"},
      {"root://h:1094/a/b", "root://h:1094", "/a/b", "root://h:1094", "root://h:1094/a"},
      {"root://h///a/", "root://h", "/a/", "root://h//", "root://h///"},
      {"root://h/", "root://h", "/", "root://h", "root://h/"},
      {"root://[::1]:1094//x", "root://[::1]:1094", "/x", "root://[::1]:1094/", "root://[::1]:1094//"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    file::remote::RemoteName n;
    ::string reason;
    ASSERT_TRUE(file::remote::ParseRemoteName(c.name, &n, &reason)) << reason;
    EXPECT_EQ(n.server, c.server);
    EXPECT_EQ(n.path, c.path);
    EXPECT_EQ(n.spelled_prefix, c.spelled_prefix);
    EXPECT_EQ(n.spelled_prefix + n.path, ::string(c.name).substr(0, n.spelled_prefix.size() + n.path.size()));
    EXPECT_EQ(file::remote::RemoteParent(n), c.parent);
  }
}

TEST(RemoteName, MalformedNamesFailWithoutReachingAServer) {
  const char* bad[] = {"root://",          "root:///x",        "root://:1094//x",
                       "root://h:0//x",    "root://h:65536//x", "root://h:12a//x",
                       "root://u@h//x",    "root://h//x?y=1",  "root://h//x#frag",
                       "root://h:99999//x"};
  for (const char* name : bad) {
    SCOPED_TRACE(name);
    file::remote::RemoteName n;
    ::string reason;
    EXPECT_FALSE(file::remote::ParseRemoteName(name, &n, &reason));
    EXPECT_FALSE(reason.empty());
    file::Operation op;
    FileStat st;
    EXPECT_EQ(ErrorOf(File::StatWithOp(name, &st, &op), op), file::ERROR_INVALID_ARGUMENT) << op.message();
    EXPECT_EQ(File::Open(name, "w"), nullptr);
  }
  file::remote::RemoteName n;
  ::string reason;
  EXPECT_FALSE(file::remote::ParseRemoteName(::string("root://h//a\0b", 13), &n, &reason));
}

TEST(RemoteName, TheRegistryHandsRootNamesToTheRemoteFileSystem) {
  ::string prefix;
  auto factory = FileFactory::FindPrefixFactoryAndPrefix("root://h:1//x", &prefix);
  ASSERT_NE(factory, nullptr);
  EXPECT_EQ(prefix, "root://");
  EXPECT_EQ(factory, FileFactory::Find(FileFactory::remote_file));
  EXPECT_NE(dynamic_cast<file::remote::RemoteFileFactory*>(factory.get()), nullptr);
}


// Nothing listens on port 1 of the loopback address.
TEST(RemoteUnreachable, FailsSoftWithinTheDeadline) {
  const char* name = "root://127.0.0.1:1//x";
  file::Operation op;
  op.SetDeadlineLength(1.5);
  const double start = Now();
  FileStat st;
  EXPECT_FALSE(File::StatWithOp(name, &st, &op));
  EXPECT_LT(Now() - start, 3.0);
  EXPECT_TRUE(op.error() == file::ERROR_TEMPORARY || op.error() == file::ERROR_DEADLINE_EXCEEDED)
      << op.Status();
  EXPECT_NE(op.message().find(name), ::string::npos) << op.message();

  Handle f(File::Create(name, "w"));
  ASSERT_NE(f, nullptr);
  file::Operation open_op;
  open_op.SetDeadlineLength(1.5);
  const double open_start = Now();
  EXPECT_FALSE(f->OpenWithOp(&open_op));
  EXPECT_LT(Now() - open_start, 3.0);
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
  ASSERT_TRUE(file::remote::ServerChecksum(P("f"), "adler32", &hex, nullptr));
  EXPECT_EQ(hex, "091e01de");
  file::Operation op;
  EXPECT_FALSE(file::remote::ServerChecksum(P("missing"), "crc32c", &hex, &op));
  EXPECT_NE(op.error(), file::OK);
  EXPECT_FALSE(file::remote::ServerChecksum(P("f"), "crc32c&x=1", &hex, &op));
  EXPECT_EQ(op.error(), file::ERROR_INVALID_ARGUMENT);
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
  ASSERT_EQ(out.size(), 5u);
  EXPECT_EQ(out[0], data.substr(0, 5));
  EXPECT_EQ(out[1], data.substr(99990));
  EXPECT_EQ(out[2], "");
  EXPECT_EQ(out[3], "");
  EXPECT_EQ(out[4], data.substr(7, 3));
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
    EXPECT_EQ(writes[i].Error(), file::OK);
    EXPECT_EQ(written[i], 1000);
  }
  for (int i = kCount - 1; i >= 0; --i) ASSERT_TRUE(f->PReadAsync(i * 1000 + 500, 1000, &back[i], &got[i], &reads[i]));
  for (int i = 0; i < kCount; ++i) {
    reads[i].Wait();
    ASSERT_EQ(reads[i].Error(), file::OK);
    EXPECT_EQ(got[i], i == kCount - 1 ? 500 : 1000);  // the last one meets the end
    EXPECT_EQ(back[i].ToString().substr(0, 500), std::string(500, static_cast<char>('A' + i)));
  }
  // A closed handle refuses new requests through the watcher.
  ASSERT_TRUE(f->Close());
  IOBuffer late;
  AsyncIOWatcher late_done;
  int64 late_count = 0;
  if (f->PReadAsync(0, 10, &late, &late_count, &late_done)) {
    late_done.Wait();
    EXPECT_NE(late_done.Error(), file::OK);
  }
}

TEST_F(RemoteFs, ErrorsCarryCodesAndTheServersWords) {
  MkDirs("d/e");
  Put("d/f", "x");
  file::Operation op;
  struct Case {
    std::function<bool(file::Operation*)> call;
    int code;
  } cases[] = {
      {[&](file::Operation* o) { return File::DeleteDirWithOp(P("d").c_str(), o); }, file::ERROR_NOT_EMPTY},
      {[&](file::Operation* o) { return File::CreateDirWithOp(P("d").c_str(), 0755, o); },
       file::ERROR_ALREADY_EXISTS},
      {[&](file::Operation* o) { return File::CreateDirWithOp(P("no/such").c_str(), 0755, o); },
       file::ERROR_NOT_FOUND},
      {[&](file::Operation* o) { return File::RenameWithOp(P("d/f").c_str(), "root://127.0.0.1:1//elsewhere", false, o); },
       file::ERROR_UNIMPLEMENTED},
      {[&](file::Operation* o) {
         std::unique_ptr<file::HeldLock> held;
         return FileFactory::ForName(dir_.c_str())->AcquireLock(P("d/f"), LockInfo(LockInfo::SHARED, false), &held, o);
       },
       file::ERROR_UNIMPLEMENTED},
  };
  for (auto& c : cases) {
    EXPECT_EQ(ErrorOf(c.call(&op), op), c.code) << op.message();
    EXPECT_NE(op.message().find(dir_), ::string::npos) << op.message();
  }
  // The server's own refusals: a directory its daemon may not write into.
  MkDirs("ro");
  ASSERT_TRUE(File::SetMode(P("ro").c_str(), 0555));
  Handle refused(File::Create(P("ro/x"), "w"));
  ASSERT_NE(refused, nullptr);
  EXPECT_EQ(ErrorOf(refused->OpenWithOp(&op), op), file::ERROR_PERMISSION_DENIED) << op.message();
  ASSERT_TRUE(File::SetMode(P("ro").c_str(), 0755));
  EXPECT_FALSE(File::SetOwner(P("d/f").c_str(), "root"));
  // Opening for writing with a group to set is refused before anything is created.
  FileOpenOptions options;
  options.set_group("root");
  EXPECT_EQ(File::OpenWithOptions(P("g").c_str(), "w", options), nullptr);
  EXPECT_FALSE(Exists("g"));
}

TEST_F(RemoteFs, DeadlinesBoundEveryCall) {
  Put("f", std::string(1 << 20, 'x'));
  Handle f = OpenOrFail(P("f"), "r+");
  // A generous deadline lets the work through; the copy path is used.
  file::Operation op;
  op.SetDeadlineLength(30);
  std::string buffer(1 << 20, '\0');
  EXPECT_EQ(f->PReadWithOp(0, buffer.data(), buffer.size(), &op), 1 << 20);
  EXPECT_EQ(buffer, std::string(1 << 20, 'x'));
  EXPECT_EQ(f->PWriteWithOp(10, "yy", 2, &op), 2);
  EXPECT_EQ(f->PReadWithOp(9, buffer.data(), 4, &op), 4);
  EXPECT_EQ(buffer.substr(0, 4), "xyyx");
  FileStat st;
  EXPECT_TRUE(File::StatWithOp(P("f").c_str(), &st, &op));
  EXPECT_EQ(st.length, 1 << 20);
}

TEST(RemoteCluster, FilesLandOnBothServersAndReadBackThroughTheRedirector) {
  ServerProcess cluster;
  std::string error;
  ASSERT_TRUE(cluster.Start(/*cluster=*/true, &error)) << error;
  ASSERT_EQ(cluster.data_servers().size(), 2u);
  // Each new file costs the redirector a lookup (about a second): write them
  // side by side.
  constexpr int kFiles = 8;
  auto name = [&](int i) { return cluster.prefix() + "/smoke-" + std::to_string(i); };
  auto contents = [](int i) { return std::string(1000 + i, static_cast<char>('a' + i)); };
  std::vector<std::thread> writers;
  std::vector<int> written(kFiles, 0);
  for (int i = 0; i < kFiles; ++i) {
    writers.emplace_back([&, i] { written[i] = File::WriteStringToFile(contents(i), name(i)); });
  }
  for (auto& t : writers) t.join();
  // Reads through the redirector look names up too (the attribute record's
  // among them): also side by side.
  std::vector<::string> back(kFiles);
  std::vector<FileStat> stats(kFiles);
  std::vector<int> read_ok(kFiles, 0), stat_ok(kFiles, 0);
  std::vector<std::thread> readers;
  for (int i = 0; i < kFiles; ++i) {
    readers.emplace_back([&, i] {
      read_ok[i] = File::ReadFileToString(name(i), &back[i]);
      stat_ok[i] = File::Stat(name(i).c_str(), &stats[i]);
    });
  }
  for (auto& t : readers) t.join();
  int on_first = 0, on_second = 0;
  for (int i = 0; i < kFiles; ++i) {
    SCOPED_TRACE(name(i));
    EXPECT_TRUE(written[i]);
    const std::string tail = "/smoke-" + std::to_string(i);
    const bool first = File::Exists((cluster.data_servers()[0].data_dir + tail).c_str());
    const bool second = File::Exists((cluster.data_servers()[1].data_dir + tail).c_str());
    EXPECT_NE(first, second) << "every file lives on exactly one data server";
    on_first += first;
    on_second += second;
    EXPECT_TRUE(read_ok[i]);
    EXPECT_EQ(back[i], contents(i));
    EXPECT_TRUE(stat_ok[i]);
    EXPECT_EQ(stats[i].length, 1000 + i);
  }
  EXPECT_GT(on_first, 0);
  EXPECT_GT(on_second, 0);
}

TEST(RemoteFault, AServerKilledMidWriteFailsSoftAndNothingIsAcknowledged) {
  ServerProcess server;
  std::string error;
  ASSERT_TRUE(server.Start(/*cluster=*/false, &error)) << error;
  ASSERT_EQ(server.daemons().size(), 1u);
  const std::string name = server.prefix() + "/victim";
  File* f = File::Open(name.c_str(), "w");
  ASSERT_NE(f, nullptr);
  const std::string piece(1 << 20, 'x');
  ASSERT_EQ(f->Write(piece.data(), piece.size()), static_cast<int64>(piece.size()));
  ASSERT_EQ(kill(server.daemons()[0], SIGKILL), 0);
  file::Operation op;
  op.SetDeadlineLength(2);
  const double start = Now();
  int64 result = 0;
  for (int i = 0; i < 20 && result >= 0; ++i) result = f->WriteWithOp(piece.data(), piece.size(), &op);
  EXPECT_EQ(result, -1) << "writes to a dead server were acknowledged";
  EXPECT_LT(Now() - start, 2 + 2.0);
  EXPECT_TRUE(f->IsSoftError()) << f->GetCurrentErrorMessage();
  EXPECT_NE(f->GetCurrentErrorMessage().find(name), ::string::npos) << f->GetCurrentErrorMessage();
  // Closing cannot confirm the writes either.
  const double close_start = Now();
  EXPECT_FALSE(file::CloseAndDelete(f));
  EXPECT_LT(Now() - close_start, 15.0);
  std::printf("close after the kill failed in %.1f s\n", Now() - close_start);
  file::Operation stat_op;
  stat_op.SetDeadlineLength(1);
  FileStat st;
  EXPECT_FALSE(File::StatWithOp(name.c_str(), &st, &stat_op));
  EXPECT_TRUE(stat_op.error() == file::ERROR_TEMPORARY ||
              stat_op.error() == file::ERROR_DEADLINE_EXCEEDED)
      << stat_op.Status();
}

}  // namespace
