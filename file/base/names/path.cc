#include "file/base/names/path.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <mutex>
#include <string_view>

#include "file/base/names/name_forms.h"

namespace file {

::string CleanPath(const ::string& path) {
  if (path.empty()) return path;
  const bool absolute = path[0] == '/';
  // Components kept so far, as views into `path`.
  vector<std::string_view> kept;
  size_t leading_dotdots = 0;  // ".." a relative path cannot resolve
  std::string_view rest(path);
  while (!rest.empty()) {
    size_t slash = rest.find('/');
    std::string_view component = rest.substr(0, slash);
    rest = slash == std::string_view::npos ? std::string_view() : rest.substr(slash + 1);
    if (component.empty() || component == ".") continue;
    if (component == "..") {
      if (kept.size() > leading_dotdots) {
        kept.pop_back();
      } else if (!absolute) {
        kept.push_back(component);
        ++leading_dotdots;
      }
      continue;
    }
    kept.push_back(component);
  }

  ::string cleaned;
  cleaned.reserve(path.size());
  if (absolute) cleaned += '/';
  for (size_t i = 0; i < kept.size(); ++i) {
    if (i > 0) cleaned += '/';
    cleaned += kept[i];
  }
  if (cleaned.empty()) cleaned = ".";
  return cleaned;
}

::string JoinPath(const ::string& a, const ::string& b) {
  if (a.empty() || (!b.empty() && b[0] == '/')) return b;
  if (b.empty()) return a;
  if (a.back() == '/') return a + b;
  ::string joined;
  joined.reserve(a.size() + 1 + b.size());
  joined += a;
  joined += '/';
  joined += b;
  return joined;
}

const char* Basename(const char* path) {
  if (path == nullptr) return nullptr;
  const char* slash = std::strrchr(path, '/');
  return slash == nullptr ? path : slash + 1;
}

const char* Suffix(const char* path) {
  const char* base = Basename(path);
  if (base == nullptr || *base == '\0') return nullptr;
  const char* dot = std::strrchr(base + 1, '.');  // a leading dot hides, it is no suffix
  return dot == nullptr ? nullptr : dot + 1;
}

::string StripBasename(const char* path) {
  if (path == nullptr) return ::string();
  return ::string(path, Basename(path) - path);
}

::string AddSlash(const ::string& dir) {
  if (dir.empty() || dir.back() == '/') return dir;
  return dir + "/";
}

::string Dirname(const ::string& path) {
  size_t slash = path.rfind('/');
  if (slash == ::string::npos) return ::string();
  size_t end = path.find_last_not_of('/', slash);
  if (end == ::string::npos) return ::string("/");  // only slashes before the basename
  return path.substr(0, end + 1);
}

::string CanonicalizeFileName(const char* name) {
  if (name == nullptr || *name == '\0') return ::string();
  if (*name == '/') return CleanPath(name);
  char cwd[4096];
  if (getcwd(cwd, sizeof(cwd)) == nullptr) return ::string();
  return CleanPath(JoinPath(cwd, name));
}

void CanonicalizeFileNameList(vector<::string>* out, const vector<::string>& in) {
  vector<::string> canonical;
  canonical.reserve(in.size());
  for (const ::string& name : in) canonical.push_back(CanonicalizeFileName(name.c_str()));
  *out = std::move(canonical);
}

::string ConstructFullFileName(const ::string& directory, const vector<::string>& components,
                               const ::string& suffix, int num_shards) {
  ::string joined = directory;
  for (const ::string& component : components) joined = JoinPath(joined, component);
  if (joined.empty()) return joined;
  ::string name = CleanPath(joined);
  if (!suffix.empty()) {
    if (suffix[0] != '.') name += '.';
    name += suffix;
  }
  if (num_shards > 0) {
    name += '@';
    name += std::to_string(num_shards);
  } else if (num_shards < 0) {
    name += "@*";
  }
  return name;
}

::string RemoveHosts(const ::string& name) {
  SplitName split;
  if (SplitSpecialName(name, &split) != SplitResult::kSpecial ||
      split.form->owner == NameOwner::kNone) {
    return name;
  }
  return split.rest.empty() ? ::string("/") : ::string(split.rest);
}

bool IsReplicatedFileName(const char* name) {
  SplitName split;
  return name != nullptr && SplitSpecialName(name, &split) == SplitResult::kSpecial &&
         split.form->kind == NameKind::kReplicated;
}

// --- Data directory --------------------------------------------------------

namespace {

struct DatadirState {
  std::mutex mutex;
  bool init_called = false;
  ::string datadir;
};

DatadirState& DatadirStateInstance() {
  static DatadirState state;
  return state;
}

// Length of the placeholder at the start of `name`, 0 when there is none.
size_t DatadirPlaceholderLength(std::string_view name) {
  static constexpr std::string_view kPlaceholders[] = {"$DATADIR", "/datadir"};
  for (std::string_view placeholder : kPlaceholders) {
    if (name.substr(0, placeholder.size()) == placeholder &&
        (name.size() == placeholder.size() || name[placeholder.size()] == '/')) {
      return placeholder.size();
    }
  }
  return 0;
}

bool IsDirectory(const char* path) {
  struct stat st;
  return stat(path, &st) == 0 && S_ISDIR(st.st_mode);
}

}  // namespace

void InitWithDatadirFrom(const char* where) {
  ::string datadir;
  if (where != nullptr && *where != '\0') {
    size_t length = std::strlen(where);
    if (where[length - 1] == '/' || IsDirectory(where)) {
      datadir = CanonicalizeFileName(where);
    } else {
      ::string parent = Dirname(where);
      datadir = CanonicalizeFileName(parent.empty() ? "." : parent.c_str());
    }
  }
  DatadirState& state = DatadirStateInstance();
  std::lock_guard<std::mutex> lock(state.mutex);
  state.init_called = true;
  if (!datadir.empty()) state.datadir = std::move(datadir);
}

bool InitCalled() {
  DatadirState& state = DatadirStateInstance();
  std::lock_guard<std::mutex> lock(state.mutex);
  return state.init_called;
}

::string Datadir() {
  DatadirState& state = DatadirStateInstance();
  std::lock_guard<std::mutex> lock(state.mutex);
  return state.datadir;
}

::string RewriteDatadir(const char* name) {
  if (name == nullptr) return ::string();
  std::string_view text(name);
  size_t placeholder = DatadirPlaceholderLength(text);
  if (placeholder == 0) return ::string(text);
  ::string datadir = Datadir();
  if (datadir.empty()) return ::string(text);
  std::string_view rest = text.substr(placeholder);  // "" or "/..."
  if (datadir == "/" && !rest.empty()) return ::string(rest);
  return datadir + ::string(rest);
}

}  // namespace file
