// quarry: a command-line tool over the file library, for every registered
// file system. Each command group lives in its own source and adds its
// subcommands to the application through one Add...Commands function.
#ifndef TOOLS_QUARRY_QUARRY_H_
#define TOOLS_QUARRY_QUARRY_H_

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>

#include "file/base/file.h"

namespace quarry {

// A failure to report as "quarry: <what>" with exit status 1.
class Failure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The message an Operation recorded, or `fallback` when it recorded none.
std::string Reason(const file::Operation& op, const std::string& fallback);

// An open handle that closes and frees itself; Close() reports failure.
class Handle {
 public:
  // Opens `name` in `mode`; throws Failure with the library's reason.
  Handle(const std::string& name, const char* mode);
  ~Handle();
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  File* get() const { return file_; }
  const std::string& name() const { return name_; }
  // Reads up to `size` bytes; 0 at the end; throws on failure.
  size_t Read(char* buffer, size_t size);
  // Writes everything or throws.
  void Write(const char* data, size_t size);
  // Closes the file, throwing when the close fails.
  void Close();

 private:
  [[noreturn]] void Fail(const char* what);
  File* file_ = nullptr;
  std::string name_;
};

// Whether progress may be shown: standard error is a terminal.
bool ShowProgress();

// A one-line progress display on standard error (only when ShowProgress()).
class Progress {
 public:
  Progress(std::string label, int64 total);
  void Update(int64 done);
  // Clears the line and, when shown, prints the throughput summary.
  void Finish(int64 done);

 private:
  std::string label_;
  int64 total_;
  bool shown_;
  std::chrono::steady_clock::time_point start_, last_;
};

// "1.5 MiB" style sizes.
std::string HumanBytes(double bytes);

// The pattern that matches exactly `name` (glob characters escaped).
std::string Escape(const std::string& name);

// The names a command argument stands for: the matches of a pattern, or
// the name itself when it has no glob characters. Throws when a pattern
// matches nothing.
std::vector<std::string> Expand(const std::string& arg, bool hidden = false);

std::string Basename(const std::string& name);

// `message` naming `name` wherever it named the temporary file written for it.
std::string NameTheDestination(std::string message, const std::string& temporary, const std::string& name);

// Command groups.
void AddFileCommands(CLI::App& app);      // ls stat cat rm mkdir
void AddCopyCommands(CLI::App& app);      // cp
void AddChecksumCommands(CLI::App& app);  // checksum sha1
void AddRedundancyCommands(CLI::App& app);  // archive repair
void AddRecordCommands(CLI::App& app);    // records write|cat|count|verify
void AddLogCommands(CLI::App& app);       // log tail|gc

}  // namespace quarry

#endif  // TOOLS_QUARRY_QUARRY_H_
