#include "file/base/core/fileversion.h"

#include <charconv>
#include <cstdio>
#include <cstring>

::string FileVersion::ToString() const {
  char text[64];
  std::snprintf(text, sizeof(text), "v%lld.%016llx", time, creator);
  return text;
}

bool FileVersion::FromString(FileVersion* target, const char* text) {
  if (target == nullptr || text == nullptr || text[0] != 'v') return false;
  const char* end = text + std::strlen(text);
  const char* dot = std::strchr(text, '.');
  if (dot == nullptr) return false;

  FileVersion parsed;
  auto time_result = std::from_chars(text + 1, dot, parsed.time, 10);
  if (time_result.ec != std::errc() || time_result.ptr != dot) return false;
  auto creator_result = std::from_chars(dot + 1, end, parsed.creator, 16);
  if (creator_result.ec != std::errc() || creator_result.ptr != end) return false;

  // The parsers above still allow forms ToString never writes (leading zeros,
  // "-0", upper-case or short hex); only the canonical text is a version.
  if (parsed.ToString() != std::string_view(text, end - text)) return false;
  *target = parsed;
  return true;
}
