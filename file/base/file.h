// File: an open (or openable) file of any registered file system, and the
// static by-name operations that dispatch to the file system owning a name.
//
// Handles
// - File::Open and friends return a handle that the caller owns. Close()
//   closes the file but keeps the handle: later operations on it fail with
//   a clear error (closing again succeeds and does nothing), and holders may
//   keep holding it. Deleting the handle frees it, closing it first if it is
//   still open; file::CloseAndDelete does both and reports Close's result.
// - A handle may be used from several threads. Close waits for the
//   operations already running on the handle to finish; those that start
//   after it fail as on any closed handle.
// - Every handle keeps the error of its last failed operation
//   (GetCurrentErrorCode/Message, IsSoftError) until ClearError; a ...WithOp
//   call also records its failure in the Operation. An operation whose
//   Operation has a passed deadline fails with ERROR_DEADLINE_EXCEEDED
//   without doing anything.
// - Attributes (Attr_t, kept in an attribute record beside the file) are
//   enforced: APPEND files only take writes at their end, PROTECTED files
//   cannot be deleted or renamed, FINALIZED and FROZEN files cannot be opened
//   for writing. An open handle checks APPEND against the record as it is
//   when it writes elsewhere than at the end or cuts the file, so setting or
//   clearing it takes effect on handles already open.
// - A locked open of a truncating mode ("w", "w+") takes the lock before it
//   truncates: when the lock is refused the file is left as it was.
// - Allocation failures (a whole-file read of a file larger than memory, an
//   asynchronous read into a buffer that cannot be had) fail the operation
//   with ERROR_NO_SPACE (more than this machine's memory) or ERROR_TEMPORARY
//   (memory short now); no std::bad_alloc reaches the caller.
//
// Concrete file systems derive from File and implement the protected Do...
// primitives; the public virtual operations are implemented once here on top
// of them (bookkeeping, errors, attributes, async forms).
#ifndef FILE_BASE_FILE_H_
#define FILE_BASE_FILE_H_

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <shared_mutex>

#include "file/base/core/attr.h"
#include "file/base/util/bandwidth.h"
#include "file/base/util/base_types.h"
#include "file/base/util/errors.h"
#include "file/base/core/file_open_options.h"
#include "file/base/core/file_records.h"
#include "file/base/core/filestat.h"
#include "file/base/core/forward.h"
#include "file/base/util/iobuffer.h"
#include "file/base/util/lock_info.h"
#include "file/base/util/memblock.h"
#include "file/base/util/open_mode.h"
#include "file/base/core/opstats.h"

// The smallest file TryMMap maps; smaller files are cheaper to read.
const int kMinMMapSize = 32768;
// "Use the file system's default" for the permission and mode arguments.
const unsigned int DEFAULT_FILE_MODE = 0x7fffffff;

class File {
 public:
  using DataVariant = FileDataVariant;

  // Which names a glob hides: MATCH_DEFAULT hides names starting with "."
  // and backups ending in "~"; the others show dotfiles, backups or both.
  enum MatchType {
    MATCH_DEFAULT = 0,
    MATCH_DOTFILES = 1,
    MATCH_BACKUPS = 2,
    MATCH_ALL = 3,
  };
  enum ConstructRemoteFileType { TYPE_RFSERVER = 0, TYPE_SREMOTE_SERVER = 1 };
  static const int kWriteMask = 0222;

  // ---- Virtual operations, in their fixed order ----------------------------

  // Closes the file if it is still open.
  virtual ~File();

  virtual bool Open();
  virtual bool OpenWithOp(file::Operation* op);
  // Takes the lock on the open file; it is held until Close. A handle holds
  // one lock: a new request replaces the one held. Changing to or from an
  // exclusive lock lets go of the old one first (a handle's two locks would
  // conflict with each other); when the new lock is refused the old one is
  // taken back, unless another holder took the file in that moment.
  virtual bool AccessWithLock(LockInfo* lock);
  virtual bool SupportsHaspLockedAccess();
  virtual bool SupportsConcurrentAppenders();
  // Closes the file; the handle stays valid until deleted (see above). True
  // if the close succeeded or the handle was not open.
  virtual bool Close();
  // Deletes the file by name; the handle stays open.
  virtual bool Delete();
  virtual bool DeleteWithOp(file::Operation* op);

