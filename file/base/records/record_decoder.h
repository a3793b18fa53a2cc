// RecordDecoder: reads records from any source of bytes, checking every
// header and payload, reassembling fragments, decoding compressed batches and
// finding its way back after damage. The reader (recordio.h) runs it over a
// File; the format's tests run it over bytes in memory.
#ifndef FILE_BASE_RECORDS_RECORD_DECODER_H_
#define FILE_BASE_RECORDS_RECORD_DECODER_H_

#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "file/base/records/record_format.h"

namespace records {

// Where a decoder gets its bytes.
class ByteSource {
 public:
  virtual ~ByteSource() = default;
  // Reads up to n bytes at offset: the count read (0 at the end), -1 on
  // failure.
  virtual int64 ReadAt(int64 offset, char* buffer, int64 n) = 0;
};

// Bytes held in memory.
class StringSource : public ByteSource {
 public:
  explicit StringSource(std::string bytes) : bytes_(std::move(bytes)) {}
  int64 ReadAt(int64 offset, char* buffer, int64 n) override;
  std::string& bytes() { return bytes_; }

 private:
  std::string bytes_;
};

struct DecoderLimits {
  size_t max_record = kMaxPayload;          // longer records are skipped
  size_t max_decoded = kMaxPayload;         // larger batches are skipped
  size_t max_expected = 4 << 20;            // longer frames are not believed while resynchronising
  bool allow_unchecked = false;             // deliver payloads that fail their checksum
  bool final_size = false;                  // the source will not grow
};

class RecordDecoder {
 public:
  enum Status { kRecord, kEnd, kPartial, kError };

  RecordDecoder(ByteSource* source, size_t window);

  // The next record. kEnd: nothing more (the position is at the end);
  // kPartial: a frame or header is cut short at the end (more bytes may come;
  // the position stays at its start); kError: the source failed. `data`
  // stays valid until the next call.
  Status Next(const char** data, size_t* length, int64 limit = int64{1} << 60);

  // Next's common case alone: a plain record wholly in the window, with no
  // batch, fragment or damage under way; false leaves it all to Next.
  bool NextPlain(const char** data, size_t* length, int64 limit) {
    return spans_.empty() && !assembling_ && scan_start_ < 0 && pos_ < limit && NextInWindow(data, length);
  }

  // Moves to a record position (see MakePosition); forgets partial state.
  void Seek(int64 position);
  // Moves to the first intact record at or after byte `offset`; the bytes
  // passed over on the way are not counted as skipped.
  void SeekToBoundary(int64 offset);
  // Position of the next record, and of the one last returned (-1: none).
  int64 Tell() const;
  int64 last_record_position() const { return last_position_; }
  // The file offset up to which bytes have been consumed.
  int64 physical_position() const { return pos_; }

  DecoderLimits& limits() { return limits_; }
  int64 skipped_bytes() const { return skipped_bytes_; }
  int skipped_regions() const { return skipped_regions_; }
  // Called for each skipped region: offset, length, why.
  std::function<void(int64, int64, const std::string&)> on_skip;
  // Forgets buffered bytes (for a file that changed underneath).
  void DropWindow() { window_length_ = 0; }
  // Reads [offset, offset + n) into the window ahead of need.
  void Preload(int64 offset, int64 n);
  void Unload(int64 offset, int64 n);

 private:
  // Makes bytes [offset, offset + n) readable at *p; returns how many of
  // them the source has (fewer at its end), -1 on failure.
  int64 Fetch(int64 offset, int64 n, const char** p);
  // Reasons are texts rather than strings: most calls pass over nothing.
  // The common case: a sound plain FULL frame wholly in the window, taken
  // with the same checks as below. False leaves everything to Next.
  bool NextInWindow(const char** data, size_t* length);
  void Skip(int64 offset, int64 length, const char* why);
  void BeginScan(int64 offset, const char* why);
  void EndScan(int64 offset);
  void DropAssembly(const char* why);
  // A whole record of `tag` at `start`; false when it holds nothing to
  // deliver (a bad batch).
  bool Accept(uint8 tag, int64 start, int64 end, const char* data, size_t n,
              const char** out, size_t* out_length);
  Status EndOf(int64 available);
  // The longest frame (or fragmented record) of `tag` worth reading.
  size_t FrameLimit(uint8 tag) const;

  ByteSource* source_;
  size_t window_size_;
  static constexpr int64 kPage = 4096;
  struct FreeDeleter {
    void operator()(char* p) const { std::free(p); }
  };
  std::unique_ptr<char, FreeDeleter> window_;  // page-aligned
  size_t window_capacity_ = 0;
  int64 window_offset_ = 0;
  int64 window_length_ = 0;
  DecoderLimits limits_;

  int64 pos_ = 0;
  int64 scan_start_ = -1;  // start of the damage being scanned over
  const char* scan_reason_ = "";  // a literal
  bool quiet_scan_ = false;  // a scan for a boundary, not over damage
  // A fragmented record being put together.
  bool assembling_ = false;
  bool dropping_ = false;  // ... but too long to keep
  uint8 assembly_tag_ = 0;
  int64 assembly_start_ = 0;
  std::string assembly_;
  // A decoded batch being handed out.
  std::string batch_;
  std::vector<std::pair<size_t, size_t>> spans_;
  size_t batch_index_ = 0;
  int64 batch_start_ = -1;
  int64 seek_index_ = 0;  // records of the batch at pos_ to pass over

  int64 last_position_ = -1;
  int64 skipped_bytes_ = 0;
  int skipped_regions_ = 0;
};

}  // namespace records

#endif  // FILE_BASE_RECORDS_RECORD_DECODER_H_
