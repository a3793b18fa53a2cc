// The shared layer of FileFactory: every public operation built once on the
// primitives of a concrete file system.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <new>

#include "file/base/core/archive_support.h"
#include "file/base/core/async.h"
#include "file/base/core/attr_record.h"
#include "file/base/file.h"
#include "file/base/core/file_factory_internal.h"
#include "file/base/names/glob.h"
#include "file/base/util/logging.h"
#include "file/base/core/operation.h"
#include "file/base/names/path.h"
#include "file/base/core/stat_attribute_cache.h"
#include "file/base/util/hook_slot.h"

namespace file_internal {

thread_local int OpNesting::depth_ = 0;

NamedOp::NamedOp(file::Operation* caller, const char* what, const char* name)
    : op_(caller != nullptr ? caller : &scratch_),
      what_(what),
      name_(name != nullptr ? name : "") {}

NamedOp::~NamedOp() {
  if (started_) op_->InternalFinish();
  if ((started_ || op_ == &scratch_) && !op_->ok()) ++File::opstats()->errors;
}

bool NamedOp::Begin(const char* name) {
  if (op_ != &scratch_) {
    if (OpNesting::outermost()) {
      op_->ClearError();
      op_->InternalStart(what_, name_);
      started_ = true;
    }
    if (op_->DeadlineExceeded()) return Fail(file::ERROR_DEADLINE_EXCEEDED, "deadline exceeded");
  }
  if (name == nullptr || name[0] == '\0') {
    return Fail(file::ERROR_INVALID_ARGUMENT, "empty file name");
  }
  return true;
}

bool NamedOp::Fail(file::ErrorCode code, const char* reason) {
  return FileFactory::FailWith(op_, code, what_, name_, reason);
}

bool CopyFailure(const file::Operation& from, file::Operation* to) {
  if (to != nullptr && &from != to) {
    to->SetError(static_cast<file::ErrorCode>(from.error() != file::OK ? from.error()
                                                                       : file::ERROR_UNKNOWN),
                 from.message());
  }
  return false;
}

// Logs why queued work threw (after its caller has been told).
static void LogThrown(const file::Operation& op, const std::exception_ptr& thrown) {
  ::string reason = "unknown exception";
  try {
    std::rethrow_exception(thrown);
  } catch (const std::exception& e) {
    reason = e.what();
  } catch (...) {
  }
  const ::string what = op.descriptor();
  PQ_LOG(ERROR) << "asynchronous " << (what.empty() ? "work" : what) << " failed: " << reason;
}

bool QueueNamedWork(AsyncIO* done, std::function<int64(file::Operation*)> work) {
  if (done == nullptr) return false;
  file::RunAsync([done, work = std::move(work)]() {
    file::Operation op;
    int64 result = -1;
    int error = file::OK;
    std::exception_ptr thrown;
    // Whatever happens to the work, the caller waiting on `done` must hear.
    try {
      result = work(&op);
      if (result < 0) error = op.error() != file::OK ? op.error() : file::ERROR_UNKNOWN;
    } catch (const std::bad_alloc&) {
      error = file::ERROR_TEMPORARY;
      thrown = std::current_exception();
    } catch (...) {
      error = file::ERROR_UNKNOWN;
      thrown = std::current_exception();
    }
    done->Finish(error, error == file::OK ? result : 0);
    if (thrown != nullptr) LogThrown(op, thrown);
  });
  return true;
}

bool CheckWholeFileFits(int64 size, const ::string& name, file::Operation* op) {
  const long pages = sysconf(_SC_PHYS_PAGES);     // NOLINT
  const long page_size = sysconf(_SC_PAGESIZE);   // NOLINT
  if (pages <= 0 || page_size <= 0) return true;  // unknown: let allocation decide
  if (size <= static_cast<int64>(pages) * page_size) return true;
  return FileFactory::FailWith(op, file::ERROR_NO_SPACE, "ReadFileToString", name,
                               "file is larger than this machine's memory");
}

bool RunBulk(const vector<::string>& names, file::Operation* op, vector<bool>* results,
             const std::function<bool(const char*, file::Operation*)>& one) {
  vector<bool> flags(names.size(), false);
  BulkFailures failures;
  for (size_t i = 0; i < names.size(); ++i) {
    // Each name gets its own Operation so one failure does not mask the
    // next; the caller's deadline applies to all of them.
    file::Operation each;
    if (op != nullptr && op->HasDeadline()) each.SetAbsoluteDeadline(op->GetDeadline());
    flags[i] = one(names[i].c_str(), &each);
    if (!flags[i]) failures.Add(each);
  }
  failures.Report(op);
  if (results != nullptr) *results = std::move(flags);
  return failures.empty();
}

void BulkFailures::Add(const file::Operation& failed) {
  if (code_ == file::OK) code_ = static_cast<file::ErrorCode>(failed.error());
  if (!message_.empty()) message_ += "; ";
  message_ += failed.message();
  ++count_;
}

void BulkFailures::Report(file::Operation* op) const {
  if (op == nullptr) return;
  op->ClearError();
  if (count_ > 0) op->SetError(code_ == file::OK ? file::ERROR_UNKNOWN : code_, message_);
}

}  // namespace file_internal

