// InputBuffer: buffered reading of a File of any file system, with read-ahead
// on the library's worker pool and an optional running checksum of the bytes
// read, verified against the file's attribute record.
//
// One buffer holds the bytes [pos_, pos_ + (limit_ - buf_)) of the file; the
// caller's position (Tell) is pos_ + (cur_ - buf_). Reads that the buffer
// can serve are inline copies; everything else goes to the out-of-line slow
// path, which refills the buffer (or, for a request at least as large as the
// buffer, reads straight into the caller's memory), takes read-ahead data
// that arrived in the meantime and starts the next read-ahead.
//
// Read-ahead: with a lookahead (bytes, constructor or SetLookahead) or with
// UseAIO(true), the next pieces of the file after the buffer are read on the
// worker pool while the caller consumes the buffer. Prefetch(offset, length,
// done) reads a chosen range the same way and reports through `done`;
// Unfetch drops what is held for a range. TryRead never blocks: it returns
// what is already here and queues the read of the rest.
//
// Failures: a read that fails sets read_error() and comes back short (with
// die_on_error() set, it ends the process with a fatal log naming the file
// and the reason instead). A buffer made over a null file reads nothing and
// reports read_error().
//
// Not thread-safe: one thread reads a buffer at a time (the read-ahead runs
// on the worker pool on its own copies of the state).
//
// Sizes and budgets
// - The buffer's capacity is at most kMaxBufferSize and its read-ahead at
//   most kMaxLookahead bytes, whatever a caller asks for; memory is taken
//   when the first refill needs it, not when the buffer is made.
// - A refill asks the file for the read size (SetReadSize), which is at most
//   the capacity. Read-ahead pieces are read-size pieces too; explicit
//   Prefetch ranges are read in capacity-sized pieces.
// - ReadToString grows its string with what arrives: a huge maximum over a
//   small file allocates what the file holds.
// - Raw reads (Read, TryRead, ReadGeneral) write into memory the caller
//   names: a null destination or a count above SSIZE_MAX (a negative count
//   passed as a size) is refused with -1; the destination's size cannot be
//   checked and is the caller's promise.
// Checksums
// - With SetChecksumming(true, ...), the buffer adds every byte it reads
//   from the file, in file order, to a ChecksumState starting at offset 0:
//   refills, read-ahead pieces taken and large direct reads alike. Bytes
//   read again after a seek back are not added twice; bytes read after a
//   jump forward wait until reading has caught up with them.
// - VerifyChecksum compares that state with the "checksum" of the file's
//   attribute record (FileAttributes): a state as long as the record must
//   equal it (MATCHES_FULL); a shorter one must equal the record's prefix
//   of that length (MATCHES_PREFIX), checked through the record's history
//   and FileAttributes::LoadPrefix. Anything else is a MISMATCH.
#ifndef FILE_BASE_INPUTBUFFER_H_
#define FILE_BASE_INPUTBUFFER_H_

#include <sys/types.h>

#include <cstring>

#include "file/base/checksums/checksum.h"
#include "file/base/core/forward.h"
#include "file/base/util/base_types.h"

// The C library's report of a failed assertion (declared by <assert.h> only
// in builds without NDEBUG; the library's assertions hold in every build).
extern "C" void __assert_fail(const char* assertion, const char* file, unsigned int line,
                              const char* function) noexcept __attribute__((__noreturn__));

namespace file {
namespace streams {
class AsyncReader;  // the read-ahead machinery, file/base/streams/async_reader.h
}  // namespace streams
}  // namespace file

// How an InputBuffer made from options reads. The setters only store.
class InputBufferOptions {
 public:
  InputBufferOptions() = default;

