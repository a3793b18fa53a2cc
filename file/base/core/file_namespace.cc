// Namespace operations by name: each goes to the file system owning the
// name.
#include <algorithm>
#include <functional>

#include "file/base/core/attr_record.h"
#include "file/base/file.h"
#include "file/base/core/file_factory_internal.h"
#include "file/base/names/glob.h"
#include "file/base/util/logging.h"
#include "file/base/core/operation.h"
#include "file/base/names/path.h"

namespace {

shared_ptr<FileFactory> FactoryFor(const char* name) { return FileFactory::ForName(name); }
shared_ptr<FileFactory> FactoryFor(const ::string& name) { return FileFactory::ForName(name.c_str()); }

}  // namespace

// ---- Queries ---------------------------------------------------------------------

bool File::Exists(const char* name) { return ExistsWithOp(name, nullptr); }
bool File::ExistsWithOp(const char* name, file::Operation* op) {
  return FactoryFor(name)->ExistsWithOp(name, op);
}
bool File::Readable(const char* name) { return ReadableWithOp(name, nullptr); }
bool File::ReadableWithOp(const char* name, file::Operation* op) {
  return FactoryFor(name)->ReadableWithOp(name, op);
}
bool File::IsDirectory(const char* name) { return IsDirectoryWithOp(name, nullptr); }
bool File::IsDirectoryWithOp(const char* name, file::Operation* op) {
  return FactoryFor(name)->IsDirectoryWithOp(name, op);
}
bool File::IsAttributeFilename(const char* name) { return file::IsAttributeRecordName(name); }

bool File::Stat(const char* name, FileStat* stat) { return StatWithOp(name, stat, nullptr); }
bool File::StatWithOp(const char* name, FileStat* stat, file::Operation* op) {
  return FactoryFor(name)->StatWithOp(name, stat, op);
}
bool File::StatLocked(const char* name, LockInfo* lock, FileStat* stat) {
  return StatLockedWithOp(name, lock, stat, nullptr);
}
bool File::StatLockedWithOp(const char* name, LockInfo* lock, FileStat* stat,
                            file::Operation* op) {
  return FactoryFor(name)->StatLockedWithOp(name, lock, stat, op);
}
bool File::StatAsync(const char* name, FileStat* stat, AsyncIO* done) {
  return StatAsyncLocked(name, nullptr, stat, done);
}
bool File::StatAsyncLocked(const char* name, LockInfo* lock, FileStat* stat, AsyncIO* done) {
  return FactoryFor(name)->StatAsyncLocked(name, lock, stat, done);
}

int64 File::GetFileSize(const char* name) {
  FileStat stat;
  return Stat(name, &stat) ? stat.length : -1;
}

bool File::Statfs(const char* name, int64* total, int64* free_bytes, int64* available) {
  return FactoryFor(name)->Statfs(name, total, free_bytes, available);
}

// ---- Match ---------------------------------------------------------------------------

