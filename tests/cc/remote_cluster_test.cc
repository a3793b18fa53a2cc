// The remote file system against servers of its own: a cluster of one
// redirector and two data servers, and a server killed in the middle of a
// write.
#include <signal.h>

#include <chrono>
#include <cstdio>
#include <thread>

#include "file/base/core/operation.h"
#include "tests/cc/fs_conformance.h"
#include "tests/cc/remote_server.h"

namespace {

double Now() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
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