  // Bytes the buffer may use in all: the buffer and its read-ahead pieces.
  void set_memory_budget(int bytes) { memory_budget_ = bytes; }
  int memory_budget() const { return memory_budget_; }
  // Buffer capacity; 0: the memory budget less the lookahead.
  void set_buffer_size(int bytes) { buffer_size_ = bytes; }
  int buffer_size() const { return buffer_size_; }
  // Bytes to read ahead on the worker pool; 0: none.
  void set_lookahead(int bytes) { lookahead_ = bytes; }
  int lookahead() const { return lookahead_; }
  // true: every refill reads a whole buffer. false: the first refill reads
  // 64 KiB and each sequential refill doubles that up to the buffer's
  // capacity, so reading the start of a large file does not pay for a
  // whole buffer.
  void set_fixed_size(bool fixed) { fixed_size_ = fixed; }
  bool fixed_size() const { return fixed_size_; }
  // true: with a lookahead, the read-ahead starts when the buffer is made;
  // false: at the first read.
  void set_lookahead_on_open(bool on_open) { lookahead_on_open_ = on_open; }
  bool lookahead_on_open() const { return lookahead_on_open_; }

 private:
  int memory_budget_ = 524288;
  int buffer_size_ = 0;
  int lookahead_ = 0;
  bool fixed_size_ = true;
  bool lookahead_on_open_ = true;
};

class InputBuffer {
 public:
  static constexpr int kDefaultBufferSize = 524288;
  // Largest buffer and largest lookahead a buffer takes; larger requests
  // are cut to these.
  static constexpr int kMaxBufferSize = 64 << 20;
  static constexpr int kMaxLookahead = 256 << 20;

  // Results of VerifyChecksum.
  enum ChecksumResult {
    NO_CHECKSUMMING = 0,    // checksumming is off, or no byte was read from offset 0
    NO_ATTRIBUTE_FILE = 1,  // the file has no attribute record with a checksum
    MATCHES_PREFIX = 2,     // what was read is a correct prefix of the recorded file
    MATCHES_FULL = 3,       // what was read is the whole recorded file
    MISMATCH = 4,           // what was read differs from the record
  };

  // buffer_size: the buffer's capacity in bytes (<= 0: kDefaultBufferSize;
  // at most kMaxBufferSize). lookahead: bytes to read ahead on the worker
  // pool (<= 0: none). read_size: bytes each refill asks the file for
  // (<= 0: the whole capacity; at most the capacity), see SetReadSize.
  // owns_file: the buffer closes and deletes the file when it is destroyed
  // (or CloseFile is called). Reading starts at the file's current
  // position (0 when the file cannot tell).
  explicit InputBuffer(File* file, int buffer_size = kDefaultBufferSize, int lookahead = 0,
                       int read_size = 0, bool owns_file = true);
  // From options (see InputBufferOptions); the buffer owns the file.
  InputBuffer(File* file, const InputBufferOptions& options);
  // Waits for read-ahead still running, then closes and deletes an owned
  // file.
  ~InputBuffer();
  InputBuffer(const InputBuffer&) = delete;
  InputBuffer& operator=(const InputBuffer&) = delete;

  // Closes the file (deleting it when owned); later reads return nothing.
  // False when the close failed or there was no file.
  bool CloseFile();

  // ---- raw reads ---------------------------------------------------------
  // Reads up to n bytes into buf; returns the count, short only at end of
  // file or on a read error (see read_error()).
  ssize_t Read(void* buf, size_t n) { return ReadGeneral(buf, n, true, nullptr); }
  // Never blocks: returns what can be had without waiting (possibly 0) and
  // queues the read of the rest; `aio` (may be null) gets Finish(error,
  // bytes) when the queued data has arrived, so that a retry finds it.
  ssize_t TryRead(void* buf, size_t n, AsyncIO* aio) { return ReadGeneral(buf, n, false, aio); }
  ssize_t ReadGeneral(void* buf, size_t n, bool block, AsyncIO* aio) {
    if (static_cast<size_t>(limit_ - cur_) >= n && buf != nullptr) {
      std::memcpy(buf, cur_, n);
      cur_ += n;
      return static_cast<ssize_t>(n);
    }
    return ReadExpensive(buf, n, block, aio);
  }

