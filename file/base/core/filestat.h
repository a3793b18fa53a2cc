// The record a stat fills in.
#ifndef FILE_BASE_FILESTAT_H_
#define FILE_BASE_FILESTAT_H_

#include <map>

#include "file/base/core/attr.h"
#include "file/base/util/base_types.h"

namespace file {

// Free-form named properties of a file (for example the replication level or
// the storage class a file system reports). A copyable value.
class FileProperties {
 public:
  FileProperties() = default;
  void Set(const ::string& key, const ::string& value) { values_[key] = value; }
  bool Get(const ::string& key, ::string* value) const;
  bool Has(const ::string& key) const { return values_.count(key) != 0; }
  void Clear() { values_.clear(); }
  bool empty() const { return values_.empty(); }
  const std::map<::string, ::string>& values() const { return values_; }
  bool operator==(const FileProperties& o) const { return values_ == o.values_; }

 private:
  std::map<::string, ::string> values_;
};

}  // namespace file

struct FileStat {
  int64 length = -1;
  long mtime = 0;  // NOLINT: seconds since the epoch
  Attr_t attributes;
  uint32 mode = 0;
  ::string owner;
  ::string group;
  int data_members = -1;
  int code_members = -1;
  ::string encoding;
  int64 identifier = 0;
  file::FileProperties properties;

  bool IsDirectory() const;  // S_ISDIR of mode
  void Clear();              // back to the defaults above
};

#endif  // FILE_BASE_FILESTAT_H_