bool File::Match(const char* pattern, vector<::string>* matches) {
  return ExtendedMatchLockedWithOp(pattern, nullptr, matches, MATCH_DEFAULT, nullptr);
}
bool File::MatchLocked(const char* pattern, LockInfo* lock, vector<::string>* matches) {
  return ExtendedMatchLockedWithOp(pattern, lock, matches, MATCH_DEFAULT, nullptr);
}
bool File::MatchWithOp(const char* pattern, vector<::string>* matches, file::Operation* op) {
  return ExtendedMatchLockedWithOp(pattern, nullptr, matches, MATCH_DEFAULT, op);
}
bool File::MatchLockedWithOp(const char* pattern, LockInfo* lock, vector<::string>* matches,
                             file::Operation* op) {
  return ExtendedMatchLockedWithOp(pattern, lock, matches, MATCH_DEFAULT, op);
}
bool File::MatchAsync(const char* pattern, vector<::string>* matches, AsyncIO* done) {
  return ExtendedMatchAsyncLocked(pattern, nullptr, matches, MATCH_DEFAULT, done);
}
bool File::MatchAsyncLocked(const char* pattern, LockInfo* lock, vector<::string>* matches,
                            AsyncIO* done) {
  return ExtendedMatchAsyncLocked(pattern, lock, matches, MATCH_DEFAULT, done);
}
bool File::ExtendedMatch(const char* pattern, vector<::string>* matches, MatchType type) {
  return ExtendedMatchLockedWithOp(pattern, nullptr, matches, type, nullptr);
}
bool File::ExtendedMatchWithOp(const char* pattern, vector<::string>* matches, MatchType type,
                               file::Operation* op) {
  return ExtendedMatchLockedWithOp(pattern, nullptr, matches, type, op);
}
bool File::ExtendedMatchLocked(const char* pattern, LockInfo* lock, vector<::string>* matches,
                               MatchType type) {
  return ExtendedMatchLockedWithOp(pattern, lock, matches, type, nullptr);
}
bool File::ExtendedMatchLockedWithOp(const char* pattern, LockInfo* lock,
                                     vector<::string>* matches, MatchType type,
                                     file::Operation* op) {
  return FactoryFor(pattern)->MatchLockedWithOp(pattern, lock, matches, type, op);
}
bool File::ExtendedMatchAsync(const char* pattern, vector<::string>* matches, MatchType type,
                              AsyncIO* done) {
  return ExtendedMatchAsyncLocked(pattern, nullptr, matches, type, done);
}
bool File::ExtendedMatchAsyncLocked(const char* pattern, LockInfo* lock,
                                    vector<::string>* matches, MatchType type, AsyncIO* done) {
  return FactoryFor(pattern)->MatchAsyncLocked(pattern, lock, matches, type, done);
}

bool File::GetMatchingFiles(const char* pattern, vector<::string>* files) {
  return GetMatchingFilesLocked(pattern, nullptr, files);
}

bool File::GetMatchingFilesLocked(const char* pattern, LockInfo* lock, vector<::string>* files) {
  if (files == nullptr) return false;
  const shared_ptr<FileFactory> factory = FactoryFor(pattern);
  vector<::string> matches;
  if (!factory->MatchLocked(pattern, lock, &matches, MATCH_DEFAULT)) return false;
  files->clear();
  for (::string& name : matches) {
    file::Operation probe;
    if (!factory->IsDirectoryWithOp(name.c_str(), &probe)) files->push_back(std::move(name));
  }
  return true;
}

// Depth first: a directory, then everything under it, then its next sibling.
static bool ListTree(FileFactory* factory, const ::string& dir, File::MatchType type,
                     vector<::string>* files, vector<::string>* dirs, file::Operation* op) {
  vector<file::DirEntry> entries;
  if (!factory->ListDirectory(dir, &entries, op)) return false;
  std::sort(entries.begin(), entries.end(),
            [](const file::DirEntry& a, const file::DirEntry& b) { return a.name < b.name; });
  for (const file::DirEntry& entry : entries) {
    if (file::HiddenByMatchType(entry.name, type)) continue;
    const ::string child = file::JoinPath(dir, entry.name);
    if (file::IsAttributeRecordName(child.c_str())) continue;
    if (!entry.is_dir) {
      if (files != nullptr) files->push_back(child);
      continue;
    }
    if (dirs != nullptr) dirs->push_back(child);
    if (!ListTree(factory, child, type, files, dirs, op)) return false;
  }
  return true;
}

void File::DFListFileAndDir(const ::string& dir, MatchType type, vector<::string>* files,
                            vector<::string>* dirs, int* error) {
  if (files != nullptr) files->clear();
  if (dirs != nullptr) dirs->clear();
  file::Operation op;
  if (!file::IsMatchType(type)) {
    op.SetError(file::ERROR_INVALID_ARGUMENT, "unknown match type");
  } else {
    ListTree(FactoryFor(dir).get(), dir, type, files, dirs, &op);
  }
  if (error != nullptr) *error = op.error();
}

// ---- Delete ------------------------------------------------------------------------------

bool File::Delete(const char* name) { return DeleteWithOp(name, nullptr); }
bool File::DeleteWithOp(const char* name, file::Operation* op) {
  return FactoryFor(name)->DeleteWithOp(name, op);
}
bool File::DeleteAsync(const char* name, AsyncIO* done) {
  return DeleteAsyncLocked(name, nullptr, done);
}
bool File::DeleteAsyncLocked(const char* name, LockInfo* lock, AsyncIO* done) {
  return FactoryFor(name)->DeleteAsync(name, lock, done);
}