  virtual bool Truncate(int64 length);
  virtual bool TruncateAsync(int64 length, AsyncIO* done);
  virtual bool TruncateWithOp(int64 length, file::Operation* op);
  // Sets the size, growing with zero bytes or cutting the tail.
  virtual bool Resize(int64 length, file::Operation* op);
  // Current size, -1 on failure.
  virtual int64 Size();
  // A cheap estimate of the size (the size as of the last operation that
  // knew it); -1 when unknown.
  virtual int64 SizeHint();
  virtual bool Flush();
  virtual bool Sync();
  virtual bool DataSync();
  virtual int64 Tell();
  virtual bool eof();
  virtual bool Seek(int64 position);

  // Reads at the current position; returns the bytes read (0 at end of
  // file), -1 on failure.
  virtual int64 Read(void* buffer, uint64 size);
  virtual int64 ReadWithOp(void* buffer, uint64 size, file::Operation* op);
  // Writes at the current position (at the end in append modes); returns the
  // bytes written, -1 on failure.
  virtual int64 Write(const void* buffer, uint64 size);
  virtual int64 WriteWithOp(const void* buffer, uint64 size,
                            file::Operation* op);
  // Writes at the end of the file whatever the mode's position.
  virtual int64 Append(const void* buffer, uint64 size);
  // Appends the buffer's bytes as one unit; returns the offset at which they
  // landed, -1 on failure.
  virtual int64 RecordAppend(IOBuffer* data);

  // Async forms return true once queued; `done` gets Finish(error, bytes).
  virtual bool PWriteAsync(int64 offset, IOBuffer* data, int64* written,
                           AsyncIO* done);
  virtual bool PWriteAsyncWithOp(int64 offset, IOBuffer* data,
                                 int64* written, AsyncIO* done,
                                 file::Operation* op);
  // *offset receives where the bytes landed.
  virtual bool RecordAppendAsync(IOBuffer* data, int64* offset,
                                 AsyncIO* done);
  virtual bool OpenAsync(AsyncIO* done);
  virtual bool SupportsAsyncWrite();
  virtual bool SupportsAsyncOpen();

  // Reads one line (through its '\n') into buffer, NUL-terminated, writing
  // at most max_length bytes including the NUL; a longer line is split.
  // Returns buffer, or null at end of file, on failure or when max_length
  // is 0.
  virtual char* ReadLine(char* buffer, uint64 max_length);
  // The bytes [offset, offset + length) (cut at end of file) as a block the
  // caller deletes; null on failure. The block keeps the bytes as they were
  // (later writes and truncations of the file do not show through).
  // readahead_hint: bytes the caller will want next (a hint only).
  virtual MemBlock* GetMemBlock(int64 offset, int64 length,
                                int64 readahead_hint);
  // Like GetMemBlock but always a fresh read of the file into an owned copy
  // (never a mapping); a short or interrupted read is retried up to
  // max_retries times.
  virtual MemBlock* GetMemBlockFromDisk(int64 offset, int64 length,
                                        int max_retries);
  virtual int64 PReadWithOp(int64 offset, void* buffer, int64 size,
                            file::Operation* op);
  virtual int64 PRead(int64 offset, void* buffer, int64 size);
  virtual int64 PWrite(int64 offset, const void* buffer, int64 size);
  virtual int64 PWriteWithOp(int64 offset, const void* buffer, int64 size,
                             file::Operation* op);
  // Reads into `data` (resized to what was read); *bytes_read receives the
  // count.
  virtual bool PReadAsync(int64 offset, int64 length, IOBuffer* data,
                          int64* bytes_read, AsyncIO* done);
  virtual bool PReadAsyncWithOp(int64 offset, int64 length, IOBuffer* data,
                                int64* bytes_read, AsyncIO* done,
                                file::Operation* op);
  // Read, then run *verifier on the bytes; fails (INTERNAL_ERROR) when it
  // rejects them, and with ERROR_UNIMPLEMENTED when no verifier is given.
  virtual int64 ReadWithVerifier(void* buffer, uint64 size,
                                 FileDataVerifier** verifier);
  virtual int64 PReadWithVerifier(int64 offset, void* buffer, int64 size,
                                  file::Operation* op,
                                  FileDataVerifier** verifier);
  // Files here keep one variant of their data: fails with
  // ERROR_UNIMPLEMENTED.
  virtual bool ReadMultipleDataVariants(int64 offset, int64 length,
                                        int max_variants,
                                        vector<DataVariant*>* variants,
                                        file::Operation* op);