using file_internal::NamedOp;

FileFactory::~FileFactory() = default;

bool FileFactory::FailWith(file::Operation* op, file::ErrorCode code, const char* what,
                           const ::string& name, const char* reason) {
  if (op != nullptr) {
    op->SetError(code, ::string(what) + " " + name + ": " + reason);
  }
  return false;
}

bool FileFactory::FailWithErrno(file::Operation* op, const char* what, const ::string& name,
                                int errnum) {
  if (op != nullptr) {
    op->SetError(static_cast<file::ErrorCode>(file::TranslateFromErrno(errnum)),
                 ::string(what) + " " + name + ": " + std::strerror(errnum));
  }
  return false;
}

// ---- Handles -------------------------------------------------------------------

File* FileFactory::Create(const char* name, const char* mode) {
  return CreateFullySpecified(name, mode, Attr_t(Attr_t::DEFAULT), DEFAULT_FILE_MODE, nullptr);
}

File* FileFactory::CreateFullySpecified(const char* name, const char* mode, Attr_t attr,
                                        unsigned int permissions, const char* group) {
  FileOpenOptions options;
  options.set_attributes(attr);
  options.set_permissions(permissions);
  if (group != nullptr) options.set_group(group);
  return CreateWithOptions(name, mode, options);
}

namespace file {

namespace {
HookSlot<ArchiveSupport>& ArchiveSupportSlot() {
  static HookSlot<ArchiveSupport> slot;
  return slot;
}
}  // namespace

void SetArchiveSupport(ArchiveSupport support) { ArchiveSupportSlot().Set(std::move(support)); }
std::shared_ptr<const ArchiveSupport> GetArchiveSupport() { return ArchiveSupportSlot().Get(); }

}  // namespace file

File* FileFactory::CreateWithOptions(const char* name, const char* mode,
                                     const FileOpenOptions& options) {
  file::OpenMode parsed;
  if (name == nullptr || name[0] == '\0' || !file::ParseOpenMode(mode, &parsed)) return nullptr;
  // Archives are read through their own handles; they are never written.
  if (!parsed.write && !parsed.append) {
    if (const auto support = file::GetArchiveSupport(); support && support->open) {
      if (File* archived = support->open(this, name, mode, options)) return archived;
    }
  }
  return NewFile(name, mode, options);
}

bool FileFactory::BulkOpen(const vector<::string>& names, const char* mode,
                           vector<File*>* files) {
  return BulkOpenFullySpecified(names, mode, Attr_t(Attr_t::DEFAULT), DEFAULT_FILE_MODE, nullptr,
                                files);
}

bool FileFactory::BulkOpenFullySpecified(const vector<::string>& names, const char* mode,
                                         Attr_t attr, unsigned int permissions,
                                         const char* group, vector<File*>* files) {
  if (files == nullptr) return false;
  files->clear();
  bool all_ok = true;
  for (const ::string& name : names) {
    File* f = CreateFullySpecified(name.c_str(), mode, attr, permissions, group);
    if (f != nullptr && !f->Open()) {
      file::CloseAndDelete(f);
      f = nullptr;
    }
    if (f == nullptr) all_ok = false;
    files->push_back(f);
  }
  return all_ok;
}

// ---- Whole files -------------------------------------------------------------------

bool FileFactory::ReadFileToString(const ::string& name, ::string* contents,
                                   file::Operation* caller) {
  NamedOp op(caller, "ReadFileToString", name.c_str());
  if (!op.Begin(name.c_str())) return false;
  if (contents == nullptr) return op.Fail(file::ERROR_INVALID_ARGUMENT, "no output string");
  // An archive's bytes come through its own handle, whatever shortcut the
  // file system has for whole files.
  if (const auto support = file::GetArchiveSupport(); support && support->open) {
    if (File* archived = support->open(this, name.c_str(), "r", FileOpenOptions())) {
      return ReadWholeHandle(archived, contents, op.op());
    }
  }
  return DoReadWholeFile(name, contents, op.op());
}

bool FileFactory::DoIsSameFile(const char* a, const char* b) {
  FileStat sa, sb;
  file::Operation probe;
  return DoStat(a, &sa, &probe) && DoStat(b, &sb, &probe) && sa.identifier != 0 &&
         sa.identifier == sb.identifier;
}

bool FileFactory::DoReadWholeFile(const ::string& name, ::string* contents,
                                  file::Operation* op) {
  File* f = CreateWithOptions(name.c_str(), "r", FileOpenOptions());
  if (f == nullptr) return FailWith(op, file::ERROR_INVALID_ARGUMENT, "ReadFileToString", name.c_str(), "bad file name");
  return ReadWholeHandle(f, contents, op);
}

