// The fopen-style mode strings of File opens.
#ifndef FILE_BASE_OPEN_MODE_H_
#define FILE_BASE_OPEN_MODE_H_

namespace file {

// "r" read; "w" write, create, truncate; "a" append, create; "r+" read and
// write an existing file; "w+" read and write, create, truncate; "a+" read
// and append, create. A "b" anywhere after the first letter is ignored.
struct OpenMode {
  bool read = false;
  bool write = false;
  bool append = false;
  bool create = false;
  bool truncate = false;
};

// False for anything else (null, empty, unknown letters, repeated '+').
bool ParseOpenMode(const char* mode, OpenMode* out);

}  // namespace file

#endif  // FILE_BASE_OPEN_MODE_H_