  virtual bool DeleteAsync(AsyncIO* done);
  virtual bool SyncAsync(AsyncIO* done);
  virtual bool SupportsAsyncRead();
  virtual bool SupportsAsyncGetMatchingFiles();
  virtual bool SupportsAsyncStat();
  virtual bool SupportsAsyncDelete();
  virtual bool SupportsAsyncSync();
  virtual bool SupportsAIORelease();

  // A mapping of [offset, offset + length); null (with the error set) when
  // the file is smaller than kMinMMapSize, the range passes the end of file
  // or the file system cannot map. Unlike GetMemBlock, a mapping of a local
  // file shows later writes to the file, and truncating the file under it
  // is the caller's error: reading a page past the new end kills the
  // process (SIGBUS). See MemBlock.
  virtual MemBlock* TryMMap(int64 offset, int64 length);
  // Mirrors (replicas on several disks) do not exist on these file systems:
  // the queries fail with ERROR_UNIMPLEMENTED.
  virtual void FindAllMirrors();
  virtual bool IsMirrorOnDisk(int disk, int64 offset);
  virtual bool FindAllMirrorDisks(int64 offset, vector<int>* disks);
  // True when the last error is worth retrying (ERROR_TEMPORARY,
  // ERROR_DEADLINE_EXCEEDED).
  virtual bool IsSoftError();
  virtual bool IsFifo();
  virtual ::string GetCurrentErrorMessage();
  virtual int GetCurrentErrorCode();
  virtual void ClearError();
  // The name the handle was created with.
  virtual ::string CreateFileName();
  virtual bool IsLocalFile();
  virtual bool SetAttributesWithOp(Attr_t attr, file::Operation* op);
  // access_pattern: file::AccessPattern (NONE, NORMAL, RANDOM, SEQUENTIAL);
  // cache_policy: file::CachePolicy (CACHED, UNCACHED). Other values fail
  // with ERROR_INVALID_ARGUMENT.
  virtual bool SetAccessPattern(int access_pattern, int cache_policy);

  // ---- Non-virtual handle operations ---------------------------------------

  bool Stat(FileStat* stat);
  bool StatWithOp(FileStat* stat, file::Operation* op);
  bool StatAsync(FileStat* stat, AsyncIO* done);
  // Positioned read/write of exactly [offset, offset + length): the result
  // is the byte count (short only at end of file for reads), -1 on failure.
  int64 ReadRegion(void* buffer, uint64 offset, uint64 length);
  int64 WriteRegion(const void* buffer, uint64 offset, uint64 length);
  // Reads from the current position to end of file, at most max_length
  // bytes (< 0: no limit), into *contents (replaced); returns the count, -1
  // on failure.
  int64 ReadToString(::string* contents, int64 max_length);

  // ---- Opening by name -----------------------------------------------------
  //
  // Opens return null on failure. The fully specified forms take the
  // attributes to record on a file opened for writing (DEFAULT: none), the
  // permissions of a created file (DEFAULT_FILE_MODE: 0666 less the umask)
  // and a group to give it (null: leave it).

