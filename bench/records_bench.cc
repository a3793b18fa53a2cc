// Record files against raw write(2)/read(2) of the same bytes, in one run:
// throughput ratios for 1 KiB and 64 KiB records (medians over rounds), the
// codecs on a generated text corpus, and the cost of damage on a 256 MiB
// file. Files live in $PQ_BENCH_TMP (default /tmp), page-cached.
#include <fcntl.h>
#include <unistd.h>

#include <time.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "file/base/file.h"
#include "file/base/recordio.h"

namespace {

using Clock = std::chrono::steady_clock;
constexpr size_t kMB = 1 << 20;
const int kRounds = std::getenv("PQ_BENCH_ROUNDS") ? std::atoi(std::getenv("PQ_BENCH_ROUNDS")) : 5;

double Seconds(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

double Median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v.size() % 2 ? v[v.size() / 2] : (v[v.size() / 2 - 1] + v[v.size() / 2]) / 2;
}

std::string Dir() {
  const char* d = std::getenv("PQ_BENCH_TMP");
  return d ? d : "/tmp";
}

// Raw baseline: the payload bytes written with write(2) in 512 KiB pieces.
double RawWrite(const std::string& path, const std::string& payload, size_t total) {
  const auto start = Clock::now();
  const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  std::string chunk;
  for (size_t done = 0; done < total;) {
    chunk.clear();
    while (chunk.size() < 512 * 1024 && done < total) {
      chunk += payload;
      done += payload.size();
    }
    if (write(fd, chunk.data(), chunk.size()) != static_cast<ssize_t>(chunk.size())) std::abort();
  }
  close(fd);
  return Seconds(start);
}

double RawRead(const std::string& path) {
  const auto start = Clock::now();
  const int fd = open(path.c_str(), O_RDONLY);
  std::vector<char> buf(512 * 1024);
  while (read(fd, buf.data(), buf.size()) > 0) {
  }
  close(fd);
  return Seconds(start);
}

double RecordWrite(const std::string& path, const std::string& payload, size_t total,
                   void (*configure)(RecordWriter*)) {
  const auto start = Clock::now();
  RecordWriter w(File::Open(path.c_str(), "w"));
  w.NoSyncOnClose();
  if (configure) configure(&w);
  for (size_t done = 0; done < total; done += payload.size()) {
    if (!w.WriteRecord(payload)) std::abort();
  }
  if (!w.Close()) std::abort();
  return Seconds(start);
}

double RecordRead(const std::string& path, size_t* count) {
  const auto start = Clock::now();
  RecordReader r(File::Open(path.c_str(), "r"));
  void* data;
  size_t len;
  size_t n = 0;
  while (r.ReadRecord(&data, &len)) ++n;
  *count = n;
  return Seconds(start);
}

std::string TextCorpus(size_t n) {
  static const char* words[] = {"record", "file", "buffer", "stream", "the", "of", "a", "checksum",
                                "reader", "writer", "compressed", "batch", "damage", "offset", "and"};
  std::mt19937 rng(42);
  std::string s;
  while (s.size() < n) {
    s += words[rng() % 15];
    s += (rng() % 11 == 0) ? ".\n" : " ";
    if (rng() % 50 == 0) s += std::to_string(rng() % 100000);
  }
  s.resize(n);
  return s;
}

int64 FileSize(const std::string& path) {
  FileStat st;
  return File::Stat(path.c_str(), &st) ? st.length : -1;
}

// Both clocks: the wall clock and the process's CPU time (user and system),
// which other programs on a shared machine disturb less.
struct Times {
  double wall, cpu;
};

double CpuSeconds() {
  timespec ts;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
  return ts.tv_sec + ts.tv_nsec * 1e-9;
}

template <class F>
Times Timed(F f) {
  const double cpu = CpuSeconds();
  const auto start = Clock::now();
  f();
  return {Seconds(start), CpuSeconds() - cpu};
}

// Writes alternate with the baseline's; then, with both files on disk (no
// writeback running), reads alternate, the baseline first in every other
// round. Ratios are per round; their medians are printed.
void PlainRatios(size_t record_size, size_t total) {
  const std::string raw = Dir() + "/pq_records_raw", rec = Dir() + "/pq_records_rec";
  const std::string payload = TextCorpus(record_size);
  std::vector<double> wr, wr_cpu, rr, rr_cpu;
  size_t count = 0;
  for (int i = 0; i < kRounds; ++i) {
    const Times base = Timed([&] { RawWrite(raw, payload, total); });
    const Times ours = Timed([&] { RecordWrite(rec, payload, total, nullptr); });
    wr.push_back(base.wall / ours.wall);
    wr_cpu.push_back(base.cpu / ours.cpu);
  }
  sync();
  for (int i = 0; i < 3 * kRounds; ++i) {
    Times base, ours;
    if (i % 2) base = Timed([&] { RawRead(raw); });
    ours = Timed([&] { RecordRead(rec, &count); });
    if (i % 2 == 0) base = Timed([&] { RawRead(raw); });
    rr.push_back(base.wall / ours.wall);
    rr_cpu.push_back(base.cpu / ours.cpu);
  }
  std::printf("records %6zu B x %zu: write %.2f of write(2)'s throughput (cpu %.2f), read %.2f of read(2)'s (cpu %.2f; %zu records)\n",
              record_size, total / record_size, Median(wr), Median(wr_cpu), Median(rr), Median(rr_cpu), count);
  unlink(raw.c_str());
  unlink(rec.c_str());
}

void CodecFigures(size_t total) {
  const std::string rec = Dir() + "/pq_records_codec";
  const std::string corpus = TextCorpus(total);
  struct Case {
    const char* name;
    void (*configure)(RecordWriter*);
  } cases[] = {
      {"none", nullptr},
      {"zlib 6", [](RecordWriter* w) { w->EnableCompression(6); }},
      {"zstd 1 (CW)", [](RecordWriter* w) { w->EnableCWCompression(1, 0, false, false); }},
      {"zstd 3 (CW)", [](RecordWriter* w) { w->EnableCWCompression(3, 0, false, false); }},
      {"lz4 (plume)", [](RecordWriter* w) { w->EnablePlumeCompression(1); }},
  };
  for (const auto& c : cases) {
    std::vector<double> wt, rt;
    int64 size = 0;
    for (int i = 0; i < kRounds; ++i) {
      const auto start = Clock::now();
      {
        RecordWriter w(File::Open(rec.c_str(), "w"));
        w.NoSyncOnClose();
        if (c.configure) c.configure(&w);
        for (size_t at = 0; at + 1024 <= corpus.size(); at += 1024) w.WriteRecord(corpus.data() + at, 1024);
        w.Close();
      }
      wt.push_back(corpus.size() / Seconds(start) / kMB);
      size = FileSize(rec);
      size_t n;
      rt.push_back(corpus.size() / RecordRead(rec, &n) / kMB);
    }
    std::printf("codec %-12s 1 KiB text records: write %7.0f MB/s, read %7.0f MB/s, size %.3f of the text\n", c.name,
                Median(wt), Median(rt), static_cast<double>(size) / corpus.size());
  }
  unlink(rec.c_str());
}

void DamageFigures() {
  const std::string rec = Dir() + "/pq_records_damage";
  const size_t total = 256 * kMB;
  std::mt19937 rng(7);
  size_t written = 0, records = 0;
  {
    RecordWriter w(File::Open(rec.c_str(), "w"));
    w.NoSyncOnClose();
    std::string payload = TextCorpus(70000);
    while (written < total) {
      const size_t n = 100 + rng() % 60000;  // records of 100 B to 60 KB
      w.WriteRecord(payload.data(), n);
      written += n;
      ++records;
    }
    w.Close();
  }
  const int64 size = FileSize(rec);
  {
    File* f = File::Open(rec.c_str(), "r+");
    const std::string junk(100, '\x55');
    for (int i = 0; i < 100; ++i) f->PWrite(static_cast<int64>(rng() % (size - 100)), junk.data(), 100);
    file::CloseAndDelete(f);
  }
  size_t got = 0;
  RecordReader r(File::Open(rec.c_str(), "r"));
  void* data;
  size_t len;
  int64 bytes_read = 0;
  const auto start = Clock::now();
  while (r.ReadRecord(&data, &len)) {
    ++got;
    bytes_read += static_cast<int64>(len);
  }
  const double secs = Seconds(start);
  std::printf(
      "damage: %lld MiB file, %zu records, 100 runs of 100 bytes: %zu records lost, %d regions, %lld bytes "
      "skipped (%.1f per damaged byte); read at %.0f MB/s\n",
      static_cast<long long>(size >> 20), records, records - got, r.skipped_regions(),
      static_cast<long long>(r.skipped_bytes()), r.skipped_bytes() / 10000.0, bytes_read / secs / kMB);
  unlink(rec.c_str());
}

}  // namespace

// Arguments pick sections (plain, codecs, damage); none runs them all.
int main(int argc, char** argv) {
  auto wanted = [&](const char* section) {
    if (argc < 2) return true;
    for (int i = 1; i < argc; ++i) {
      if (std::string(argv[i]) == section) return true;
    }
    return false;
  };
  if (wanted("plain")) {
    PlainRatios(1024, 256 * kMB);
    PlainRatios(65536, 256 * kMB);
  }
  if (wanted("codecs")) CodecFigures(64 * kMB);
  if (wanted("damage")) DamageFigures();
  return 0;
}
