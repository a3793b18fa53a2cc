#include "file/base/names/replicated_names.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string_view>

#include "file/base/names/name_forms.h"
#include "file/base/names/path.h"

namespace {

using file::NameKind;

// Splits `name` when it has the form `kind`; false for null and other names.
bool SplitAs(const char* name, NameKind kind, file::SplitName* split) {
  return name != nullptr && file::SplitSpecialName(name, split) == file::SplitResult::kSpecial &&
         split->form->kind == kind;
}

std::string_view RestOrRoot(const file::SplitName& split) {
  return split.rest.empty() ? std::string_view("/") : split.rest;
}

bool IsReadableRegularFile(const char* path) {
  struct stat st;
  return stat(path, &st) == 0 && S_ISREG(st.st_mode) && access(path, R_OK) == 0;
}

}  // namespace

::string MultiProtocolReplicatedFileNameToOpen(const char* name, const char* host, int protocol) {
  file::SplitName split;
  if (host == nullptr || !SplitAs(name, NameKind::kReplicated, &split)) return ::string();
  NameKind target;
  switch (protocol) {
    case kRemoteProtocolRfServer:
      target = NameKind::kRemote;
      break;
    case kRemoteProtocolSRemoteServer:
      target = NameKind::kWicketRemote;
      break;
    default:
      return ::string();
  }
  if (!file::IsValidOwner(file::NameFormOf(target).owner, host)) return ::string();
  return file::BuildSpecialName(target, host, RestOrRoot(split));
}

::string ReplicatedFileNameToOpen(const char* name, const char* host) {
  return MultiProtocolReplicatedFileNameToOpen(name, host, kRemoteProtocolRfServer);
}

::string ReplicatedFileNameAppend(const char* name, const char* path) {
  file::SplitName split;
  if (path == nullptr || !SplitAs(name, NameKind::kReplicated, &split)) return ::string();
  const ::string rest = file::JoinPath(::string(RestOrRoot(split)), path);
  return file::BuildSpecialName(NameKind::kReplicated, split.owner, rest);
}

const char* ParseWicketRemoteName(const char* name, int default_port, ::string* host,
                                  ::string* path) {
  file::SplitName split;
  if (!SplitAs(name, NameKind::kWicketRemote, &split)) return nullptr;
  ::string endpoint(split.owner);
  if (split.owner.find(':') == std::string_view::npos) {
    if (default_port < 1 || default_port > 65535) return nullptr;
    endpoint += ':';
    endpoint += std::to_string(default_port);
  }
  if (host != nullptr) *host = std::move(endpoint);
  if (path != nullptr) *path = ::string(RestOrRoot(split));
  return name + split.prefix.size();
}

::string FindFullPath(const char* filename, const char* env_var) {
  if (filename == nullptr || *filename == '\0') return ::string();
  if (std::strchr(filename, '/') != nullptr) {
    return IsReadableRegularFile(filename) ? ::string(filename) : ::string();
  }
  const char* search = std::getenv(env_var == nullptr ? "PATH" : env_var);
  if (search == nullptr) return ::string();
  std::string_view dirs(search);
  for (;;) {
    size_t colon = dirs.find(':');
    std::string_view dir = dirs.substr(0, colon);
    ::string candidate = file::JoinPath(dir.empty() ? ::string(".") : ::string(dir), filename);
    if (IsReadableRegularFile(candidate.c_str())) return candidate;
    if (colon == std::string_view::npos) break;
    dirs.remove_prefix(colon + 1);
  }
  return ::string();
}
