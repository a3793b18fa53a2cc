// The I/O methods of an open handle, and the module's own string helpers
// that read into and write from Python strings.
#include <algorithm>

#include "file/base/file.h"
#include "wrappers/calling.h"
#include "wrappers/file_ops.h"

namespace pq {
namespace {

// The most one string read asks for: the largest transfer a single read(2)
// makes on Linux. A larger request comes back short, as a read may, instead
// of allocating whatever absurd size the caller named.
constexpr int64 kMaxStringRead = 0x7ffff000;

// The bytes land straight in the result string; the lock is released only
// around the read itself. A size that is not positive reads nothing, so it
// gives "" whatever the handle, even a null one.
PyObject* PReadStringWithOp(File* f, int64 offset, int64 size, file::Operation* op) {
  if (size <= 0) return PyString_FromStringAndSize("", 0);
  if (!f) return NullReference();
  const int64 wanted = std::min(size, kMaxStringRead);
  PyObject* bytes = PyString_FromStringAndSize(nullptr, static_cast<Py_ssize_t>(wanted));
  if (!bytes) return nullptr;
  int64 count;
  {
    Unlocked unlocked;
    count = f->PReadWithOp(offset, PyString_AS_STRING(bytes), wanted, op);
  }
  if (count < 0) {
    Py_DECREF(bytes);
    return NewNone();
  }
  if (count < wanted) _PyString_Resize(&bytes, static_cast<Py_ssize_t>(count));
  return bytes;
}

PyObject* PWriteStringWithOp(File& f, int64 offset, Bytes data, file::Operation* op) {
  int64 written;
  {
    Unlocked unlocked;
    written = f.PWriteWithOp(offset, data.data, static_cast<int64>(data.size), op);
  }
  return PyLong_FromLongLong(written);
}

// The result is always a fresh copy, never the caller's record.
PyObject* StatByName(const char* path, FileStat* stat) {
  FileStat local;
  FileStat* target = stat ? stat : &local;
  bool ok;
  {
    Unlocked unlocked;
    ok = File::Stat(path, target);
  }
  return ok ? FromFileStat(*target) : NewNone();
}

}  // namespace
}  // namespace pq

using namespace pq;  // NOLINT: the rows read best unqualified

PQ_METHOD_LIST(kFileIoMethods,
  row<"File_", ops::OpenThis>(),
  row<"File_", ops::OpenWithOp>(),
  row<"File_", ops::OpenAsyncThis>(),
  row<"File_", ops::AccessWithLock>(),
  row<"File_", ops::SupportsHaspLockedAccess>(),
  row<"File_", ops::SupportsConcurrentAppenders>(),
  row<"File_", ops::Close>(),
  row<"File_", ops::DeleteThis>(),
  overloaded_row<"File_", ops::DeleteWithOp>(),
  row<"File_", ops::StatThis>(),
  row<"File_", ops::StatWithOpThis>(),
  row<"File_", ops::Truncate>(),
  row<"File_", ops::TruncateAsync>(),
  row<"File_", ops::TruncateWithOp>(),
  row<"File_", ops::Resize>(),
  row<"File_", ops::Size>(),
  row<"File_", ops::SizeHint>(),
  row<"File_", ops::Tell>(),
  row<"File_", ops::Flush>(),
  row<"File_", ops::Sync>(),
  row<"File_", ops::DataSync>(),
  row<"File_", ops::Eof>(),
  row<"File_", ops::Seek>(),
  row<"File_", ops::Read>(),
  row<"File_", ops::Write>(),
  row<"File_", ops::Append>(),
  row<"File_", ops::ReadWithOp>(),
  row<"File_", ops::WriteWithOp>(),
  row<"File_", ops::ReadRegion>(),
  row<"File_", ops::WriteRegion>(),
  row<"File_", ops::RecordAppend>(),
  row<"File_", ops::PWriteAsync>(),
  row<"File_", ops::PWriteAsyncWithOp>(),
  row<"File_", ops::RecordAppendAsync>(),
  row<"File_", ops::PReadAsync>(),
  row<"File_", ops::PReadAsyncWithOp>(),
  row<"File_", ops::PRead>(),
  row<"File_", ops::PWrite>(),
  row<"File_", ops::PReadWithOp>(),
  row<"File_", ops::PWriteWithOp>(),
  row<"File_", ops::ReadWithVerifier>(),
  row<"File_", ops::PReadWithVerifier>(),
  row<"File_", ops::ReadMultipleDataVariants>(),
  overloaded_row<"File_", ops::DeleteAsync>(),
  overloaded_row<"File_", ops::StatAsync>(),
  row<"File_", ops::SyncAsync>(),
  row<"File_", ops::SupportsAsyncWrite>(),
  row<"File_", ops::SupportsAsyncOpen>(),
  row<"File_", ops::SupportsAsyncRead>(),
  row<"File_", ops::SupportsAsyncGetMatchingFiles>(),
  row<"File_", ops::SupportsAsyncStat>(),
  row<"File_", ops::SupportsAsyncDelete>(),
  row<"File_", ops::SupportsAsyncSync>(),
  row<"File_", ops::SupportsAIORelease>(),
  row<"File_", ops::TryMMap>(),
  row<"File_", ops::GetMemBlock>(),
  row<"File_", ops::GetMemBlockFromDisk>(),
  row<"File_", ops::FindAllMirrors>(),
  row<"File_", ops::IsMirrorOnDisk>(),
  row<"File_", ops::FindAllMirrorDisks>(),
  row<"File_", ops::IsSoftError>(),
  row<"File_", ops::IsFifo>(),
  row<"File_", ops::IsLocalFile>(),
  row<"File_", ops::GetCurrentErrorCode>(),
  row<"File_", ops::ClearError>(),
  row<"File_", ops::GetCurrentErrorMessage>(),
  row<"File_", ops::CreateFileName>(),
  row<"File_", ops::SetAccessPattern>(),
  overloaded_row<"File_", ops::SetAttributesWithOp>(),
  row<"File_", ops::ReadLine>(),
  row<"File_", ops::ReadToString>(),
  def<"File_PReadStringWithOp", "OOOO", &PReadStringWithOp, HoldLock>(),
  def<"File_PWriteStringWithOp", "OOOO", &PWriteStringWithOp, HoldLock>(),
  def<"File_WriteString", "OO", [](File& f, Bytes data) { return f.Write(data.data, data.size); }>(),
  overload<"File_Stat", form<"s|O", &StatByName, HoldLock>>()
)
