#include "file/base/names/glob.h"

#include <cerrno>
#include <algorithm>
#include <string_view>
#include <unordered_map>

namespace file {
namespace {

constexpr size_t npos = std::string_view::npos;

// One character of a bracket expression at p[*j], escapes resolved.
unsigned char ReadClassChar(std::string_view p, size_t* j) {
  if (p[*j] == '\\' && *j + 1 < p.size()) {
    *j += 2;
    return static_cast<unsigned char>(p[*j - 1]);
  }
  return static_cast<unsigned char>(p[(*j)++]);
}

// Matches `c` against the bracket expression opening at p[open]. Returns the
// index after its "]", or npos when it is not closed (then "[" is literal).
size_t MatchClass(std::string_view p, size_t open, char c, bool* matched) {
  size_t j = open + 1;
  bool negate = j < p.size() && (p[j] == '!' || p[j] == '^');
  if (negate) ++j;
  const unsigned char uc = static_cast<unsigned char>(c);
  bool found = false;
  bool first = true;
  while (j < p.size()) {
    if (p[j] == ']' && !first) {
      *matched = c != '/' && found != negate;
      return j + 1;
    }
    first = false;
    unsigned char low = ReadClassChar(p, &j);
    unsigned char high = low;
    if (j + 1 < p.size() && p[j] == '-' && p[j + 1] != ']') {
      ++j;
      high = ReadClassChar(p, &j);
    }
    if (low <= uc && uc <= high) found = true;
  }
  return npos;
}

// Matches one non-"*" pattern element at p[*pi] against `c` and moves *pi
// past it.
bool MatchElement(std::string_view p, size_t* pi, char c) {
  const char pc = p[*pi];
  if (pc == '?') {
    ++*pi;
    return c != '/';
  }
  if (pc == '[') {
    bool matched = false;
    size_t end = MatchClass(p, *pi, c, &matched);
    if (end != npos) {
      *pi = end;
      return matched;
    }
  }
  if (pc == '\\' && *pi + 1 < p.size()) {
    *pi += 2;
    return c == p[*pi - 1];
  }
  ++*pi;
  return c == pc;
}

// Linear matching with backtracking to the last "*" only: a later "*" can
// absorb anything an earlier one could, so older choices never need revisiting.
// A "*" cannot extend over "/", and neither can any earlier "*".
bool MatchWithoutBraces(std::string_view p, std::string_view s) {
  size_t pi = 0, si = 0;
  size_t star_pi = npos, star_si = 0;
  while (si < s.size()) {
    if (pi < p.size()) {
      if (p[pi] == '*') {
        star_pi = ++pi;
        star_si = si;
        continue;
      }
      size_t next = pi;
      if (MatchElement(p, &next, s[si])) {
        pi = next;
        ++si;
        continue;
      }
    }
    if (star_pi == npos || s[star_si] == '/') return false;
    pi = star_pi;
    si = ++star_si;
  }
  while (pi < p.size() && p[pi] == '*') ++pi;
  return pi == p.size();
}

// Finds the first brace group with a top-level "," at or after `from`.
// Returns false when there is none; otherwise its "{" and "}" positions and
// the positions of its top-level commas.
bool FindBraceGroup(std::string_view p, size_t* open, size_t* close, vector<size_t>* commas) {
  for (size_t i = 0; i < p.size(); ++i) {
    if (p[i] == '\\') {
      ++i;
      continue;
    }
    if (p[i] != '{') continue;
    commas->clear();
    int depth = 0;
    for (size_t j = i + 1; j < p.size(); ++j) {
      if (p[j] == '\\') {
        ++j;
      } else if (p[j] == '{') {
        ++depth;
      } else if (p[j] == '}') {
        if (depth-- > 0) continue;
        if (commas->empty()) break;  // "{a}" is literal text
        *open = i;
        *close = j;
        return true;
      } else if (p[j] == ',' && depth == 0) {
        commas->push_back(j);
      }
    }
  }
  return false;
}

bool ExpandBracesInto(std::string_view p, vector<::string>* out) {
  size_t open = 0, close = 0;
  vector<size_t> commas;
  if (!FindBraceGroup(p, &open, &close, &commas)) {
    if (out->size() >= kGlobMaxAlternatives) return false;
    out->emplace_back(p);
    return true;
  }
  std::string_view head = p.substr(0, open);
  std::string_view tail = p.substr(close + 1);
  size_t begin = open + 1;
  commas.push_back(close);
  ::string candidate;
  for (size_t end : commas) {
    candidate.assign(head);
    candidate.append(p.substr(begin, end - begin));
    candidate.append(tail);
    if (!ExpandBracesInto(candidate, out)) return false;
    begin = end + 1;
  }
  return true;
}

bool HasUnescapedBrace(std::string_view p) {
  for (size_t i = 0; i < p.size(); ++i) {
    if (p[i] == '\\') {
      ++i;
    } else if (p[i] == '{') {
      return true;
    }
  }
  return false;
}

// A directory listing, fetched once per expansion.
struct Listing {
  int error = 0;
  vector<DirEntry> entries;
  // Built on the first literal lookup, for patterns that test many names.
  std::unordered_map<std::string_view, bool> is_dir_by_name;
  bool indexed = false;

