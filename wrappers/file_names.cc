// Operations on names rather than handles: status, matching, deleting,
// renaming, copying, ownership and attributes, directories, the bulk forms,
// whole-file reads and writes, and process-wide queries.
#include <condition_variable>
#include <memory>
#include <mutex>

#include "file/base/core/async.h"
#include "file/base/file.h"
#include "wrappers/calling.h"

namespace pq {
namespace {

// The asynchronous matches fill their vector on a library worker after the
// call has returned, but the vector is the wrapper's own output argument and
// dies with the wrapper. So the wrapper hands the library a relay in place of
// the caller's completion and waits (interpreter lock released) until the
// worker is done; the caller's completion still receives Finish, first.
struct RelayState {
  std::mutex mu;
  std::condition_variable cv;
  bool finished = false;
};

class RelayedCompletion final : public AsyncIO {
 public:
  RelayedCompletion(AsyncIO* target, std::shared_ptr<RelayState> state)
      : target_(target), state_(std::move(state)) {}

  void Finish(int error, int64 bytes) override {
    // The relay is gone before the waiter can wake; the state outlives both.
    std::shared_ptr<RelayState> state = std::move(state_);
    AsyncIO* target = target_;
    delete this;
    target->Finish(error, bytes);
    std::lock_guard<std::mutex> lock(state->mu);
    state->finished = true;
    state->cv.notify_all();
  }
  void SetAbandonCallback(Callback1<bool>* cb) override { target_->SetAbandonCallback(cb); }
  void Run() override { target_->Run(); }

 private:
  AsyncIO* const target_;
  std::shared_ptr<RelayState> state_;
};

// Runs start(completion) and, when it queued work, waits for that work.
// A null completion goes to the library unchanged (which refuses it).
template <class Start>
bool AwaitMatch(AsyncIO* done, Start start) {
  if (done == nullptr) return start(nullptr);
  auto state = std::make_shared<RelayState>();
  auto* relay = new RelayedCompletion(done, state);
  if (!start(relay)) {
    delete relay;  // nothing was queued, so nothing will finish it
    return false;
  }
  std::unique_lock<std::mutex> lock(state->mu);
  state->cv.wait(lock, [&] { return state->finished; });
  return true;
}

}  // namespace
}  // namespace pq

using namespace pq;  // NOLINT: the rows read best unqualified

using Names = vector<::string>;
using Flags = Out<vector<bool>>;
using Matches = Out<vector<::string>>;
using MatchType = File::MatchType;
using Operation = file::Operation;

