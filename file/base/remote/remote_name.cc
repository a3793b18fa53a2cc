#include "file/base/remote/remote_name.h"

#include <cstring>

namespace file {
namespace remote {

bool ParseRemoteName(const ::string& name, RemoteName* out, ::string* reason) {
  const size_t scheme = std::strlen(kScheme);
  if (name.compare(0, scheme, kScheme) != 0) {
    *reason = "not a root:// name";
    return false;
  }
  if (name.find_first_of(::string("?#\0", 3)) != ::string::npos) {
    *reason = "'?', '#' and NUL bytes are not allowed in remote names";
    return false;
  }
  const size_t slash = name.find('/', scheme);
  const size_t host_end = slash == ::string::npos ? name.size() : slash;
  const ::string authority = name.substr(scheme, host_end - scheme);
  if (authority.find('@') != ::string::npos) {
    *reason = "user names are not allowed in remote names";
    return false;
  }
  // A bracketed IPv6 address keeps its colons: the port follows the "]".
  const size_t bracket = authority.rfind(']');
  const size_t colon = authority.rfind(':');
  const bool has_port = colon != ::string::npos && (bracket == ::string::npos || colon > bracket);
  const ::string host(has_port ? authority.substr(0, colon) : std::string(authority));
  if (host.empty() || host == "[]") {
    *reason = "no host in remote name";
    return false;
  }
  if (has_port) {
    const ::string port = authority.substr(colon + 1);
    long value = 0;  // NOLINT
    bool digits = !port.empty() && port.size() <= 5;
    for (char c : port) {
      if (c < '0' || c > '9') digits = false;
      else value = value * 10 + (c - '0');
    }
    if (!digits || value < 1 || value > 65535) {
      *reason = "bad port '" + port + "' in remote name";
      return false;
    }
  }
  size_t rest = host_end;
  while (rest < name.size() && name[rest] == '/') ++rest;
  out->server = name.substr(0, host_end);
  out->spelled_prefix = name.substr(0, rest == host_end ? host_end : rest - 1);
  out->path = "/" + name.substr(rest);
  return true;
}

::string RemoteParent(const RemoteName& name) {
  ::string path = name.path;
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  const size_t slash = path.rfind('/');
  path = slash == 0 || slash == ::string::npos ? "/" : path.substr(0, slash);
  return name.spelled_prefix + path;
}

}  // namespace remote
}  // namespace file
