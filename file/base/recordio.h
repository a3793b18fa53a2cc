// Record files: RecordWriter writes records (byte strings of any length up
// to RecordIO::kMaxRecordSize) to a File of any file system, checked by
// CRC-32C and optionally compressed in batches; RecordReader reads them back,
// skipping and counting damage. The format is described in docs/records.md.
//
// Writers
// - A writer keeps its own buffer and hands it to the file in one append (in
//   CONCURRENT_APPENDERS mode) or one write; a buffer only ever holds whole
//   frames, so several appenders of one file never tear or interleave a
//   record. Flush hands everything to the file system; records acknowledged
//   by a successful Flush survive the writer's process being killed.
// - Failures set the writer's error (GetCurrentErrorCode/Message) and are
//   reported by the call; records accepted earlier stay buffered and are
//   written by the next Flush.
// - One writer may be used from several threads.
//
// Readers
// - ReadRecord returns each record written, in file order; damaged bytes
//   are skipped (skipped_bytes, skipped_regions) and never returned.
// - Positions (Tell, LastRecordPosition) are the file offset of the frame
//   holding a record, with its index inside a compressed batch in the top
//   15 bits; Seek returns to any of them exactly. Text form: decimal.
// - One thread reads a reader at a time.
#ifndef FILE_BASE_RECORDIO_H_
#define FILE_BASE_RECORDIO_H_

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "file/base/core/forward.h"
#include "file/base/inputbuffer.h"
#include "file/base/records/cord.h"
#include "file/base/records/message.h"
#include "file/base/records/record_format.h"
#include "file/base/util/base_types.h"

namespace records {
class RecordDecoder;
class InputSource;
}  // namespace records

class RecordIO {
 public:
  // Frame header bytes (see docs/records.md).
  static const int kHeaderSize = records::kHeaderSize;
  // Sizing units for callers that budget space per record: a record of
  // kRecSize bytes, framed with its header, fits in kPhysicalRecSize bytes.
  static const int kRecSize = 1011;
  static const int kPhysicalRecSize = 1024;
  static const int kMaxRecordSize = static_cast<int>(records::kMaxPayload);
  // The tag of a frame: plain records use SINGLETON (FIXED_SIZE,
  // VARIABLE_SIZE and OTHER_TAG frames are read as plain records too); the
  // other four mark compressed batches.
  enum Tag : int {
    SINGLETON = 0,
    FIXED_SIZE = 1,
    VARIABLE_SIZE = 2,
    OTHER_TAG = 3,
    ZLIB_TAG = 4,
    CWZ_TAG = 5,
    CW_TAG = 6,
    PLUME_TAG = 7,
    MIN_TAG = 0,
    MAX_TAG = 7,
    NUM_TAGS = 8,
  };
};

// Gives a writer with a length limit its next file. Subclass it; the
// writer does not own it.
class RecordWriterOpener {
 public:
  virtual ~RecordWriterOpener() = default;
  // The file to carry on in once `previous` (a file name) is full; `number`
  // counts the files opened so far (1 for the first replacement). Null to
  // refuse: the record that needed it then fails.
  virtual File* OpenNext(const ::string& previous, int number) = 0;
};

// An opener that writes "<base>.1", "<base>.2", ... (mode "w").
class NumberedRecordWriterOpener : public RecordWriterOpener {
 public:
  explicit NumberedRecordWriterOpener(const ::string& base) : base_(base) {}
  File* OpenNext(const ::string& previous, int number) override;

 private:
  ::string base_;
};

// The process-wide default buffer size of writers made without one
// (new_RecordWriter from Python): 524288 unless the environment variable
// PQ_RECORD_WRITER_BUFFER_SIZE held a positive number at start-up, or
// SetRecordWriterDefaultBufferSize changed it since.
extern int FLAGS_record_writer_default_buffer_size;
// Sets the default; values below 4096 are raised to 4096. Returns the
// previous value.
int SetRecordWriterDefaultBufferSize(int bytes);

class RecordWriter {
 public:
  static const int kDefaultBufferSize = 524288;
  enum Concurrency : int { SINGLE_WRITER = 0, CONCURRENT_APPENDERS = 1, AUTO = 2 };
  enum WriteStatus : int { WRITE_ERROR = 0, WRITE_OK = 1, WRITE_RETRY = 2 };