  // Replaces *out with the next bytes, at most max (max < 0: up to end of
  // file). Memory grows with what is actually read, never with max alone.
  void ReadToString(::string* out, int64 max);

  // ---- read-ahead ----------------------------------------------------------
  // Reads [offset, offset + length) on the worker pool (at most
  // kMaxLookahead bytes of it, cut at end of file); reads that reach it
  // use it. `done` (may be null) gets Finish(error, bytes fetched). Bad
  // ranges finish with ERROR_INVALID_ARGUMENT and fetch nothing.
  void Prefetch(int64 offset, int64 length, AsyncIO* done);
  // Drops the read-ahead data held for pieces overlapping [offset, offset +
  // length); pieces still being read are dropped when they arrive.
  void Unfetch(int64 offset, int64 length);
  bool AsyncReadEnabled() const { return async_reader_ != nullptr && use_aio_; }
  // Turns sequential read-ahead on (at least one piece ahead, more with a
  // lookahead) or off.
  void UseAIO(bool use_aio);

  // ---- position and size ---------------------------------------------------
  int64 Tell() const { return pos_ + (cur_ - buf_); }
  // False for a negative offset or a buffer without a file. Seeking within
  // the buffer keeps it; elsewhere the next read refills.
  bool Seek(int64 offset);
  // The file's size (-1 when unknown); SizeHint is the cheap estimate.
  int64 Size() const;
  int64 SizeHint() const;
  bool eof() const { return Tell() == Size(); }
  // Bytes buffered after the position.
  int64 AvailableData() const { return static_cast<int32>(limit_ - cur_); }

  // ---- lines and varints ---------------------------------------------------
  // A line is the bytes up to and including the next '\n', or up to end of
  // file. Lines may be longer than the buffer.
  //
  // The next line into *line (replaced); false at end of file.
  bool ReadLine(::string* line);
  // Like fgets: at most size - 1 bytes of the line and a NUL into buf (a
  // longer line is split); returns buf, or null at end of file or when
  // size is 0.
  char* ReadLine(char* buf, size_t size);
  // The next line, at most max bytes of it (the rest stays for the next
  // call); "" at end of file.
  ::string ReadLineAsString(size_t max) {
    // An empty buffer may have no storage at all: memchr must not see null.
    char* nl = cur_ == limit_ ? nullptr : static_cast<char*>(std::memchr(cur_, '\n', limit_ - cur_));
    if (nl != nullptr && static_cast<size_t>(nl + 1 - cur_) <= max) {
      ::string line(cur_, nl + 1 - cur_);
      cur_ = nl + 1;
      return line;
    }
    return ReadLineSlow(max);
  }
  // A varint of up to 5 bytes (7 bits a byte, least significant first, the
  // high bit set on every byte but the last). False at end of file, for a
  // varint cut by end of file or longer than 5 bytes, or one above 2^32-1;
  // the position is then back where the varint started and *value is left
  // alone.
  bool ReadVarint32(uint32* value) {
    if (limit_ - cur_ >= 5) {
      const uint8* p = reinterpret_cast<const uint8*>(cur_);
      uint32 result = p[0] & 0x7f;
      if (p[0] < 0x80) {
        *value = result;
        cur_ += 1;
        return true;
      }
      result |= static_cast<uint32>(p[1] & 0x7f) << 7;
      if (p[1] < 0x80) {
        *value = result;
        cur_ += 2;
        return true;
      }
    }
    return ReadVarint32Slow(value);
  }

  // ---- the file ------------------------------------------------------------
  File* GetFile() { return file_; }
  // Reads `file` from `offset` on. The buffer's data and read-ahead are
  // dropped (read-ahead still running is waited for); a file the buffer
  // owned is closed and deleted unless it is `file` itself. The ownership
  // flag stays and applies to the new file.
  void SetFile(File* file, int64 offset);
  // The file's name ("" without a file).
  ::string CreateFileName();
  void RelinquishFileOwnership();
  bool owns_file() const { return owns_file_; }

