// The library's composition root: the file systems the registry starts
// with. File systems know only the core; this is the one place that knows
// them all.
#include "file/base/file.h"
#include "file/base/local/local_file.h"
#include "file/base/mem/mem_file.h"
#include "file/base/remote/remote_file.h"

const vector<BuiltinFileSystem>& BuiltinFileSystems() {
  static const vector<BuiltinFileSystem>* list = new vector<BuiltinFileSystem>{
      {&FileFactory::local_file, nullptr, &NewLocalFileFactory},
      {&FileFactory::mem_file, "/mem/", &NewMemFileFactory},
      {&FileFactory::remote_file, "root://", &NewRemoteFileFactory},
  };
  return *list;
}
