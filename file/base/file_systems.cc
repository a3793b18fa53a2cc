// The library's composition root: the file systems the registry starts
// with. File systems know only the core; this is the one place that knows
// them all.
#include "file/base/file.h"
#include "file/base/local/local_file.h"
#include "file/base/mem/mem_file.h"
#include "file/base/redundancy/archive.h"

// Runs once, when the registry is first used: before any name can be opened.
const vector<BuiltinFileSystem>& BuiltinFileSystems() {
  static const vector<BuiltinFileSystem>* list = [] {
    // Reed-Solomon archives read through the ordinary File interface on
    // every file system.
    redundancy::InstallArchiveSupport();
    return new vector<BuiltinFileSystem>{
        {&FileFactory::local_file, nullptr, &NewLocalFileFactory},
        {&FileFactory::mem_file, "/mem/", &NewMemFileFactory},
        // Its client library starts slowly: loaded on the first root:// name,
        // from beside the library's own object (or $PQ_REMOTE_LIBRARY).
        {&FileFactory::remote_file, "root://", nullptr, "libpq_remote.so",
         "pq_new_remote_file_factory", "PQ_REMOTE_LIBRARY"},
    };
  }();
  return *list;
}
