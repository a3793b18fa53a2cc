#include "file/base/core/filestat.h"

#include <sys/stat.h>

namespace file {

bool FileProperties::Get(const ::string& key, ::string* value) const {
  auto it = values_.find(key);
  if (it == values_.end()) return false;
  if (value != nullptr) *value = it->second;
  return true;
}

}  // namespace file

bool FileStat::IsDirectory() const { return S_ISDIR(mode); }

void FileStat::Clear() { *this = FileStat(); }
