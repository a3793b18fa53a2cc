#include "file/base/names/filename.h"

#include <cstring>
#include <string_view>

#include "file/base/util/hook_slot.h"
#include "file/base/names/name_forms.h"

namespace {

using PrefixHook = std::function<bool(const char*)>;

file::HookSlot<PrefixHook>& PrefixHookSlot() {
  static file::HookSlot<PrefixHook> slot;
  return slot;
}

bool IsUnderRegisteredPrefix(const char* name) {
  std::shared_ptr<const PrefixHook> hook = PrefixHookSlot().Get();
  if (hook) return (*hook)(name);
  return std::strncmp(name, "/mem/", 5) == 0;
}

}  // namespace

void FileName::SetRegisteredPrefixHook(std::function<bool(const char*)> hook) {
  PrefixHookSlot().Set(std::move(hook));
}

void FileName::Clear() { *this = FileName(); }

void FileName::Parse(const char* name) {
  Clear();
  if (name == nullptr || *name == '\0') return;
  std::string_view text(name);

  file::SplitName split;
  switch (file::SplitSpecialName(text, &split)) {
    case file::SplitResult::kMalformed:
      return;
    case file::SplitResult::kNotSpecial:
      if (IsUnderRegisteredPrefix(name)) {
        is_registered_prefix_ = true;
      } else {
        is_simple_ = true;
      }
      rest_ = text;
      break;
    case file::SplitResult::kSpecial:
      switch (split.form->kind) {
        case file::NameKind::kReplicated: is_replicated_ = true; break;
        case file::NameKind::kRemote: is_remote_ = true; break;
        case file::NameKind::kWicketRemote: is_wicket_remote_ = true; break;
        case file::NameKind::kBigfile: is_bigfile_ = true; break;
        case file::NameKind::kStriped: is_striped_ = true; break;
        case file::NameKind::kTarnShadow: is_tarn_shadow_ = true; [[fallthrough]];
        case file::NameKind::kTarn: is_tarn_ = true; break;
        case file::NameKind::kCachedCheck: is_cached_check_ = true; [[fallthrough]];
        case file::NameKind::kCached: is_cached_ = true; break;
        case file::NameKind::kLockServer: is_lock_server_ = true; break;
        case file::NameKind::kNamespace: is_namespace_ = true; break;
        case file::NameKind::kFern: is_fern_ = true; break;
        case file::NameKind::kKelp: is_kelp_ = true; break;
        case file::NameKind::kQuill: is_quill_ = true; break;
      }
      if (split.form->owner == file::NameOwner::kCell) {
        cellname_ = split.owner;
      } else {
        host_ = split.owner;
      }
      prefix_ = split.prefix;
      rest_ = split.rest.empty() ? std::string_view("/") : split.rest;
      break;
  }

  size_t last_slash = rest_.rfind('/');
  if (last_slash == ::string::npos) {
    basename_ = rest_;
  } else {
    basename_ = rest_.substr(last_slash + 1);
    directory_noslash_ = last_slash == 0 ? ::string("/") : rest_.substr(0, last_slash);
  }
}

::string FileName::prefix() const { return prefix_; }

::string FileName::strip_basename() const { return prefix_ + directory(); }

bool FileName::is_root_directory() const {
  return !rest_.empty() && rest_.find_first_not_of('/') == ::string::npos;
}

bool FileName::MakeTARNName(::string* out, Type type) const {
  if (out == nullptr || cellname_.empty()) return false;
  if (type != TARN_PRIMARY && type != TARN_SHADOW) return false;
  *out = file::BuildSpecialName(
      type == TARN_PRIMARY ? file::NameKind::kTarn : file::NameKind::kTarnShadow, cellname_, rest_);
  return true;
}
