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

#include "file/base/util/base_types.h"
#include "file/base/util/status.h"

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
