#include "file/base/logs/log_files.h"

#include <algorithm>
#include <cstring>

#include "file/base/file.h"
#include "file/base/logio.h"
#include "file/base/records/record_format.h"

namespace logs {

int64 ToOffsetField(int64 record_position) {
  const int64 index = record_position >> records::kIndexShift;
  return (record_position & kByteOffsetMask) | (index << kBatchIndexShift);
}

int64 ToRecordPosition(int64 offset_field) {
  return records::MakePosition(offset_field & kByteOffsetMask, offset_field >> kBatchIndexShift);
}

::string EscapeForGlob(const ::string& text) {
  ::string escaped;
  for (char c : text) {
    if (std::strchr("*?[]{}\\", c) != nullptr && c != 0) escaped += '\\';
    escaped += c;
  }
  return escaped;
}

bool ListLogFiles(const ::string& base, vector<int>* numbers, ::string* error) {
  numbers->clear();
  vector<::string> names;
  const ::string pattern = EscapeForGlob(base) + "seq[0-9][0-9][0-9][0-9][0-9]*";
  if (!File::ExtendedMatch(pattern.c_str(), &names, File::MATCH_ALL)) {
    *error = "cannot list the files of log " + base;
    return false;
  }
  for (const ::string& name : names) {
    // Only names FileName gives: "seq" and at least five digits, without
    // extra leading zeros.
    const int n = LogBase::LogFileNameToFileNumber(name.c_str());
    const size_t digits = std::max<size_t>(5, std::to_string(n).size());
    if (n >= 0 && name.size() > digits + 3 && name.compare(name.size() - digits - 3, 3, "seq") == 0) {
      numbers->push_back(n);
    }
  }
  std::sort(numbers->begin(), numbers->end());
  numbers->erase(std::unique(numbers->begin(), numbers->end()), numbers->end());
  return true;
}

int64 LogFileSize(const ::string& name) { return File::GetFileSize(name.c_str()); }

}  // namespace logs
