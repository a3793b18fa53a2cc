// The files of a log on any file system: listing them through File::Match,
// their sizes, and how record positions sit in a log position.
#ifndef FILE_BASE_LOGS_LOG_FILES_H_
#define FILE_BASE_LOGS_LOG_FILES_H_

#include "file/base/util/base_types.h"

namespace logs {

// Records of a compressed batch are addressed by their index in it; a
// writer closes a batch at this many records so the index fits a position.
constexpr int kMaxBatchRecords = 255;
constexpr int kBatchIndexShift = 32;  // in a position's offset field
constexpr int64 kByteOffsetMask = (int64{1} << kBatchIndexShift) - 1;

// A record reader's or writer's position as a log position's offset field
// (byte offset, batch index above kBatchIndexShift), and back.
int64 ToOffsetField(int64 record_position);
int64 ToRecordPosition(int64 offset_field);

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
