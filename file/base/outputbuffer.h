// OutputBuffer: buffered writing to a File of any file system, with
// write-behind on the library's worker pool, padding to alignments,
// checkpoints, and an optional running checksum of everything written that
// is stored in the file's attribute record when the file is closed.
//
// Writes that fit the buffer are inline copies; the rest goes to the
// out-of-line slow path, which hands the full buffer to the file (or, with an
// aio budget, to a write-behind job on the worker pool and carries on in a
// fresh buffer) and writes requests at least as large as the buffer straight
// from the caller's memory. The bytes reach the file in the order written.
//
// Failures: a failed write makes the buffer refuse further writes (they
// return short counts) and Flush/CloseFile return false; the file keeps
// what reached it. The ...OrDie operations end the process with a fatal
// log naming the file and the reason instead.
//
// Not thread-safe: one thread writes a buffer at a time.
#ifndef FILE_BASE_OUTPUTBUFFER_H_
#define FILE_BASE_OUTPUTBUFFER_H_

#include <cstring>

#include "file/base/checksums/checksum.h"
#include "file/base/core/forward.h"
#include "file/base/streams/checkpoint.h"
#include "file/base/util/base_types.h"

namespace file {
namespace streams {
class AsyncWriter;  // the write-behind machinery, file/base/streams/async_writer.h
}  // namespace streams
}  // namespace file

// How OpenWithOptions and OpenWithFile make an OutputBuffer. The setters
// only store (the texts are copied); the getters are for the library.
class OutputBufferOptions {
 public:
  OutputBufferOptions() = default;

  // Attr_t bits recorded on a file opened for writing (0x7fffffff, the
  // default: none).
  void set_file_attributes(unsigned int attributes) { file_attributes_ = attributes; }
  // Permissions of a created file (0x7fffffff, the default: the file
  // system's, 0666 less the umask).
  void set_file_permissions(unsigned int permissions) { file_permissions_ = permissions; }
  // Group of a created file (null, the default: leave it).
  void set_file_group(const char* group);
  // Bytes of write-behind in flight on the worker pool (0, the default:
  // writes happen in the caller's thread).
  void set_aio_budget(int bytes) { aio_budget_ = bytes; }
  // The buffer's size in bytes (default kDefaultBufferSize).
  void set_memory_budget(int bytes) { memory_budget_ = bytes; }
  // Resume writing at a checkpoint (not owned; must outlive the open): the
  // file is cut back to the checkpoint's offset and writing continues
  // there, with the checkpoint's checksum when it has one.
  void set_checkpoint(const CheckpointRecord* checkpoint) { checkpoint_ = checkpoint; }
  // Keep the checksum of everything written and store it, with the length,
  // in the file's attribute record on close (default false).
  void set_attribute_file(bool keep) { attribute_file_ = keep; }

  unsigned int file_attributes() const { return file_attributes_; }
  unsigned int file_permissions() const { return file_permissions_; }
  const char* file_group() const { return group_set_ ? group_.c_str() : nullptr; }
  int aio_budget() const { return aio_budget_; }
  int memory_budget() const { return memory_budget_; }
  const CheckpointRecord* checkpoint() const { return checkpoint_; }
  bool attribute_file() const { return attribute_file_; }

 private:
  unsigned int file_attributes_ = 0x7fffffff;
  unsigned int file_permissions_ = 0x7fffffff;
  ::string group_;
  bool group_set_ = false;
  int aio_budget_ = 0;
  int memory_budget_ = 524288;
  const CheckpointRecord* checkpoint_ = nullptr;
  bool attribute_file_ = false;
};

class OutputBuffer {
 public:
  static constexpr int kDefaultBufferSize = 524288;
  // What AlignDefault pads to.
  static constexpr int kDefaultAlignment = 65536;
  // Largest buffer, aio budget and alignment taken; larger values are cut
  // to these (alignments above it are refused).
  static constexpr int kMaxBufferSize = 64 << 20;
  static constexpr int kMaxAioBudget = 256 << 20;
  static constexpr int kMaxAlignment = 64 << 20;
  // Largest offset Seek and Truncate take (4 EiB): no file system holds
  // more, and the buffer's positions stay countable beyond it.
  static constexpr int64 kMaxOffset = int64{1} << 62;

  // buffer_size: the buffer's size in bytes (<= 0: kDefaultBufferSize; at
  // most kMaxBufferSize). aio_budget: bytes of write-behind allowed in
  // flight on the worker pool (<= 0: none; writes happen in the caller's
  // thread). The buffer owns the file: it flushes, closes and deletes it
  // when destroyed. Writing starts at the file's current position.
  explicit OutputBuffer(File* file, int buffer_size = kDefaultBufferSize, int aio_budget = 0);
  // Flushes and, when the buffer owns the file, closes and deletes it
  // (storing the attribute record when the buffer keeps a checksum).
  ~OutputBuffer();
  OutputBuffer(const OutputBuffer&) = delete;
  OutputBuffer& operator=(const OutputBuffer&) = delete;

  // ---- opening ---------------------------------------------------------------
  // Opens `name` with `mode` ("w", "a", "r+", ...) applying every option;
  // null when the open fails (the reason is logged as a warning). The
  // caller owns the result.
  static OutputBuffer* OpenWithOptions(const char* name, const char* mode,
                                       const OutputBufferOptions& options);
  // A buffer over an open file, with the options' budgets, checkpoint and
  // attribute record (the file's own options were given when it was
  // opened); null for a null file or a checkpoint it cannot be brought to.
  static OutputBuffer* OpenWithFile(File* file, const OutputBufferOptions& options);
  // Opens or dies. checkpoint (may be null): resume there as
  // set_checkpoint does; buffer_size, aio_budget as for the constructor;
  // keep_checksum as set_attribute_file.
  static OutputBuffer* OpenOrDie(const char* name, const char* mode, const CheckpointRecord* checkpoint,
                                 int buffer_size, int aio_budget, bool keep_checksum);

