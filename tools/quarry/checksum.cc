// quarry checksum: the running CRC-64 (ChecksumState) of files.
#include <fmt/format.h>

#include "file/base/checksums/checksum.h"
#include "tools/quarry/quarry.h"

namespace quarry {
namespace {

void Checksum(const std::vector<std::string>& args) {
  std::vector<char> buffer(1 << 20);
  for (const std::string& arg : args) {
    for (const std::string& name : Expand(arg)) {
      if (File::IsDirectory(name.c_str())) throw Failure(name + ": is a directory");
      Handle in(name, "r");
      ChecksumState state;
      while (size_t got = in.Read(buffer.data(), buffer.size())) state.Add(buffer.data(), got);
      in.Close();
      fmt::print("{:016x}  {:>12}  {}\n", state.Checksum(), state.Length(), name);
    }
  }
}

}  // namespace

void AddChecksumCommands(CLI::App& app) {
  auto names = std::make_shared<std::vector<std::string>>();
  CLI::App* sum = app.add_subcommand("checksum", "Print the CRC-64 and length of files");
  sum->add_option("names", *names, "names or glob patterns")->required();
  sum->callback([names] { Checksum(*names); });
}

}  // namespace quarry
