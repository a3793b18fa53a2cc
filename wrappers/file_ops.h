// The instance operations of a File handle, declared once.
//
// Each is served as File_<Suffix> (file_io.cc) and again, through a holder,
// as FileCloser_<Suffix> and FileDeleter_<Suffix>. The receiver is `File&`,
// so a None (or empty) handle is refused with "null reference" before the
// library is reached.
#ifndef WRAPPERS_FILE_OPS_H_
#define WRAPPERS_FILE_OPS_H_

#include "file/base/file.h"
#include "wrappers/operations.h"

namespace pq::ops {

using Operation = file::Operation;

// ---- opening a created handle ------------------------------------------------
using OpenThis = Op<"OpenThis", "O", [](File& f) { return f.Open(); }>;
using OpenWithOp = Op<"OpenWithOp", "OO", [](File& f, Operation* op) { return f.OpenWithOp(op); }>;
using OpenAsyncThis = Op<"OpenAsyncThis", "OO", [](File& f, AsyncIO* done) { return f.OpenAsync(done); }>;
using AccessWithLock = Op<"AccessWithLock", "OO", [](File& f, LockInfo* lock) { return f.AccessWithLock(lock); }>;

// ---- capabilities --------------------------------------------------------------
using SupportsHaspLockedAccess = Op<"SupportsHaspLockedAccess", "O", [](File& f) { return f.SupportsHaspLockedAccess(); }>;
using SupportsConcurrentAppenders = Op<"SupportsConcurrentAppenders", "O", [](File& f) { return f.SupportsConcurrentAppenders(); }>;
using SupportsAsyncWrite = Op<"SupportsAsyncWrite", "O", [](File& f) { return f.SupportsAsyncWrite(); }>;
using SupportsAsyncOpen = Op<"SupportsAsyncOpen", "O", [](File& f) { return f.SupportsAsyncOpen(); }>;
using SupportsAsyncRead = Op<"SupportsAsyncRead", "O", [](File& f) { return f.SupportsAsyncRead(); }>;
using SupportsAsyncGetMatchingFiles = Op<"SupportsAsyncGetMatchingFiles", "O", [](File& f) { return f.SupportsAsyncGetMatchingFiles(); }>;
using SupportsAsyncStat = Op<"SupportsAsyncStat", "O", [](File& f) { return f.SupportsAsyncStat(); }>;
using SupportsAsyncDelete = Op<"SupportsAsyncDelete", "O", [](File& f) { return f.SupportsAsyncDelete(); }>;
using SupportsAsyncSync = Op<"SupportsAsyncSync", "O", [](File& f) { return f.SupportsAsyncSync(); }>;
using SupportsAIORelease = Op<"SupportsAIORelease", "O", [](File& f) { return f.SupportsAIORelease(); }>;

// ---- closing, deleting, status -------------------------------------------------
using Close = Op<"Close", "O", [](File& f) { return f.Close(); }>;
using DeleteThis = Op<"DeleteThis", "O", [](File& f) { return f.Delete(); }>;
using DeleteWithOp = OverloadedOp<
    Op<"DeleteWithOp", "OO", [](File& f, Operation* op) { return f.DeleteWithOp(op); }>,
    "sO", [](const char* name, Operation* op) { return File::DeleteWithOp(name, op); }>;
using DeleteAsync = OverloadedOp<
    Op<"DeleteAsync", "OO", [](File& f, AsyncIO* done) { return f.DeleteAsync(done); }>,
    "sO", [](const char* name, AsyncIO* done) { return File::DeleteAsync(name, done); }>;
using StatThis = Op<"StatThis", "OO", [](File& f, FileStat* s) { return f.Stat(s); }>;
using StatWithOpThis = Op<"StatWithOpThis", "OOO", [](File& f, FileStat* s, Operation* op) { return f.StatWithOp(s, op); }>;
using StatAsync = OverloadedOp<
    Op<"StatAsync", "OOO", [](File& f, FileStat* s, AsyncIO* done) { return f.StatAsync(s, done); }>,
    "sOO", [](const char* name, FileStat* s, AsyncIO* done) { return File::StatAsync(name, s, done); }>;
using SetAttributesWithOp = OverloadedOp<
    Op<"SetAttributesWithOp", "OOO", [](File& f, Attr_t a, Operation* op) { return f.SetAttributesWithOp(a, op); }>,
    "sOO", [](const char* name, Attr_t a, Operation* op) { return File::SetAttributesWithOp(name, a, op); }>;
using SetAccessPattern = Op<"SetAccessPattern", "Oii", [](File& f, int pattern, int policy) { return f.SetAccessPattern(pattern, policy); }>;

// ---- size and position ---------------------------------------------------------
using Truncate = Op<"Truncate", "OO", [](File& f, int64 length) { return f.Truncate(length); }>;
using TruncateAsync = Op<"TruncateAsync", "OOO", [](File& f, int64 length, AsyncIO* done) { return f.TruncateAsync(length, done); }>;
using TruncateWithOp = Op<"TruncateWithOp", "OOO", [](File& f, int64 length, Operation* op) { return f.TruncateWithOp(length, op); }>;
using Resize = Op<"Resize", "OOO", [](File& f, int64 length, Operation* op) { return f.Resize(length, op); }>;
using Size = Op<"Size", "O", [](File& f) { return f.Size(); }>;
using SizeHint = Op<"SizeHint", "O", [](File& f) { return f.SizeHint(); }>;
using Flush = Op<"Flush", "O", [](File& f) { return f.Flush(); }>;
using Sync = Op<"Sync", "O", [](File& f) { return f.Sync(); }>;
using DataSync = Op<"DataSync", "O", [](File& f) { return f.DataSync(); }>;
using SyncAsync = Op<"SyncAsync", "OO", [](File& f, AsyncIO* done) { return f.SyncAsync(done); }>;
using Tell = Op<"Tell", "O", [](File& f) { return f.Tell(); }>;
using Eof = Op<"eof", "O", [](File& f) { return f.eof(); }>;
using Seek = Op<"Seek", "OO", [](File& f, int64 position) { return f.Seek(position); }>;

// ---- sequential and region I/O into caller buffers -------------------------------
using Read = Op<"Read", "OOO", [](File& f, void* buf, uint64 n) { return f.Read(buf, n); }>;
using Write = Op<"Write", "OOO", [](File& f, const void* buf, uint64 n) { return f.Write(buf, n); }>;
using Append = Op<"Append", "OOO", [](File& f, const void* buf, uint64 n) { return f.Append(buf, n); }>;
using ReadWithOp = Op<"ReadWithOp", "OOOO", [](File& f, void* buf, uint64 n, Operation* op) { return f.ReadWithOp(buf, n, op); }>;
using WriteWithOp = Op<"WriteWithOp", "OOOO", [](File& f, const void* buf, uint64 n, Operation* op) { return f.WriteWithOp(buf, n, op); }>;
using ReadRegion = Op<"ReadRegion", "OOOO", [](File& f, void* buf, uint64 offset, uint64 n) { return f.ReadRegion(buf, offset, n); }>;
using WriteRegion = Op<"WriteRegion", "OOOO", [](File& f, const void* buf, uint64 offset, uint64 n) { return f.WriteRegion(buf, offset, n); }>;
using RecordAppend = Op<"RecordAppend", "OO", [](File& f, IOBuffer* data) { return f.RecordAppend(data); }>;
using ReadWithVerifier = Op<"ReadWithVerifier", "OOOO", [](File& f, void* buf, uint64 n, FileDataVerifier** v) { return f.ReadWithVerifier(buf, n, v); }>;

// ---- positioned I/O --------------------------------------------------------------
using PRead = Op<"PRead", "OOOO", [](File& f, int64 offset, void* buf, int64 n) { return f.PRead(offset, buf, n); }>;
using PWrite = Op<"PWrite", "OOOO", [](File& f, int64 offset, const void* buf, int64 n) { return f.PWrite(offset, buf, n); }>;
using PReadWithOp = Op<"PReadWithOp", "OOOOO", [](File& f, int64 offset, void* buf, int64 n, Operation* op) { return f.PReadWithOp(offset, buf, n, op); }>;
using PWriteWithOp = Op<"PWriteWithOp", "OOOOO", [](File& f, int64 offset, const void* buf, int64 n, Operation* op) { return f.PWriteWithOp(offset, buf, n, op); }>;
using PReadWithVerifier = Op<"PReadWithVerifier", "OOOOOO", [](File& f, int64 offset, void* buf, int64 n, Operation* op, FileDataVerifier** v) { return f.PReadWithVerifier(offset, buf, n, op, v); }>;
using ReadMultipleDataVariants = Op<"ReadMultipleDataVariants", "OOOiOO", [](File& f, int64 offset, int64 length, int most, vector<File::DataVariant*>* variants, Operation* op) { return f.ReadMultipleDataVariants(offset, length, most, variants, op); }>;

// ---- asynchronous I/O --------------------------------------------------------------
using PWriteAsync = Op<"PWriteAsync", "OOOOO", [](File& f, int64 offset, IOBuffer* data, int64* written, AsyncIO* done) { return f.PWriteAsync(offset, data, written, done); }>;
using PWriteAsyncWithOp = Op<"PWriteAsyncWithOp", "OOOOOO", [](File& f, int64 offset, IOBuffer* data, int64* written, AsyncIO* done, Operation* op) { return f.PWriteAsyncWithOp(offset, data, written, done, op); }>;
using RecordAppendAsync = Op<"RecordAppendAsync", "OOOO", [](File& f, IOBuffer* data, int64* offset, AsyncIO* done) { return f.RecordAppendAsync(data, offset, done); }>;
using PReadAsync = Op<"PReadAsync", "OOOOOO", [](File& f, int64 offset, int64 length, IOBuffer* data, int64* read, AsyncIO* done) { return f.PReadAsync(offset, length, data, read, done); }>;
using PReadAsyncWithOp = Op<"PReadAsyncWithOp", "OOOOOOO", [](File& f, int64 offset, int64 length, IOBuffer* data, int64* read, AsyncIO* done, Operation* op) { return f.PReadAsyncWithOp(offset, length, data, read, done, op); }>;

// ---- into Python strings -------------------------------------------------------------
// The line lands in the caller's own string object; the length is clamped
// to that object's storage so a too-large count cannot write past it.
using ReadLine = Op<"ReadLine", "OsO", [](File& f, WritableText buf, uint64 n) -> const char* {
  return f.ReadLine(buf.data, n < buf.capacity ? n : buf.capacity);
}>;
using ReadToString = Op<"ReadToString", "OO", [](File& f, int64 max_length, Out<::string>& contents) { return f.ReadToString(contents, max_length); }>;

// ---- memory blocks (handed out unowned) ---------------------------------------------
using TryMMap = Op<"TryMMap", "OOO", [](File& f, int64 offset, int64 length) { return f.TryMMap(offset, length); }>;
using GetMemBlock = Op<"GetMemBlock", "OOOO", [](File& f, int64 offset, int64 length, int64 readahead) { return f.GetMemBlock(offset, length, readahead); }>;
using GetMemBlockFromDisk = Op<"GetMemBlockFromDisk", "OOOi", [](File& f, int64 offset, int64 length, int retries) { return f.GetMemBlockFromDisk(offset, length, retries); }>;

// ---- mirrors and error state ----------------------------------------------------------
using FindAllMirrors = Op<"FindAllMirrors", "O", [](File& f) { f.FindAllMirrors(); }>;
using IsMirrorOnDisk = Op<"IsMirrorOnDisk", "OiO", [](File& f, int disk, int64 offset) { return f.IsMirrorOnDisk(disk, offset); }>;
using FindAllMirrorDisks = Op<"FindAllMirrorDisks", "OOO", [](File& f, int64 offset, vector<int>* disks) { return f.FindAllMirrorDisks(offset, disks); }>;
using IsSoftError = Op<"IsSoftError", "O", [](File& f) { return f.IsSoftError(); }>;
using IsFifo = Op<"IsFifo", "O", [](File& f) { return f.IsFifo(); }>;
using IsLocalFile = Op<"IsLocalFile", "O", [](File& f) { return f.IsLocalFile(); }>;
using GetCurrentErrorCode = Op<"GetCurrentErrorCode", "O", [](File& f) { return f.GetCurrentErrorCode(); }>;
using ClearError = Op<"ClearError", "O", [](File& f) { f.ClearError(); }>;
using GetCurrentErrorMessage = Op<"GetCurrentErrorMessage", "O", [](File& f) { return f.GetCurrentErrorMessage(); }>;
using CreateFileName = Op<"CreateFileName", "O", [](File& f) { return f.CreateFileName(); }>;

}  // namespace pq::ops

#endif  // WRAPPERS_FILE_OPS_H_