  static File* Open(const char* name, const char* mode);
  static File* OpenLocked(const char* name, const char* mode, LockInfo* lock);
  static File* OpenWithOptions(const char* name, const char* mode,
                               const FileOpenOptions& options);
  static File* OpenWithAttr(const char* name, const char* mode, Attr_t attr);
  static File* OpenFullySpecified(const char* name, const char* mode,
                                  Attr_t attr, unsigned int permissions,
                                  const char* group);
  static File* OpenFullySpecifiedLocked(const char* name, const char* mode,
                                        Attr_t attr, unsigned int permissions,
                                        const char* group, LockInfo* lock);
  static File* OpenOrDie(const char* name, const char* mode);
  static File* OpenWithAttrOrDie(const char* name, const char* mode,
                                 Attr_t attr);
  static File* OpenFullySpecifiedOrDie(const char* name, const char* mode,
                                       Attr_t attr, unsigned int permissions,
                                       const char* group);
  static File* OpenForAppend(const char* name);
  static File* OpenForAppendOrDie(const char* name);
  // Opens and seeks to the checkpoint's offset (a null checkpoint: plain
  // open); dies on failure.
  static File* OpenToCheckpointOrDie(const char* name, const char* mode,
                                     const CheckpointRecord* checkpoint);
  // Opens for writing or dies. With a checkpoint, positions at its offset
  // and, when truncate_to_checkpoint, cuts what lies after it. *attr (when
  // attr is not null) receives null: no attribute record object is made.
  static File* OpenOrDieForWriting(const char* name, const char* mode,
                                   const CheckpointRecord* checkpoint,
                                   bool truncate_to_checkpoint,
                                   FileAttr** attr);
  // Unopened handles: Open() or OpenWithOp() opens them later.
  static File* Create(const ::string& name, const ::string& mode);
  static File* CreateWithAttr(const char* name, const char* mode,
                              Attr_t attr);
  static File* CreateWithOptions(const char* name, const char* mode,
                                 const FileOpenOptions& options);
  static File* CreateFullySpecified(const char* name, const char* mode,
                                    Attr_t attr, unsigned int permissions,
                                    const char* group);
  // The handle is returned at once (null only for a bad name or mode); the
  // outcome of the open arrives through `done`.
  static File* OpenAsync(const char* name, const char* mode, AsyncIO* done);
  static File* OpenAsyncLocked(const char* name, const char* mode,
                               LockInfo* lock, AsyncIO* done);
  static File* OpenFullySpecifiedAsync(const char* name, const char* mode,
                                       Attr_t attr, unsigned int permissions,
                                       const char* group, AsyncIO* done);
  static File* OpenFullySpecifiedAsyncLocked(const char* name,
                                             const char* mode, Attr_t attr,
                                             unsigned int permissions,
                                             const char* group,
                                             LockInfo* lock, AsyncIO* done);
  static bool BulkOpen(const vector<::string>& names, const char* mode,
                       vector<File*>* files);
  static bool BulkOpenWithAttr(const vector<::string>& names,
                               const char* mode, Attr_t attr,
                               vector<File*>* files);
  static bool BulkOpenFullySpecified(const vector<::string>& names,
                                     const char* mode, Attr_t attr,
                                     unsigned int permissions,
                                     const char* group, vector<File*>* files);

  // ---- Namespace operations --------------------------------------------------

  static bool Exists(const char* name);
  static bool ExistsWithOp(const char* name, file::Operation* op);
  static bool Readable(const char* name);
  static bool ReadableWithOp(const char* name, file::Operation* op);
  static bool IsDirectory(const char* name);
  static bool IsDirectoryWithOp(const char* name, file::Operation* op);
  // True for attribute-record names: a basename of the form ".X.attr".
  static bool IsAttributeFilename(const char* name);
  static bool IsReplicatedFileName(const char* name);

  static bool Stat(const char* name, FileStat* stat);
  static bool StatWithOp(const char* name, FileStat* stat,
                         file::Operation* op);
  static bool StatLocked(const char* name, LockInfo* lock, FileStat* stat);
  static bool StatLockedWithOp(const char* name, LockInfo* lock,
                               FileStat* stat, file::Operation* op);
  static bool StatAsync(const char* name, FileStat* stat, AsyncIO* done);
  static bool StatAsyncLocked(const char* name, LockInfo* lock,
                              FileStat* stat, AsyncIO* done);
  static int64 GetFileSize(const char* name);  // -1 on failure
  static bool Statfs(const char* name, int64* total, int64* free_bytes,
                     int64* available);

