// ChecksumState: the running checksum of a file's bytes, kept in 128-byte
// chunks so that it can be resumed, compared and stored beside the file.
//
// The checksum is CRC-64/XZ (ECMA-182 polynomial, reflected): Checksum() of
// the bytes added so far equals the CRC-64/XZ of those bytes taken as one
// stream, however they were split between calls to Add. Whole chunks are
// folded into the aligned checksum as they fill; the bytes after the last
// whole chunk wait in the pending buffer.
//
// The history records the aligned checksum each time the aligned length
// passes a multiple of kBlockSize, so History(i) is the CRC-64 of the first
// (i + 1) * kBlockSize bytes. One entry per block (rather than per chunk)
// keeps a stored state small: a gigabyte needs 1024 entries. It lets a state
// be cut back to any block boundary (RewindTo) and a block of data be checked
// on its own: CRC-64 continued from History(i - 1) over block i gives
// History(i).
#ifndef FILE_BASE_CHECKSUM_H_
#define FILE_BASE_CHECKSUM_H_

#include <cstddef>
#include <functional>

#include "file/base/util/base_types.h"
#include "file/base/util/status.h"

class File;
class BandwidthLimit;

class ChecksumState {
 public:
  static constexpr int kChunkSize = 128;
  static constexpr int64 kBlockSize = 1048576;  // bytes between history entries

  ChecksumState();
  ChecksumState(const ChecksumState&) = default;
  ChecksumState& operator=(const ChecksumState&) = default;

  // Equal when both saw the same bytes as far as the state can tell: same
  // lengths, aligned checksums, pending bytes and history. When they differ
  // and `why` is not null, *why explains the first difference.
  bool Equals(const ChecksumState* other, ::string* why) const;
  bool operator==(const ChecksumState& other) const { return Equals(&other, nullptr); }
  bool operator!=(const ChecksumState& other) const { return !Equals(&other, nullptr); }

  void Add(const void* data, size_t length);
  void Clear();

  // CRC-64 of every byte added (aligned chunks and pending bytes).
  uint64 Checksum() const;
  uint64 AlignedChecksum() const { return aligned_checksum_; }
  int64 AlignedLength() const { return aligned_length_; }
  int64 Length() const { return static_cast<int64>(pending_count_) + aligned_length_; }
  int HistoryLength() const { return static_cast<int>(history_.size()); }
  // 0 for an index outside [0, HistoryLength()).
  uint64 History(int index) const;
  // The pending bytes: those after the last whole chunk. Valid while the
  // state lives and is unchanged.
  StringPiece PostAlignData() const { return StringPiece(pending_, static_cast<size_t>(pending_count_)); }

  // Cuts the state back to the latest point at or before `position` that it
  // can restore exactly without the data: the current length when
  // position >= Length(), else the last block boundary at or before
  // position (0 at worst). Returns the new length; the caller adds the bytes
  // from there on again.
  int64 RewindTo(int64 position);

  // The state cut back as RewindTo does (the bytes after the restored point
  // must be added again).
  void TruncateToPosition(int64 position) { RewindTo(position); }
  // History(index) is the checksum of the bytes [0, end); *start..*end is
  // the block that entry added: [index * kBlockSize, (index + 1) *
  // kBlockSize). False (outputs untouched) for an index outside the history.
  bool HistoryIndexToPositionRange(int index, int64* start, int64* end) const;
  // Replaces the aligned checksum (the checksum of the whole chunks seen so
  // far), for a state resumed from a checksum kept elsewhere; lengths and
  // pending bytes stay, and a history entry that stands for the current
  // aligned length follows the new value.
  void SetRunningChecksum(uint64 checksum);

  // Checks bytes [offset, offset + length) of a file against this state,
  // taken as the file's recorded checksum. `read(position, buffer, n)` must
  // give the file's bytes [position, position + n) and return how many it
  // gave (fewer only at end of file), -1 on failure. The check covers the
  // whole history blocks around the range (and the bytes after the last
  // history entry up to Length() when the range reaches them), so bytes
  // outside the range are read too. False, with *why (when not null) saying
  // why, when the bytes differ, the range lies outside [0, Length()], or the
  // reading fails.
  using RangeReader = std::function<int64(int64 position, void* buffer, int64 n)>;
  bool VerifyRange(int64 offset, int64 length, const RangeReader& read, ::string* why) const;

  // ---- Files (file/base/redundancy/checksum_files.cc) ----------------------
  //
  // These read through the File interface, so they work on every file
  // system. The path forms take the file by name; a file that cannot be
  // read leaves the state as it was (the reason goes to the log). The handle
  // forms read with positioned reads and leave the handle's position alone;
  // they add nothing and return false when the bytes cannot all be read.

  // Adds the whole file.
  void AddFile(const char* path);
  bool AddOpenFile(File* file);
  // Adds the bytes [offset, offset + length); length < 0 means to the end of
  // the file. A file that ends before offset + length adds nothing.
  void AddFileBytes(const char* path, int64 offset, int64 length);
  bool AddOpenFileBytes(File* file, int64 offset, int64 length);
  // As AddOpenFileBytes, reading no faster than `limit` allows (null: no
  // limit).
  bool AddOpenFileBytesWithBandwidthLimit(File* file, int64 offset, int64 length,
                                          BandwidthLimit* limit);

  // True when the file's bytes match the checksum stored in its attribute
  // record (FileAttributes). False when no checksum is stored, the file
  // cannot be read, or the bytes differ; *why (when not null) says which.
  static bool VerifyChecksum(const char* path, ::string* why);
  // The same for the bytes [offset, offset + length) only (VerifyRange).
  static bool VerifyChecksum(const char* path, int64 offset, int64 length, ::string* why);
  // The CRC-64 of the whole file, equal to Checksum() of a state given the
  // file by AddFile, computed without reading the file's holes where the
  // file system can say where they are (local files: SEEK_DATA/SEEK_HOLE);
  // a hole counts as the zero bytes it reads as. 0 for an empty file and for
  // a file that cannot be read (the reason goes to the log).
  static uint64 SparseChecksumFile(const char* path);
  // Cuts the file to `length` bytes (which must not exceed its size) and
  // cuts its stored checksum to match, checking the kept bytes against it
  // first (FileAttributes::LoadPrefix). A file without a stored checksum is
  // only cut. False, leaving file and record alone, when the kept bytes do
  // not match the record or the file is finalized.
  static bool TruncateChecksummedFile(const char* path, int64 length);

  // A one-line text form for attribute records:
  //   "<aligned length> <aligned checksum> <pending bytes> <history>"
  // numbers in lower-case hex, the pending bytes hex-encoded, the history
  // entries joined by ","; an empty field is written "-".
  ::string ToRecordText() const;
  // Parses ToRecordText's form; false (leaving *state alone) for anything
  // malformed or inconsistent (an aligned length that is not a whole number
  // of chunks, a history that does not fit it).
  static bool FromRecordText(const ::string& text, ChecksumState* state);

 private:
  // Folds whole chunks (length a multiple of kChunkSize) into the aligned
  // checksum, noting the history at each block boundary.
  void FoldWholeChunks(const char* data, int64 length);

  char pending_[kChunkSize] = {};
  int pending_count_ = 0;
  uint64 aligned_checksum_ = 0;
  int64 aligned_length_ = 0;
  vector<uint64> history_;
};

#endif  // FILE_BASE_CHECKSUM_H_