  // Bytes each refill asks for: the smaller of the capacity and size. A
  // buffered range that reaches past the new read size is dropped (the
  // position stays).
  void SetReadSize(size_t size) {
    if (!(size > 0)) __assert_fail("size > 0", "./file/base/inputbuffer.h", 252, __PRETTY_FUNCTION__);
    grow_read_size_ = false;
    if (cur_ > buf_ + size || limit_ > buf_ + size) {
      pos_ = Tell();
      cur_ = buf_;
      limit_ = buf_;
    }
    read_size_ = static_cast<size_t>(capacity_) < size ? capacity_ : static_cast<int>(size);
  }
  // Bytes to read ahead (0: only what UseAIO asks for).
  void SetLookahead(size_t bytes);

  bool die_on_error() const { return die_on_error_; }
  void set_die_on_error(bool die) { die_on_error_ = die; }
  bool read_error() const { return read_error_; }

  // ---- verified reading ------------------------------------------------------
  // enable: keep a running checksum of the file's bytes from offset 0 as
  // they are read (sequentially; bytes read after a jump forward are not
  // counted until reading is back at the end of the checksummed prefix).
  // False, leaving checksumming off, when the buffer already read past
  // bytes it no longer holds. verify_at_eof: when reading reaches the end
  // of the file, compare with the attribute record; a MISMATCH then sets
  // read_error() (and dies with die_on_error()). !enable turns both off.
  bool SetChecksumming(bool enable, bool verify_at_eof);
  // Compares the checksum of what was read with the file's attribute
  // record. *why (may be null) receives a one-line explanation.
  int VerifyChecksum(::string* why) const;

 private:
  friend class file::streams::AsyncReader;

  void Init(File* file, int buffer_size, int lookahead, int read_size, bool owns_file, bool fixed_size,
            bool lookahead_on_open);
  ssize_t ReadExpensive(void* buf, size_t n, bool block, AsyncIO* aio);
  ::string ReadLineSlow(size_t max);
  bool ReadVarint32Slow(uint32* value);
  // Makes at least one byte available after cur_ (refill); false at end of
  // file, on error, or (when !block) when the data is not here yet.
  bool Fill(bool block, AsyncIO* aio);
  // Reads at offset straight into dst; returns the count, short at end
  // of file or when *failed is set.
  int64 ReadFile(int64 offset, char* dst, int64 n, bool* failed);
  void NoteRead(int64 offset, const char* data, int64 n);
  // Starts read-ahead pieces after `from` up to the lookahead.
  void ScheduleAhead(int64 from);
  // Reading reached the end of the file: verifies when asked to.
  void AtEndOfFile();
  void OnReadError(const char* what);
  void DropBuffer();
  void DrainAsync();

  File* file_ = nullptr;
  int64 pos_ = 0;            // file offset of buf_
  int capacity_ = 0;         // buffer capacity
  int read_size_ = 0;        // bytes a refill asks for
  char* buf_ = nullptr;      // buffer start (empty buffer: all three equal)
  char* cur_ = nullptr;      // read cursor
  char* limit_ = nullptr;    // end of valid data
  size_t lookahead_ = 0;
  file::streams::AsyncReader* async_reader_ = nullptr;
  bool use_aio_ = false;
  bool owns_file_ = true;
  bool die_on_error_ = false;
  bool read_error_ = false;
  bool grow_read_size_ = false;  // fixed_size false: read size doubles per refill
  // The storage behind buf_ (swapped with read-ahead pieces).
  char* storage_ = nullptr;
  size_t storage_size_ = 0;
  // Verified reading.
  bool checksumming_ = false;
  bool verify_at_eof_ = false;
  bool verified_at_eof_ = false;
  ChecksumState checksum_;   // of the file's bytes [0, checksum_.Length())
};

#endif  // FILE_BASE_INPUTBUFFER_H_
