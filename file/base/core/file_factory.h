// FileFactory: one kind of file system, and the process-wide registry that
// maps file names to the factory that serves them.
//
// A concrete file system derives from FileFactory and implements only the
// primitives at the end of the class (NewFile and the Do... operations).
// Every public operation has a default implementation built on those
// primitives which does the shared bookkeeping once for all file systems:
// deadline checks, failure recording in the Operation, attribute-record
// enforcement (PROTECTED, FINALIZED/FROZEN), locks, statistics, and the
// Locked, Async and Bulk forms.
//
// Primitives always receive a non-null Operation (the public layer supplies
// a scratch one when its caller passed none) and report a failure by
// recording it there (file::Fail, or FailWithErrno below) and returning
// false. Messages read "<op> <name>: <reason>".
#ifndef FILE_BASE_FILE_FACTORY_H_
#define FILE_BASE_FILE_FACTORY_H_

#include <functional>
#include <memory>

// file.h defines File and then includes this header; either include order
// sees File complete here.
#include "file/base/file.h"
#include "file/base/core/attr.h"
#include "file/base/util/base_types.h"
#include "file/base/util/errors.h"
#include "file/base/core/forward.h"
#include "file/base/util/lock_info.h"

namespace file {
struct DirEntry;  // file/base/names/glob.h
}

class FileFactory {
 public:
  FileFactory() = default;
  virtual ~FileFactory();
  FileFactory(const FileFactory&) = delete;
  FileFactory& operator=(const FileFactory&) = delete;

  // ---- The factory operations, in their fixed order -----------------------

