// Checksums, SHA-1 and Reed-Solomon archives: throughput in GB/s of CPU
// time and as a ratio to memcpy of the same bytes measured in the same run
// (medians of several rounds).
//
//   crc64      ChecksumState::Add on 1 MiB pieces
//   sha1       Sha1::Update on 1 MiB pieces
//   encode     9-of-13 parity of 256 KiB cells (GB/s of data encoded)
//   rebuild    reading a 256 MiB 9-of-13 archive that lost 4 shards (two of
//              them data shards), against reading it whole
//   repair     rewriting those 4 shards
#include <algorithm>
#include <time.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "file/base/checksums/checksum.h"
#include "file/base/core/operation.h"
#include "file/base/file.h"
#include "file/base/redundancy/archive.h"
#include "file/base/redundancy/reed_solomon.h"
#include "file/base/redundancy/sha1.h"

namespace {

constexpr int64 kMiB = 1 << 20;
constexpr int kRounds = 5;

// The machine is shared, so work is timed by the CPU time of this thread
// (everything measured runs on it); the wall time of the last run goes to
// wall_seconds.
double wall_seconds = 0;
double ThreadSeconds() {
  timespec t;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return t.tv_sec + t.tv_nsec * 1e-9;
}
double Seconds(const std::function<void()>& work) {
  const auto wall = std::chrono::steady_clock::now();
  const double start = ThreadSeconds();
  work();
  wall_seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - wall).count();
  return ThreadSeconds() - start;
}

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

// Median seconds of kRounds runs.
double MedianSeconds(const std::function<void()>& work) {
  std::vector<double> times;
  for (int i = 0; i < kRounds; ++i) times.push_back(Seconds(work));
  return Median(times);
}

std::string CpuShaExtensions() {
  std::ifstream cpuinfo("/proc/cpuinfo");
  std::string line;
  while (std::getline(cpuinfo, line)) {
    if (line.rfind("flags", 0) == 0 || line.rfind("Features", 0) == 0) {
      std::string found;
      for (const char* flag : {" sha_ni", " sha1", " sha2"}) {
        if ((line + " ").find(std::string(flag) + " ") != std::string::npos) found += flag;
      }
      return found.empty() ? " none" : found;
    }
  }
  return " unknown";
}

void Report(const char* what, int64 bytes, double seconds, double baseline_seconds) {
  std::printf("  %-8s %8.2f GB/s  %6.2f x memcpy  (%.1f ms for %lld MiB)\n", what, bytes / seconds / 1e9,
              baseline_seconds / seconds, seconds * 1e3, static_cast<long long>(bytes / kMiB));
}

}  // namespace

