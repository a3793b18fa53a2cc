// User and group accounts of the machine, for file systems that report or
// set owners and groups by name.
#ifndef FILE_BASE_CORE_ACCOUNTS_H_
#define FILE_BASE_CORE_ACCOUNTS_H_

#include <sys/stat.h>
#include <sys/types.h>

#include "file/base/core/filestat.h"

namespace file_internal {
// Fills a FileStat from stat(2) results: length, mtime, mode, owner and
// group names (numbers when a name is unknown), identifier = inode.
void FillStatFromPosix(const struct stat& st, FileStat* stat);
// The uid/gid of a user or group name (a decimal number is taken as an id);
// false when unknown.
bool LookupUserId(const char* owner, uid_t* uid);
bool LookupGroupId(const char* group, gid_t* gid);
}  // namespace file_internal

#endif  // FILE_BASE_CORE_ACCOUNTS_H_
