#include "file/base/names/sharded.h"

#include <charconv>
#include <string_view>

#include "file/base/names/glob.h"
#include "file/base/util/hook_slot.h"

namespace file_base {
namespace {

constexpr int kMinShardDigits = 5;

int ShardDigits(int num_shards) {
  int digits = 1;
  for (int n = num_shards; n >= 10; n /= 10) ++digits;
  return digits < kMinShardDigits ? kMinShardDigits : digits;
}

void AppendPadded(int value, int width, ::string* out) {
  char digits[16];
  auto [end, ec] = std::to_chars(digits, digits + sizeof(digits), value);
  out->append(width - (end - digits), '0');
  out->append(digits, end);
}

// A run of decimal digits that fits an int; false for anything else.
bool ParseCount(std::string_view text, int* value) {
  if (text.empty() || text.size() > 10) return false;
  for (char c : text) {
    if (c < '0' || c > '9') return false;
  }
  auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), *value);
  return ec == std::errc() && end == text.data() + text.size();
}

// "name@N" or "name@*": the base, and N (0 for "*"). False for other names.
bool ParseSetName(std::string_view set_name, std::string_view* base, int* num_shards) {
  size_t at = set_name.rfind('@');
  if (at == std::string_view::npos || at == 0 || set_name[at - 1] == '/') return false;
  size_t slash = set_name.rfind('/');
  if (slash != std::string_view::npos && slash > at) return false;
  std::string_view count_text = set_name.substr(at + 1);
  int count = 0;
  if (count_text != "*" && (!ParseCount(count_text, &count) || count <= 0)) return false;
  *num_shards = count;
  *base = set_name.substr(0, at);
  return true;
}

std::string_view BasenameOf(std::string_view path) {
  size_t slash = path.rfind('/');
  return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

struct ShardName {
  std::string_view base;
  int shard = 0;
  int num_shards = 0;
  int digits = 0;
};

// Parses a canonical "<base>-<shard>-of-<num_shards>".
bool ParseShardName(std::string_view name, ShardName* out) {
  size_t of = name.rfind("-of-");
  if (of == std::string_view::npos) return false;
  std::string_view count_text = name.substr(of + 4);
  const size_t width = count_text.size();
  if (width < kMinShardDigits || of < width + 1) return false;
  std::string_view shard_text = name.substr(of - width, width);
  if (name[of - width - 1] != '-') return false;
  ShardName parsed;
  parsed.base = name.substr(0, of - width - 1);
  if (parsed.base.empty() || parsed.base.back() == '/') return false;
  if (!ParseCount(count_text, &parsed.num_shards) || !ParseCount(shard_text, &parsed.shard)) {
    return false;
  }
  if (parsed.num_shards <= 0 || parsed.shard >= parsed.num_shards) return false;
  parsed.digits = static_cast<int>(width);
  if (parsed.digits != ShardDigits(parsed.num_shards)) return false;
  *out = parsed;
  return true;
}

::string EscapeGlob(std::string_view text) {
  ::string escaped;
  escaped.reserve(text.size());
  for (char c : text) {
    switch (c) {
      case '*': case '?': case '[': case ']': case '{': case '}': case '\\':
        escaped += '\\';
        break;
      default:
        break;
    }
    escaped += c;
  }
  return escaped;
}

bool MatchLocalFiles(const ::string& pattern, vector<::string>* out) {
  int error = 0;
  return file::GlobExpand(pattern, file::kGlobShowDotfiles | file::kGlobShowBackups,
                          file::ListLocalDirectory, out, &error);
}

file::HookSlot<ShardMatchFn>& MatchHook() {
  static file::HookSlot<ShardMatchFn> slot;
  return slot;
}

bool MatchExisting(const ::string& pattern, vector<::string>* out) {
  std::shared_ptr<const ShardMatchFn> hook = MatchHook().Get();
  return hook ? (*hook)(pattern, out) : MatchLocalFiles(pattern, out);
}

}  // namespace

::string GenerateShardedFilename(const ::string& base, int shard, int num_shards) {
  if (shard < 0 || shard >= num_shards) return ::string();
  const int width = ShardDigits(num_shards);
  ::string name;
  name.reserve(base.size() + 2 * width + 5);
  name += base;
  name += '-';
  AppendPadded(shard, width, &name);
  name += "-of-";
  AppendPadded(num_shards, width, &name);
  return name;
}

bool GenerateShardedFilenames(const ::string& set_name, vector<::string>* out) {
  out->clear();
  std::string_view base;
  int num_shards = 0;
  if (!ParseSetName(set_name, &base, &num_shards) || num_shards == 0 ||
      num_shards > kMaxExpandedShards) {
    return false;
  }
  const ::string base_text(base);
  out->reserve(num_shards);
  for (int shard = 0; shard < num_shards; ++shard) {
    out->push_back(GenerateShardedFilename(base_text, shard, num_shards));
  }
  return true;
}

::string GenerateShardedFilePattern(const ::string& base, int num_shards) {
  ::string pattern = EscapeGlob(base);
  pattern += '-';
  if (num_shards > 0) {
    const int width = ShardDigits(num_shards);
    pattern.append(width, '?');
    pattern += "-of-";
    AppendPadded(num_shards, width, &pattern);
  } else {
    static constexpr char kAtLeastFiveDigits[] = "[0-9][0-9][0-9][0-9][0-9]*";
    pattern += kAtLeastFiveDigits;
    pattern += "-of-";
    pattern += kAtLeastFiveDigits;
  }
  return pattern;
}

bool ShardSetToPattern(const ::string& set_name, ::string* pattern) {
  std::string_view base;
  int num_shards = 0;
  if (!ParseSetName(set_name, &base, &num_shards)) return false;
  *pattern = GenerateShardedFilePattern(::string(base), num_shards);
  return true;
}

void SetShardMatchFunction(ShardMatchFn fn) { MatchHook().Set(std::move(fn)); }

bool DetectNumberOfShards(const ::string& set_name, int* num_shards) {
  std::string_view base = set_name;
  int wanted = 0;
  ParseSetName(set_name, &base, &wanted);  // a plain name is its own base
  if (base.empty()) return false;

  vector<::string> matches;
  if (!MatchExisting(GenerateShardedFilePattern(::string(base), wanted), &matches)) return false;
  // The matcher may respell the directory ("a//b" -> "a/b"); the glob fixed
  // it already, so only the basename needs checking.
  const std::string_view wanted_basename = BasenameOf(base);

  int found = 0;
  for (const ::string& match : matches) {
    ShardName shard;
    if (!ParseShardName(match, &shard)) continue;
    if (BasenameOf(shard.base) != wanted_basename) continue;
    if (found != 0 && shard.num_shards != found) return false;  // two sets share the base
    found = shard.num_shards;
  }
  if (found == 0 || (wanted != 0 && found != wanted)) return false;
  if (num_shards != nullptr) *num_shards = found;
  return true;
}

const char* ShardedBasenameWithNumShards(const char* name, int* shard, int* num_shards,
                                         int* digits) {
  if (name == nullptr) return nullptr;
  ShardName parsed;
  if (!ParseShardName(name, &parsed)) return nullptr;
  thread_local ::string set_name;
  set_name.assign(parsed.base);
  set_name += '@';
  set_name += std::to_string(parsed.num_shards);
  if (shard != nullptr) *shard = parsed.shard;
  if (num_shards != nullptr) *num_shards = parsed.num_shards;
  if (digits != nullptr) *digits = parsed.digits;
  return set_name.c_str();
}

}  // namespace file_base
