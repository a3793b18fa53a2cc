// The files of a log on any file system: listing them through File::Match,
// their sizes, and the record reader of one file.
#ifndef FILE_BASE_LOGS_LOG_FILES_H_
#define FILE_BASE_LOGS_LOG_FILES_H_

#include "file/base/util/base_types.h"

namespace logs {

// The numbers of the existing files of the log `base`, ascending. False
// (with *error set) when the file system cannot list the log's directory;
// a log without files is an empty list.
bool ListLogFiles(const ::string& base, vector<int>* numbers, ::string* error);

// `text` with the glob's special characters escaped.
::string EscapeForGlob(const ::string& text);

// The size of a file, -1 when it does not exist or cannot be asked.
int64 LogFileSize(const ::string& name);

}  // namespace logs

#endif  // FILE_BASE_LOGS_LOG_FILES_H_