  const bool* Find(std::string_view name) {
    if (!indexed) {
      is_dir_by_name.reserve(entries.size());
      for (const DirEntry& e : entries) is_dir_by_name.emplace(e.name, e.is_dir);
      indexed = true;
    }
    auto it = is_dir_by_name.find(name);
    return it == is_dir_by_name.end() ? nullptr : &it->second;
  }
};

bool IsSoftListingError(int error) { return error == ENOENT || error == ENOTDIR; }

class Expander {
 public:
  Expander(int match_type, const ListDirFn& list) : match_type_(match_type), list_(list) {}

  // Adds the matches of one brace-free pattern; false on a hard listing error.
  bool Expand(std::string_view pattern);

  int error() const { return error_; }
  vector<::string>& results() { return results_; }

 private:
  // `prefix` is "" (relative start) or ends in "/".
  Listing* List(const ::string& prefix);
  bool ExpandLiteral(std::string_view component, bool last, bool want_dir,
                     const vector<::string>& prefixes, vector<::string>* next);
  bool ExpandGlob(std::string_view component, bool last, bool want_dir,
                  const vector<::string>& prefixes, vector<::string>* next);

  const int match_type_;
  const ListDirFn& list_;
  std::unordered_map<::string, Listing> listings_;
  vector<::string> results_;
  int error_ = 0;
};

Listing* Expander::List(const ::string& prefix) {
  ::string dir;
  if (prefix.empty()) {
    dir = ".";
  } else if (prefix.size() == 1) {
    dir = prefix;  // the root
  } else {
    dir.assign(prefix, 0, prefix.size() - 1);
  }
  auto [it, inserted] = listings_.try_emplace(dir);
  if (inserted) it->second.error = list_(dir, &it->second.entries);
  return &it->second;
}

bool Expander::ExpandLiteral(std::string_view component, bool last, bool want_dir,
                             const vector<::string>& prefixes, vector<::string>* next) {
  const ::string literal = GlobUnescape(component);
  for (const ::string& prefix : prefixes) {
    if (!last) {
      // Not checked here: listing it for the next component tells.
      next->push_back(prefix + literal + "/");
      continue;
    }
    Listing* parent = List(prefix);
    if (parent->error != 0) {
      if (IsSoftListingError(parent->error)) continue;
      error_ = parent->error;
      return false;
    }
    if (literal != "." && literal != "..") {
      const bool* is_dir = parent->Find(literal);
      if (is_dir == nullptr || (want_dir && !*is_dir)) continue;
    }
    results_.push_back(prefix + literal + (want_dir ? "/" : ""));
  }
  return true;
}

bool Expander::ExpandGlob(std::string_view component, bool last, bool want_dir,
                          const vector<::string>& prefixes, vector<::string>* next) {
  // A pattern that spells out the leading "." or trailing "~" asks for them.
  int shown = match_type_;
  if (component.front() == '.' || component.substr(0, 2) == "\\.") shown |= kGlobShowDotfiles;
  if (component.back() == '~') shown |= kGlobShowBackups;
  const bool dirs_only = !last || want_dir;
  const std::string_view suffix = last ? (want_dir ? "/" : "") : "/";

  for (const ::string& prefix : prefixes) {
    Listing* listing = List(prefix);
    if (listing->error != 0) {
      if (IsSoftListingError(listing->error)) continue;
      error_ = listing->error;
      return false;
    }
    vector<::string>* sink = last ? &results_ : next;
    for (const DirEntry& entry : listing->entries) {
      if (dirs_only && !entry.is_dir) continue;
      if (HiddenByMatchType(entry.name, shown)) continue;
      if (!MatchWithoutBraces(component, entry.name)) continue;
      ::string path;
      path.reserve(prefix.size() + entry.name.size() + suffix.size());
      path += prefix;
      path += entry.name;
      path += suffix;
      sink->push_back(std::move(path));
    }
  }
  return true;
}

bool Expander::Expand(std::string_view pattern) {
  const bool absolute = pattern.front() == '/';
  vector<std::string_view> components;
  for (size_t pos = 0; pos < pattern.size();) {
    size_t slash = pattern.find('/', pos);
    if (slash == npos) slash = pattern.size();
    if (slash > pos) components.push_back(pattern.substr(pos, slash - pos));
    pos = slash + 1;
  }
  if (components.empty()) {  // only slashes: the root
    results_.emplace_back("/");
    return true;
  }
  const bool want_dir = pattern.back() == '/';

  vector<::string> prefixes{absolute ? ::string("/") : ::string()};
  vector<::string> next;
  for (size_t i = 0; i < components.size() && !prefixes.empty(); ++i) {
    const bool last = i + 1 == components.size();
    next.clear();
    bool ok = HasGlobChars(components[i])
                  ? ExpandGlob(components[i], last, want_dir, prefixes, &next)
                  : ExpandLiteral(components[i], last, want_dir, prefixes, &next);
    if (!ok) return false;
    prefixes.swap(next);
  }
  return true;
}

}  // namespace

bool GlobExpandBraces(std::string_view pattern, vector<::string>* out) {
  out->clear();
  if (!ExpandBracesInto(pattern, out)) {
    out->clear();
    return false;
  }
  return true;
}

bool GlobExpand(const ::string& pattern, int match_type, const ListDirFn& list,
                vector<::string>* out, int* error) {
  out->clear();
  if (error != nullptr) *error = 0;
  if (pattern.empty()) return true;

  vector<::string> alternatives;
  if (!GlobExpandBraces(pattern, &alternatives)) {
    if (error != nullptr) *error = E2BIG;
    return false;
  }
  Expander expander(match_type, list);
  for (const ::string& alternative : alternatives) {
    if (alternative.empty()) continue;  // "{,x}" offers an empty alternative
    if (!expander.Expand(alternative)) {
      if (error != nullptr) *error = expander.error();
      return false;
    }
  }
  vector<::string>& results = expander.results();
  std::sort(results.begin(), results.end());
  results.erase(std::unique(results.begin(), results.end()), results.end());
  out->swap(results);
  return true;
}

bool GlobMatchComponent(std::string_view pattern, std::string_view name) {
  if (!HasUnescapedBrace(pattern)) return MatchWithoutBraces(pattern, name);
  vector<::string> alternatives;
  if (!GlobExpandBraces(pattern, &alternatives)) return false;
  for (const ::string& alternative : alternatives) {
    if (MatchWithoutBraces(alternative, name)) return true;
  }
  return false;
}

bool HasGlobChars(std::string_view s) {
  for (size_t i = 0; i < s.size(); ++i) {
    switch (s[i]) {
      case '\\':
        ++i;
        break;
      case '*':
      case '?':
      case '[':
      case '{':
        return true;
      default:
        break;
    }
  }
  return false;
}

::string GlobUnescape(std::string_view s) {
  ::string plain;
  plain.reserve(s.size());
  for (size_t i = 0; i < s.size(); ++i) {
    if (s[i] == '\\' && i + 1 < s.size()) ++i;
    plain += s[i];
  }
  return plain;
}

bool HiddenByMatchType(std::string_view basename, int match_type) {
  if (basename.empty()) return false;
  if (basename.front() == '.' && !(match_type & kGlobShowDotfiles)) return true;
  if (basename.back() == '~' && !(match_type & kGlobShowBackups)) return true;
  return false;
}

}  // namespace file
