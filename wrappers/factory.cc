// FileFactory: the registry of file systems, and the operations of one
// factory called directly.
//
// Look-ups return a heap copy of the shared factory handle that Python owns
// (a by-value result), so a proxy keeps its factory alive. The per-factory
// rows take a `FileFactory&` receiver: None is refused with "null
// reference" before the library is reached.
#include <utility>

#include "file/base/file.h"
#include "wrappers/calling.h"

namespace pq {
namespace {

// A factory operation called through the factory's own dispatch, with the
// factory as first parameter.
template <auto Method>
struct Through;
template <class R, class... A, R (FileFactory::*Method)(A...)>
struct Through<Method> {
  static R call(FileFactory& f, A... a) { return (f.*Method)(std::forward<A>(a)...); }
};
template <auto Method>
constexpr auto through = &Through<Method>::call;

}  // namespace
}  // namespace pq

using namespace pq;  // NOLINT: the rows read best unqualified

using F = FileFactory;
using Names = vector<::string>;
using Flags = Out<vector<bool>>;
using Operation = file::Operation;

PQ_METHOD_LIST(kFileFactoryMethods,
  def<"FileFactory_RegisterFactory", "OO", &F::RegisterFactory>(),
  overload<"FileFactory_RegisterFactoryPrefix",
           form<"OO", [](F* f, const ::string& prefix) { return F::RegisterFactoryPrefix(f, prefix); }>,
           form<"OO", [](const shared_ptr<F>& f, const ::string& prefix) { return F::RegisterFactoryPrefix(f, prefix); },
                NoReceiver>>(),
  def<"FileFactory_UnRegisterFactoryPrefix", "O", &F::UnRegisterFactoryPrefix>(),
  def<"FileFactory_Find", "s", &F::Find>(),
  def<"FileFactory_FindPrefixFactory", "s", &F::FindPrefixFactory>(),
  // The matched prefix is the library's to write and is not returned.
  def<"FileFactory_FindPrefixFactoryAndPrefix", "sO", [](const char* name, DiscardedString prefix) {
    return F::FindPrefixFactoryAndPrefix(name, prefix);
  }>(),
  def<"FileFactory_FindBestFactory", "O", &F::FindBestFactory>(),
  def<"FileFactory_FilterMatches", "sOii", &F::FilterMatches>(),

  def<"FileFactory_Create", "Oss", through<&F::Create>>(),
  def<"FileFactory_CreateFullySpecified", "OssOOs", through<&F::CreateFullySpecified>>(),
  def<"FileFactory_CreateWithOptions", "OssO", through<&F::CreateWithOptions>>(),
  def<"FileFactory_Rename", "Oss", through<&F::Rename>>(),
  def<"FileFactory_RenameWithOp", "OssO", through<&F::RenameWithOp>>(),
  def<"FileFactory_Match", "OsOi", through<&F::Match>>(),
  def<"FileFactory_MatchLocked", "OsOOi", through<&F::MatchLocked>>(),
  def<"FileFactory_MatchLockedWithOp", "OsOOiO", through<&F::MatchLockedWithOp>>(),
  def<"FileFactory_MatchWithOp", "OsOiO", through<&F::MatchWithOp>>(),
  def<"FileFactory_Stat", "OsO", through<&F::Stat>>(),
  def<"FileFactory_StatWithOp", "OsOO", through<&F::StatWithOp>>(),
  def<"FileFactory_StatLocked", "OsOO", through<&F::StatLocked>>(),
  def<"FileFactory_StatLockedWithOp", "OsOOO", through<&F::StatLockedWithOp>>(),
  // The caller's own vector receives the names, so it must outlive the work.
  def<"FileFactory_MatchAsync", "OsOiO", through<&F::MatchAsync>>(),
  def<"FileFactory_MatchAsyncLocked", "OsOOiO", through<&F::MatchAsyncLocked>>(),
  def<"FileFactory_StatAsync", "OsOO", through<&F::StatAsync>>(),
  def<"FileFactory_StatAsyncLocked", "OsOOO", through<&F::StatAsyncLocked>>(),
  def<"FileFactory_Statfs", "OsOOO", through<&F::Statfs>>(),
  def<"FileFactory_Readable", "Os", through<&F::Readable>>(),
  def<"FileFactory_ReadableWithOp", "OsO", through<&F::ReadableWithOp>>(),
  def<"FileFactory_CreateDir", "OsO", through<&F::CreateDir>>(),
  def<"FileFactory_CreateDirWithOp", "OsOO", through<&F::CreateDirWithOp>>(),
  def<"FileFactory_CreateDirFullySpecified", "OsOOs", through<&F::CreateDirFullySpecified>>(),
  def<"FileFactory_CreateDirFullySpecifiedWithOp", "OsOOsO", through<&F::CreateDirFullySpecifiedWithOp>>(),
  def<"FileFactory_RecursivelyCreateDirWithOptions", "OsO", through<&F::RecursivelyCreateDirWithOptions>>(),
  def<"FileFactory_DeleteDir", "Os", through<&F::DeleteDir>>(),
  def<"FileFactory_DeleteDirWithOp", "OOO", through<&F::DeleteDirWithOp>>(),
  def<"FileFactory_Snapshot", "OssOO", through<&F::Snapshot>>(),
  def<"FileFactory_SetOwner", "Oss", through<&F::SetOwner>>(),
  def<"FileFactory_SetAttributes", "OsO", through<&F::SetAttributes>>(),
  def<"FileFactory_SetAttributesWithOp", "OsOO", through<&F::SetAttributesWithOp>>(),
  def<"FileFactory_SetMode", "OsO", through<&F::SetMode>>(),
  def<"FileFactory_SetModeWithOp", "OsOO", through<&F::SetModeWithOp>>(),
  def<"FileFactory_SetMtime", "Osl", through<&F::SetMtime>>(),
  def<"FileFactory_SetGroup", "Oss", through<&F::SetGroup>>(),
  def<"FileFactory_SetGroupWithOp", "OssO", through<&F::SetGroupWithOp>>(),
  def<"FileFactory_Archive", "OOii", [](F& f, const Names& n, FileReedSolomonEncoding e, int stripes, Flags& ok) {
    return f.Archive(n, e, stripes, ok);
  }>(),
  def<"FileFactory_BulkOpen", "OOs", [](F& f, const Names& n, const char* mode, Out<vector<File*>>& files) {
    return f.BulkOpen(n, mode, files);
  }>(),
  def<"FileFactory_BulkOpenFullySpecified", "OOsOOs", [](F& f, const Names& n, const char* mode, Attr_t a, unsigned int perm, const char* group, Out<vector<File*>>& files) {
    return f.BulkOpenFullySpecified(n, mode, a, perm, group, files);
  }>(),
  // The results land in the caller's wrapped vector<bool>; only the int returns.
  def<"FileFactory_BulkRename", "OOOOO", through<&F::BulkRename>>(),
  def<"FileFactory_BulkStat", "OO", [](F& f, const Names& n, Flags& ok, Out<vector<FileStat>>& stats) {
    return f.BulkStat(n, ok, stats);
  }>(),
  def<"FileFactory_BulkStatWithOp", "OOO", [](F& f, const Names& n, Operation* op, Flags& ok, Out<vector<FileStat>>& stats) {
    return f.BulkStatWithOp(n, op, ok, stats);
  }>(),
  def<"FileFactory_BulkExist", "OO", [](F& f, const Names& n, Flags& ok) { return f.BulkExist(n, ok); }>(),
  def<"FileFactory_BulkDelete", "OO", [](F& f, const Names& n, Flags& ok) { return f.BulkDelete(n, ok); }>(),
  def<"FileFactory_BulkDeleteWithOp", "OOO", [](F& f, const Names& n, Operation* op, Flags& ok) {
    return f.BulkDeleteWithOp(n, op, ok);
  }>(),
  def<"FileFactory_BulkDeleteDir", "OO", [](F& f, const Names& n, Flags& ok) { return f.BulkDeleteDir(n, ok); }>(),
  def<"FileFactory_BulkSetAttributes", "OOO", [](F& f, const Names& n, Attr_t a, Flags& ok) {
    return f.BulkSetAttributes(n, a, ok);
  }>(),
  def<"FileFactory_BulkSetAttributesWithOp", "OOOO", [](F& f, const Names& n, Attr_t a, Operation* op, Flags& ok) {
    return f.BulkSetAttributesWithOp(n, a, op, ok);
  }>(),
  def<"FileFactory_BulkSetMode", "OOO", [](F& f, const Names& n, unsigned int mode, Flags& ok) {
    return f.BulkSetMode(n, mode, ok);
  }>(),
  def<"FileFactory_BulkSetOwner", "OOs", [](F& f, const Names& n, const char* owner, Flags& ok) {
    return f.BulkSetOwner(n, owner, ok);
  }>(),
  def<"FileFactory_BulkSetGroup", "OOs", [](F& f, const Names& n, const char* group, Flags& ok) {
    return f.BulkSetGroup(n, group, ok);
  }>(),
  // The counts land in the caller's own wrapped ints.
  def<"FileFactory_DeleteRecursivelyWithOp", "OOOOO", through<&F::DeleteRecursivelyWithOp>>(),
  registration<"FileFactory_swigregister", FileFactory>()
)