  // Writes to `file`, which the writer owns (closes and deletes) unless
  // RelinquishFileOwnership is called. buffer_size: bytes kept before they
  // go to the file (<= 0: kDefaultBufferSize). AUTO: concurrent appending
  // when the file SupportsConcurrentAppenders. max_record_size: the longest
  // record accepted (<= 0 or more than kMaxRecordSize: kMaxRecordSize).
  explicit RecordWriter(File* file, int buffer_size = kDefaultBufferSize,
                        Concurrency concurrency = SINGLE_WRITER, int max_record_size = 0);
  // Closes if Close was not called (errors are logged).
  ~RecordWriter();
  RecordWriter(const RecordWriter&) = delete;
  RecordWriter& operator=(const RecordWriter&) = delete;

  // Opens `name` with `mode` ("w", "a", ...) and makes a writer owning it;
  // null on failure (logged). With a checkpoint (from Checkpoint), the file
  // named there is reopened, cut back to the checkpoint's offset, and
  // writing resumes at its end; `name` must be that file's name. The ints
  // are the buffer size and the maximum record size as in the
  // constructor; sync_on_close false is NoSyncOnClose.
  static RecordWriter* Open(const char* name, const char* mode, const CheckpointRecord* checkpoint,
                            int buffer_size, int max_record_size, bool sync_on_close,
                            Concurrency concurrency);
  // Open, ending the process with a fatal log on failure.
  static RecordWriter* OpenOrDie(const char* name, const char* mode, const CheckpointRecord* checkpoint,
                                 int buffer_size, int max_record_size, bool sync_on_close,
                                 Concurrency concurrency);

  // Flushes, syncs (unless NoSyncOnClose) and closes an owned file. Later
  // writes fail. True when all of it succeeded; closing again returns the
  // first close's result (false for a writer made without a file).
  bool Close();
  void RelinquishFileOwnership();
  bool owns_file() const;
  void NoSyncOnClose();

  // Compression of the records that follow, in batches; switching closes
  // the batch being built. Parameters:
  //  EnableCompression(level[, batch_bytes]): zlib tag, deflate level 1-9
  //    (other values: 6); batch_bytes: uncompressed bytes per batch (<= 0:
  //    256 KiB).
  //  EnablePlumeCompression(acceleration): lz4, acceleration >= 1 (higher
  //    is faster and compresses less; <= 0: 1).
  //  EnableCWCompression(level, window_log, long_matching, windowed[,
  //    batch_bytes]): zstd at `level` (0: zstd's default; negative levels
  //    are the fast ones), window of 2^window_log bytes (0: zstd's choice;
  //    10-27), long-distance matching; `windowed` tags batches CWZ
  //    instead of CW.
  void EnableCompression(int level);
  void EnableCompression(int level, int batch_bytes);
  void EnablePlumeCompression(int acceleration);
  void EnableCWCompression(int level, int window_log, bool long_matching, bool windowed);
  void EnableCWCompression(int level, int window_log, bool long_matching, bool windowed,
                           int batch_bytes);
  void DisableCompression();

  bool WriteRecord(const void* data, size_t n) { return WriteRecordInternal(data, n, true, nullptr) == WRITE_OK; }
  bool WriteRecord(const ::string& s) { return WriteRecord(s.data(), s.size()); }
  bool WriteRecord(const Cord& cord);
  // Never blocks: WRITE_RETRY when the buffer is full while a background
  // flush is running; `aio` (may be null) is then finished once there is
  // room, and the caller writes the record again.
  WriteStatus TryWriteRecord(const void* data, size_t n, AsyncIO* aio) {
    return WriteRecordInternal(data, n, false, aio);
  }
  bool WriteProtocolMessage(const proto2::Message& m) {
    return WriteProtocolMessageInternal(m, true, nullptr) == WRITE_OK;
  }
  WriteStatus TryWriteProtocolMessage(const proto2::Message& m, AsyncIO* aio) {
    return WriteProtocolMessageInternal(m, false, aio);
  }
  WriteStatus WriteRecordInternal(const void* data, size_t n, bool blocking, AsyncIO* aio);
  WriteStatus WriteProtocolMessageInternal(const proto2::Message& m, bool blocking, AsyncIO* aio);

  bool Flush();
  bool Sync();
  bool DataSync();
  // Position of the next record (see RecordReader). With concurrent
  // appenders the offset is where this writer's bytes would land if
  // appended now (the file's size plus what it holds).
  int64 Tell() const;
  int64 ApproximateTell();

  ::string GetCurrentErrorMessage();
  int GetCurrentErrorCode();

