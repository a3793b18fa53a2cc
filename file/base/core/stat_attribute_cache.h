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

#include <functional>
#include <string_view>

#include "file/base/core/attr.h"
#include "file/base/util/base_types.h"

class FileFactory;

namespace file {

// The attributes of name on factory: from the cache when fresh, else from
// load (which returns false on failure; failures are not cached).
bool CachedStatAttributes(const FileFactory* factory, std::string_view name, Attr_t* attr,
                          const std::function<bool(Attr_t*)>& load);

}  // namespace file

#endif  // FILE_BASE_STAT_ATTRIBUTE_CACHE_H_