bool FileFactory::ReadWholeHandle(File* f, ::string* contents, file::Operation* op) {
  if (!f->OpenWithOp(op)) {
    file::CloseAndDelete(f);
    return false;
  }
  const bool read = f->ReadToString(contents, -1) >= 0;
  if (!read) op->SetError(static_cast<file::ErrorCode>(f->GetCurrentErrorCode()),
                          f->GetCurrentErrorMessage());
  file::CloseAndDelete(f);
  return read;
}

bool FileFactory::WriteStringToFile(const ::string& name, const ::string& contents, bool append,
                                    file::Operation* caller) {
  NamedOp op(caller, append ? "AppendStringToFile" : "WriteStringToFile", name.c_str());
  if (!op.Begin(name.c_str())) return false;
  File* f = CreateWithOptions(name.c_str(), append ? "a" : "w", FileOpenOptions());
  if (f == nullptr) return op.Fail(file::ERROR_INVALID_ARGUMENT, "bad file name");
  if (!f->OpenWithOp(op.op())) {
    file::CloseAndDelete(f);
    return false;
  }
  const int64 written = f->Write(contents.data(), contents.size());
  bool ok = written == static_cast<int64>(contents.size());
  if (!ok) {
    if (written < 0) {
      op.op()->SetError(static_cast<file::ErrorCode>(f->GetCurrentErrorCode()),
                        f->GetCurrentErrorMessage());
    } else {
      op.Fail(file::ERROR_NO_SPACE, "short write");
    }
  }
  // A failed close can lose data, so it fails the whole write.
  if (!file::CloseAndDelete(f) && ok) ok = op.Fail(file::ERROR_UNKNOWN, "close failed");
  return ok;
}

// ---- Rename ----------------------------------------------------------------------------

bool FileFactory::Rename(const char* from, const char* to) {
  return RenameFullySpecified(from, to, /*overwrite=*/false, nullptr);
}

bool FileFactory::RenameWithOp(const char* from, const char* to, file::Operation* op) {
  return RenameFullySpecified(from, to, /*overwrite=*/false, op);
}

bool FileFactory::RenameFullySpecified(const char* from, const char* to, bool overwrite,
                                       file::Operation* caller) {
  NamedOp op(caller, "Rename", from);
  if (!op.Begin(from)) return false;
  if (to == nullptr || to[0] == '\0') {
    return op.Fail(file::ERROR_INVALID_ARGUMENT, "empty target name");
  }
  Attr_t attr;
  if (!GetAttributes(from, &attr, op.op())) return false;
  if (attr.has(Attr_t::PROTECTED)) return op.Fail(file::ERROR_PERMISSION_DENIED, "file is protected");
  if (overwrite) {
    Attr_t target_attr;
    if (!GetAttributes(to, &target_attr, op.op())) return false;
    if (target_attr.has(Attr_t::PROTECTED)) {
      return op.Fail(file::ERROR_PERMISSION_DENIED, "target is protected");
    }
  }
  if (!DoRename(from, to, overwrite, op.op())) return false;
  ++File::opstats()->renames;
  return file::MoveAttributeRecord(this, from, to, op.op());
}

bool FileFactory::BulkRename(const vector<::string>& from, const vector<::string>& to,
                             bool overwrite, vector<bool>* results) {
  if (from.size() != to.size()) {
    if (results != nullptr) results->assign(from.size(), false);
    return false;
  }
  size_t index = 0;
  return file_internal::RunBulk(from, nullptr, results,
                                [&](const char* name, file::Operation* op) {
                                  return RenameFullySpecified(name, to[index++].c_str(),
                                                              overwrite, op);
                                });
}

// ---- Stat, existence, readability ---------------------------------------------------

bool FileFactory::Stat(const char* name, FileStat* stat) { return StatWithOp(name, stat, nullptr); }

bool FileFactory::StatWithOp(const char* name, FileStat* stat, file::Operation* caller) {
  NamedOp op(caller, "Stat", name);
  if (!op.Begin(name)) return false;
  if (stat == nullptr) return op.Fail(file::ERROR_INVALID_ARGUMENT, "no FileStat");
  stat->Clear();
  if (!DoStat(name, stat, op.op())) return false;
  ++File::opstats()->stats;
  if (!file::CachedStatAttributes(this, name, &stat->attributes, [&](Attr_t* attr) {
        return GetAttributes(name, attr, op.op());
      })) {
    return false;
  }
  if (stat->attributes.has(Attr_t::FROZEN)) {
    if (const auto support = file::GetArchiveSupport(); support && support->stat) {
      support->stat(this, name, stat);
    }
  }
  return true;
}

bool FileFactory::StatLocked(const char* name, LockInfo* lock, FileStat* stat) {
  return StatLockedWithOp(name, lock, stat, nullptr);
}

bool FileFactory::StatLockedWithOp(const char* name, LockInfo* lock, FileStat* stat,
                                   file::Operation* caller) {
  if (lock == nullptr) return StatWithOp(name, stat, caller);
  NamedOp op(caller, "StatLocked", name);
  if (!op.Begin(name)) return false;
  std::unique_ptr<file::HeldLock> held;
  if (!AcquireLock(name, *lock, &held, op.op())) return false;
  return StatWithOp(name, stat, op.op());
}

