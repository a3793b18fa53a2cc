// The table of special name forms (docs/names.md) and the one splitter that
// FileName, RemoveHosts and the replicated-name builders share, so that
// building and parsing cannot drift apart.
#ifndef FILE_BASE_NAME_FORMS_H_
#define FILE_BASE_NAME_FORMS_H_

#include <string_view>

#include "file/base/util/base_types.h"

namespace file {

enum class NameKind {
  kReplicated,
  kRemote,
  kWicketRemote,
  kBigfile,
  kStriped,
  kTarn,
  kTarnShadow,
  kCached,
  kCachedCheck,
  kLockServer,
  kNamespace,
  kFern,
  kKelp,
  kQuill,
};

// What the component after the marker is.
enum class NameOwner { kNone, kHost, kHostAndPort, kCell };

struct NameForm {
  NameKind kind;
  const char* marker;  // first component, without slashes: "rep"
  NameOwner owner;
};

const NameForm& NameFormOf(NameKind kind);

// A special name split into its parts; views into the split text.
struct SplitName {
  const NameForm* form = nullptr;
  std::string_view owner;   // host or cell; empty for kNone
  std::string_view prefix;  // "/<marker>[/<owner>]"
  std::string_view rest;    // the path inside, "" when the name stops after the prefix
};

enum class SplitResult { kNotSpecial, kSpecial, kMalformed };

// kSpecial fills `*out`; kMalformed means the first component is a marker
// but the rest breaks the form's rules; kNotSpecial for every other name.
SplitResult SplitSpecialName(std::string_view name, SplitName* out);

// "/<marker>[/<owner>]<rest>" with rest "/" when empty; the caller has
// checked `owner` with IsValidOwner.
::string BuildSpecialName(NameKind kind, std::string_view owner, std::string_view rest);

bool IsValidOwner(NameOwner owner, std::string_view text);

}  // namespace file

#endif  // FILE_BASE_NAME_FORMS_H_