  // Flushes and gives `writer` a checkpoint (file name and offset) from
  // which Open resumes. Failures set the writer's error.
  void Checkpoint(CheckpointWriter* writer);
  ::string GetFileName();
  int max_record_size() const { return max_record_size_; }
  // Once the next frame would make the file longer than `length` bytes,
  // the writer moves to the file `opener` gives; without an opener the
  // record fails with ERROR_NO_SPACE. length <= 0: no limit.
  void SetMaxFileLength(int64 length, RecordWriterOpener* opener);
  // For CONCURRENT_APPENDERS over a file that no one else appends to (a
  // single-writer log): buffers may then end inside a frame, and go to the
  // file in aligned pieces as a single writer's do.
  void SetSoleAppender(bool sole);
  // True: TryWriteRecord flushes in the background.
  bool AsyncEnabled() const { return true; }

  // Write the 12-byte header of a one-frame record of `len` bytes at `data`
  // into buf. len < 0 or above kMaxRecordSize: 12 zero bytes (which no
  // reader accepts).
  void FormatHeader(RecordIO::Tag tag, char* buf, const char* data, int len) const;
  static void PopulateHeader(RecordIO::Tag tag, char* buf, const char* data, int len);

 private:
  bool Failed(int code, const ::string& message);
  void WaitForBackgroundLocked(std::unique_lock<std::mutex>& lock);
  void SetCompression(const records::CodecParams& params, int batch_bytes);
  // Encodes the batch being built into the buffer.
  bool CloseBatchLocked();
  // Writes the buffer to the file; false (error set) when it could not all
  // be written (what was not stays buffered).
  bool WriteBufferLocked();
  // A single writer's frames pass through the buffer, which is written
  // whenever its end reaches a multiple of spill_unit_ in the file (whole
  // units of a long payload go straight from the caller's memory). Spill:
  // false when a write failed; the bytes not written, then `rest`, are
  // buffered for the next Flush.
  void StreamRecordLocked(const char* data, size_t n);
  bool SpillLocked(const char* data, size_t n, const char* rest, size_t rest_n);
  // Buffered bytes at which the buffer's end reaches the next unit.
  size_t SpillPointLocked() const;
  bool WriteBytes(const char* data, size_t n, size_t* written, ::string* error, int* code);
  // Makes room in the current file for `bytes` more, moving to the next
  // file when a length limit says so.
  bool ReserveLocked(size_t bytes);
  bool FlushLocked();
  bool FlushAndSync(bool sync, bool data_only);
  int64 EndOffsetLocked() const;
  void StartBackgroundFlushLocked();

  mutable std::mutex mu_;
  std::condition_variable cv_;
  File* file_;
  bool owns_file_ = true;
  bool concurrent_ = false;
  bool closed_ = false;
  bool close_result_ = true;
  bool sync_on_close_ = true;
  size_t capacity_;
  // The largest power of two up to capacity_: full buffers end at its
  // multiples, so the file is written in aligned pieces.
  size_t spill_unit_;
  bool write_failed_ = false;  // the last write of the buffer failed
  bool sole_appender_ = false;
  int max_record_size_;
  std::string buffer_;
  int64 base_offset_ = 0;  // file offset of buffer_[0] (single writers, sole appenders)
  // Compression.
  bool compress_ = false;
  records::CodecParams codec_;
  size_t batch_bytes_ = 256 << 10;
  std::string staging_;
  int64 batch_count_ = 0;
  // Length limit.
  int64 max_file_length_ = 0;
  RecordWriterOpener* opener_ = nullptr;
  int files_opened_ = 0;
  // Background flushing (TryWriteRecord).
  bool flushing_ = false;
  std::string flush_buffer_;
  std::vector<AsyncIO*> waiting_;
  // Error state.
  int error_code_ = 0;
  ::string error_message_;
};

// A reader's options: those of its InputBuffer (memory_budget, buffer_size,
// lookahead, fixed_size, lookahead_on_open; see inputbuffer.h) and its own.
// buffer_size here is the decoder's window (0: the memory budget).
class RecordReaderOptions : public InputBufferOptions {
 public:
  RecordReaderOptions() = default;
  bool enable_aio() const { return enable_aio_; }
  void set_enable_aio(bool v) { enable_aio_ = v; }
  bool allow_unchecked_records() const { return allow_unchecked_records_; }
  void set_allow_unchecked_records(bool v) { allow_unchecked_records_ = v; }
  int64 initial_seek_back() const { return initial_seek_back_; }
  void set_initial_seek_back(int v) { initial_seek_back_ = v; }

  // Sets options from text: "key=value" items separated by commas,
  // spaces or newlines; keys are the field names; bools are 0/1/true/false.
  // False, changing nothing, for an unknown key or a bad value.
  bool LoadOptionsFromString(const ::string& text);

 private:
  bool enable_aio_ = false;
  bool allow_unchecked_records_ = false;
  int64 initial_seek_back_ = 1024;
};