  // Shell globs per path component (*, ?, [...], {a,b}); results sorted.
  // A pattern that matches nothing is a success with no results.
  static bool Match(const char* pattern, vector<::string>* matches);
  static bool MatchLocked(const char* pattern, LockInfo* lock,
                          vector<::string>* matches);
  static bool MatchWithOp(const char* pattern, vector<::string>* matches,
                          file::Operation* op);
  static bool MatchLockedWithOp(const char* pattern, LockInfo* lock,
                                vector<::string>* matches,
                                file::Operation* op);
  static bool MatchAsync(const char* pattern, vector<::string>* matches,
                         AsyncIO* done);
  static bool MatchAsyncLocked(const char* pattern, LockInfo* lock,
                               vector<::string>* matches, AsyncIO* done);
  static bool ExtendedMatch(const char* pattern, vector<::string>* matches,
                            MatchType type);
  static bool ExtendedMatchWithOp(const char* pattern,
                                  vector<::string>* matches, MatchType type,
                                  file::Operation* op);
  static bool ExtendedMatchLocked(const char* pattern, LockInfo* lock,
                                  vector<::string>* matches, MatchType type);
  static bool ExtendedMatchLockedWithOp(const char* pattern, LockInfo* lock,
                                        vector<::string>* matches,
                                        MatchType type, file::Operation* op);
  static bool ExtendedMatchAsync(const char* pattern,
                                 vector<::string>* matches, MatchType type,
                                 AsyncIO* done);
  static bool ExtendedMatchAsyncLocked(const char* pattern, LockInfo* lock,
                                       vector<::string>* matches,
                                       MatchType type, AsyncIO* done);
  // Match, keeping only the names that are not directories.
  static bool GetMatchingFiles(const char* pattern, vector<::string>* files);
  static bool GetMatchingFilesLocked(const char* pattern, LockInfo* lock,
                                     vector<::string>* files);
  // Depth-first listing of the tree under `dir`: files and directories
  // (shown or hidden by `type`), each full name once; *error receives OK or
  // the error code of the first failure.
  static void DFListFileAndDir(const ::string& dir, MatchType type,
                               vector<::string>* files,
                               vector<::string>* dirs, int* error);

  static bool Delete(const char* name);
  static bool DeleteWithOp(const char* name, file::Operation* op);
  static bool DeleteAsync(const char* name, AsyncIO* done);
  static bool DeleteAsyncLocked(const char* name, LockInfo* lock,
                                AsyncIO* done);
  // Deletes every file the pattern matches; true if all went.
  static bool DeleteMatchingFiles(const char* pattern);
  static bool DeleteMatchingFilesWithOp(const char* pattern,
                                        file::Operation* op);
  static bool DeleteDir(const char* name);
  static bool DeleteDirWithOp(const char* name, file::Operation* op);
  static void DeleteFileAttributes(const char* name);
  static void DeleteFileAttributesWithOp(const char* name,
                                         file::Operation* op);
  static void BulkDeleteAttributes(const vector<::string>& names);
  static void BulkDeleteAttributesWithOp(const vector<::string>& names,
                                         file::Operation* op);
  static void DeleteRecursively(const ::string& name, int* files, int* dirs);

  static bool Rename(const char* from, const char* to, bool overwrite);
  static bool RenameWithOp(const char* from, const char* to, bool overwrite,
                           file::Operation* op);
  static bool Copy(const char* from, const char* to, bool overwrite);
  static bool CopyWithAttr(const char* from, const char* to, Attr_t attr,
                           bool overwrite);
  // preserve_mtime: give `to` the source's modification time;
  // sync_destination: sync `to` before returning.
  static bool CopyFullySpecified(const char* from, const char* to,
                                 Attr_t attr, unsigned int permissions,
                                 const char* group, bool overwrite,
                                 bool preserve_mtime, bool sync_destination);
  static bool CopyFullySpecified(const char* from, const char* to,
                                 Attr_t attr, unsigned int permissions,
                                 const char* group, bool overwrite,
                                 bool preserve_mtime, bool sync_destination,
                                 BandwidthLimit* limit);
  // Handle-to-handle copies from the sources' current positions. `attr`
  // (a checksum record to update) must be null: such records are not kept
  // by these copies, and a non-null one fails with ERROR_UNIMPLEMENTED.
  static bool CopyBytes(File* source, File* target, FileAttr* attr);
  static bool CopyBytes(File* source, File* target, FileAttr* attr,
                        BandwidthLimit* limit);
  static bool CopyNBytes(File* source, File* target, int64 count,
                         FileAttr* attr, BandwidthLimit* limit);
  static bool CopyToEof(File* source, File* target);
  static bool CopyToEof(File* source, File* target, BandwidthLimit* limit);

  static bool SetOwner(const char* name, const char* owner);
  static bool SetGroup(const char* name, const char* group);
  static bool SetGroupWithOp(const char* name, const char* group,
                             file::Operation* op);
  static bool SetMode(const char* name, unsigned int mode);
  static bool SetModeWithOp(const char* name, unsigned int mode,
                            file::Operation* op);
  static bool SetAttributes(const char* name, Attr_t attr);
  static bool SetAttributesWithOp(const char* name, Attr_t attr,
                                  file::Operation* op);
  static bool SetMtime(const char* name, long mtime);  // NOLINT

