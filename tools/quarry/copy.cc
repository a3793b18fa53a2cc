// quarry cp: any file system to any. The copy is written under a temporary
// name beside the destination and renamed into place when complete, so a
// failed copy never leaves a destination that looks whole.
#include <unistd.h>

#include <fmt/format.h>

#include "file/base/core/file_factory.h"
#include "file/base/core/filestat.h"
#include "file/base/core/operation.h"
#include "tools/quarry/quarry.h"

namespace quarry {
namespace {

constexpr size_t kCopyBuffer = 1 << 20;

// Copies inside the file system when source and target share one (a clone,
// or the kernel's copy between local files): true when done, false when the
// file system cannot, so that the bytes are copied here; throws on failure.
bool CopyInside(const std::string& source, const std::string& temporary) {
  shared_ptr<FileFactory> factory = FileFactory::ForName(source.c_str());
  if (factory == nullptr || factory != FileFactory::ForName(temporary.c_str())) return false;
  file::Operation op;
  if (factory->DoCloneFile(source.c_str(), temporary.c_str(), &op)) return true;
  if (op.error() == file::ERROR_UNIMPLEMENTED) return false;
  throw Failure(Reason(op, source + ": cannot copy"));
}

void CopyBytes(const std::string& source, const std::string& temporary, Progress& progress, int64* copied) {
  Handle in(source, "r");
  Handle out(temporary, "w");
  std::vector<char> buffer(kCopyBuffer);
  while (size_t got = in.Read(buffer.data(), buffer.size())) {
    out.Write(buffer.data(), got);
    *copied += static_cast<int64>(got);
    progress.Update(*copied);
  }
  out.Close();
  in.Close();
}

void CopyOne(const std::string& source, const std::string& destination) {
  if (File::IsDirectory(source.c_str())) throw Failure(source + ": is a directory");
  FileStat st;
  file::Operation op;
  if (!File::StatWithOp(source.c_str(), &st, &op)) throw Failure(Reason(op, source + ": cannot stat"));
  std::string temporary = fmt::format("{}.quarry-{}.tmp", destination, getpid());
  Progress progress(Basename(source), st.length);
  int64 copied = 0;
  try {
    if (CopyInside(source, temporary)) {
      copied = st.length;
    } else {
      CopyBytes(source, temporary, progress, &copied);
    }
    // The copy is complete: one rename replaces the destination, so a
    // reader sees either the old file or the whole new one, never neither.
    file::Operation rename_op;
    if (!File::RenameWithOp(temporary.c_str(), destination.c_str(), true, &rename_op))
      throw Failure(Reason(rename_op, destination + ": cannot rename the copy into place"));
  } catch (const Failure& e) {
    File::Delete(temporary.c_str());
    progress.Finish(copied);
    throw Failure(NameTheDestination(e.what(), temporary, destination));
  }
  progress.Finish(copied);
}

void Copy(const std::vector<std::string>& args) {
  std::vector<std::string> sources;
  for (size_t i = 0; i + 1 < args.size(); ++i) {
    for (std::string& name : Expand(args[i])) sources.push_back(std::move(name));
  }
  const std::string& target = args.back();
  bool into_directory = File::IsDirectory(target.c_str());
  if (sources.size() > 1 && !into_directory) throw Failure(target + ": not a directory");
  for (const std::string& source : sources) {
    std::string destination = into_directory ? (target.back() == '/' ? target : target + "/") + Basename(source)
                                             : target;
    CopyOne(source, destination);
  }
}

}  // namespace

void AddCopyCommands(CLI::App& app) {
  auto names = std::make_shared<std::vector<std::string>>();
  CLI::App* cp = app.add_subcommand("cp", "Copy files from any file system to any other");
  cp->add_option("names", *names, "SOURCE... DESTINATION (a directory for several sources)")
      ->required()->expected(2, -1);
  cp->footer("Progress and throughput show only when standard error is a terminal.\n");
  cp->callback([names] { Copy(*names); });
}

}  // namespace quarry
