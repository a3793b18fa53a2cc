// Checksums and redundancy: ChecksumState, Sha1, Sha1Checksum and the
// encoding names of FileReedSolomon. Receivers are taken by reference, so
// None as the object raises "null reference".
#include "file/base/checksums/checksum.h"
#include "file/base/file.h"
#include "file/base/redundancy/reed_solomon.h"
#include "file/base/redundancy/sha1.h"
#include "wrappers/buffers.h"
#include "wrappers/calling.h"

using namespace pq;  // NOLINT

PQ_METHOD_LIST(kReedSolomonMethods,
  def<"FileReedSolomon_Encoding2Params", "iOO", &FileReedSolomon::Encoding2Params>(),
  def<"FileReedSolomon_Name2Encoding", "sO", &FileReedSolomon::Name2Encoding>(),
  def<"FileReedSolomon_Encoding2Name", "i", &FileReedSolomon::Encoding2Name>(),
  def<"new_FileReedSolomon", "", []() { return new FileReedSolomon(); }>(),
  def<"delete_FileReedSolomon", "O", [](FileReedSolomon* r) { delete r; }>(),
  registration<"FileReedSolomon_swigregister", FileReedSolomon>()
)

PQ_METHOD_LIST(kChecksumMethods,
  def<"new_Sha1", "", []() { return new Sha1(); }>(),
  def<"delete_Sha1", "O", [](Sha1* s) { delete s; }>(),
  registration<"Sha1_swigregister", Sha1>(),

  overload<"new_ChecksumState",
           form<"", []() { return new ChecksumState(); }>,
           form<"O", [](const ChecksumState& other) { return new ChecksumState(other); }>>(),
  def<"delete_ChecksumState", "O", [](ChecksumState* s) { delete s; }>(),
  def<"ChecksumState___eq__", "OO", [](const ChecksumState& s, const ChecksumState& o) { return s == o; }>(),
  def<"ChecksumState___ne__", "OO", [](const ChecksumState& s, const ChecksumState& o) { return s != o; }>(),
  def<"ChecksumState_Equals", "OOO", [](const ChecksumState& s, const ChecksumState* o, DiscardedString why) { return s.Equals(o, why); }>(),
  def<"ChecksumState_Add", "OO", [](ChecksumState& s, ReadBuffer b) { s.Add(b.data, b.size); }>(),
  def<"ChecksumState_Clear", "O", [](ChecksumState& s) { s.Clear(); }>(),
  def<"ChecksumState_Checksum", "O", [](const ChecksumState& s) { return s.Checksum(); }>(),
  def<"ChecksumState_AlignedChecksum", "O", [](const ChecksumState& s) { return s.AlignedChecksum(); }>(),
  def<"ChecksumState_Length", "O", [](const ChecksumState& s) { return s.Length(); }>(),
  def<"ChecksumState_History", "Oi", [](const ChecksumState& s, int i) { return s.History(i); }>(),
  def<"ChecksumState_HistoryLength", "O", [](const ChecksumState& s) { return s.HistoryLength(); }>(),
  def<"ChecksumState_AddFile", "Os", [](ChecksumState& s, const char* path) { s.AddFile(path); }>(),
  def<"ChecksumState_AddOpenFile", "OO", [](ChecksumState& s, File* f) { return s.AddOpenFile(f); }>(),
  def<"ChecksumState_AddFileBytes", "OsOO", [](ChecksumState& s, const char* path, int64 offset, int64 length) { s.AddFileBytes(path, offset, length); }>(),
  def<"ChecksumState_AddOpenFileBytes", "OOOO", [](ChecksumState& s, File* f, int64 offset, int64 length) { return s.AddOpenFileBytes(f, offset, length); }>(),
  def<"ChecksumState_AddOpenFileBytesWithBandwidthLimit", "OOOOO", [](ChecksumState& s, File* f, int64 offset, int64 length, BandwidthLimit* limit) { return s.AddOpenFileBytesWithBandwidthLimit(f, offset, length, limit); }>(),
  overload<"ChecksumState_VerifyChecksum",
           form<"sO", [](const char* path, DiscardedString why) { return ChecksumState::VerifyChecksum(path, why); }>,
           form<"sOOO", [](const char* path, int64 offset, int64 length, DiscardedString why) { return ChecksumState::VerifyChecksum(path, offset, length, why); }>>(),
  def<"ChecksumState_SparseChecksumFile", "s", &ChecksumState::SparseChecksumFile>(),
  def<"ChecksumState_TruncateChecksummedFile", "sO", &ChecksumState::TruncateChecksummedFile>(),
  def<"ChecksumState_TruncateToPosition", "OO", [](ChecksumState& s, int64 position) { s.TruncateToPosition(position); }>(),
  def<"ChecksumState_HistoryIndexToPositionRange", "OiOO", [](const ChecksumState& s, int i, int64* start, int64* end) { return s.HistoryIndexToPositionRange(i, start, end); }>(),
  def<"ChecksumState_SetRunningChecksum", "OO", [](ChecksumState& s, uint64 checksum) { s.SetRunningChecksum(checksum); }>(),
  // An owned copy of the piece; it still points into the state's pending
  // bytes.
  def<"ChecksumState_PostAlignData", "O", [](const ChecksumState& s) { return Owned<StringPiece>{new StringPiece(s.PostAlignData())}; }>(),
  registration<"ChecksumState_swigregister", ChecksumState>(),

  def<"new_Sha1Checksum", "", []() { return new Sha1Checksum(); }>(),
  def<"delete_Sha1Checksum", "O", [](Sha1Checksum* s) { delete s; }>(),
  def<"Sha1Checksum_Add", "OO", [](Sha1Checksum& s, ReadBuffer b) { s.Add(b.data, b.size); }>(),
  def<"Sha1Checksum_AddFile", "Os", [](Sha1Checksum& s, const char* path) { return s.AddFile(path); }>(),
  def<"Sha1Checksum_AddOpenFile", "OO", [](Sha1Checksum& s, File* f) { return s.AddOpenFile(f); }>(),
  registration<"Sha1Checksum_swigregister", Sha1Checksum>()
)