  static bool CreateDir(const char* name, unsigned int mode);
  static bool CreateDirWithOp(const char* name, unsigned int mode,
                              file::Operation* op);
  static bool CreateDirFullySpecified(const char* name, Attr_t attr,
                                      unsigned int mode, const char* group);
  static bool CreateDirFullySpecifiedWithOp(const char* name, Attr_t attr,
                                            unsigned int mode,
                                            const char* group,
                                            file::Operation* op);
  static bool RecursivelyCreateDir(const ::string& name, unsigned int mode);
  static bool RecursivelyCreateDirWithOptions(
      const ::string& name, const file::RecursiveCreateOptions& options);
  static bool RecursivelyCreateDirFullySpecified(const ::string& name,
                                                 Attr_t attr,
                                                 unsigned int mode,
                                                 const char* group);
  // Snapshot copies a file or a directory tree (dir_mode for directories);
  // SnapshotFile a single file. Clones where the file system can.
  static bool Snapshot(const char* from, const char* to,
                       unsigned int file_mode, unsigned int dir_mode);
  static bool SnapshotFile(const char* from, const char* to,
                           unsigned int mode);
  static bool Archive(const vector<::string>& names,
                      FileReedSolomonEncoding encoding, int stripes,
                      vector<bool>* results);

  // Bulk forms: one flag per name, in order; true when all succeeded.
  static bool BulkExist(const vector<::string>& names, vector<bool>* results);
  static bool BulkDelete(const vector<::string>& names,
                         vector<bool>* results);
  static bool BulkDeleteWithOp(const vector<::string>& names,
                               file::Operation* op, vector<bool>* results);
  static bool BulkDeleteDir(const vector<::string>& names,
                            vector<bool>* results);
  static bool BulkRename(const vector<::string>& from,
                         const vector<::string>& to, bool overwrite,
                         vector<bool>* results);
  static bool BulkSetMode(const vector<::string>& names, unsigned int mode,
                          vector<bool>* results);
  static bool BulkSetAttributes(const vector<::string>& names, Attr_t attr,
                                vector<bool>* results);
  static bool BulkSetAttributesWithOp(const vector<::string>& names,
                                      Attr_t attr, file::Operation* op,
                                      vector<bool>* results);
  static bool BulkSetOwner(const vector<::string>& names, const char* owner,
                           vector<bool>* results);
  static bool BulkSetGroup(const vector<::string>& names, const char* group,
                           vector<bool>* results);
  static bool BulkStat(const vector<::string>& names, vector<bool>* results,
                       vector<FileStat>* stats);
  static bool BulkStatWithOp(const vector<::string>& names,
                             file::Operation* op, vector<bool>* results,
                             vector<FileStat>* stats);

  // Whole files, byte-exact (NUL bytes included).
  static bool ReadFileToString(const ::string& name, ::string* contents);
  static void ReadFileToStringOrDie(const char* name, ::string* contents);
  static bool WriteStringToFile(const ::string& contents,
                                const ::string& name);
  static void WriteStringToFileOrDie(const ::string& contents,
                                     const char* name);
  static bool AppendStringToFile(const ::string& contents,
                                 const ::string& name);
  static void AppendStringToFileOrDie(const ::string& contents,
                                      const char* name);

  // ---- Process-wide ------------------------------------------------------------

  static void SyncAll();  // sync(2)
  static void LogOpStats();
  static void LogUnsupportedFile(const ::string& name);
  static int pagesize();
  static const ::string& localhost_name();
  static FileOpStats* opstats();
  // One "name mode" line per open handle.
  static ::string GetOpenFiles();
  // A user name attached to the calling thread (empty by default).
  static void SetCurrentThreadUserName(const ::string& user);
  static ::string GetCurrentThreadUserName();
  // Sets the data directory that RewriteDatadir substitutes.
  static void InitWithDatadirFrom(const char* dir);
  static bool init_called();

  // ---- Path utilities (file/base/path.h, file/base/sharded.h) --------------

