// The record file format: frames, fragments, checksums and compressed
// batches, as pure functions over byte buffers. docs/records.md describes the
// layout; the writer (recordio.h) produces it and RecordDecoder reads it.
//
// A file is a sequence of frames, each a 12-byte header and its payload:
//   byte 0      0xB0 | tag          (five fixed bits, then the RecordIO tag)
//   bytes 1-4   little-endian word: payload length (low 30 bits) and the
//               fragment kind (top 2 bits: FULL, FIRST, MIDDLE, LAST)
//   bytes 5-7   low 24 bits of the masked CRC-32C of bytes 0-4
//   bytes 8-11  masked CRC-32C of the payload
// A record longer than one fragment is a FIRST, any MIDDLEs and a LAST, all
// with the record's tag. A frame with a compression tag holds a batch.
#ifndef FILE_BASE_RECORDS_RECORD_FORMAT_H_
#define FILE_BASE_RECORDS_RECORD_FORMAT_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "file/base/util/base_types.h"

namespace records {

constexpr int kHeaderSize = 12;
constexpr uint32 kMaxPayload = (1u << 30) - 1;  // also the largest record
constexpr uint8 kMagic = 0xB0;
constexpr uint8 kMagicMask = 0xF8;
// The writer's fragment size: header and payload together.
constexpr int kFragmentSize = 1 << 20;
constexpr int kFragmentPayload = kFragmentSize - kHeaderSize;

enum FragmentKind : uint8 { FULL = 0, FIRST = 1, MIDDLE = 2, LAST = 3 };

struct Header {
  uint8 tag = 0;  // 0..7
  FragmentKind kind = FULL;
  uint32 length = 0;
  uint32 payload_crc = 0;  // masked
};

// A record position: the file offset of the frame that holds the record, and
// for records inside a compressed batch their index in it (top 15 bits).
constexpr int kIndexShift = 48;
constexpr int64 kOffsetMask = (int64{1} << kIndexShift) - 1;
inline int64 MakePosition(int64 offset, int64 index) { return offset | (index << kIndexShift); }

// CRC-32C (Castagnoli) of bytes, continuing from `crc` (0 to start).
uint32 Crc32c(const void* data, size_t n, uint32 crc = 0);
// The stored form: rotated and offset so that checksums of data that holds
// checksums stay strong.
uint32 MaskCrc(uint32 crc);

// Writes the 12 header bytes for a payload at `data`.
void EncodeHeader(uint8 tag, FragmentKind kind, const char* data, uint32 length,
                  char* out);
// True when the 12 bytes at `p` are a well-formed header (fixed bits and
// header check); the payload is not looked at.
bool DecodeHeader(const char* p, Header* h);
bool PayloadMatches(const Header& h, const char* payload);

// The frames of `data` as one record of `tag`, split into fragments of at
// most `fragment_payload` bytes (an empty record is one empty FULL frame):
// emit(header, payload, length) is called for each, in order, with the
// kHeaderSize bytes of its header.
template <class Emit>
void ForEachFrame(uint8 tag, const char* data, size_t n, size_t fragment_payload, Emit&& emit) {
  size_t done = 0;
  do {
    const size_t piece = std::min(n - done, fragment_payload);
    const FragmentKind kind = done == 0 ? (piece == n ? FULL : FIRST) : (done + piece == n ? LAST : MIDDLE);
    char header[kHeaderSize];
    EncodeHeader(tag, kind, data + done, static_cast<uint32>(piece), header);
    emit(static_cast<const char*>(header), data + done, piece);
    done += piece;
  } while (done < n);
}
// Appends the frames of `data` as one record of `tag` (see ForEachFrame).
void AppendRecord(uint8 tag, const char* data, size_t n, std::string* out,
                  size_t fragment_payload = kFragmentPayload);
// The framed size of an n-byte record.
size_t FramedSize(size_t n, size_t fragment_payload = kFragmentPayload);

// ---- Compressed batches -----------------------------------------------------
//
// A batch payload is: codec byte (the tag again), uncompressed size (u32 LE),
// masked CRC-32C of the uncompressed bytes (u32 LE), then the codec's bytes.
// The uncompressed bytes are the records, each a varint length and its bytes.

enum Codec : uint8 { kZlib = 4, kZstdWindowed = 5, kZstd = 6, kLz4 = 7 };
constexpr int kBatchPrefix = 9;

inline bool IsCompressionTag(uint8 tag) { return tag >= kZlib && tag <= kLz4; }

struct CodecParams {
  Codec codec = kZstd;
  int level = 0;          // codec level; 0 is the codec's default
  int window_log = 0;     // zstd window (2^n bytes), 0 for the default
  bool long_matching = false;  // zstd long-distance matching
};

// Appends one record to a batch's uncompressed staging bytes.
void AppendBatchEntry(const char* data, size_t n, std::string* staging);
// Compresses staging bytes into a batch payload; false if the codec fails.
bool EncodeBatch(const CodecParams& params, const std::string& staging,
                 std::string* payload);
// Decodes a batch payload into its records' bytes (`out`, with each record's
// [offset, length) in `spans`). Refuses (false, with a reason) a payload
// that claims more than `max_decoded` uncompressed bytes before allocating,
// a codec failure, a size or checksum mismatch, or malformed entries.
bool DecodeBatch(const char* payload, size_t n, size_t max_decoded,
                 std::string* out, std::vector<std::pair<size_t, size_t>>* spans,
                 std::string* reason);

}  // namespace records

#endif  // FILE_BASE_RECORDS_RECORD_FORMAT_H_
