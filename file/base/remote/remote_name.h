// Names of the remote file system: "root://host[:port]//absolute/path".
//
// Pure string work, no client library: the parts a name is made of, and the
// checks that refuse what the server would misread.
#ifndef FILE_BASE_REMOTE_REMOTE_NAME_H_
#define FILE_BASE_REMOTE_REMOTE_NAME_H_

#include "file/base/util/base_types.h"

namespace file {
namespace remote {

// The scheme every remote name starts with (the registry's prefix).
inline constexpr const char kScheme[] = "root://";

struct RemoteName {
  // "root://host:port" (the port as written; none when none was written).
  ::string server;
  // The text of the name up to where `path` starts, as the caller spelled
  // it ("root://h:1094/" for "root://h:1094//a"), so that names built from
  // this one keep the caller's spelling.
  ::string spelled_prefix;
  // The absolute path on the server: "/" followed by the rest of the name
  // with leading slashes dropped ("root://h//a/b" and "root://h/a/b" both
  // give "/a/b"; "root://h" gives "/").
  ::string path;
  // What the client library is given: server + "/" + path.
  ::string Url() const { return server + "/" + path; }
};

// Splits `name`; false with *reason set when it is not a usable remote name:
// another scheme, no host, a port that is not a number in 1..65535, user
// information ("user@host"), or a "?" or "#" anywhere (the client would read
// them as request options) or a NUL byte.
bool ParseRemoteName(const ::string& name, RemoteName* out, ::string* reason);

// The parent of a remote name, spelled like it; the root's parent is the
// root itself ("root://h//a/b" -> "root://h//a", "root://h//a" -> "root://h//").
::string RemoteParent(const RemoteName& name);

}  // namespace remote
}  // namespace file

#endif  // FILE_BASE_REMOTE_REMOTE_NAME_H_
