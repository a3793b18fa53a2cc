// quarry log tail|gc: numbered logs (<base>seq00000, <base>seq00001, ...).
#include <chrono>
#include <cstdio>
#include <thread>

#include <fmt/format.h>

#include "file/base/logio.h"
#include "tools/quarry/quarry.h"

namespace quarry {
namespace {

// "FILE:OFFSET" as a log position; throws on anything else.
int64 ParsePosition(const std::string& text) {
  int file = -1;
  long long offset = -1;
  int used = 0;
  if (std::sscanf(text.c_str(), "%d:%lld%n", &file, &offset, &used) != 2 || used != static_cast<int>(text.size()) ||
      file < 0 || offset < 0)
    throw Failure(fmt::format("{}: not a log position (FILE:OFFSET)", text));
  return LogBase::MakeLogPosition(file, offset);
}

void Tail(const std::string& base, const std::string& from, bool follow, int poll_ms) {
  LogReader reader(base, from.empty() ? int64{LogBase::kLogStart} : ParsePosition(from));
  ::string record;
  for (;;) {
    if (reader.ReadRecordAsStringIfAvailable(&record)) {
      if (std::fwrite(record.data(), 1, record.size(), stdout) != record.size() || std::fputc('\n', stdout) == EOF)
        throw Failure("cannot write to standard output");
      continue;
    }
    if (std::fflush(stdout) != 0) throw Failure("cannot write to standard output");
    if (!follow) return;
    std::this_thread::sleep_for(std::chrono::milliseconds(poll_ms));
  }
}

void CollectGarbage(const std::string& base, const std::string& position) {
  if (!LogReader::GarbageCollect(base, ParsePosition(position)))
    throw Failure(fmt::format("{}: cannot remove the log files before {}", base, position));
}

}  // namespace

void AddLogCommands(CLI::App& app) {
  CLI::App* log = app.add_subcommand("log", "Read and trim numbered logs");
  log->require_subcommand(1, 1);

  struct TailArgs {
    std::string base, from;
    bool follow = false;
    int poll_ms = 50;
  };
  auto tail = std::make_shared<TailArgs>();
  CLI::App* t = log->add_subcommand("tail", "Print the records of a log, each followed by a newline");
  t->add_option("base", tail->base, "the log's base name (its files are BASEseq00000, ...)")->required();
  t->add_option("--from", tail->from, "start at this position (FILE:OFFSET)");
  t->add_flag("-f,--follow", tail->follow, "keep printing records as they are written");
  t->add_option("--poll-ms", tail->poll_ms, "how often -f looks for new records")->check(CLI::Range(1, 60000));
  t->callback([tail] { Tail(tail->base, tail->from, tail->follow, tail->poll_ms); });

  auto gc = std::make_shared<std::pair<std::string, std::string>>();
  CLI::App* g = log->add_subcommand("gc", "Remove the log files wholly before a position");
  g->add_option("base", gc->first, "the log's base name")->required();
  g->add_option("position", gc->second, "FILE:OFFSET; files numbered below FILE go")->required();
  g->callback([gc] { CollectGarbage(gc->first, gc->second); });
}

}  // namespace quarry
