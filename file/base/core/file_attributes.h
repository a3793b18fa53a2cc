// FileAttr, the record of a file's checksum, version and finalisation, and
// FileAttributes, the store that keeps such records beside the files.
//
// A FileAttr lives in the file's attribute record (file/base/core/attr_record.h,
// "dir/.name.attr") under the keys "checksum", "version" and "finalized",
// next to the "attributes" key of the file systems' Attr_t, which the store
// leaves alone except that finalising adds Attr_t::FINALIZED to it. Records
// are read and written through the file's factory, so the store works the
// same on local files and under /mem/.
#ifndef FILE_BASE_FILE_ATTRIBUTES_H_
#define FILE_BASE_FILE_ATTRIBUTES_H_

#include "file/base/util/base_types.h"
#include "file/base/checksums/checksum.h"
#include "file/base/core/forward.h"
#include "file/base/core/fileversion.h"

struct FileAttr {
  ChecksumState checksum;
  FileVersion version;
  bool finalized = false;

  void Clear() {
    checksum.Clear();
    version.Clear();
    finalized = false;
  }
};

class FileAttributes {
 public:
  FileAttributes();
  virtual ~FileAttributes();
  FileAttributes(const FileAttributes&) = delete;
  FileAttributes& operator=(const FileAttributes&) = delete;

  // Fills *attr from the record of `name`. False, with *attr cleared, when
  // nothing was stored for the file (or the record is damaged or unreadable).
  virtual bool Load(const char* name, FileAttr* attr);

  // Stores *attr for `name`, which must exist. A finalized file's record is
  // final: storing over it fails. Storing a record with `finalized` set also
  // sets Attr_t::FINALIZED, as Finalize does.
  virtual bool Store(const char* name, const FileAttr* attr);

  // The record as it was when the file was `length` bytes long: the stored
  // checksum cut back to the last block boundary at or before `length`
  // (ChecksumState::RewindTo) and brought up to exactly `length` with the
  // file's own bytes. The bytes read are checked against the stored record
  // up to its next history point (or its end), so a file whose data no
  // longer matches its record gives false. Also false when nothing is
  // stored, when `length` is negative or longer than the stored checksum,
  // or when the file cannot be read. Version and finalisation are the
  // stored ones.
  virtual bool LoadPrefix(const char* name, int64 length, FileAttr* attr);

  // Removes the stored FileAttr of `name` (the Attr_t attributes stay,
  // FINALIZED included). True when nothing is stored afterwards, also when
  // nothing was.
  virtual bool Delete(const char* name);
  virtual bool DeleteWithOp(const char* name, file::Operation* op);
  // Delete for each name: one flag per name, in order; true when all
  // succeeded. With an Operation, its deadline applies to every name and it
  // records the first failure.
  virtual bool BulkDelete(const vector<::string>& names, vector<bool>* results);
  virtual bool BulkDeleteWithOp(const vector<::string>& names, vector<bool>* results,
                                file::Operation* op);

  // The name of the file that holds `name`'s record: "dir/.name.attr"; ""
  // for a null name or one without a basename.
  static void GetAttributeFileName(const char* name, ::string* attribute_file);

  // A new version for a file written now by this process: the time in
  // microseconds and a creator made of a hash of this host's name (high 32
  // bits) and the process id (low 32 bits). Versions made by one process
  // strictly increase.
  virtual FileVersion CreateVersion();

  // Records read or written are cached in memory, process-wide, and the
  // cache is dropped whenever this process changes any attribute record.
  // Changes made by other processes, or by writing a record file directly,
  // are seen after ClearCache.
  virtual void ClearCache();

  // Marks `name` finalized: checks the file's bytes against its stored
  // checksum (or computes the checksum when none is stored), stores the
  // record with `finalized` set (a version is created when none is stored)
  // and sets Attr_t::FINALIZED, so that the file systems refuse to open it
  // for writing. True when the file is finalized afterwards, also when it
  // was already.
  virtual bool Finalize(const char* name);
};

// The process-wide store. Points to an instance that lives until the process
// ends (set during static initialisation); callers may replace it.
extern FileAttributes* file_attributes;

#endif  // FILE_BASE_FILE_ATTRIBUTES_H_
