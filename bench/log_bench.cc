// Log benchmarks, as ratios and figures from one run on this machine:
//  1. Writing 1 KiB records through LogWriter (a new file every 64 MiB)
//     against the record writer of a single file that the log uses,
//     alternating rounds; the median of the per-round throughput ratios.
//  2. Tail latency: a writer thread writes and flushes one record every
//     millisecond while a reader thread polls; the time from Flush returning
//     to the reader holding the record (median and 99th percentile).
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "file/base/file.h"
#include "file/base/logio.h"
#include "file/base/recordio.h"

namespace {

using Clock = std::chrono::steady_clock;

double Seconds(Clock::duration d) { return std::chrono::duration<double>(d).count(); }

template <class T>
T Median(std::vector<T> v) {
  std::sort(v.begin(), v.end());
  return v[v.size() / 2];
}

void Clean(const std::string& dir) {
  int files = 0, dirs = 0;
  File::DeleteRecursively(dir, &files, &dirs);
  File::RecursivelyCreateDir(dir, 0755);
}

constexpr int64 kRoundBytes = int64{160} << 20;

double LogWriterRound(const std::string& dir, const std::string& record) {
  Clean(dir);
  const auto start = Clock::now();
  {
    LogWriter w(dir + "/log.", "bench", LogWriter::SINGLE_WRITER);
    // The same call as the baseline's (a std::string would be copied into
    // the library's string type for every record).
    for (int64 done = 0; done < kRoundBytes; done += record.size()) {
      if (!w.WriteRecord(record.data(), record.size())) std::abort();
    }
    if (!w.Flush()) std::abort();
  }
  return kRoundBytes / Seconds(Clock::now() - start);
}

double RecordWriterRound(const std::string& dir, const std::string& record) {
  Clean(dir);
  const auto start = Clock::now();
  {
    // Like the log writer, no sync when the file is closed.
    RecordWriter w(File::Open((dir + "/one").c_str(), "a"), RecordWriter::kDefaultBufferSize);
    w.NoSyncOnClose();
    for (int64 done = 0; done < kRoundBytes; done += record.size()) {
      if (!w.WriteRecord(record.data(), record.size())) std::abort();
    }
    if (!w.Close()) std::abort();
  }
  return kRoundBytes / Seconds(Clock::now() - start);
}

void Throughput(const std::string& dir) {
  const std::string record(1024, 'r');
  std::vector<double> ratios, log_rates;
  for (int round = 0; round < 5; ++round) {
    const double base = RecordWriterRound(dir, record);
    const double log = LogWriterRound(dir, record);
    ratios.push_back(log / base);
    log_rates.push_back(log);
  }
  std::printf("log write, 1 KiB records, new file every 64 MiB: %.0f MiB/s, %.2fx the single-file record writer (median of %zu rounds)\n",
              Median(log_rates) / (1 << 20), Median(ratios), ratios.size());
}

void TailLatency(const std::string& dir) {
  Clean(dir);
  constexpr int kRecords = 3000;
  const std::string base = dir + "/tail.";
  std::vector<Clock::time_point> flushed(kRecords), received(kRecords);
  std::atomic<int> published{-1};
  std::thread reader([&] {
    LogReader r(base);
    int got = 0;
    while (got < kRecords) {
      ::string s;
      if (r.ReadRecordAsStringIfAvailable(&s)) {
        received[std::atoi(s.c_str())] = Clock::now();
        ++got;
      } else {
        std::this_thread::sleep_for(std::chrono::microseconds(50));
      }
    }
  });
  LogWriter::setLogChunkSize_TEST(1 << 20);  // several files along the way
  {
    LogWriter w(base, "bench", LogWriter::SINGLE_WRITER);
    auto next = Clock::now();
    for (int i = 0; i < kRecords; ++i) {
      std::string record = std::to_string(i) + " " + std::string(200, 't');
      if (!w.WriteRecord(record) || !w.Flush()) std::abort();
      flushed[i] = Clock::now();
      published = i;
      next += std::chrono::milliseconds(1);
      std::this_thread::sleep_until(next);
    }
  }
  reader.join();
  LogWriter::setLogChunkSize_TEST(0);
  std::vector<double> ms;
  for (int i = 0; i < kRecords; ++i) ms.push_back(std::max(0.0, Seconds(received[i] - flushed[i]) * 1e3));
  std::sort(ms.begin(), ms.end());
  std::printf("tail latency, one record per ms: median %.3f ms, 99th percentile %.3f ms (%d records)\n",
              ms[ms.size() / 2], ms[ms.size() * 99 / 100], kRecords);
}

}  // namespace

int main() {
  const char* root = std::getenv("PQ_BENCH_TMP");
  const std::string dir = std::string(root && *root ? root : "/tmp") + "/pq_log_bench." + std::to_string(getpid());
  TailLatency(dir);
  Throughput(dir);
  int files = 0, dirs = 0;
  File::DeleteRecursively(dir, &files, &dirs);
  return 0;
}