bool FileFactory::StatAsync(const char* name, FileStat* stat, AsyncIO* done) {
  return StatAsyncLocked(name, nullptr, stat, done);
}

bool FileFactory::StatAsyncLocked(const char* name, LockInfo* lock, FileStat* stat,
                                  AsyncIO* done) {
  const ::string target = name != nullptr ? name : "";
  return file_internal::QueueNamedWork(done, [this, target, lock, stat](file::Operation* op) {
    return StatLockedWithOp(target.c_str(), lock, stat, op) ? stat->length : int64{-1};
  });
}

bool FileFactory::ExistsWithOp(const char* name, file::Operation* caller) {
  NamedOp op(caller, "Exists", name);
  if (!op.Begin(name)) return false;
  FileStat stat;
  if (DoStat(name, &stat, op.op())) return true;
  // Absence is an answer, not a failure.
  if (op.op()->error() == file::ERROR_NOT_FOUND) op.op()->ClearError();
  return false;
}

bool FileFactory::IsDirectoryWithOp(const char* name, file::Operation* caller) {
  NamedOp op(caller, "IsDirectory", name);
  if (!op.Begin(name)) return false;
  FileStat stat;
  if (!DoStat(name, &stat, op.op())) return false;
  return stat.IsDirectory();
}

bool FileFactory::Readable(const char* name) { return ReadableWithOp(name, nullptr); }

bool FileFactory::ReadableWithOp(const char* name, file::Operation* caller) {
  NamedOp op(caller, "Readable", name);
  return op.Begin(name) && DoReadable(name, op.op());
}

bool FileFactory::Statfs(const char* name, int64* total, int64* free_bytes, int64* available) {
  NamedOp op(nullptr, "Statfs", name);
  return op.Begin(name) && DoStatfs(name, total, free_bytes, available, op.op());
}

bool FileFactory::BulkStat(const vector<::string>& names, vector<bool>* results,
                           vector<FileStat>* stats) {
  return BulkStatWithOp(names, nullptr, results, stats);
}

bool FileFactory::BulkStatWithOp(const vector<::string>& names, file::Operation* op,
                                 vector<bool>* results, vector<FileStat>* stats) {
  vector<FileStat> filled(names.size());
  size_t index = 0;
  const bool all_ok = file_internal::RunBulk(
      names, op, results,
      [&](const char* name, file::Operation* each) {
        return StatWithOp(name, &filled[index++], each);
      });
  if (stats != nullptr) *stats = std::move(filled);
  return all_ok;
}

bool FileFactory::BulkExist(const vector<::string>& names, vector<bool>* results) {
  return file_internal::RunBulk(names, nullptr, results,
                                [this](const char* name, file::Operation* op) {
                                  return ExistsWithOp(name, op);
                                });
}

// ---- Match -------------------------------------------------------------------------------

bool FileFactory::Match(const char* pattern, vector<::string>* matches, File::MatchType type) {
  return MatchWithOp(pattern, matches, type, nullptr);
}

bool FileFactory::MatchWithOp(const char* pattern, vector<::string>* matches,
                              File::MatchType type, file::Operation* caller) {
  NamedOp op(caller, "Match", pattern);
  if (!op.Begin(pattern)) return false;
  if (matches == nullptr) return op.Fail(file::ERROR_INVALID_ARGUMENT, "no output vector");
  if (!file::IsMatchType(type)) return op.Fail(file::ERROR_INVALID_ARGUMENT, "unknown match type");
  if (!DoMatch(pattern, matches, type, op.op())) return false;
  ++File::opstats()->matches;
  return true;
}

bool FileFactory::DoMatch(const char* pattern, vector<::string>* matches, File::MatchType type,
                          file::Operation* op) {
  int error = 0;
  const file::ListDirFn list = [this](const ::string& dir, vector<file::DirEntry>* entries) {
    return DoListDirectory(dir, entries);
  };
  if (!file::GlobExpand(pattern, type, list, matches, &error)) {
    return FailWithErrno(op, "Match", pattern, error != 0 ? error : EIO);
  }
  FilterMatches(pattern, matches, type, /*include_attribute_files=*/0);
  return true;
}

bool FileFactory::MatchLocked(const char* pattern, LockInfo* lock, vector<::string>* matches,
                              File::MatchType type) {
  return MatchLockedWithOp(pattern, lock, matches, type, nullptr);
}

// The directory a Locked match locks: the one holding the pattern's first
// component that has glob characters (or, without any, the pattern's own
// directory).
static ::string MatchLockTarget(const char* pattern) {
  const ::string text(pattern);
  size_t end = 0;
  size_t last_literal_end = ::string::npos;
  while (end <= text.size()) {
    size_t slash = text.find('/', end);
    if (slash == ::string::npos) slash = text.size();
    if (file::HasGlobChars(std::string_view(text).substr(end, slash - end))) break;
    if (slash == text.size()) break;
    last_literal_end = slash;
    end = slash + 1;
  }
  if (last_literal_end == ::string::npos) return text.size() > 0 && text[0] == '/' ? "/" : ".";
  return last_literal_end == 0 ? ::string("/") : text.substr(0, last_literal_end);
}