  // An unopened handle (Open() opens it); null when the name or mode is bad.
  virtual File* Create(const char* name, const char* mode);
  // permissions 0x7fffffff: the default (0666 less the umask); group null:
  // leave it alone.
  virtual File* CreateFullySpecified(const char* name, const char* mode,
                                     Attr_t attr, unsigned int permissions,
                                     const char* group);
  virtual File* CreateWithOptions(const char* name, const char* mode,
                                  const FileOpenOptions& options);
  // Fails if `to` exists (use File::Rename for the overwriting form).
  virtual bool Rename(const char* from, const char* to);
  virtual bool RenameWithOp(const char* from, const char* to,
                            file::Operation* op);
  // Matches are sorted and never include attribute records.
  virtual bool Match(const char* pattern, vector<::string>* matches,
                     File::MatchType type);
  virtual bool MatchLocked(const char* pattern, LockInfo* lock,
                           vector<::string>* matches, File::MatchType type);
  virtual bool MatchLockedWithOp(const char* pattern, LockInfo* lock,
                                 vector<::string>* matches,
                                 File::MatchType type, file::Operation* op);
  // Checks the arguments (a name, an output vector, a known match type) for
  // every file system, then matches through DoMatch.
  bool MatchWithOp(const char* pattern, vector<::string>* matches,
                   File::MatchType type, file::Operation* op);
  virtual bool Stat(const char* name, FileStat* stat);
  virtual bool StatWithOp(const char* name, FileStat* stat,
                          file::Operation* op);
  virtual bool StatLocked(const char* name, LockInfo* lock, FileStat* stat);
  virtual bool StatLockedWithOp(const char* name, LockInfo* lock,
                                FileStat* stat, file::Operation* op);
  // The Async forms return true once the work is queued; `done` then
  // receives Finish(error code, byte count) from a worker thread. The output
  // arguments must stay alive until then.
  virtual bool MatchAsync(const char* pattern, vector<::string>* matches,
                          File::MatchType type, AsyncIO* done);
  virtual bool MatchAsyncLocked(const char* pattern, LockInfo* lock,
                                vector<::string>* matches,
                                File::MatchType type, AsyncIO* done);
  virtual bool StatAsync(const char* name, FileStat* stat, AsyncIO* done);
  virtual bool StatAsyncLocked(const char* name, LockInfo* lock,
                               FileStat* stat, AsyncIO* done);
  // Total, free and available (to unprivileged users) bytes of the file
  // system holding `name`; null outputs are skipped.
  virtual bool Statfs(const char* name, int64* total, int64* free_bytes,
                      int64* available);
  virtual bool Readable(const char* name);
  virtual bool ReadableWithOp(const char* name, file::Operation* op);
  virtual bool CreateDir(const char* name, unsigned int mode);
  virtual bool CreateDirWithOp(const char* name, unsigned int mode,
                               file::Operation* op);
  virtual bool CreateDirFullySpecified(const char* name, Attr_t attr,
                                       unsigned int mode, const char* group);
  virtual bool CreateDirFullySpecifiedWithOp(const char* name, Attr_t attr,
                                             unsigned int mode,
                                             const char* group,
                                             file::Operation* op);
  // Creates the missing directories of the path; true if it already exists
  // as a directory.
  virtual bool RecursivelyCreateDirWithOptions(
      const char* name, const file::RecursiveCreateOptions& options);
  virtual bool DeleteDir(const char* name);
  virtual bool DeleteDirWithOp(const ::string& name, file::Operation* op);
  // A point-in-time copy of a file, or of a directory tree (directories made
  // with dir_mode, files with file_mode; 0x7fffffff keeps the source's).
  virtual bool Snapshot(const char* from, const char* to,
                        unsigned int file_mode, unsigned int dir_mode);
  virtual bool SetOwner(const char* name, const char* owner);
  virtual bool SetAttributes(const char* name, Attr_t attr);
  virtual bool SetAttributesWithOp(const char* name, Attr_t attr,
                                   file::Operation* op);
  virtual bool SetMode(const char* name, unsigned int mode);
  virtual bool SetModeWithOp(const char* name, unsigned int mode,
                             file::Operation* op);
  virtual bool SetMtime(const char* name, long mtime);  // NOLINT
  virtual bool SetGroup(const char* name, const char* group);
  virtual bool SetGroupWithOp(const char* name, const char* group,
                              file::Operation* op);
  // Reed-Solomon archiving of files (file/base/core/archive_support.h):
  // one result per name; fails with ERROR_UNIMPLEMENTED (logged) when no
  // archive implementation is installed.
  virtual bool Archive(const vector<::string>& names,
                       FileReedSolomonEncoding encoding, int stripe_unit_kib,
                       vector<bool>* results);
  // Bulk forms: one result per name, in order; true only when every name
  // succeeded. A failed name leaves a null handle (BulkOpen) or a cleared
  // FileStat (BulkStat) in its slot.
  virtual bool BulkOpen(const vector<::string>& names, const char* mode,
                        vector<File*>* files);
  virtual bool BulkOpenFullySpecified(const vector<::string>& names,
                                      const char* mode, Attr_t attr,
                                      unsigned int permissions,
                                      const char* group,
                                      vector<File*>* files);
  // from and to must have the same length (else false, no renames).
  virtual bool BulkRename(const vector<::string>& from,
                          const vector<::string>& to, bool overwrite,
                          vector<bool>* results);
  virtual bool BulkStat(const vector<::string>& names, vector<bool>* results,
                        vector<FileStat>* stats);
  virtual bool BulkStatWithOp(const vector<::string>& names,
                              file::Operation* op, vector<bool>* results,
                              vector<FileStat>* stats);
  virtual bool BulkExist(const vector<::string>& names,
                         vector<bool>* results);
  virtual bool BulkDelete(const vector<::string>& names,
                          vector<bool>* results);
  virtual bool BulkDeleteWithOp(const vector<::string>& names,
                                file::Operation* op, vector<bool>* results);
  virtual bool BulkDeleteDir(const vector<::string>& names,
                             vector<bool>* results);
  virtual bool BulkSetAttributes(const vector<::string>& names, Attr_t attr,
                                 vector<bool>* results);
  virtual bool BulkSetAttributesWithOp(const vector<::string>& names,
                                       Attr_t attr, file::Operation* op,
                                       vector<bool>* results);
  virtual bool BulkSetMode(const vector<::string>& names, unsigned int mode,
                           vector<bool>* results);
  virtual bool BulkSetOwner(const vector<::string>& names, const char* owner,
                            vector<bool>* results);
  virtual bool BulkSetGroup(const vector<::string>& names, const char* group,
                            vector<bool>* results);
  // Deletes a file or a whole tree, counting what it removed; stops at the
  // first failure (recorded in op) and leaves the counts of what was done.
  virtual void DeleteRecursivelyWithOp(const ::string& name, int* files,
                                       int* dirs, file::Operation* op);

