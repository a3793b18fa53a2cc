// Pure string operations on path names, plus the process-wide data directory.
//
// Nothing here touches a file system except CanonicalizeFileName (reads the
// working directory) and InitWithDatadirFrom (asks whether its argument is a
// directory). IsReplicatedFileName and RemoveHosts follow the name grammar
// of docs/names.md. All functions accept any bytes and never fail hard:
// a null or empty input gives the documented empty result.
#ifndef FILE_BASE_PATH_H_
#define FILE_BASE_PATH_H_

#include "file/base/util/base_types.h"

namespace file {

// Lexical normalisation: runs of "/" become one, "." components vanish, and
// ".." removes the component before it. A leading "/" is kept and ".." above
// the root is dropped ("/../a" -> "/a"); in a relative path leading ".." stay
// ("../a/../.." -> "../.."). No trailing "/" except for the root itself. A
// relative path that cleans away entirely becomes "." ("a/.." -> "."), and ""
// stays "" (no name is not the current directory).
::string CleanPath(const ::string& path);

// `b` relative to `a`: an absolute `b` (leading "/") is returned as is; an
// empty `a` gives `b` and an empty `b` gives `a`; otherwise exactly one "/"
// joins them ("a/" + "b" -> "a/b", "/" + "b" -> "/b"). Nothing else is cleaned.
::string JoinPath(const ::string& a, const ::string& b);

// Pointer into `path` just after its last "/" (`path` itself when there is
// none; the terminating NUL when `path` ends in "/"). Null gives null.
const char* Basename(const char* path);

// Pointer into `path` just after the last "." of its basename, or null when
// the basename has no "." (or `path` is null). A dot that starts the basename
// marks a hidden file, not a suffix: ".profile" has none, ".a.txt" has "txt".
// A trailing dot gives the empty suffix ("a." -> "").
const char* Suffix(const char* path);

// The directory part of `path` with its trailing "/": "a/b/c" -> "a/b/",
// "/c" -> "/", "c" -> "", null -> "".
::string StripBasename(const char* path);

// `dir` with exactly one trailing "/" added when it has none; "" stays "" so
// that an unset directory never turns into the root.
::string AddSlash(const ::string& dir);

// The parent of `path` without a trailing "/": "a/b" -> "a", "a/b/" -> "a/b",
// "/a" -> "/", "a" -> "", "" -> "".
::string Dirname(const ::string& path);

// Absolute and clean: a relative name is joined to the current working
// directory first, then CleanPath applies. Null or "" gives "", and so does a
// relative name when the working directory cannot be read.
::string CanonicalizeFileName(const char* name);

// CanonicalizeFileName of each element of `in`, in order; `*out` is replaced
// (it may alias `in`).
void CanonicalizeFileNameList(vector<::string>* out, const vector<::string>& in);

// Builds a full name from parts: `directory` and then each of `components` are
// joined with JoinPath (so an absolute component starts over) and cleaned;
// `suffix`, when not empty, is appended after a "." (a leading "." in
// `suffix` is not doubled). Finally a shard-set mark is added:
// num_shards > 0 appends "@<num_shards>", num_shards < 0 appends "@*" (any
// count, see file/base/names/sharded.h), 0 appends nothing. When the directory and
// every component are empty the result is "".
//   ConstructFullFileName("/d", {"a", "b"}, "txt", 3) == "/d/a/b.txt@3"
::string ConstructFullFileName(const ::string& directory, const vector<::string>& components,
                               const ::string& suffix, int num_shards);

// The plain path inside a name that carries a host or cell (remote, wicket,
// replicated and every cell-based form of docs/names.md):
// "/remote/h/a/b" -> "/a/b", "/rep/cell" -> "/". Other names are returned
// unchanged.
::string RemoveHosts(const ::string& name);

// True when `name` is a replicated name, "/rep/<cell>/<path>" (docs/names.md).
bool IsReplicatedFileName(const char* name);

// --- Data directory --------------------------------------------------------
// Names may refer to the data directory through a placeholder first
// component, "$DATADIR" or "datadir" at the root: "$DATADIR/x", "/datadir/x",
// or the placeholder alone.

// Records the data directory, taken from `where`: when `where` ends in "/" or
// names an existing directory, that directory; otherwise (for instance a
// program's own path) the directory containing it. The result is stored
// canonical (see CanonicalizeFileName). Null or "" records nothing. Every call
// marks the initialisation as done.
void InitWithDatadirFrom(const char* where);

// Whether InitWithDatadirFrom has been called in this process.
bool InitCalled();

// The data directory recorded last, "" before any.
::string Datadir();

// Replaces a leading data-directory placeholder with the recorded directory:
// "$DATADIR/a" -> "<datadir>/a". Names without a placeholder, and every name
// while no directory is recorded, come back unchanged; null gives "".
::string RewriteDatadir(const char* name);

}  // namespace file

#endif  // FILE_BASE_PATH_H_
