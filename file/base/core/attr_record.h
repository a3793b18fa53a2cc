// Attribute records: the small "key value" text file kept beside a file
// that holds its attributes (and, later, checksum, version and finalized
// state). For "dir/name" the record is "dir/.name.attr".
//
// Records are read and written through a factory's own primitives, so a
// memory file's record lives in the memory file system and a local file's on
// disk. Unknown keys are kept when a record is rewritten.
//
// The functions that load, store, delete and move records take any spelling
// of a name: repeated "/", "." components and trailing "/" are dropped first
// ("d/x/", "d//x" and "d/./x" all use "d/.x.attr"), so that no spelling can
// miss a record. AttributeRecordName maps the text as given.
#ifndef FILE_BASE_ATTR_RECORD_H_
#define FILE_BASE_ATTR_RECORD_H_

#include <map>

#include "file/base/core/attr.h"
#include "file/base/util/base_types.h"
#include "file/base/core/forward.h"

namespace file {

// The record name for `name`; "" when the name has no basename (empty, or
// ending in "/").
::string AttributeRecordName(const ::string& name);
// True when the basename has the form ".X.attr" (X not empty).
bool IsAttributeRecordName(const char* name);

class AttributeRecord {
 public:
  static constexpr const char* kAttributesKey = "attributes";
  // The FileAttr of file/base/core/file_attributes.h.
  static constexpr const char* kChecksumKey = "checksum";
  static constexpr const char* kVersionKey = "version";
  static constexpr const char* kFinalizedKey = "finalized";

  // Lines "key value" (the value is the rest of the line); blank and
  // malformed lines are skipped.
  void Parse(const ::string& text);
  ::string Serialize() const;

  bool empty() const { return values_.empty(); }
  bool Get(const ::string& key, ::string* value) const;
  // Values must not contain newlines (they are replaced by spaces).
  void Set(const ::string& key, const ::string& value);
  void Erase(const ::string& key);

  // Attr_t(0) when the record has no attributes.
  Attr_t attributes() const;
  // Attr_t(0) and DEFAULT remove the key.
  void set_attributes(Attr_t attr);

 private:
  std::map<::string, ::string> values_;
};

// Loads the record of `name` (an empty record when there is none).
bool LoadAttributeRecord(FileFactory* factory, const ::string& name,
                         AttributeRecord* record, Operation* op);
// Writes the record; an empty record deletes the record file.
bool StoreAttributeRecord(FileFactory* factory, const ::string& name,
                          const AttributeRecord& record, Operation* op);
// Succeeds when there is no record.
bool DeleteAttributeRecord(FileFactory* factory, const ::string& name,
                           Operation* op);
// Counts the record stores, deletions and moves made in this process (bumped
// after each change), so that a cache of records can tell it may be stale.
uint64 AttributeRecordGeneration();
// Carries the record of `from` to `to` (replacing any record of `to`; when
// `from` has none, `to`'s is removed so stale attributes do not linger).
bool MoveAttributeRecord(FileFactory* factory, const ::string& from,
                         const ::string& to, Operation* op);

}  // namespace file

#endif  // FILE_BASE_ATTR_RECORD_H_