PQ_METHOD_LIST(kFileNameMethods,
  def<"File_Exists", "s", &File::Exists>(),
  def<"File_Readable", "s", &File::Readable>(),
  def<"File_IsDirectory", "s", &File::IsDirectory>(),
  def<"File_IsAttributeFilename", "s", &File::IsAttributeFilename>(),
  def<"File_IsReplicatedFileName", "s", &File::IsReplicatedFileName>(),
  def<"File_ExistsWithOp", "sO", &File::ExistsWithOp>(),
  def<"File_ReadableWithOp", "sO", &File::ReadableWithOp>(),
  def<"File_IsDirectoryWithOp", "sO", &File::IsDirectoryWithOp>(),
  def<"File_StatWithOp", "sOO", [](const char* name, FileStat* s, Operation* op) { return File::StatWithOp(name, s, op); }>(),
  def<"File_StatLocked", "sOO", &File::StatLocked>(),
  def<"File_StatLockedWithOp", "sOOO", &File::StatLockedWithOp>(),
  def<"File_StatAsyncLocked", "sOOO", &File::StatAsyncLocked>(),
  def<"File_DeleteAsyncLocked", "sOO", &File::DeleteAsyncLocked>(),

  def<"File_Match", "s", [](const char* p, Matches& m) { return File::Match(p, m); }>(),
  def<"File_MatchLocked", "sO", [](const char* p, LockInfo* l, Matches& m) { return File::MatchLocked(p, l, m); }>(),
  def<"File_MatchWithOp", "sO", [](const char* p, Matches& m, Operation* op) { return File::MatchWithOp(p, m, op); }>(),
  def<"File_MatchLockedWithOp", "sOO", [](const char* p, LockInfo* l, Matches& m, Operation* op) { return File::MatchLockedWithOp(p, l, m, op); }>(),
  def<"File_MatchAsync", "sO", [](const char* p, Matches& m, AsyncIO* done) {
    return AwaitMatch(done, [&](AsyncIO* relay) { return File::MatchAsync(p, m, relay); });
  }>(),
  def<"File_MatchAsyncLocked", "sOO", [](const char* p, LockInfo* l, Matches& m, AsyncIO* done) {
    return AwaitMatch(done, [&](AsyncIO* relay) { return File::MatchAsyncLocked(p, l, m, relay); });
  }>(),
  def<"File_ExtendedMatch", "si", [](const char* p, Matches& m, MatchType t) { return File::ExtendedMatch(p, m, t); }>(),
  def<"File_ExtendedMatchWithOp", "siO", [](const char* p, Matches& m, MatchType t, Operation* op) { return File::ExtendedMatchWithOp(p, m, t, op); }>(),
  def<"File_ExtendedMatchLocked", "sOi", [](const char* p, LockInfo* l, Matches& m, MatchType t) { return File::ExtendedMatchLocked(p, l, m, t); }>(),
  def<"File_ExtendedMatchLockedWithOp", "sOiO", [](const char* p, LockInfo* l, Matches& m, MatchType t, Operation* op) { return File::ExtendedMatchLockedWithOp(p, l, m, t, op); }>(),
  def<"File_ExtendedMatchAsync", "siO", [](const char* p, Matches& m, MatchType t, AsyncIO* done) {
    return AwaitMatch(done, [&](AsyncIO* relay) { return File::ExtendedMatchAsync(p, m, t, relay); });
  }>(),
  def<"File_ExtendedMatchAsyncLocked", "sOiO", [](const char* p, LockInfo* l, Matches& m, MatchType t, AsyncIO* done) {
    return AwaitMatch(done, [&](AsyncIO* relay) { return File::ExtendedMatchAsyncLocked(p, l, m, t, relay); });
  }>(),
  def<"File_GetMatchingFiles", "s", [](const char* p, Matches& m) { return File::GetMatchingFiles(p, m); }>(),
  def<"File_GetMatchingFilesLocked", "sO", [](const char* p, LockInfo* l, Matches& m) { return File::GetMatchingFilesLocked(p, l, m); }>(),

  def<"File_Delete", "s", [](const char* name) { return File::Delete(name); }>(),
  def<"File_DeleteMatchingFiles", "s", &File::DeleteMatchingFiles>(),
  def<"File_DeleteDir", "s", &File::DeleteDir>(),
  def<"File_DeleteMatchingFilesWithOp", "sO", &File::DeleteMatchingFilesWithOp>(),
  def<"File_DeleteDirWithOp", "sO", &File::DeleteDirWithOp>(),
  def<"File_DeleteFileAttributes", "s", &File::DeleteFileAttributes>(),
  def<"File_DeleteFileAttributesWithOp", "sO", &File::DeleteFileAttributesWithOp>(),
  def<"File_BulkDeleteAttributes", "O", &File::BulkDeleteAttributes>(),
  def<"File_BulkDeleteAttributesWithOp", "OO", &File::BulkDeleteAttributesWithOp>(),
  def<"File_DeleteRecursively", "O", [](const ::string& name, Out<int>& files, Out<int>& dirs) { File::DeleteRecursively(name, files, dirs); }>(),
  def<"File_DFListFileAndDir", "OiOOO", &File::DFListFileAndDir>(),

  def<"File_Rename", "ssO", &File::Rename>(),
  def<"File_RenameWithOp", "ssOO", &File::RenameWithOp>(),
  def<"File_Copy", "ssO", &File::Copy>(),
  def<"File_CopyWithAttr", "ssOO", &File::CopyWithAttr>(),
  overload<"File_CopyFullySpecified",
           form<"ssOOsOOO", [](const char* from, const char* to, Attr_t a, unsigned int perm, const char* group, bool overwrite, bool keep_mtime, bool sync) {
             return File::CopyFullySpecified(from, to, a, perm, group, overwrite, keep_mtime, sync);
           }>,
           form<"ssOOsOOOO", [](const char* from, const char* to, Attr_t a, unsigned int perm, const char* group, bool overwrite, bool keep_mtime, bool sync, BandwidthLimit* limit) {
             return File::CopyFullySpecified(from, to, a, perm, group, overwrite, keep_mtime, sync, limit);
           }>>(),
  overload<"File_CopyBytes",
           form<"OOO", [](File* from, File* to, FileAttr* attr) { return File::CopyBytes(from, to, attr); }>,
           form<"OOOO", [](File* from, File* to, FileAttr* attr, BandwidthLimit* limit) { return File::CopyBytes(from, to, attr, limit); }>>(),
  def<"File_CopyNBytes", "OOOOO", &File::CopyNBytes>(),
  overload<"File_CopyToEof",
           form<"OO", [](File* from, File* to) { return File::CopyToEof(from, to); }>,
           form<"OOO", [](File* from, File* to, BandwidthLimit* limit) { return File::CopyToEof(from, to, limit); }>>(),

  def<"File_SetOwner", "ss", &File::SetOwner>(),
  def<"File_SetGroup", "ss", &File::SetGroup>(),
  def<"File_SetGroupWithOp", "ssO", &File::SetGroupWithOp>(),
  def<"File_SetMode", "sO", &File::SetMode>(),
  def<"File_SetModeWithOp", "sOO", &File::SetModeWithOp>(),
  def<"File_SetAttributes", "sO", &File::SetAttributes>(),
  def<"File_SetMtime", "sl", &File::SetMtime>(),
  def<"File_CreateDir", "sO", &File::CreateDir>(),
  def<"File_CreateDirWithOp", "sOO", &File::CreateDirWithOp>(),
  def<"File_CreateDirFullySpecified", "sOOs", &File::CreateDirFullySpecified>(),
  def<"File_CreateDirFullySpecifiedWithOp", "sOOsO", &File::CreateDirFullySpecifiedWithOp>(),
  def<"File_RecursivelyCreateDir", "OO", &File::RecursivelyCreateDir>(),
  def<"File_RecursivelyCreateDirWithOptions", "OO", &File::RecursivelyCreateDirWithOptions>(),
  def<"File_RecursivelyCreateDirFullySpecified", "OOOs", &File::RecursivelyCreateDirFullySpecified>(),
  def<"File_Snapshot", "ssOO", &File::Snapshot>(),
  def<"File_SnapshotFile", "ssO", &File::SnapshotFile>(),
  def<"File_Archive", "Oii", [](const Names& n, FileReedSolomonEncoding e, int stripes, Flags& ok) { return File::Archive(n, e, stripes, ok); }>(),

  def<"File_BulkExist", "O", [](const Names& n, Flags& ok) { return File::BulkExist(n, ok); }>(),
  def<"File_BulkDelete", "O", [](const Names& n, Flags& ok) { return File::BulkDelete(n, ok); }>(),
  def<"File_BulkDeleteDir", "O", [](const Names& n, Flags& ok) { return File::BulkDeleteDir(n, ok); }>(),
  def<"File_BulkDeleteWithOp", "OO", [](const Names& n, Operation* op, Flags& ok) { return File::BulkDeleteWithOp(n, op, ok); }>(),
  def<"File_BulkRename", "OOO", [](const Names& from, const Names& to, bool overwrite, Flags& ok) { return File::BulkRename(from, to, overwrite, ok); }>(),
  def<"File_BulkSetMode", "OO", [](const Names& n, unsigned int mode, Flags& ok) { return File::BulkSetMode(n, mode, ok); }>(),
  def<"File_BulkSetAttributes", "OO", [](const Names& n, Attr_t a, Flags& ok) { return File::BulkSetAttributes(n, a, ok); }>(),
  def<"File_BulkSetAttributesWithOp", "OOO", [](const Names& n, Attr_t a, Operation* op, Flags& ok) { return File::BulkSetAttributesWithOp(n, a, op, ok); }>(),
  def<"File_BulkSetOwner", "Os", [](const Names& n, const char* owner, Flags& ok) { return File::BulkSetOwner(n, owner, ok); }>(),
  def<"File_BulkSetGroup", "Os", [](const Names& n, const char* group, Flags& ok) { return File::BulkSetGroup(n, group, ok); }>(),
  def<"File_BulkStat", "O", [](const Names& n, Flags& ok, Out<vector<FileStat>>& stats) { return File::BulkStat(n, ok, stats); }>(),
  def<"File_BulkStatWithOp", "OO", [](const Names& n, Operation* op, Flags& ok, Out<vector<FileStat>>& stats) { return File::BulkStatWithOp(n, op, ok, stats); }>(),

  def<"File_GetFileSize", "s", &File::GetFileSize>(),
  def<"File_Statfs", "sOOO", &File::Statfs>(),
  def<"File_SyncAll", "", &File::SyncAll>(),
  def<"File_LogOpStats", "", &File::LogOpStats>(),
  def<"File_LogUnsupportedFile", "O", &File::LogUnsupportedFile>(),
  def<"File_ReadFileToString", "O", [](const ::string& name, Out<::string>& contents) { return File::ReadFileToString(name, contents); }>(),
  def<"File_ReadFileToStringOrDie", "s", [](const char* name, Out<::string>& contents) { File::ReadFileToStringOrDie(name, contents); }>(),
  def<"File_WriteStringToFile", "OO", &File::WriteStringToFile>(),
  def<"File_WriteStringToFileOrDie", "Os", &File::WriteStringToFileOrDie>(),
  def<"File_AppendStringToFile", "OO", &File::AppendStringToFile>(),
  def<"File_AppendStringToFileOrDie", "Os", &File::AppendStringToFileOrDie>(),
  def<"File_pagesize", "", &File::pagesize>(),
  def<"File_localhost_name", "", &File::localhost_name>(),
  def<"File_opstats", "", &File::opstats>(),
  def<"File_GetOpenFiles", "", &File::GetOpenFiles>(),
  def<"File_SetCurrentThreadUserName", "O", &File::SetCurrentThreadUserName>(),
  def<"File_GetCurrentThreadUserName", "", &File::GetCurrentThreadUserName>(),
  def<"File_InitWithDatadirFrom", "s", &File::InitWithDatadirFrom>(),
  def<"File_init_called", "", &File::init_called>()
)
