// Building and taking apart replicated and remote names (forms in
// docs/names.md), and two small lookups that travel with them.
//
// The names built here always parse back with FileName to the same host,
// cell and path.
#ifndef FILE_BASE_REPLICATED_NAMES_H_
#define FILE_BASE_REPLICATED_NAMES_H_

#include "file/base/util/base_types.h"

// The protocols a replica can be reached by; the values of
// File::ConstructRemoteFileType.
enum RemoteProtocol : int { kRemoteProtocolRfServer = 0, kRemoteProtocolSRemoteServer = 1 };

// The name that opens the replica of replicated `name` ("/rep/<cell>/<path>")
// held by `host`: protocol kRemoteProtocolRfServer gives
// "/remote/<host>/<path>", kRemoteProtocolSRemoteServer gives
// "/wicket/<host>/<path>" (`host` may carry ":<port>" only there). "" when
// `name` is not replicated, `host` is not a valid host, the protocol is
// unknown, or an argument is null.
::string MultiProtocolReplicatedFileNameToOpen(const char* name, const char* host, int protocol);

// MultiProtocolReplicatedFileNameToOpen with kRemoteProtocolRfServer.
::string ReplicatedFileNameToOpen(const char* name, const char* host);

// Joins `path` to the path inside replicated `name`, keeping its cell:
// ("/rep/c/dir", "f") -> "/rep/c/dir/f"; an absolute `path` replaces the
// inner path ("/rep/c/dir", "/x") -> "/rep/c/x". "" when `name` is not
// replicated or an argument is null.
::string ReplicatedFileNameAppend(const char* name, const char* path);

// Takes a wicket name "/wicket/<host>[:<port>]/<path>" apart: `*host` gets
// "<host>:<port>", the port taken from the name or, when the name has none,
// `default_port`; `*path` gets the path inside ("/" when the name has none).
// Returns a pointer into `name` at the start of that path (at its terminating
// NUL when the name has no path). Returns null, writing nothing, when `name`
// is null or not a wicket name, or has no port while default_port is not in
// 1..65535. `host` and `path` may be null.
const char* ParseWicketRemoteName(const char* name, int default_port, ::string* host,
                                  ::string* path);

// Searches the directories listed in environment variable `env_var` (":"
// separated; an empty entry means the current directory; null means "PATH")
// for an existing readable regular file called `filename`, and returns the
// first "<dir>/<filename>" found. A `filename` containing "/" is not searched
// for: it is returned as given when it is such a file. "" when nothing is
// found.
::string FindFullPath(const char* filename, const char* env_var);

// True exactly when `value`, read as a signed 64-bit integer, is negative.
inline bool IsUInt64ANegativeInt64(uint64 value) { return static_cast<int64>(value) < 0; }

#endif  // FILE_BASE_REPLICATED_NAMES_H_
