// Where the core meets an archive implementation. The core knows nothing
// of how archives are made; the library's composition root installs an
// implementation (file/base/redundancy/archive.h), and the shared factory
// layer consults it:
// - FileFactory::Archive hands each name to `archive`;
// - opening a name read-only first asks `open` for a handle: an archive
//   answers with a handle that reads the archived bytes, anything else
//   with null (and the file system's own handle is used);
// - stat by name lets `stat` put the archived file's length into a stat
//   whose attributes carry Attr_t::FROZEN (every archive is frozen), so
//   other files pay nothing;
// - deleting a frozen name also deletes the files `companions` names.
#ifndef FILE_BASE_CORE_ARCHIVE_SUPPORT_H_
#define FILE_BASE_CORE_ARCHIVE_SUPPORT_H_

#include <functional>
#include <memory>

#include "file/base/core/forward.h"
#include "file/base/util/base_types.h"

namespace file {

class Operation;

struct ArchiveSupport {
  // Makes `name` an archive (or repairs one); false with the failure in op.
  std::function<bool(FileFactory* factory, const ::string& name, FileReedSolomonEncoding encoding,
                     int stripe_unit_kib, Operation* op)>
      archive;
  // A new, unopened read handle for an archive; null for other files.
  std::function<File*(FileFactory* factory, const char* name, const char* mode,
                      const FileOpenOptions& options)>
      open;
  // Corrects the stat of an archive; leaves other stats alone.
  std::function<void(FileFactory* factory, const char* name, FileStat* stat)> stat;
  // The files that belong to an archive (its shards), deleted after its
  // name; empty for other files.
  std::function<vector<::string>(FileFactory* factory, const char* name)> companions;

  explicit operator bool() const { return archive || open || stat || companions; }
};

// Installs (or, with an empty value, removes) the implementation.
void SetArchiveSupport(ArchiveSupport support);
// Null when none is installed.
std::shared_ptr<const ArchiveSupport> GetArchiveSupport();

}  // namespace file

#endif  // FILE_BASE_CORE_ARCHIVE_SUPPORT_H_