int main() {
  std::printf("redundancy_bench (median of %d rounds; CPU SHA extensions:%s)\n", kRounds,
              CpuShaExtensions().c_str());
  const int64 total = 256 * kMiB;
  std::string data(static_cast<size_t>(total), '\0');
  std::mt19937_64 gen(1);
  for (size_t i = 0; i + 8 <= data.size(); i += 8) {
    const uint64 v = gen();
    std::memcpy(&data[i], &v, 8);
  }
  std::string copy(data.size(), '\0');
  const double memcpy_s = MedianSeconds([&] {
    for (int64 at = 0; at < total; at += kMiB) std::memcpy(&copy[at], &data[at], kMiB);
  });
  std::printf("  %-8s %8.2f GB/s  (baseline)\n", "memcpy", total / memcpy_s / 1e9);

  uint64 sink = 0;
  const double crc_s = MedianSeconds([&] {
    ChecksumState state;
    for (int64 at = 0; at < total; at += kMiB) state.Add(&data[at], kMiB);
    sink ^= state.Checksum();
  });
  Report("crc64", total, crc_s, memcpy_s);

  const double sha_s = MedianSeconds([&] {
    Sha1 sha;
    for (int64 at = 0; at < total; at += kMiB) sha.Update(&data[at], kMiB);
    sink ^= static_cast<unsigned char>(sha.Digest()[0]);
  });
  Report("sha1", total, sha_s, memcpy_s);

  const redundancy::ReedSolomonCodec codec(9, 13);
  const int64 cell = 256 * 1024, stripe = 9 * cell;
  std::vector<std::string> parity(4, std::string(cell, '\0'));
  const int64 encoded = total / stripe * stripe;
  const double encode_s = MedianSeconds([&] {
    for (int64 at = 0; at + stripe <= total; at += stripe) {
      const unsigned char* cells[9];
      unsigned char* out[4];
      for (int j = 0; j < 9; ++j) cells[j] = reinterpret_cast<const unsigned char*>(&data[at + j * cell]);
      for (int p = 0; p < 4; ++p) out[p] = reinterpret_cast<unsigned char*>(parity[p].data());
      codec.Encode(cell, cells, out);
    }
  });
  Report("encode", encoded, encode_s, memcpy_s);
  copy.clear();
  copy.shrink_to_fit();

  // The archive lives in memory, so the figures are the library's, not the disk's.
  const std::string name = "/mem/redundancy_bench/archive";
  File::RecursivelyCreateDir("/mem/redundancy_bench", 0755);
  File::WriteStringToFile(data, name);
  vector<bool> flags;
  const double archive_s = Seconds([&] { File::Archive({name}, FileReedSolomon::ENCODING_9_13, 0, &flags); });
  if (flags != vector<bool>{true}) {
    std::fprintf(stderr, "archiving failed\n");
    return 1;
  }
  std::printf("  %-8s %8.2f GB/s  (archive of 256 MiB, one run: %.0f ms CPU, %.0f ms wall)\n", "archive",
              total / archive_s / 1e9, archive_s * 1e3, wall_seconds * 1e3);
  // Reads the archive through an ordinary handle, 4 MiB at a time, into a
  // buffer made once (so allocation is not what is measured).
  ::string back(data.size(), '\0');
  auto read_all = [&] {
    File* f = File::Open(name.c_str(), "r");
    int64 at = 0;
    for (int64 n; f != nullptr && at < total && (n = f->PRead(at, &back[at], 4 * kMiB)) > 0;) at += n;
    if (f == nullptr || at != total) {
      std::fprintf(stderr, "archive read failed\n");
      std::exit(1);
    }
    file::CloseAndDelete(f);
  };
  const double healthy_s = MedianSeconds(read_all);
  std::printf("  %-8s %8.2f GB/s  (reading the healthy archive)\n", "read", total / healthy_s / 1e9);
  redundancy::Manifest manifest;
  FileFactory* factory = FileFactory::ForName(name.c_str()).get();
  redundancy::LoadManifest(factory, name.c_str(), &manifest);
  std::vector<::string> saved(4);
  const int lost[] = {0, 5, 9, 12};
  for (int i = 0; i < 4; ++i) {
    File::ReadFileToString(manifest.shards[lost[i]], &saved[i]);
    File::Delete(manifest.shards[lost[i]].c_str());
  }
  const double rebuild_s = MedianSeconds(read_all);
  std::printf("  %-8s %8.2f GB/s  %6.2f x the healthy read  (%.0f ms for 256 MiB, 4 of 13 shards lost)\n",
              "rebuild", total / rebuild_s / 1e9, healthy_s / rebuild_s, rebuild_s * 1e3);
  if (back != data) {
    std::fprintf(stderr, "rebuilt bytes differ\n");
    return 1;
  }
  std::vector<double> repairs;
  for (int round = 0; round < 3; ++round) {
    file::Operation op;
    vector<int> rewritten;
    repairs.push_back(Seconds([&] { redundancy::RepairArchive(factory, name, &rewritten, &op); }));
    if (rewritten.size() != 4) {
      std::fprintf(stderr, "repair rewrote %zu shards: %s\n", rewritten.size(), op.message().c_str());
      return 1;
    }
    for (int i = 0; i < 4; ++i) File::Delete(manifest.shards[lost[i]].c_str());
  }
  std::printf("  %-8s %8.2f GB/s  (%.0f ms to rewrite 4 shards of a 256 MiB archive, median of 3)\n", "repair",
              total / Median(repairs) / 1e9, Median(repairs) * 1e3);
  int files = 0, dirs = 0;
  File::DeleteRecursively("/mem/redundancy_bench", &files, &dirs);
  return sink == 42 ? 2 : 0;  // keeps the checksums from being optimised away
}