  static ::string CanonicalizeFileName(const char* name);
  static void CanonicalizeFileNameList(vector<::string>* out,
                                       const vector<::string>& in);
  // See file::ConstructFullFileName (path.h).
  static ::string ConstructFullFileName(const ::string& directory,
                                        const vector<::string>& components,
                                        const ::string& suffix,
                                        int num_shards);
  static ::string CleanPath(const ::string& path);
  // Pointers into the argument; null for null.
  static const char* Basename(const char* name);
  static const char* Suffix(const char* name);
  static ::string StripBasename(const char* name);
  static ::string AddSlash(const ::string& path);
  static ::string JoinPath(const ::string& dir, const ::string& name);
  static ::string RemoveHosts(const ::string& name);
  static ::string RewriteDatadir(const char* name);
  static ::string GenerateShardedFilename(const ::string& base, int shard,
                                          int num_shards);
  static bool GenerateShardedFilenames(const ::string& shard_set,
                                       vector<::string>* names);
  static const char* ShardedBasenameWithNumShards(const char* name,
                                                  int* shard,
                                                  int* num_shards,
                                                  int* digits);

 protected:
  File(FileFactory* factory, const char* name, const char* mode,
       const FileOpenOptions& options);
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  // ---- Primitives a file system implements -----------------------------------
  //
  // Called only on open handles (the shared layer refuses the rest with
  // ERROR_INVALID_ARGUMENT). A failure sets the handle error
  // (SetError/SetErrnoError) and returns false or -1.

  // Opens name() as mode() and options() say (mode already parsed into
  // open_mode(); attributes already checked), truncating the file only when
  // truncate_on_open() says so: a locked open truncates after it has the
  // lock, through DoTruncate. A created file gets
  // options().permissions() (DEFAULT_FILE_MODE means 0666) less the umask,
  // as open(2) does, and options().group() when set.
  virtual bool DoOpen() = 0;
  // Releases everything the open took; called once, by Close or the
  // destructor.
  virtual bool DoClose() = 0;
  virtual int64 DoRead(void* buffer, uint64 size) = 0;
  virtual int64 DoWrite(const void* buffer, uint64 size) = 0;
  // Writes at the end of file, atomically with respect to other appenders
  // of the same file; *offset receives where the bytes landed.
  virtual int64 DoAppend(const void* buffer, uint64 size, int64* offset) = 0;
  virtual int64 DoPRead(int64 offset, void* buffer, int64 size) = 0;
  virtual int64 DoPWrite(int64 offset, const void* buffer, int64 size) = 0;
  virtual bool DoTruncate(int64 length) = 0;
  virtual int64 DoSize() = 0;
  virtual int64 DoTell() = 0;
  virtual bool DoSeek(int64 position) = 0;
  // Nothing buffered by default, so nothing to flush.
  virtual bool DoFlush();
  virtual bool DoSync(bool data_only) = 0;
  // Fills the stat of the open file (attributes are added by the caller).
  virtual bool DoStat(FileStat* stat) = 0;
  // A block over [offset, offset + length), already cut to the file size;
  // must_map: only a real mapping will do (TryMMap).
  virtual MemBlock* DoGetBlock(int64 offset, int64 length, bool must_map) = 0;
  // Access-pattern hint; values already checked.
  virtual bool DoSetAccessPattern(int access_pattern, int cache_policy);
  virtual bool DoIsFifo();

  // ---- Helpers for file systems ----------------------------------------------

  const ::string& name() const { return name_; }
  const ::string& mode() const { return mode_; }
  const file::OpenMode& open_mode() const { return open_mode_; }
  const FileOpenOptions& options() const { return options_; }
  FileFactory* factory() const { return factory_; }
  bool is_open() const { return is_open_; }
  // Whether DoOpen truncates (open_mode().truncate, unless the shared layer
  // truncates later itself).
  bool truncate_on_open() const {
    return open_mode_.truncate && !defer_truncate_;
  }
  // The attributes as last read from the record (at open, Stat, or when a
  // write needed them); enforcement reads the record itself.
  Attr_t attributes() const;

  // Sets the handle error to "<what> <name>: <strerror(errnum)>" with the
  // translated code; returns false.
  bool SetErrnoError(const char* what, int errnum);
  // Sets the handle error to "<what> <name>: <reason>"; returns false.
  bool SetError(file::ErrorCode code, const char* what, const char* reason);
  // Sets the handle error to the failure recorded in op; returns false.
  bool SetErrorFrom(const file::Operation& op);
  // Resizes *bytes to `size` bytes; when that much memory cannot be had,
  // sets the handle error (ERROR_NO_SPACE for more than this machine's
  // memory, ERROR_TEMPORARY when the allocation fails) and returns false.
  bool ResizeOrFail(::string* bytes, uint64 size, const char* what);

