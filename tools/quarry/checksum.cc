// quarry checksum and sha1: the running CRC-64 (ChecksumState) and the
// SHA-1 of files on any file system.
#include <fmt/format.h>

#include <functional>

#include "file/base/checksums/checksum.h"
#include "file/base/core/filestat.h"
#include "file/base/redundancy/sha1.h"
#include "tools/quarry/quarry.h"

namespace quarry {
namespace {

// Hands every byte of each file the arguments name to `add`, then calls
// `print` with the name; progress per file on a terminal.
void EachFile(const std::vector<std::string>& args, const std::function<void(const char*, size_t)>& add,
              const std::function<void(const std::string&)>& print) {
  std::vector<char> buffer(1 << 20);
  for (const std::string& arg : args) {
    for (const std::string& name : Expand(arg)) {
      if (File::IsDirectory(name.c_str())) throw Failure(name + ": is a directory");
      Handle in(name, "r");
      Progress progress(Basename(name), in.get()->Size());
      int64 done = 0;
      while (size_t got = in.Read(buffer.data(), buffer.size())) {
        add(buffer.data(), got);
        progress.Update(done += static_cast<int64>(got));
      }
      in.Close();
      progress.Finish(done);
      print(name);
    }
  }
}

void Checksum(const std::vector<std::string>& args) {
  ChecksumState state;
  EachFile(args, [&](const char* data, size_t n) { state.Add(data, n); },
           [&](const std::string& name) {
             fmt::print("{:016x}  {:>12}  {}\n", state.Checksum(), state.Length(), name);
             state = ChecksumState();
           });
}

void Sha1Sum(const std::vector<std::string>& args) {
  Sha1 sha1;
  EachFile(args, [&](const char* data, size_t n) { sha1.Update(data, n); },
           [&](const std::string& name) {
             fmt::print("{}  {}\n", sha1.HexDigest(), name);
             std::fflush(stdout);
             sha1.Reset();
           });
}

void AddSum(CLI::App& app, const char* name, const char* what, void (*run)(const std::vector<std::string>&)) {
  auto names = std::make_shared<std::vector<std::string>>();
  CLI::App* sum = app.add_subcommand(name, what);
  sum->add_option("names", *names, "names or glob patterns")->required();
  sum->footer("Progress shows only when standard error is a terminal.\n");
  sum->callback([names, run] { run(*names); });
}

}  // namespace

void AddChecksumCommands(CLI::App& app) {
  AddSum(app, "checksum", "Print the CRC-64 and length of files", Checksum);
  AddSum(app, "sha1", "Print the SHA-1 of files (as sha1sum does)", Sha1Sum);
}

}  // namespace quarry
