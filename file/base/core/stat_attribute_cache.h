// A short-lived cache of the attributes that stat reports.
//
// Every stat would otherwise look for the file's attribute record, a second
// system call for a record that most files never have. Entries live for one
// second and are dropped at once when this process changes any attribute
// record; a record changed by another process shows in stat within that
// second. Only stat reads through the cache: the operations that enforce
// attributes (opening for writing, deleting, renaming) read the record
// itself.
#ifndef FILE_BASE_STAT_ATTRIBUTE_CACHE_H_
#define FILE_BASE_STAT_ATTRIBUTE_CACHE_H_

#include <string_view>

#include "file/base/core/attr.h"
#include "file/base/util/base_types.h"

class FileFactory;

namespace file {

// The two halves of CachedStatAttributes below. FindStatAttributes sets *attr and
// returns true for a fresh entry; otherwise it sets *generation to the
// record generation that a load begun now must be stored with.
bool FindStatAttributes(const FileFactory* factory, std::string_view name, Attr_t* attr,
                        uint64* generation);
void StoreStatAttributes(const FileFactory* factory, std::string_view name, Attr_t attr,
                         uint64 generation);

// The attributes of name on factory: from the cache when fresh, else from
// load, a callable bool(Attr_t*) that returns false on failure (failures are
// not cached). The callable is called in place, never copied.
template <class Load>
bool CachedStatAttributes(const FileFactory* factory, std::string_view name, Attr_t* attr,
                          Load&& load) {
  uint64 generation = 0;
  if (FindStatAttributes(factory, name, attr, &generation)) return true;
  if (!load(attr)) return false;
  StoreStatAttributes(factory, name, *attr, generation);
  return true;
}

}  // namespace file

#endif  // FILE_BASE_STAT_ATTRIBUTE_CACHE_H_