class RecordReader {
 public:
  enum ReadStatus : int { READ_OK = 0, READ_DONE = 1, READ_RETRY = 2 };
  static const size_t kDefaultMaxExpectedRecordLength = 4194304;

  // Reads `file` (owned: closed and deleted with the reader unless
  // RelinquishFileOwnership) from its current position, less
  // initial_seek_back bytes (1024), from the first intact record there.
  // memory_budget, enable_aio, buffer_size, lookahead and fixed_size are
  // the options of the reader's InputBuffer.
  explicit RecordReader(File* file, int memory_budget = 524288, bool enable_aio = false,
                        int buffer_size = 0, int lookahead = 0, bool fixed_size = true);
  RecordReader(File* file, const RecordReaderOptions& options);
  virtual ~RecordReader();
  RecordReader(const RecordReader&) = delete;
  RecordReader& operator=(const RecordReader&) = delete;

  // The next record: *data (valid until the next read) and *len. False at
  // the end, when the file ends inside a record (the rest may come later),
  // or on a read error (read_error()).
  bool ReadRecord(void** data, size_t* len) {
    return ReadRecordInternal(data, len, log_skips_, true, 0, nullptr, int64{1} << 60) == READ_OK;
  }
  bool ReadRecord(::string* record);
  bool ReadProtocolMessage(proto2::Message* m);
  // READ_OK with a record; READ_DONE at the end; READ_RETRY when no
  // complete record is there yet (the file ends inside one) — read again
  // once the file has grown.
  ReadStatus TryReadRecord(void** data, size_t* len) {
    return ReadRecordInternal(data, len, log_skips_, false, 0, nullptr, int64{1} << 60);
  }
  // log_skips: log each skipped region. blocking: at a record cut short by
  // the end of the file, wait up to wait_ms milliseconds for it to be
  // completed and then report READ_DONE (non-blocking: READ_RETRY at once,
  // and `aio`, when given, is finished). limit: records starting at or
  // after this file offset are not read (READ_DONE).
  ReadStatus ReadRecordInternal(void** data, size_t* len, bool log_skips, bool blocking, int wait_ms,
                                AsyncIO* aio, int64 limit);

  bool Close();
  void RelinquishFileOwnership();
  bool owns_file() const;
  bool AsyncReadEnabled() const;

  int64 Tell() const;
  // The file offset up to which the reader has taken bytes from the file
  // (its read-ahead included), and up to which it has consumed them.
  int64 PhysicalTell();
  int64 FileTell();
  int64 LastRecordPosition() const;
  int64 Size();
  // True when no record is left before the end of the file; refresh: look
  // at the file's current size rather than the one last seen.
  bool AtEOF(bool refresh);
  // Goes to a position from Tell or LastRecordPosition.
  bool Seek(int64 position);
  // Goes to the first intact record at or after byte `offset`.
  bool FileSeek(int64 offset);
  bool GetPosition(::string* position);
  bool SetPosition(const ::string& position);
  void Prefetch(int64 offset, int64 length, AsyncIO* done);
  void Unfetch(int64 offset, int64 length);
  ::string GetFileName();
  bool Stat(FileStat* stat);

  void set_log_skips(bool b) { log_skips_ = b; }
  int64 skipped_bytes() const;
  int skipped_regions() const;
  bool read_error() const { return read_error_; }
  void clear_read_error();
  void set_max_record_length(size_t n);
  void set_max_decoded_record_length(size_t n);
  void set_max_expected_record_length(size_t n);
  // A read error ends the process with a fatal log.
  void set_die_on_error(bool b);

 private:
  void Init(File* file, const RecordReaderOptions& options);

  std::unique_ptr<InputBuffer> input_;
  std::unique_ptr<records::InputSource> source_;
  std::unique_ptr<records::RecordDecoder> decoder_;
  bool log_skips_ = false;
  bool read_error_ = false;
  bool die_on_error_ = false;
  bool closed_ = false;
  int64 size_seen_ = -1;
  ::string name_;
};

class RecordReaderScript : public RecordReader {
 public:
  RecordReaderScript(File* f, int n) : RecordReader(f, n, false, 0, 0, true) {}
  RecordReaderScript(File* f, const RecordReaderOptions& options) : RecordReader(f, options) {}
  bool ReadRecordIntoString(::string* s) {
    void* data;
    size_t len;
    if (!ReadRecord(&data, &len)) return false;
    s->assign(static_cast<const char*>(data), len);
    return true;
  }
};

#endif  // FILE_BASE_RECORDIO_H_
