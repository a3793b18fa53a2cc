// Attribute bits of a file.
#ifndef FILE_BASE_ATTR_H_
#define FILE_BASE_ATTR_H_

#include "file/base/util/base_types.h"

struct Attr_t {
  enum Bits : uint32 {
    NONE = 0,
    APPEND = 1,              // may only be appended to
    PROTECTED = 2,           // may not be deleted or renamed
    FINALIZED = 4,           // may not be opened for writing
    FROZEN = 8,              // may not be opened for writing
    ARCHIVAL_PENDING = 16,   // scheduled for archiving
    DEFAULT = 0x7fffffff,    // "use the file system's default attributes"
  };

  uint32 attr;

  Attr_t() : attr(0) {}
  explicit Attr_t(uint32 a) : attr(a) {}

  bool is_default() const { return attr == DEFAULT; }
  bool has(uint32 bits) const { return !is_default() && (attr & bits) != 0; }
  // True if a file with these attributes refuses to be opened for writing.
  bool forbids_writing() const { return has(FINALIZED | FROZEN); }
  bool operator==(const Attr_t& o) const { return attr == o.attr; }
  bool operator!=(const Attr_t& o) const { return attr != o.attr; }
};

#endif  // FILE_BASE_ATTR_H_
