// FileCloser and FileDeleter: the holder's own functions, then every File
// instance operation forwarded through the held handle.
//
// The forwarded rows are the File family's operations (file_ops.h) served
// with a holder as receiver; only their order is declared here, once, for
// both holders. A holder receiver that is None or empty is refused with
// "null reference" rather than handing the library a null handle: a
// deliberate guard, since the call would otherwise crash the interpreter.
#include <array>
#include <cstddef>

#include "file/base/core/file_holders.h"
#include "wrappers/calling.h"
#include "wrappers/file_ops.h"

namespace pq {
namespace {

template <class... Operations>
struct OpList {};

// The order the holders list the File operations in.
using HolderOps = OpList<
    ops::OpenThis, ops::OpenWithOp, ops::AccessWithLock, ops::SupportsHaspLockedAccess,
    ops::SupportsConcurrentAppenders, ops::Close, ops::DeleteThis, ops::DeleteWithOp, ops::StatThis,
    ops::StatWithOpThis, ops::Truncate, ops::TruncateAsync, ops::TruncateWithOp, ops::Resize, ops::Size,
    ops::SizeHint, ops::Flush, ops::Sync, ops::DataSync, ops::Tell, ops::Eof, ops::Seek, ops::Read,
    ops::ReadWithOp, ops::Write, ops::WriteWithOp, ops::ReadRegion, ops::WriteRegion, ops::Append,
    ops::RecordAppend, ops::PWriteAsync, ops::PWriteAsyncWithOp, ops::RecordAppendAsync, ops::OpenAsyncThis,
    ops::SupportsAsyncWrite, ops::SupportsAsyncOpen, ops::ReadLine, ops::ReadToString, ops::GetMemBlock,
    ops::GetMemBlockFromDisk, ops::PReadWithOp, ops::PRead, ops::PWrite, ops::PWriteWithOp, ops::PReadAsync,
    ops::PReadAsyncWithOp, ops::ReadWithVerifier, ops::PReadWithVerifier, ops::ReadMultipleDataVariants,
    ops::DeleteAsync, ops::StatAsync, ops::SyncAsync, ops::SupportsAsyncRead,
    ops::SupportsAsyncGetMatchingFiles, ops::SupportsAsyncStat, ops::SupportsAsyncDelete,
    ops::SupportsAsyncSync, ops::SupportsAIORelease, ops::TryMMap, ops::FindAllMirrors, ops::IsMirrorOnDisk,
    ops::FindAllMirrorDisks, ops::IsSoftError, ops::IsFifo, ops::GetCurrentErrorMessage,
    ops::GetCurrentErrorCode, ops::ClearError, ops::CreateFileName, ops::IsLocalFile,
    ops::SetAttributesWithOp, ops::SetAccessPattern>;

template <class Operation>
concept Overloaded = requires { typename Operation::Handle; };

template <Text Prefix, class Holder, class Operation>
constexpr PyMethodDef ForwardedRow() {
  if constexpr (Overloaded<Operation>) {
    return overloaded_row<Prefix, Operation, Held<Holder>>();
  } else {
    return row<Prefix, Operation, Held<Holder>>();
  }
}

template <Text Prefix, class Holder, class... Operations>
constexpr auto ForwardedRows(OpList<Operations...>) {
  return std::array<PyMethodDef, sizeof...(Operations)>{ForwardedRow<Prefix, Holder, Operations>()...};
}

// The pointer accessors and release, which only differ in name.
template <Text P, class Holder>
constexpr std::array<PyMethodDef, 4> AccessRows() {
  return {
      def<Concat<P, "get">::value, "O", [](Holder& h) { return h.get(); }>(),
      def<Concat<P, "__mul__">::value, "O", [](Holder& h) { return *h; }>(),
      def<Concat<P, "__deref__">::value, "O", [](Holder& h) { return h.operator->(); }>(),
      def<Concat<P, "release">::value, "O", [](Holder& h) { return h.release(); }>(),
  };
}

// Constructor, destructor, accessors, reset, the forwarded operations and
// the registration, in table order. P is the rows' prefix ("FileCloser_").
template <Text Class, class Holder, Text P = Concat<Class, "_">::value>
constexpr auto HolderRows(PyMethodDef constructor) {
  constexpr auto access = AccessRows<P, Holder>();
  constexpr auto forwarded = ForwardedRows<P, Holder>(HolderOps{});
  std::array<PyMethodDef, 2 + access.size() + 1 + forwarded.size() + 1> rows{};
  size_t k = 0;
  rows[k++] = constructor;
  // The destructor ends the held file, so it runs unlocked like any call.
  rows[k++] = def<Concat<"delete_", Class>::value, "O", [](Holder* h) { delete h; }>();
  for (const PyMethodDef& r : access) rows[k++] = r;
  rows[k++] = def<Concat<P, "reset">::value, "OO", [](Holder& h, File* f) { h.reset(f); }>();
  for (const PyMethodDef& r : forwarded) rows[k++] = r;
  rows[k++] = registration<Concat<P, "swigregister">::value, Holder>();
  return rows;
}

constexpr auto kCloserRows = HolderRows<"FileCloser", FileCloser>(
    overload<"new_FileCloser", form<"", []() { return new FileCloser(); }>,
             form<"O", [](File* f) { return new FileCloser(f); }>>());
constexpr auto kDeleterRows =
    HolderRows<"FileDeleter", FileDeleter>(def<"new_FileDeleter", "O", [](File* f) { return new FileDeleter(f); }>());

}  // namespace

extern const MethodList kFileCloserMethods = {kCloserRows.data(), kCloserRows.size()};
extern const MethodList kFileDeleterMethods = {kDeleterRows.data(), kDeleterRows.size()};

}  // namespace pq