bool FileFactory::MatchLockedWithOp(const char* pattern, LockInfo* lock,
                                    vector<::string>* matches, File::MatchType type,
                                    file::Operation* caller) {
  if (lock == nullptr) return MatchWithOp(pattern, matches, type, caller);
  NamedOp op(caller, "MatchLocked", pattern);
  if (!op.Begin(pattern)) return false;
  std::unique_ptr<file::HeldLock> held;
  if (!AcquireLock(MatchLockTarget(pattern), *lock, &held, op.op())) return false;
  return MatchWithOp(pattern, matches, type, op.op());
}

bool FileFactory::MatchAsync(const char* pattern, vector<::string>* matches,
                             File::MatchType type, AsyncIO* done) {
  return MatchAsyncLocked(pattern, nullptr, matches, type, done);
}

bool FileFactory::MatchAsyncLocked(const char* pattern, LockInfo* lock,
                                   vector<::string>* matches, File::MatchType type,
                                   AsyncIO* done) {
  const ::string target = pattern != nullptr ? pattern : "";
  return file_internal::QueueNamedWork(
      done, [this, target, lock, matches, type](file::Operation* op) {
        return MatchLockedWithOp(target.c_str(), lock, matches, type, op)
                   ? static_cast<int64>(matches->size())
                   : int64{-1};
      });
}

bool FileFactory::ListDirectory(const ::string& dir, vector<file::DirEntry>* entries,
                                file::Operation* caller) {
  NamedOp op(caller, "ListDirectory", dir.c_str());
  if (!op.Begin(dir.c_str())) return false;
  if (entries == nullptr) return op.Fail(file::ERROR_INVALID_ARGUMENT, "no output vector");
  entries->clear();
  const int error = DoListDirectory(dir, entries);
  if (error != 0) return FailWithErrno(op.op(), "ListDirectory", dir, error);
  return true;
}

// ---- Delete ---------------------------------------------------------------------------------

bool FileFactory::DeleteWithOp(const char* name, file::Operation* caller) {
  NamedOp op(caller, "Delete", name);
  if (!op.Begin(name)) return false;
  Attr_t attr;
  if (!GetAttributes(name, &attr, op.op())) return false;
  if (attr.has(Attr_t::PROTECTED)) return op.Fail(file::ERROR_PERMISSION_DENIED, "file is protected");
  vector<::string> companions;  // an archive's shards go with it
  if (attr.has(Attr_t::FROZEN)) {
    if (const auto support = file::GetArchiveSupport(); support && support->companions) {
      companions = support->companions(this, name);
    }
  }
  if (!DoDelete(name, op.op())) return false;
  ++File::opstats()->deletes;
  if (!file::DeleteAttributeRecord(this, name, op.op())) return false;
  for (const ::string& companion : companions) {
    file::Operation each;
    if (!DoDelete(companion.c_str(), &each) && each.error() != file::ERROR_NOT_FOUND) {
      return file_internal::CopyFailure(each, op.op());
    }
  }
  return true;
}

bool FileFactory::DeleteAsync(const char* name, LockInfo* lock, AsyncIO* done) {
  const ::string target = name != nullptr ? name : "";
  return file_internal::QueueNamedWork(done, [this, target, lock](file::Operation* op) {
    std::unique_ptr<file::HeldLock> held;
    if (lock != nullptr && !AcquireLock(target, *lock, &held, op)) return int64{-1};
    return DeleteWithOp(target.c_str(), op) ? int64{0} : int64{-1};
  });
}

bool FileFactory::BulkDelete(const vector<::string>& names, vector<bool>* results) {
  return BulkDeleteWithOp(names, nullptr, results);
}

bool FileFactory::BulkDeleteWithOp(const vector<::string>& names, file::Operation* op,
                                   vector<bool>* results) {
  return file_internal::RunBulk(names, op, results,
                                [this](const char* name, file::Operation* each) {
                                  return DeleteWithOp(name, each);
                                });
}

bool FileFactory::DeleteFileAttributesWithOp(const char* name, file::Operation* caller) {
  NamedOp op(caller, "DeleteFileAttributes", name);
  return op.Begin(name) && file::DeleteAttributeRecord(this, name, op.op());
}

// ---- Attributes, owner, group, mode, mtime --------------------------------------------

bool FileFactory::GetAttributes(const char* name, Attr_t* attr, file::Operation* caller) {
  NamedOp op(caller, "GetAttributes", name);
  if (!op.Begin(name)) return false;
  file::AttributeRecord record;
  if (!file::LoadAttributeRecord(this, name, &record, op.op())) return false;
  if (attr != nullptr) *attr = record.attributes();
  return true;
}

bool FileFactory::SetAttributes(const char* name, Attr_t attr) {
  return SetAttributesWithOp(name, attr, nullptr);
}