  // Flushes and closes the file (deleting it when owned), storing the
  // attribute record when the buffer keeps a checksum. False when anything
  // failed or there was no file; later writes return 0.
  bool CloseFile();

  // ---- writing -----------------------------------------------------------------
  // Writes n bytes; returns the count taken (short only after a failure).
  int Write(const void* buf, size_t n) { return WriteInternal(buf, n, true, nullptr); }
  // Never blocks: takes what fits without waiting for the file (possibly
  // 0); `aio` (may be null) gets Finish(error, bytes) when the write-behind
  // that keeps it from taking more has finished, so that a retry gets room.
  int TryWrite(const void* buf, size_t n, AsyncIO* aio) { return WriteInternal(buf, n, false, aio); }
  int WriteString(const ::string& s) { return Write(s.data(), s.length()); }
  int WriteLine(const ::string& s) {
    const int n = WriteString(s);
    return n + Write("\n", 1);
  }
  // Pads with `fill` up to the next multiple of alignment (1 to
  // kMaxAlignment); false for another alignment or when the padding could
  // not be written.
  bool Align(int alignment, char fill);
  bool AlignDefault(char fill) { return Align(kDefaultAlignment, fill); }

  // Hands everything buffered and in flight to the file and waits for it.
  bool Flush();

  // ---- position and size ---------------------------------------------------------
  // The file's size counting the bytes still buffered.
  int64 Size();
  int64 Tell();
  int64 AvailableBuffer() const { return static_cast<int32>(limit_ - cur_); }
  // Flush first, then move; false for an offset outside [0, kMaxOffset].
  // Moving before the end of the checksummed bytes makes the checksum be
  // recomputed from the file when it is next needed.
  bool Seek(int64 offset);
  // Flush first, then cut (or extend) the file to a length in [0,
  // kMaxOffset]; the position moves back to the new end if it was beyond
  // it. The checksum follows the cut.
  bool Truncate(int64 length);
  // Truncates back to the length the record's checksum covers and takes
  // that checksum as the running one (so writing resumes as if the bytes
  // after it were never written). Dies when the file cannot be cut or the
  // record is longer than the file.
  void RewindOrDie(const FileAttr& attr);

  bool AsyncEnabled() const { return async_writer_ != nullptr; }
  bool keeps_checksum() const { return keep_checksum_; }
  bool owns_file() const { return owns_file_; }

  // ---- the file ------------------------------------------------------------------
  File* GetFile() { return file_; }
  ::string CreateFileName();
  // The length written so far and the checksum of all of it (buffered
  // bytes included) into attr (version and finalized cleared). Without a
  // kept checksum, the checksum is computed from the file.
  void GetAttributes(FileAttr* attr) const;
  // Flushes and hands the writer a checkpoint at the current position, with
  // the checksum when the buffer keeps one. Does nothing for a null writer.
  void Checkpoint(CheckpointWriter* writer);
  void RelinquishFileOwnership() { owns_file_ = false; }

 private:
  friend class file::streams::AsyncWriter;
  OutputBuffer(File* file, int buffer_size, int aio_budget, bool keep_checksum, bool append);

  int WriteInternal(const void* buf, size_t n, bool block, AsyncIO* aio) {
    // (n == 0 takes the slow path: a buffer without memory has a null cursor.)
    if (static_cast<size_t>(limit_ - cur_) >= n && buf != nullptr && n != 0) {
      std::memcpy(cur_, buf, n);
      cur_ += n;
      return static_cast<int>(n);
    }
    return WriteExpensive(buf, n, block, aio);
  }
  int WriteExpensive(const void* buf, size_t n, bool block, AsyncIO* aio);
  // Moves the buffered bytes to the file (or the write-behind); false on a
  // failure.
  bool HandOff(bool block, AsyncIO* aio);
  bool WriteToFile(const char* data, int64 n);
  // Bytes [pos_, pos_ + n) are about to reach the file: the checksum
  // follows them when they extend it, else it is recomputed when needed.
  void NoteWritten(const char* data, int64 n);
  // A write failed: the buffer takes nothing more.
  void Fail();
  bool ResumeAt(const CheckpointRecord& checkpoint);
  bool StoreAttributes();
  // Brings checksum_ up to `length` bytes from the file when writes before
  // its end made it stale.
  bool RefreshChecksum(ChecksumState* state, int64 length) const;

  File* file_ = nullptr;
  char* buf_ = nullptr;    // buffer start
  char* cur_ = nullptr;    // write cursor
  char* limit_ = nullptr;  // buffer end
  int capacity_ = 0;
  int64 pos_ = 0;          // file offset where buf_ lands
  int64 size_ = 0;         // the file's size as far as written (without the buffer)
  file::streams::AsyncWriter* async_writer_ = nullptr;
  bool keep_checksum_ = false;
  bool checksum_stale_ = false;  // a write landed before the checksum's end
  bool owns_file_ = true;
  bool failed_ = false;
  bool append_ = false;
  ChecksumState checksum_;       // of the file's bytes [0, checksum_.Length())
  char* storage_ = nullptr;
};

#endif  // FILE_BASE_OUTPUTBUFFER_H_
