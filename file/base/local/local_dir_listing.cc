// The local file system's directory lister for GlobExpand.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "file/base/names/glob.h"

namespace file {

int ListLocalDirectory(const ::string& dir, vector<DirEntry>* out) {
  out->clear();
  DIR* stream = opendir(dir.empty() ? "." : dir.c_str());
  if (stream == nullptr) return errno;
  int error = 0;
  for (;;) {
    errno = 0;
    struct dirent* entry = readdir(stream);
    if (entry == nullptr) {
      error = errno;
      break;
    }
    const char* name = entry->d_name;
    if (std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0) continue;
    bool is_dir = entry->d_type == DT_DIR;
    if (entry->d_type == DT_LNK || entry->d_type == DT_UNKNOWN) {
      // Links count as what they point to, so "dir/*/x" walks through them.
      struct stat st;
      is_dir = fstatat(dirfd(stream), name, &st, 0) == 0 && S_ISDIR(st.st_mode);
    }
    out->push_back(DirEntry{::string(name), is_dir});
  }
  closedir(stream);
  if (error != 0) out->clear();
  return error;
}

}  // namespace file