  // ---- Further operations with shared default implementations --------------

  virtual bool ExistsWithOp(const char* name, file::Operation* op);
  virtual bool IsDirectoryWithOp(const char* name, file::Operation* op);
  // Deletes a file (not a directory), and its attribute record.
  virtual bool DeleteWithOp(const char* name, file::Operation* op);
  virtual bool DeleteAsync(const char* name, LockInfo* lock, AsyncIO* done);
  virtual bool RenameFullySpecified(const char* from, const char* to,
                                    bool overwrite, file::Operation* op);
  // Lists a directory (without "." and ".."); false on failure.
  virtual bool ListDirectory(const ::string& dir,
                             vector<file::DirEntry>* entries,
                             file::Operation* op);
  // Whole-file reads and writes, byte-exact.
  virtual bool ReadFileToString(const ::string& name, ::string* contents,
                                file::Operation* op);
  virtual bool WriteStringToFile(const ::string& name,
                                 const ::string& contents, bool append,
                                 file::Operation* op);
  // The attributes recorded for name (Attr_t(0) when there is no record).
  virtual bool GetAttributes(const char* name, Attr_t* attr,
                             file::Operation* op);
  virtual bool DeleteFileAttributesWithOp(const char* name,
                                          file::Operation* op);
  // Locks `name` (a file or directory) as `lock` asks; the lock is held
  // until *held is destroyed.
  virtual bool AcquireLock(const ::string& name, const LockInfo& lock,
                           std::unique_ptr<file::HeldLock>* held,
                           file::Operation* op);

  // ---- Primitives a file system implements ---------------------------------

  // A new, unopened handle for `name`; the mode is already validated.
  virtual File* NewFile(const char* name, const char* mode,
                        const FileOpenOptions& options) = 0;
  // Fills everything but `attributes` (the shared layer adds those from the
  // attribute record).
  virtual bool DoStat(const char* name, FileStat* stat,
                      file::Operation* op) = 0;
  // Whether two existing names of this file system are one file, however
  // they are spelled. The default compares stat identifiers (0 never
  // matches); file systems whose identifiers are unique only within a
  // device compare more.
  virtual bool DoIsSameFile(const char* a, const char* b);
  // Returns 0 or an errno value.
  virtual int DoListDirectory(const ::string& dir,
                              vector<file::DirEntry>* entries) = 0;
  // Matches a pattern whose arguments MatchWithOp has checked; sorted,
  // attribute records left out. The default globs through DoListDirectory.
  virtual bool DoMatch(const char* pattern, vector<::string>* matches,
                       File::MatchType type, file::Operation* op);
  // Removes a file that is not a directory.
  virtual bool DoDelete(const char* name, file::Operation* op) = 0;
  virtual bool DoRename(const char* from, const char* to, bool overwrite,
                        file::Operation* op) = 0;
  // mode: the requested mode, DEFAULT_FILE_MODE already replaced by 0777;
  // the process umask applies as for mkdir(2).
  virtual bool DoCreateDir(const char* name, unsigned int mode,
                           file::Operation* op) = 0;
  virtual bool DoDeleteDir(const char* name, file::Operation* op) = 0;
  virtual bool DoSetMode(const char* name, unsigned int mode,
                         file::Operation* op) = 0;
  virtual bool DoSetOwner(const char* name, const char* owner,
                          file::Operation* op) = 0;
  virtual bool DoSetGroup(const char* name, const char* group,
                          file::Operation* op) = 0;
  virtual bool DoSetMtime(const char* name, long mtime,  // NOLINT
                          file::Operation* op) = 0;
  virtual bool DoStatfs(const char* name, int64* total, int64* free_bytes,
                        int64* available, file::Operation* op) = 0;
  virtual bool DoReadable(const char* name, file::Operation* op) = 0;
  // Reads a whole file. The default opens a handle; file systems with a
  // cheaper route override it (attribute records are read on every stat).
  virtual bool DoReadWholeFile(const ::string& name, ::string* contents,
                               file::Operation* op);
  // Opens the unopened handle f, reads it whole into *contents and frees it.
  static bool ReadWholeHandle(File* f, ::string* contents, file::Operation* op);
  virtual bool DoAcquireLock(const ::string& name, const LockInfo& lock,
                             std::unique_ptr<file::HeldLock>* held,
                             file::Operation* op) = 0;
  // A cheap copy-on-write clone of a file; the default fails with
  // ERROR_UNIMPLEMENTED so that Snapshot falls back to copying bytes.
  virtual bool DoCloneFile(const char* from, const char* to,
                           file::Operation* op);