  // Refuses (with the handle error) a write at `offset` (kAtPosition: the
  // handle's position) of an APPEND file anywhere but its end. Costs nothing
  // beyond an atomic read unless the file is append-only. The attributes
  // are those seen at open, reloaded whenever this process has changed an
  // attribute record since; another process's change reaches a handle when
  // it is opened again.
  static constexpr int64 kAtPosition = -2;
  // A positioned transfer's arguments: false (with the handle error) for a
  // negative offset or size, or a missing buffer.
  bool CheckRange(int64 offset, const void* buffer, int64 size, const char* what);
  // A sequential transfer's arguments: a size within one transfer's limit
  // and a buffer unless it is empty.
  bool CheckBuffer(const void* buffer, uint64 size, const char* what);
  bool CheckAppendOnly(int64 offset, const char* what);

  // Concrete destructors call this first: the primitives are gone by the
  // time ~File runs.
  void CloseBeforeDestroy();

 private:
  friend class FileOpScope;

  // Closes without freeing; safe to call twice.
  bool CloseInternal();
  // CloseInternal with io_mu_ already held exclusively.
  bool CloseLocked();
  bool AcquireLockInternal(LockInfo* lock, const char* what);
  // SetAccessPattern's work, for callers that hold io_mu_.
  bool ApplyAccessPattern(int access_pattern, int cache_policy);
  // The handle's attributes, reloaded when a record changed in this process.
  bool CurrentAttributes(Attr_t* attr);
  // The attributes from the record as it is now (and caches them); false
  // with the error set when it cannot be read.
  bool ReloadAttributes(Attr_t* attr);
  void CacheAttributes(Attr_t attr, uint64 generation);
  // Runs `allocate`, turning allocation failures into the handle error.
  bool AllocateOrFail(uint64 size, const char* what,
                      const std::function<void()>& allocate);
  // PReadWithOp into a buffer sized to what the file can give.
  int64 PReadIntoBuffer(int64 offset, int64 length, IOBuffer* data,
                        file::Operation* op);
  // Runs `work` on the worker pool and reports its outcome to `done`: the
  // byte count it returned, or the error of the failure (from the Operation
  // or, for operations that take none, the handle); a job that throws still
  // reports.
  bool QueueWork(AsyncIO* done, file::Operation* caller_op, const char* what,
                 std::function<int64(file::Operation*)> work);
  bool ClipRange(const char* what, int64 offset, int64* length);
  int64 VerifyRead(int64 n, const void* buffer, FileDataVerifier* verifier,
                   const char* what);
  void CountWrite(int64 written);
  void RecordError(int code, const ::string& message);
  // Membership of the process-wide open-handle list.
  void List();
  void Unlist();

  FileFactory* const factory_;
  const ::string name_;
  const ::string mode_;
  file::OpenMode open_mode_;
  bool mode_valid_ = false;
  FileOpenOptions options_;
  const bool is_attribute_record_;
  bool defer_truncate_ = false;
  std::atomic<bool> is_open_{false};
  std::atomic<int64> size_hint_{-1};
  // Operations on the open file hold it shared, Open and Close exclusively,
  // so closing never pulls the file from under an operation in flight.
  mutable std::shared_mutex io_mu_;
  // Closes waiting for io_mu_: operations that begin meanwhile fail at once
  // rather than keep a busy handle from ever closing.
  std::atomic<int> closing_{0};
  // Guards lock_ (AccessWithLock runs with io_mu_ only shared).
  std::mutex lock_mu_;
  std::unique_ptr<file::HeldLock> lock_;
  bool lock_exclusive_ = false;
  bool listed_ = false;

  // Guards the error state, attributes_ and the record generation they
  // were read at (kNotLoaded until they are).
  mutable std::mutex error_mu_;
  Attr_t attributes_;
  static constexpr uint64 kNotLoaded = ~uint64{0};
  uint64 attributes_generation_ = kNotLoaded;
  int error_code_ = file::OK;
  ::string error_message_;
  uint64 error_seq_ = 0;  // counts errors, so a scope can tell its own
};

namespace file {
// Closes and frees a handle; returns Close's result.
bool CloseAndDelete(File* f);
}  // namespace file

#include "file/base/core/file_factory.h"  // NOLINT: FileFactory needs File first

#endif  // FILE_BASE_FILE_H_