bool FileFactory::SetAttributesWithOp(const char* name, Attr_t attr, file::Operation* caller) {
  NamedOp op(caller, "SetAttributes", name);
  if (!op.Begin(name)) return false;
  if (file::IsAttributeRecordName(name)) {
    return op.Fail(file::ERROR_INVALID_ARGUMENT, "attribute records have no attributes");
  }
  FileStat stat;
  if (!DoStat(name, &stat, op.op())) return false;  // the file must exist
  file::AttributeRecord record;
  if (!file::LoadAttributeRecord(this, name, &record, op.op())) return false;
  record.set_attributes(attr);
  return file::StoreAttributeRecord(this, name, record, op.op());
}

bool FileFactory::BulkSetAttributes(const vector<::string>& names, Attr_t attr,
                                    vector<bool>* results) {
  return BulkSetAttributesWithOp(names, attr, nullptr, results);
}

bool FileFactory::BulkSetAttributesWithOp(const vector<::string>& names, Attr_t attr,
                                          file::Operation* op, vector<bool>* results) {
  return file_internal::RunBulk(names, op, results,
                                [this, attr](const char* name, file::Operation* each) {
                                  return SetAttributesWithOp(name, attr, each);
                                });
}

bool FileFactory::SetOwner(const char* name, const char* owner) {
  NamedOp op(nullptr, "SetOwner", name);
  if (!op.Begin(name)) return false;
  if (owner == nullptr || owner[0] == '\0') return op.Fail(file::ERROR_INVALID_ARGUMENT, "empty owner");
  return DoSetOwner(name, owner, op.op());
}

bool FileFactory::BulkSetOwner(const vector<::string>& names, const char* owner,
                               vector<bool>* results) {
  return file_internal::RunBulk(names, nullptr, results,
                                [this, owner](const char* name, file::Operation*) {
                                  return SetOwner(name, owner);
                                });
}

bool FileFactory::SetGroup(const char* name, const char* group) {
  return SetGroupWithOp(name, group, nullptr);
}

bool FileFactory::SetGroupWithOp(const char* name, const char* group, file::Operation* caller) {
  NamedOp op(caller, "SetGroup", name);
  if (!op.Begin(name)) return false;
  if (group == nullptr || group[0] == '\0') return op.Fail(file::ERROR_INVALID_ARGUMENT, "empty group");
  return DoSetGroup(name, group, op.op());
}

bool FileFactory::BulkSetGroup(const vector<::string>& names, const char* group,
                               vector<bool>* results) {
  return file_internal::RunBulk(names, nullptr, results,
                                [this, group](const char* name, file::Operation* each) {
                                  return SetGroupWithOp(name, group, each);
                                });
}

bool FileFactory::SetMode(const char* name, unsigned int mode) {
  return SetModeWithOp(name, mode, nullptr);
}

bool FileFactory::SetModeWithOp(const char* name, unsigned int mode, file::Operation* caller) {
  NamedOp op(caller, "SetMode", name);
  if (!op.Begin(name)) return false;
  if (mode > 07777) return op.Fail(file::ERROR_INVALID_ARGUMENT, "mode has bits beyond 07777");
  return DoSetMode(name, mode, op.op());
}

bool FileFactory::BulkSetMode(const vector<::string>& names, unsigned int mode,
                              vector<bool>* results) {
  return file_internal::RunBulk(names, nullptr, results,
                                [this, mode](const char* name, file::Operation* each) {
                                  return SetModeWithOp(name, mode, each);
                                });
}

bool FileFactory::SetMtime(const char* name, long mtime) {  // NOLINT
  NamedOp op(nullptr, "SetMtime", name);
  return op.Begin(name) && DoSetMtime(name, mtime, op.op());
}

// ---- Directories ---------------------------------------------------------------------------

bool FileFactory::CreateDir(const char* name, unsigned int mode) {
  return CreateDirWithOp(name, mode, nullptr);
}

bool FileFactory::CreateDirWithOp(const char* name, unsigned int mode, file::Operation* op) {
  return CreateDirFullySpecifiedWithOp(name, Attr_t(Attr_t::DEFAULT), mode, nullptr, op);
}

bool FileFactory::CreateDirFullySpecified(const char* name, Attr_t attr, unsigned int mode,
                                          const char* group) {
  return CreateDirFullySpecifiedWithOp(name, attr, mode, group, nullptr);
}

// After a directory exists: give it its group and record its attributes.
static bool FinishNewDirectory(FileFactory* factory, const char* name, Attr_t attr,
                               const char* group, file::Operation* op) {
  if (group != nullptr && group[0] != '\0' && !factory->DoSetGroup(name, group, op)) return false;
  if (attr.attr != 0 && !attr.is_default()) {
    file::AttributeRecord record;
    record.set_attributes(attr);
    return file::StoreAttributeRecord(factory, name, record, op);
  }
  return true;
}

