// The record writer and reader of one log file, over the record format of
// file/base/records (frames, fragments, compressed batches).
#ifndef FILE_BASE_LOGS_LOG_FILE_IO_H_
#define FILE_BASE_LOGS_LOG_FILE_IO_H_

#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include "file/base/records/record_decoder.h"
#include "file/base/records/record_format.h"
#include "file/base/util/base_types.h"
#include "file/base/util/iobuffer.h"

class AsyncIO;
class File;

namespace logs {

// Records of a compressed batch are addressed by their index in it; a
// writer closes a batch at this many records so the index fits a position.
constexpr int kMaxBatchRecords = 255;
constexpr int kBatchIndexShift = 32;  // in a position's offset field
constexpr int64 kByteOffsetMask = (int64{1} << kBatchIndexShift) - 1;

// Appends framed records to one file. Whole frames are buffered and written
// by one append each time the buffer is flushed, so records of writers
// appending to the same file at once never interleave. Thread-compatible;
// the LogWriter serialises calls.
class FileWriter {
 public:
  enum Status { kError = 0, kOk = 1, kRetry = 2 };

  // Takes `file`, open for appending, whose size is `size`.
  FileWriter(File* file, int64 size, size_t buffer_size);
  ~FileWriter();  // waits for an append in flight; does not close the file

  // Buffers one record. Blocking: flushes as needed. Non-blocking: kRetry
  // when the buffer has no room; an append of the buffer is then under way
  // and `done` (if given) is finished when it ends.
  Status Write(const void* data, size_t n, bool blocking, AsyncIO* done);
  // Writes everything buffered (closing a compressed batch).
  bool Flush();
  bool Sync();
  // Flushes and closes the file; the file is deleted.
  bool Close();

  void SetCompression(bool on, const records::CodecParams& params);
  // Hands over the frames not yet written (closing a batch), for another
  // file; and takes such frames in front of its own.
  std::string TakePending();
  void AddPending(const std::string& frames);
  // True when writing an n-byte record now would write the buffer out.
  bool WouldFlush(size_t n) const;
  // The file's size as its file system tells it now, plus what is buffered.
  int64 EndOfFile();
  // Offset of the next frame: the file's size plus what is buffered.
  int64 Tell() const { return size_ + static_cast<int64>(buffer_.size()); }
  // Bytes appended to the file (by this writer and, for shared files, seen
  // through the offsets its appends landed at).
  int64 FlushedSize() const { return size_; }
  bool async_capable() const;
  const std::string& error() const { return error_; }

 private:
  class AppendDone;
  bool CloseBatch();
  bool FlushLocked(std::unique_lock<std::mutex>& lock);
  void WaitForAppend(std::unique_lock<std::mutex>& lock);
  void AppendFinished(int error, int64 landed);

  File* file_;
  int64 size_;
  size_t buffer_size_;
  std::string buffer_;  // whole frames
  bool compress_ = false;
  records::CodecParams codec_;
  std::string staging_;  // the open batch's entries
  int staged_records_ = 0;

  std::mutex mu_;  // guards the append in flight
  std::condition_variable appended_;
  bool appending_ = false;
  IOBuffer in_flight_;
  int64 landed_ = -1;
  std::vector<AsyncIO*> waiting_;
  std::string error_;
};

// Reads the records of one log file as it grows.
class FileReader {
 public:
  // Takes `file`, open for reading.
  FileReader(File* file, size_t window);
  ~FileReader();

  enum Status { kRecord, kNone, kError };
  // The next record, or kNone when no complete record is there yet. With
  // `final` (the file will not grow), bytes left at the end that hold no
  // complete record are counted as skipped.
  Status Next(const char** data, size_t* length, bool final);
  void Seek(int64 offset_field);
  // The in-file positions, in a log position's offset form (byte offset,
  // batch index above kBatchIndexShift).
  int64 Tell() const;
  int64 LastRecordPosition() const;
  int64 skipped_bytes() const { return decoder_.skipped_bytes() + tail_skipped_; }
  bool async_capable() const;
  int64 Size();

 private:
  class Source;
  File* file_;
  std::unique_ptr<Source> source_;
  records::RecordDecoder decoder_;
  int64 tail_skipped_ = 0;
};

// A decoder position as an offset field, and back.
int64 ToOffsetField(int64 decoder_position);
int64 ToDecoderPosition(int64 offset_field);

}  // namespace logs

#endif  // FILE_BASE_LOGS_LOG_FILE_IO_H_
