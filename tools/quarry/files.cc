// quarry ls, stat, cat, rm, mkdir.
#include <sys/stat.h>
#include <unistd.h>

#include <ctime>
#include <fmt/format.h>

#include "file/base/core/filestat.h"
#include "file/base/core/operation.h"
#include "file/base/names/glob.h"
#include "tools/quarry/quarry.h"

namespace quarry {
namespace {

FileStat StatOrThrow(const std::string& name) {
  FileStat st;
  file::Operation op;
  if (!File::StatWithOp(name.c_str(), &st, &op)) throw Failure(Reason(op, name + ": cannot stat"));
  return st;
}

std::string ModeText(const FileStat& st) {
  std::string text = st.IsDirectory() ? "d" : "-";
  static const char kLetters[] = "rwxrwxrwx";
  for (int bit = 0; bit < 9; ++bit) text += (st.mode & (0400u >> bit)) ? kLetters[bit] : '-';
  return text;
}

std::string TimeText(long seconds) {  // NOLINT: the library's type
  std::time_t t = seconds;
  std::tm tm{};
  localtime_r(&t, &tm);
  char buffer[32];
  std::strftime(buffer, sizeof buffer, "%Y-%m-%d %H:%M", &tm);
  return buffer;
}

void PrintLong(const std::string& shown, const FileStat& st) {
  fmt::print("{} {:<8} {:<8} {:>12} {} {}{}\n", ModeText(st), st.owner, st.group, st.length,
             TimeText(st.mtime), shown, st.IsDirectory() ? "/" : "");
}

// ls: the names of matches; a directory named without a pattern shows its
// entries. Errors for one argument do not stop the others.
int List(const std::vector<std::string>& args, bool long_format, bool all) {
  int status = 0;
  for (const std::string& arg : args) {
    try {
      std::vector<std::string> names;
      if (!file::HasGlobChars(arg) && File::IsDirectory(arg.c_str())) {
        std::string dir = arg;
        while (dir.size() > 1 && dir.back() == '/') dir.pop_back();
        vector<::string> found;
        file::Operation op;
        std::string pattern = Escape(dir == "/" ? "" : dir) + "/*";
        if (!File::ExtendedMatchWithOp(pattern.c_str(), &found, all ? File::MATCH_ALL : File::MATCH_DEFAULT, &op))
          throw Failure(Reason(op, arg + ": cannot list"));
        names.assign(found.begin(), found.end());
      } else {
        names = Expand(arg, all);
        if (!File::Exists(names[0].c_str()) && names.size() == 1)
          throw Failure(fmt::format("{}: no such file or directory", arg));
      }
      for (const std::string& name : names) {
        if (long_format) {
          PrintLong(name, StatOrThrow(name));
        } else {
          fmt::print("{}\n", name);
        }
      }
    } catch (const Failure& e) {
      fmt::print(stderr, "quarry ls: {}\n", e.what());
      status = 1;
    }
  }
  return status;
}

void Stat(const std::vector<std::string>& args) {
  for (const std::string& arg : args) {
    for (const std::string& name : Expand(arg)) {
      FileStat st = StatOrThrow(name);
      fmt::print("{}\n  type: {}\n  size: {}\n  mode: {:04o} ({})\n  owner: {}\n  group: {}\n"
                 "  modified: {} ({})\n  attributes: {:#x}\n",
                 name, st.IsDirectory() ? "directory" : "file", st.length, st.mode & 07777, ModeText(st),
                 st.owner, st.group, TimeText(st.mtime), st.mtime, st.attributes.attr);
    }
  }
}

void Cat(const std::vector<std::string>& args) {
  std::vector<char> buffer(1 << 20);
  for (const std::string& arg : args) {
    for (const std::string& name : Expand(arg)) {
      if (File::IsDirectory(name.c_str())) throw Failure(name + ": is a directory");
      Handle in(name, "r");
      while (size_t got = in.Read(buffer.data(), buffer.size())) {
        if (std::fwrite(buffer.data(), 1, got, stdout) != got) throw Failure("standard output: write failed");
      }
      in.Close();
    }
  }
  if (std::fflush(stdout) != 0) throw Failure("standard output: write failed");
}

void Remove(const std::vector<std::string>& args, bool recursive, bool force) {
  for (const std::string& arg : args) {
    std::vector<std::string> names;
    try {
      names = Expand(arg);
    } catch (const Failure&) {
      if (force) continue;
      throw;
    }
    for (const std::string& name : names) {
      file::Operation op;
      if (File::IsDirectory(name.c_str())) {
        if (!recursive) throw Failure(name + ": is a directory (use -r)");
        int files = 0, dirs = 0;
        File::DeleteRecursively(name, &files, &dirs);
        if (File::Exists(name.c_str())) throw Failure(name + ": could not delete everything");
      } else if (!File::DeleteWithOp(name.c_str(), &op)) {
        if (force && op.error() == file::ERROR_NOT_FOUND) continue;
        throw Failure(Reason(op, name + ": cannot delete"));
      }
    }
  }
}

void MakeDirs(const std::vector<std::string>& args, bool parents, unsigned mode) {
  for (const std::string& name : args) {
    if (parents) {
      if (File::IsDirectory(name.c_str())) continue;
      if (!File::RecursivelyCreateDir(name, mode)) {
        file::Operation op;  // ask again for the reason
        File::CreateDirWithOp(name.c_str(), mode, &op);
        throw Failure(Reason(op, name + ": cannot create the directory"));
      }
      continue;
    }
    file::Operation op;
    if (!File::CreateDirWithOp(name.c_str(), mode, &op)) throw Failure(Reason(op, name + ": cannot create"));
  }
}

}  // namespace

void AddFileCommands(CLI::App& app) {
  struct Options {
    std::vector<std::string> names;
    bool long_format = false, all = false, recursive = false, force = false, parents = false;
    std::string mode = "755";
  };
  auto o = std::make_shared<Options>();

  CLI::App* ls = app.add_subcommand("ls", "List files: names, patterns or directories");
  ls->add_option("names", o->names, "names, glob patterns or directories")->required();
  ls->add_flag("-l,--long", o->long_format, "long format: mode, owner, group, size, time");
  ls->add_flag("-a,--all", o->all, "show names starting with '.' and backups ending in '~'");
  ls->callback([o] {
    if (List(o->names, o->long_format, o->all) != 0) throw CLI::RuntimeError(1);
  });

  CLI::App* stat = app.add_subcommand("stat", "Show the status of files");
  stat->add_option("names", o->names, "names or glob patterns")->required();
  stat->callback([o] { Stat(o->names); });

  CLI::App* cat = app.add_subcommand("cat", "Write files to standard output");
  cat->add_option("names", o->names, "names or glob patterns")->required();
  cat->callback([o] { Cat(o->names); });

  CLI::App* rm = app.add_subcommand("rm", "Delete files");
  rm->add_option("names", o->names, "names or glob patterns")->required();
  rm->add_flag("-r,--recursive", o->recursive, "delete directories and their contents");
  rm->add_flag("-f,--force", o->force, "ignore names that do not exist");
  rm->callback([o] { Remove(o->names, o->recursive, o->force); });

  CLI::App* mkdir = app.add_subcommand("mkdir", "Create directories");
  mkdir->add_option("names", o->names, "directories to create")->required();
  mkdir->add_flag("-p,--parents", o->parents, "create missing parents; no error if it exists");
  mkdir->add_option("-m,--mode", o->mode, "permission bits, octal")->capture_default_str();
  mkdir->callback([o] {
    unsigned mode = 0;
    size_t used = 0;
    try {
      mode = static_cast<unsigned>(std::stoul(o->mode, &used, 8));
    } catch (const std::exception&) {
      used = 0;
    }
    if (used == 0 || used != o->mode.size() || mode > 07777) throw Failure("--mode: not an octal mode: " + o->mode);
    MakeDirs(o->names, o->parents, mode);
  });
}

}  // namespace quarry
