// One version of a file: when it was made and by whom.
#ifndef FILE_BASE_FILEVERSION_H_
#define FILE_BASE_FILEVERSION_H_

#include "file/base/util/base_types.h"

class FileVersion {
 public:
  int64 time = 0;     // microseconds since the epoch
  uint64 creator = 0;  // identifies the writer (host and process)

  FileVersion() = default;
  FileVersion(int64 t, uint64 c) : time(t), creator(c) {}

  void Clear() { time = 0; creator = 0; }
  bool IsEmpty() const { return time == 0 && creator == 0; }

  // Text form "v<time>.<creator in 16 lower-case hex digits>", for example
  // "v1700000000000000.00000000deadbeef"; FromString accepts exactly what
  // ToString produces (time may be negative) and leaves *target alone on
  // failure.
  ::string ToString() const;
  static bool FromString(FileVersion* target, const char* text);

  // time ordered as signed, then creator as unsigned.
  static int cmp(const FileVersion& a, const FileVersion& b) {
    if (a.time < b.time) return -1;
    if (a.time > b.time) return 1;
    if (a.creator < b.creator) return -1;
    if (a.creator > b.creator) return 1;
    return 0;
  }
  bool operator==(const FileVersion& o) const { return cmp(*this, o) == 0; }
  bool operator!=(const FileVersion& o) const { return cmp(*this, o) != 0; }
  bool operator<(const FileVersion& o) const { return cmp(*this, o) < 0; }
  bool operator<=(const FileVersion& o) const { return cmp(*this, o) <= 0; }
  bool operator>(const FileVersion& o) const { return cmp(*this, o) > 0; }
  bool operator>=(const FileVersion& o) const { return cmp(*this, o) >= 0; }
};

#endif  // FILE_BASE_FILEVERSION_H_