  // Records "<what> <name>: <strerror(errnum)>" with the translated code in
  // op; returns false.
  static bool FailWithErrno(file::Operation* op, const char* what,
                            const ::string& name, int errnum);
  // Records "<what> <name>: <reason>" with `code` in op; returns false.
  static bool FailWith(file::Operation* op, file::ErrorCode code,
                       const char* what, const ::string& name,
                       const char* reason);

  // ---- The registry (process-wide, thread-safe) ---------------------------
  //
  // Factories are registered by name and by path prefix. The longest
  // registered prefix that begins a file name claims it (a prefix ending in
  // "/" also claims its directory written without the slash: "/mem/" claims
  // "/mem"); names no prefix claims belong to the local file system. The built-in factories are
  // registered on first use of the registry: the local one under the text
  // of local_file (no prefix), the memory one under mem_file with the prefix
  // "/mem/". Raw pointers are not owned by the registry; the caller keeps
  // them alive while registered.

  static void RegisterFactory(FileFactory* factory, const ::string& name);
  static bool RegisterFactoryPrefix(FileFactory* factory,
                                    const ::string& prefix);
  static bool RegisterFactoryPrefix(const shared_ptr<FileFactory>& factory,
                                    const ::string& prefix);
  // True if the prefix was registered.
  static bool UnRegisterFactoryPrefix(const ::string& prefix);
  // By registered name; empty when none.
  static shared_ptr<FileFactory> Find(const char* name);
  // The factory of the longest registered prefix of `name`; empty when no
  // prefix claims it.
  static shared_ptr<FileFactory> FindPrefixFactory(const char* name);
  static shared_ptr<FileFactory> FindPrefixFactoryAndPrefix(const char* name,
                                                            ::string* prefix);
  // The factory that serves every name of the list; empty when the list is
  // empty or its names belong to different factories.
  static shared_ptr<FileFactory> FindBestFactory(
      const vector<::string>& names);
  // Filters match results in place: drops what `type` hides (dotfiles,
  // backups) among names matched by a glob in the pattern's last component,
  // drops attribute records unless include_attribute_files is non-zero, and
  // sorts the rest without duplicates.
  static void FilterMatches(const char* pattern, vector<::string>* matches,
                            File::MatchType type, int include_attribute_files);
  // The factory serving `name`: the prefix factory, else the local one.
  // Never empty (a null name goes to the local factory).
  static shared_ptr<FileFactory> ForName(const char* name);

  // Registered names of the kinds of file system. Only local_file and
  // mem_file have factories here; the other kinds have a name but no
  // factory. Assigning a name before the registry is first used changes the
  // name the built-in registers under.
  static const char* tarn_file;
  static const char* cached_file;
  static const char* autocache_file;
  static const char* readahead_file;
  static const char* replicated_file;
  static const char* remote_file;
  static const char* wicket_remote_file;
  static const char* big_file;
  static const char* striped_file;
  static const char* lock_server_file;
  static const char* local_file;
  static const char* mem_file;
  static const char* storage_server_file;
  static const char* zip_file;
  static const char* managed_replicated_file;
  static const char* namespace_file;
  static const char* fern_file;
  static const char* kelp_file;
  static const char* loom_file;
  static const char* brisk_file;
  static const char* spindle_resource_file;
  static const char* quill_file;
  static const char* inline_file;
  static const char* fastwrite_file;
  static const char* encrypted_file;
};

// A file system the registry creates on first use: registered under the
// name held in *name (read then, so earlier assignments count) and, unless
// prefix is null, for names starting with prefix. The one without a prefix
// serves every name no prefix claims.
struct BuiltinFileSystem {
  const char* const* name;
  const char* prefix;
  FileFactory* (*make)();
};
// The built-in file systems, listed by the library's composition root
// (file/base/file_systems.cc).
const vector<BuiltinFileSystem>& BuiltinFileSystems();

#endif  // FILE_BASE_FILE_FACTORY_H_
