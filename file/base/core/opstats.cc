#include "file/base/core/opstats.h"

#include <sstream>

namespace {

template <typename Visit>
void ForEachCounter(FileOpStats& stats, Visit visit) {
  visit("opens", stats.opens);
  visit("open_failures", stats.open_failures);
  visit("closes", stats.closes);
  visit("reads", stats.reads);
  visit("bytes_read", stats.bytes_read);
  visit("writes", stats.writes);
  visit("bytes_written", stats.bytes_written);
  visit("stats", stats.stats);
  visit("matches", stats.matches);
  visit("deletes", stats.deletes);
  visit("renames", stats.renames);
  visit("copies", stats.copies);
  visit("mkdirs", stats.mkdirs);
  visit("syncs", stats.syncs);
  visit("errors", stats.errors);
}

}  // namespace

::string FileOpStats::ToString() const {
  std::ostringstream out;
  const char* separator = "";
  ForEachCounter(const_cast<FileOpStats&>(*this),
                 [&](const char* name, std::atomic<int64>& counter) {
                   out << separator << name << "=" << counter.load();
                   separator = " ";
                 });
  return out.str();
}

void FileOpStats::Reset() {
  ForEachCounter(*this, [](const char*, std::atomic<int64>& counter) {
    counter.store(0);
  });
}