bool FileFactory::CreateDirFullySpecifiedWithOp(const char* name, Attr_t attr, unsigned int mode,
                                                const char* group, file::Operation* caller) {
  NamedOp op(caller, "CreateDir", name);
  if (!op.Begin(name)) return false;
  const unsigned int real_mode = mode == DEFAULT_FILE_MODE ? 0777 : mode;
  if (real_mode > 07777) return op.Fail(file::ERROR_INVALID_ARGUMENT, "mode has bits beyond 07777");
  if (!DoCreateDir(name, real_mode, op.op())) return false;
  ++File::opstats()->mkdirs;
  return FinishNewDirectory(this, name, attr, group, op.op());
}

bool FileFactory::RecursivelyCreateDirWithOptions(const char* name,
                                                  const file::RecursiveCreateOptions& options) {
  NamedOp op(nullptr, "RecursivelyCreateDir", name);
  if (!op.Begin(name)) return false;
  const unsigned int mode = options.mode == DEFAULT_FILE_MODE ? 0777 : options.mode;
  if (mode > 07777) return op.Fail(file::ERROR_INVALID_ARGUMENT, "mode has bits beyond 07777");
  // Walk up to the nearest existing ancestor, then create downwards. Going
  // up first never asks a file system about names above its own root.
  vector<::string> missing;
  ::string path = file::CleanPath(name);
  for (;;) {
    FileStat stat;
    file::Operation probe;
    if (DoStat(path.c_str(), &stat, &probe)) {
      if (!stat.IsDirectory()) {
        return FailWith(op.op(), file::ERROR_WRONG_TYPE, "RecursivelyCreateDir", path,
                        "exists and is not a directory");
      }
      break;
    }
    if (probe.error() != file::ERROR_NOT_FOUND) return file_internal::CopyFailure(probe, op.op());
    missing.push_back(path);
    const ::string parent = file::Dirname(path);
    if (parent.empty() || parent == path || parent == ".") break;
    path = parent;
  }
  const char* group = options.group.empty() ? nullptr : options.group.c_str();
  for (auto it = missing.rbegin(); it != missing.rend(); ++it) {
    file::Operation each;
    if (!DoCreateDir(it->c_str(), mode, &each)) {
      // Someone else may have made it meanwhile; that is fine.
      if (each.error() != file::ERROR_ALREADY_EXISTS) return file_internal::CopyFailure(each, op.op());
      continue;
    }
    ++File::opstats()->mkdirs;
    if (!FinishNewDirectory(this, it->c_str(), options.attributes, group, op.op())) return false;
  }
  return true;
}

bool FileFactory::DeleteDir(const char* name) { return DeleteDirWithOp(name != nullptr ? name : "", nullptr); }

bool FileFactory::DeleteDirWithOp(const ::string& name, file::Operation* caller) {
  NamedOp op(caller, "DeleteDir", name.c_str());
  if (!op.Begin(name.c_str())) return false;
  Attr_t attr;
  if (!GetAttributes(name.c_str(), &attr, op.op())) return false;
  if (attr.has(Attr_t::PROTECTED)) return op.Fail(file::ERROR_PERMISSION_DENIED, "directory is protected");
  if (!DoDeleteDir(name.c_str(), op.op())) return false;
  return file::DeleteAttributeRecord(this, name, op.op());
}

bool FileFactory::BulkDeleteDir(const vector<::string>& names, vector<bool>* results) {
  return file_internal::RunBulk(names, nullptr, results,
                                [this](const char* name, file::Operation* each) {
                                  return DeleteDirWithOp(name, each);
                                });
}

// Removes a tree; stops at the first failure (recorded in op).
static bool DeleteTree(FileFactory* factory, const ::string& name, int* files, int* dirs,
                       file::Operation* op) {
  FileStat stat;
  if (!factory->DoStat(name.c_str(), &stat, op)) return false;
  if (!stat.IsDirectory()) {
    if (!factory->DeleteWithOp(name.c_str(), op)) return false;
    ++*files;
    return true;
  }
  vector<file::DirEntry> entries;
  if (!factory->ListDirectory(name, &entries, op)) return false;
  // Records go with their files; the ones left afterwards are orphans.
  vector<::string> records;
  for (const file::DirEntry& entry : entries) {
    const ::string child = file::JoinPath(name, entry.name);
    if (!entry.is_dir && file::IsAttributeRecordName(child.c_str())) {
      records.push_back(child);
      continue;
    }
    // An entry may have gone with one deleted before it (an archive's shards
    // go with the archive).
    FileStat probe;
    file::Operation gone;
    if (!factory->DoStat(child.c_str(), &probe, &gone) && gone.error() == file::ERROR_NOT_FOUND) continue;
    if (!DeleteTree(factory, child, files, dirs, op)) return false;
  }
  for (const ::string& record : records) {
    file::Operation each;
    if (!factory->DoDelete(record.c_str(), &each) && each.error() != file::ERROR_NOT_FOUND) {
      return file_internal::CopyFailure(each, op);
    }
  }
  if (!factory->DeleteDirWithOp(name, op)) return false;
  ++*dirs;
  return true;
}

