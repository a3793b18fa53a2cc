// quarry archive and repair: Reed-Solomon archives of files on any file
// system (docs/redundancy.md). An archived name stays readable by every
// command; repair rewrites the shards that are lost or damaged.
#include <fmt/format.h>
#include <fmt/ranges.h>

#include "file/base/core/file_factory.h"
#include "file/base/core/filestat.h"
#include "file/base/core/operation.h"
#include "file/base/redundancy/archive.h"
#include "tools/quarry/quarry.h"

namespace quarry {
namespace {

struct Options {
  std::vector<std::string> names;
  std::string encoding = "rs_9_13";
  int unit_kib = 0;
};

shared_ptr<FileFactory> FactoryOf(const std::string& name) {
  shared_ptr<FileFactory> factory = FileFactory::ForName(name.c_str());
  if (factory == nullptr) throw Failure(name + ": no file system takes this name");
  if (File::IsDirectory(name.c_str())) throw Failure(name + ": is a directory");
  return factory;
}

int64 LengthOf(const std::string& name) {
  FileStat st;
  file::Operation op;
  if (!File::StatWithOp(name.c_str(), &st, &op)) throw Failure(Reason(op, name + ": cannot stat"));
  return st.length;
}

std::string Failed(const file::Operation& op, const std::string& name, const char* what) {
  std::string reason = Reason(op, what);
  return reason.find(name) == std::string::npos ? fmt::format("{}: {}", name, reason) : reason;
}

void Archive(const Options& options) {
  FileReedSolomonEncoding encoding;
  if (!FileReedSolomon::Name2Encoding(options.encoding.c_str(), &encoding)) throw Failure("unknown encoding");
  int data = 0, total = 0;
  FileReedSolomon::Encoding2Params(encoding, &data, &total);
  const int unit = options.unit_kib == 0 ? static_cast<int>(redundancy::kDefaultUnitKib) : options.unit_kib;
  for (const std::string& arg : options.names) {
    for (const std::string& name : Expand(arg)) {
      shared_ptr<FileFactory> factory = FactoryOf(name);
      redundancy::Manifest manifest;
      if (redundancy::ReadManifest(factory.get(), name.c_str(), &manifest) != redundancy::ManifestState::kNone)
        throw Failure(name + ": is already an archive (quarry repair mends it)");
      Progress progress(Basename(name), LengthOf(name));
      file::Operation op;
      if (!redundancy::ArchiveName(factory.get(), name, encoding, unit, &op))
        throw Failure(Failed(op, name, "cannot archive"));
      progress.Finish(LengthOf(name));
      fmt::print("{}: {} ({} data + {} parity shards, {} KiB cells)\n", name, options.encoding, data,
                 total - data, unit);
    }
  }
}

// Repairs every archive named; one error line per archive that cannot be
// repaired, and exit status 1 once all were tried.
void Repair(const std::vector<std::string>& args) {
  int failures = 0;
  for (const std::string& arg : args) {
    for (const std::string& name : Expand(arg)) {
      try {
        shared_ptr<FileFactory> factory = FactoryOf(name);
        redundancy::Manifest manifest;
        if (!redundancy::LoadManifest(factory.get(), name.c_str(), &manifest))
          throw Failure(name + ": is not an archive (or its manifest is damaged)");
        Progress progress(Basename(name), manifest.length);
        vector<int> rebuilt;
        file::Operation op;
        if (!redundancy::RepairArchive(factory.get(), name, &rebuilt, &op))
          throw Failure(Failed(op, name, "cannot repair"));
        progress.Finish(manifest.length);
        if (rebuilt.empty()) {
          fmt::print("{}: all {} shards intact\n", name, manifest.total);
          continue;
        }
        std::vector<std::string> shards;
        for (int i : rebuilt) shards.push_back(manifest.shards[static_cast<size_t>(i)]);
        fmt::print("{}: rebuilt {} of {} shards: {}\n", name, rebuilt.size(), manifest.total,
                   fmt::join(shards, " "));
      } catch (const Failure& e) {
        std::fflush(stdout);
        fmt::print(stderr, "quarry: {}\n", e.what());
        ++failures;
      }
    }
  }
  if (failures > 0) throw CLI::RuntimeError(1);
}

}  // namespace

void AddRedundancyCommands(CLI::App& app) {
  auto options = std::make_shared<Options>();
  CLI::App* archive = app.add_subcommand("archive", "Turn files into Reed-Solomon archives (data and parity shards)");
  archive->add_option("names", options->names, "files or glob patterns")->required();
  archive->add_option("-e,--encoding", options->encoding,
                      "rs_5_8 (may lose 3 of 8 shards), rs_9_13 (4 of 13) or rs_20_30 (10 of 30)")
      ->check(CLI::IsMember({"rs_5_8", "rs_9_13", "rs_20_30"}))
      ->capture_default_str();
  archive->add_option("-u,--unit", options->unit_kib, "cell size in KiB (0: 256 KiB)")
      ->check(CLI::Range(0, static_cast<int>(redundancy::kMaxUnitKib)));
  archive->footer(
      "The shards are hidden files .NAME.rs-II-of-NN beside each file; NAME keeps reading as before.\n"
      "Progress shows only when standard error is a terminal.\n");
  archive->callback([options] { Archive(*options); });

  auto names = std::make_shared<std::vector<std::string>>();
  CLI::App* repair = app.add_subcommand("repair", "Check archives and rewrite their lost or damaged shards");
  repair->add_option("names", *names, "archives or glob patterns")->required();
  repair->footer("Prints the shards it rebuilt; an archive beyond repair is left as it was (exit status 1).\n");
  repair->callback([names] { Repair(*names); });
}

}  // namespace quarry
