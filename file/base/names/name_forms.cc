#include "file/base/names/name_forms.h"

namespace file {
namespace {

constexpr NameForm kForms[] = {
    {NameKind::kReplicated, "rep", NameOwner::kCell},
    {NameKind::kRemote, "remote", NameOwner::kHost},
    {NameKind::kWicketRemote, "wicket", NameOwner::kHostAndPort},
    {NameKind::kBigfile, "bigfile", NameOwner::kCell},
    {NameKind::kStriped, "striped", NameOwner::kCell},
    {NameKind::kTarn, "tarn", NameOwner::kCell},
    {NameKind::kTarnShadow, "tarn-shadow", NameOwner::kCell},
    {NameKind::kCached, "cache", NameOwner::kNone},
    {NameKind::kCachedCheck, "cache-check", NameOwner::kNone},
    {NameKind::kLockServer, "lock", NameOwner::kCell},
    {NameKind::kNamespace, "ns", NameOwner::kCell},
    {NameKind::kFern, "fern", NameOwner::kCell},
    {NameKind::kKelp, "kelp", NameOwner::kCell},
    {NameKind::kQuill, "quill", NameOwner::kCell},
};

const NameForm* FindForm(std::string_view marker) {
  for (const NameForm& form : kForms) {
    if (marker == form.marker) return &form;
  }
  return nullptr;
}

bool IsNameChar(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' ||
         c == '_' || c == '-';
}

// Letters, digits, ".", "_" and "-"; "." and ".." would read as path steps.
bool IsValidWord(std::string_view text) {
  if (text.empty() || text == "." || text == "..") return false;
  for (char c : text) {
    if (!IsNameChar(c)) return false;
  }
  return true;
}

bool IsValidPort(std::string_view digits) {
  if (digits.empty() || digits.size() > 5) return false;
  int value = 0;
  for (char c : digits) {
    if (c < '0' || c > '9') return false;
    value = value * 10 + (c - '0');
  }
  return value >= 1 && value <= 65535;
}

}  // namespace

const NameForm& NameFormOf(NameKind kind) {
  for (const NameForm& form : kForms) {
    if (form.kind == kind) return form;
  }
  return kForms[0];  // unreachable: every kind has a row
}

bool IsValidOwner(NameOwner owner, std::string_view text) {
  switch (owner) {
    case NameOwner::kNone:
      return text.empty();
    case NameOwner::kHost:
    case NameOwner::kCell:
      return IsValidWord(text);
    case NameOwner::kHostAndPort: {
      size_t colon = text.find(':');
      if (colon == std::string_view::npos) return IsValidWord(text);
      return IsValidWord(text.substr(0, colon)) && IsValidPort(text.substr(colon + 1));
    }
  }
  return false;
}

SplitResult SplitSpecialName(std::string_view name, SplitName* out) {
  if (name.size() < 2 || name[0] != '/') return SplitResult::kNotSpecial;
  size_t marker_end = name.find('/', 1);
  if (marker_end == std::string_view::npos) marker_end = name.size();
  const NameForm* form = FindForm(name.substr(1, marker_end - 1));
  if (form == nullptr) return SplitResult::kNotSpecial;

  SplitName split;
  split.form = form;
  size_t prefix_end = marker_end;
  if (form->owner != NameOwner::kNone) {
    if (marker_end == name.size()) return SplitResult::kMalformed;  // "/rep" has no cell
    size_t owner_begin = marker_end + 1;
    size_t owner_end = name.find('/', owner_begin);
    if (owner_end == std::string_view::npos) owner_end = name.size();
    split.owner = name.substr(owner_begin, owner_end - owner_begin);
    if (!IsValidOwner(form->owner, split.owner)) return SplitResult::kMalformed;
    prefix_end = owner_end;
  }
  split.prefix = name.substr(0, prefix_end);
  split.rest = name.substr(prefix_end);
  *out = split;
  return SplitResult::kSpecial;
}

::string BuildSpecialName(NameKind kind, std::string_view owner, std::string_view rest) {
  const NameForm& form = NameFormOf(kind);
  ::string name = "/";
  name += form.marker;
  if (form.owner != NameOwner::kNone) {
    name += '/';
    name += owner;
  }
  if (rest.empty() || rest[0] != '/') name += '/';
  name += rest;
  return name;
}

}  // namespace file