bool File::DeleteMatchingFiles(const char* pattern) {
  return DeleteMatchingFilesWithOp(pattern, nullptr);
}

bool File::DeleteMatchingFilesWithOp(const char* pattern, file::Operation* op) {
  const shared_ptr<FileFactory> factory = FactoryFor(pattern);
  vector<::string> matches;
  if (!factory->MatchWithOp(pattern, &matches, MATCH_DEFAULT, op)) return false;
  vector<::string> targets;
  for (::string& name : matches) {
    file::Operation probe;
    // Directories are not files: they are left alone.
    if (!factory->IsDirectoryWithOp(name.c_str(), &probe)) targets.push_back(std::move(name));
  }
  return factory->BulkDeleteWithOp(targets, op, nullptr);
}

bool File::DeleteDir(const char* name) { return DeleteDirWithOp(name, nullptr); }
bool File::DeleteDirWithOp(const char* name, file::Operation* op) {
  return FactoryFor(name)->DeleteDirWithOp(name != nullptr ? name : "", op);
}

void File::DeleteFileAttributes(const char* name) { DeleteFileAttributesWithOp(name, nullptr); }
void File::DeleteFileAttributesWithOp(const char* name, file::Operation* op) {
  FactoryFor(name)->DeleteFileAttributesWithOp(name, op);
}
void File::BulkDeleteAttributes(const vector<::string>& names) {
  BulkDeleteAttributesWithOp(names, nullptr);
}
void File::BulkDeleteAttributesWithOp(const vector<::string>& names, file::Operation* op) {
  file_internal::RunBulk(names, op, nullptr, [](const char* name, file::Operation* each) {
    return FactoryFor(name)->DeleteFileAttributesWithOp(name, each);
  });
}

void File::DeleteRecursively(const ::string& name, int* files, int* dirs) {
  FactoryFor(name)->DeleteRecursivelyWithOp(name, files, dirs, nullptr);
}

// ---- Rename -------------------------------------------------------------------------------

bool File::Rename(const char* from, const char* to, bool overwrite) {
  return RenameWithOp(from, to, overwrite, nullptr);
}

bool File::RenameWithOp(const char* from, const char* to, bool overwrite, file::Operation* op) {
  const shared_ptr<FileFactory> factory = FactoryFor(from);
  if (FactoryFor(to) != factory) {
    return FileFactory::FailWith(op, file::ERROR_INVALID_ARGUMENT, "Rename", from ? from : "",
                                 "source and target are on different file systems");
  }
  return factory->RenameFullySpecified(from, to, overwrite, op);
}

// ---- Owner, group, mode, attributes, mtime ------------------------------------------------

bool File::SetOwner(const char* name, const char* owner) {
  return FactoryFor(name)->SetOwner(name, owner);
}
bool File::SetGroup(const char* name, const char* group) {
  return SetGroupWithOp(name, group, nullptr);
}
bool File::SetGroupWithOp(const char* name, const char* group, file::Operation* op) {
  return FactoryFor(name)->SetGroupWithOp(name, group, op);
}
bool File::SetMode(const char* name, unsigned int mode) { return SetModeWithOp(name, mode, nullptr); }
bool File::SetModeWithOp(const char* name, unsigned int mode, file::Operation* op) {
  return FactoryFor(name)->SetModeWithOp(name, mode, op);
}
bool File::SetAttributes(const char* name, Attr_t attr) {
  return SetAttributesWithOp(name, attr, nullptr);
}
bool File::SetAttributesWithOp(const char* name, Attr_t attr, file::Operation* op) {
  return FactoryFor(name)->SetAttributesWithOp(name, attr, op);
}
bool File::SetMtime(const char* name, long mtime) {  // NOLINT
  return FactoryFor(name)->SetMtime(name, mtime);
}

// ---- Directories --------------------------------------------------------------------------

