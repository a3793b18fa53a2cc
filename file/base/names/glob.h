// Shell-style pattern matching on path names, independent of any file system:
// the caller supplies a directory lister, so the local and the in-memory file
// systems share one matcher.
//
// Pattern syntax (per path component; wildcards never match "/"):
//   *        any run of characters, including none
//   ?        any one character
//   [abc]    one of the listed characters; ranges "a-z"; "]" first is literal
//   [!abc]   (or [^abc]) one character not listed
//   {a,b,c}  alternatives, expanded textually first; groups nest and may span
//            components ("{x/y,z}/*"); a group without a top-level "," and an
//            unclosed "{" are literal text
//   \c       the character c itself (also inside classes and groups)
// An unclosed "[" is a literal "[".
#ifndef FILE_BASE_GLOB_H_
#define FILE_BASE_GLOB_H_

#include <functional>
#include <string_view>

#include "file/base/util/base_types.h"

namespace file {

struct DirEntry {
  ::string name;
  bool is_dir;  // a directory, or a symbolic link to one
};

// Lists the entries of `dir` (without "." and "..") into `*out`; returns 0 or
// an errno value. GlobExpand passes "." for the directory a relative pattern
// starts in and "/" for the root.
using ListDirFn = std::function<int(const ::string& dir, vector<DirEntry>* out)>;

// Match-type bits (the values of File::MatchType): 0 hides names starting with
// "." and backup names ending in "~"; 1 shows dotfiles, 2 shows backups, 3 all.
enum GlobMatchBits { kGlobShowDotfiles = 1, kGlobShowBackups = 2 };

// Expands `pattern` component by component, listing each directory it needs
// once through `list`, and replaces `*out` with the matching names, sorted
// bytewise and unique. Names keep the pattern's spelling of literal parts
// ("./*.c" gives "./a.c"); runs of "/" collapse; a trailing "/" in the pattern
// restricts the last component to directories and is kept in the results.
//
// A component without glob characters is taken as it stands: it is not
// listed, but it must exist for a name to be returned (the last one is looked
// up in a listing of its parent, "." and ".." only need the parent to exist).
// Names matched by a glob component are filtered by `match_type` (see
// HiddenByMatchType) unless the component itself asks for them: a pattern
// starting with a literal "." may match dotfiles, one ending in a literal "~"
// may match backups. Literal components are never filtered.
//
// A listing that fails with ENOENT or ENOTDIR just means no match there. Any
// other listing error stops the expansion: false, `*error` set to the errno,
// `*out` emptied. A pattern whose braces expand to more than
// kGlobMaxAlternatives alternatives fails with E2BIG. No match is success
// with an empty result. `error` may be null.
bool GlobExpand(const ::string& pattern, int match_type, const ListDirFn& list,
                vector<::string>* out, int* error);

// Upper bound on the alternatives one pattern may expand to.
constexpr size_t kGlobMaxAlternatives = 1 << 16;

// Whether `name` matches `pattern` as a whole (syntax above, braces included).
// Wildcards never match "/", so this also matches whole paths component-wise.
bool GlobMatchComponent(std::string_view pattern, std::string_view name);
inline bool GlobMatchPath(std::string_view pattern, std::string_view path) {
  return GlobMatchComponent(pattern, path);
}

// Whether `s` contains an unescaped "*", "?", "[" or "{".
bool HasGlobChars(std::string_view s);

// Removes the escapes from a pattern without glob characters ("a\*" -> "a*").
::string GlobUnescape(std::string_view s);

// Expands the brace groups of `pattern` into `*out` (replaced), leaving the
// other syntax as it is. False, with `*out` empty, when there would be more
// than kGlobMaxAlternatives alternatives.
bool GlobExpandBraces(std::string_view pattern, vector<::string>* out);

// Whether a name with this basename is hidden under `match_type`: names
// starting with "." unless bit kGlobShowDotfiles is set, names ending in "~"
// unless bit kGlobShowBackups is set.
bool HiddenByMatchType(std::string_view basename, int match_type);

// Whether `match_type` is one of the four match types (no bits beyond the
// two above).
inline bool IsMatchType(int match_type) {
  return match_type >= 0 && match_type <= (kGlobShowDotfiles | kGlobShowBackups);
}

// A ListDirFn for the local file system (opendir/readdir; symbolic links are
// followed to decide is_dir). "" lists the current directory.
int ListLocalDirectory(const ::string& dir, vector<DirEntry>* out);

}  // namespace file

#endif  // FILE_BASE_GLOB_H_