void FileFactory::DeleteRecursivelyWithOp(const ::string& name, int* files, int* dirs,
                                          file::Operation* caller) {
  int file_count = 0;
  int dir_count = 0;
  NamedOp op(caller, "DeleteRecursively", name.c_str());
  if (op.Begin(name.c_str())) DeleteTree(this, name, &file_count, &dir_count, op.op());
  if (files != nullptr) *files = file_count;
  if (dirs != nullptr) *dirs = dir_count;
}

// ---- Snapshots -------------------------------------------------------------------------------

bool FileFactory::DoCloneFile(const char* from, const char*, file::Operation* op) {
  return FailWith(op, file::ERROR_UNIMPLEMENTED, "Clone", from, "no copy-on-write clones here");
}

// Copies one file: a clone when the file system can, else its bytes.
static bool SnapshotOneFile(FileFactory* factory, const ::string& from, const ::string& to,
                            unsigned int mode, file::Operation* op) {
  FileStat source;
  if (!factory->DoStat(from.c_str(), &source, op)) return false;
  file::Operation clone;
  if (!factory->DoCloneFile(from.c_str(), to.c_str(), &clone)) {
    if (clone.error() != file::ERROR_UNIMPLEMENTED) return file_internal::CopyFailure(clone, op);
    if (!file_internal::CopyFileBytes(factory, from, factory, to, nullptr, op)) return false;
  }
  const unsigned int wanted = mode == DEFAULT_FILE_MODE ? (source.mode & 07777) : mode;
  return factory->DoSetMode(to.c_str(), wanted, op);
}

static bool SnapshotTree(FileFactory* factory, const ::string& from, const ::string& to,
                         unsigned int file_mode, unsigned int dir_mode, file::Operation* op) {
  FileStat source;
  if (!factory->DoStat(from.c_str(), &source, op)) return false;
  if (!source.IsDirectory()) return SnapshotOneFile(factory, from, to, file_mode, op);
  const unsigned int mode = dir_mode == DEFAULT_FILE_MODE ? (source.mode & 07777) : dir_mode;
  if (!factory->DoCreateDir(to.c_str(), mode, op)) return false;
  vector<file::DirEntry> entries;
  if (!factory->ListDirectory(from, &entries, op)) return false;
  // Attribute records inside the tree are files like any other, so they
  // travel with their files.
  for (const file::DirEntry& entry : entries) {
    if (!SnapshotTree(factory, file::JoinPath(from, entry.name), file::JoinPath(to, entry.name),
                      file_mode, dir_mode, op)) {
      return false;
    }
  }
  // mkdir applied the umask; the snapshot wants the mode it was asked for.
  return factory->DoSetMode(to.c_str(), mode, op);
}

bool FileFactory::Snapshot(const char* from, const char* to, unsigned int file_mode,
                           unsigned int dir_mode) {
  NamedOp op(nullptr, "Snapshot", from);
  if (!op.Begin(from)) return false;
  if (to == nullptr || to[0] == '\0') return op.Fail(file::ERROR_INVALID_ARGUMENT, "empty target");
  FileStat existing;
  file::Operation probe;
  if (DoStat(to, &existing, &probe)) {
    return FailWith(op.op(), file::ERROR_ALREADY_EXISTS, "Snapshot", to, "target exists");
  }
  if (!SnapshotTree(this, from, to, file_mode, dir_mode, op.op())) return false;
  // The top-level record lives beside the source, outside the tree.
  file::AttributeRecord record;
  if (!file::LoadAttributeRecord(this, from, &record, op.op())) return false;
  return record.empty() || file::StoreAttributeRecord(this, to, record, op.op());
}

// ---- Locks, archives --------------------------------------------------------------------------

bool FileFactory::AcquireLock(const ::string& name, const LockInfo& lock,
                              std::unique_ptr<file::HeldLock>* held, file::Operation* caller) {
  NamedOp op(caller, "Lock", name.c_str());
  if (!op.Begin(name.c_str())) return false;
  if (held == nullptr) return op.Fail(file::ERROR_INVALID_ARGUMENT, "nowhere to keep the lock");
  return DoAcquireLock(name, lock, held, op.op());
}

bool FileFactory::Archive(const vector<::string>& names, FileReedSolomonEncoding encoding,
                          int stripe_unit_kib, vector<bool>* results) {
  const auto support = file::GetArchiveSupport();
  // No Operation or handle carries this call's errors, so the reasons go to
  // the log.
  auto log = [](const ::string& message) {
    LogMessage(__FILE__, __LINE__, logging::WARNING).stream() << message;
  };
  if (!support || !support->archive) {
    log("Archive of " + std::to_string(names.size()) + " file(s): " +
        file::ErrorToString(file::ERROR_UNIMPLEMENTED) + " (no archive implementation is installed)");
    if (results != nullptr) results->assign(names.size(), false);
    return false;
  }
  return file_internal::RunBulk(names, nullptr, results, [&](const char* name, file::Operation* op) {
    if (support->archive(this, name, encoding, stripe_unit_kib, op)) return true;
    log("Archive " + ::string(name) + ": " + file::ErrorToString(op->error()) + ": " + op->message());
    return false;
  });
}