bool File::CreateDir(const char* name, unsigned int mode) {
  return CreateDirWithOp(name, mode, nullptr);
}
bool File::CreateDirWithOp(const char* name, unsigned int mode, file::Operation* op) {
  return FactoryFor(name)->CreateDirWithOp(name, mode, op);
}
bool File::CreateDirFullySpecified(const char* name, Attr_t attr, unsigned int mode,
                                   const char* group) {
  return CreateDirFullySpecifiedWithOp(name, attr, mode, group, nullptr);
}
bool File::CreateDirFullySpecifiedWithOp(const char* name, Attr_t attr, unsigned int mode,
                                         const char* group, file::Operation* op) {
  return FactoryFor(name)->CreateDirFullySpecifiedWithOp(name, attr, mode, group, op);
}
bool File::RecursivelyCreateDir(const ::string& name, unsigned int mode) {
  file::RecursiveCreateOptions options;
  options.mode = mode;
  return RecursivelyCreateDirWithOptions(name, options);
}
bool File::RecursivelyCreateDirWithOptions(const ::string& name,
                                           const file::RecursiveCreateOptions& options) {
  return FactoryFor(name)->RecursivelyCreateDirWithOptions(name.c_str(), options);
}
bool File::RecursivelyCreateDirFullySpecified(const ::string& name, Attr_t attr,
                                              unsigned int mode, const char* group) {
  file::RecursiveCreateOptions options;
  options.mode = mode;
  options.attributes = attr;
  if (group != nullptr) options.group = group;
  return RecursivelyCreateDirWithOptions(name, options);
}

bool File::Snapshot(const char* from, const char* to, unsigned int file_mode,
                    unsigned int dir_mode) {
  const shared_ptr<FileFactory> factory = FactoryFor(from);
  if (FactoryFor(to) != factory) return false;  // snapshots stay on one file system
  return factory->Snapshot(from, to, file_mode, dir_mode);
}

bool File::SnapshotFile(const char* from, const char* to, unsigned int mode) {
  if (IsDirectory(from)) return false;  // a single file only
  return Snapshot(from, to, mode, mode);
}

bool File::Archive(const vector<::string>& names, FileReedSolomonEncoding encoding,
                   int stripe_unit_kib, vector<bool>* results) {
  // Each name is archived on its own file system.
  vector<bool> flags;
  bool all = true;
  for (const ::string& name : names) {
    vector<bool> one;
    all = FileFactory::ForName(name.c_str())->Archive({name}, encoding, stripe_unit_kib, &one) && all;
    flags.push_back(!one.empty() && one[0]);
  }
  if (results != nullptr) *results = std::move(flags);
  return all;
}

// ---- Whole files ---------------------------------------------------------------------------

bool File::ReadFileToString(const ::string& name, ::string* contents) {
  return FactoryFor(name)->ReadFileToString(name, contents, nullptr);
}

bool File::WriteStringToFile(const ::string& contents, const ::string& name) {
  return FactoryFor(name)->WriteStringToFile(name, contents, /*append=*/false, nullptr);
}

bool File::AppendStringToFile(const ::string& contents, const ::string& name) {
  return FactoryFor(name)->WriteStringToFile(name, contents, /*append=*/true, nullptr);
}

// The or-die forms report the reason the Operation recorded.
void File::ReadFileToStringOrDie(const char* name, ::string* contents) {
  const ::string target = name != nullptr ? name : "";
  file::Operation op;
  if (!FactoryFor(target)->ReadFileToString(target, contents, &op)) {
    LogMessageFatal(__FILE__, __LINE__).stream()
        << "Check failed: ReadFileToString(" << target << ") " << op.message();
  }
}

static void WriteOrDie(const ::string& contents, const char* name, bool append) {
  const ::string target = name != nullptr ? name : "";
  file::Operation op;
  if (!FactoryFor(target)->WriteStringToFile(target, contents, append, &op)) {
    LogMessageFatal(__FILE__, __LINE__).stream()
        << "Check failed: " << (append ? "AppendStringToFile(" : "WriteStringToFile(") << target
        << ") " << op.message();
  }
}

void File::WriteStringToFileOrDie(const ::string& contents, const char* name) {
  WriteOrDie(contents, name, /*append=*/false);
}

void File::AppendStringToFileOrDie(const ::string& contents, const char* name) {
  WriteOrDie(contents, name, /*append=*/true);
}
