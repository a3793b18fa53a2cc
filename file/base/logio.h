// Numbered logs: a log is the record files <base>seq00000, <base>seq00001,
// ... sharing one base name. LogWriter appends records to the newest file and
// starts the next one when the current one reaches the chunk size; LogReader
// reads every record in order across files from any position and follows a
// growing log (a live tail); BackgroundLogReader runs a reader on its own
// thread; LogReaderScript is the reader scripts use.
//
// A log position is one 64-bit number for (file number, offset): the file
// number in bits 40..62, the offset in bits 0..39, so positions order like
// the pairs. Its text form is "<file>:<offset>" in decimal (at most
// kMaxLogReaderPosLen bytes with the NUL). docs/logs.md has the details:
// start values, writer identities and flags, concurrency, garbage
// collection, truncation and crash safety.
#ifndef FILE_BASE_LOGIO_H_
#define FILE_BASE_LOGIO_H_

#include <stddef.h>
#include <stdio.h>

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

#include "file/base/core/forward.h"
#include "file/base/util/base_types.h"
#include "file/base/util/callback.h"

// The C library's report of a failed assertion (assert.h declares it only
// without NDEBUG; the writer's precondition below holds in every build).
extern "C" void __assert_fail(const char* assertion, const char* file, unsigned int line,
                              const char* function) noexcept __attribute__((__noreturn__));

// Room a caller gives GetPosition and GetEOFPosition of a LogReader.
constexpr int kMaxLogReaderPosLen = 48;

class RecordReader;  // file/base/recordio.h
class RecordWriter;
namespace logs {
class CurrentFile;  // file/base/logs/current_file.h
}

// ---- LogBase ------------------------------------------------------------------
// Naming and position arithmetic shared by writers and readers.
class LogBase {
 public:
  static constexpr int kFileNumberBits = 23;
  static constexpr int kOffsetBits = 40;
  static constexpr int kMaxFileNumber = (1 << kFileNumberBits) - 1;
  static constexpr int64 kMaxOffset = (int64{1} << kOffsetBits) - 1;
  // Start values of a reader (see docs/logs.md): the oldest record still in
  // the log, and the end of the log as it is when the reader opens it.
  static constexpr int64 kLogStart = -1;
  static constexpr int64 kLogEnd = -2;
  static constexpr int64 kDefaultChunkSize = int64{64} << 20;

  explicit LogBase(const ::string& base) : base_(base) {}
  virtual ~LogBase();
  LogBase(const LogBase&) = delete;
  LogBase& operator=(const LogBase&) = delete;

  const ::string& base_file() const { return base_; }
  const ::string& base_name() const { return base_; }
  const ::string& FileBase() const { return base_; }

  // The name of file n: "%sseq%05d" cut at 4095 characters.
  ::string FileName(int n) const {
    char name[4096];
    snprintf(name, sizeof(name), "%sseq%05d", base_.c_str(), n);
    return name;
  }

  // (file number, offset) as one number; -1 when either is out of range
  // (file numbers 0..kMaxFileNumber, offsets 0..kMaxOffset).
  static int64 MakeLogPosition(int file_number, int64 offset);
  // The parts of a position; -1 for a negative position.
  static int LogPositionToFileNumber(int64 position);
  static int64 LogPositionToOffset(int64 position);
  // The number of a log file's name ("...seq00012" gives 12); -1 when the
  // name does not end in "seq" and at least five digits.
  static int LogFileNameToFileNumber(const char* name);
  // The size at which a writer starts the next file (64 MiB unless changed
  // by LogWriter::setLogChunkSize_TEST).
  static int64 GetLogChunkSize();

  // Text form of a position, "<file>:<offset>", and back. Parsing accepts
  // exactly that form (decimal digits, in range) and also the numeric start
  // values "-1" and "-2"; anything else is refused.
  static ::string PositionToText(int64 position);
  static bool TextToPosition(const char* text, int64* position);

 protected:
  ::string base_;
};

// ---- LogReader -------------------------------------------------------------------
class LogReader : public LogBase {
 public:
  static constexpr int kDefaultBufferSize = 524288;

  // Reads the log `base` from `start` (a position, kLogStart or kLogEnd).
  // buffer_size: the record reader's read size; async_read: read ahead in
  // the background where the file system can.
  explicit LogReader(const ::string& base, int64 start = kLogStart,
                     int buffer_size = kDefaultBufferSize, bool async_read = false);
  ~LogReader() override;

  // The position after the last byte now in the log (of its newest file);
  // the initial position when the log has no file.
  int64 EOFPosition() const;
  // The text of Tell() (resp. EOFPosition()) into buf, cut to len - 1
  // characters and NUL-terminated; nothing is written when len <= 0.
  void GetPosition(char* buf, int len);
  void GetEOFPosition(char* buf, int len);
  // Starts reading at a position given as text; false (and the reader
  // unchanged) for a malformed text.
  bool SetInitialPosition(const char* text);
  // The bytes between Tell() and EOFPosition() (0 at the end).
  int64 UnreadBytes() const;

  // Reads the next record without blocking. True with the record in
  // (*data, *len), valid until the next call; false when no complete
  // record is there yet (call again later). *new_file, when given, is set
  // to whether the record is the first read from its file.
  bool ReadRecordIfAvailable(void** data, size_t* len, bool* new_file);
  // Parses the next record into `message`; false when none is available or
  // it does not parse.
  bool ReadProtocolMessageIfAvailable(proto2::Message* message);
  bool ReadRecordAsStringIfAvailable(::string* record);

  bool AsyncReadEnabled() const {
    if (!async_read_) return false;
    if (file_ == nullptr) return true;
    return FileAsyncReadEnabled();
  }

  // The position of the next record, and of the one last returned (-1
  // before the first).
  int64 Tell() const { return position_; }
  int64 LastRecordPosition() const { return last_record_position_; }
  // Moves to a position (or kLogStart / kLogEnd); false for a malformed
  // position.
  bool Seek(int64 position);
  // `position` moved by `delta` bytes through the log's files as they are
  // now; -1 when that leaves the log (before its oldest file or past its
  // end) or the position is malformed.
  int64 LogPositionAdd(int64 position, int64 delta);

  // Deletes the files of `base` that lie wholly before the file of
  // `position`, calling done->Run(name) for each deleted file. False when a
  // deletion (or the listing) fails; files before it may be gone already.
  static bool GarbageCollect(const ::string& base, int64 position) {
    return GarbageCollect(base, position, nullptr);
  }
  static bool GarbageCollect(const ::string& base, int64 position,
                             Callback1<const ::string&>* done);

  int64 NumBytesSkipped() const {
    return skipped_in_closed_files_ + torn_tail_skipped_ + OpenFileSkippedBytes();
  }
  int64 ExportNumBytesSkipped() const { return NumBytesSkipped(); }

  // Why the last operation that failed did so (empty when none has).
  const ::string& last_error() const { return last_error_; }

 private:
  bool FileAsyncReadEnabled() const;
  int64 OpenFileSkippedBytes() const;
  void CloseFile();
  bool OpenFile(int number);
  bool ResolveStart();
  bool NextFile();
  void Deliver(bool* new_file);
  bool ReadFinishedFile(void** data, size_t* len);
  void Fail(const ::string& why);

  int buffer_size_;
  bool async_read_;
  int64 position_;                  // next record (or a start value)
  int64 last_record_position_ = -1;
  int64 skipped_in_closed_files_ = 0;
  RecordReader* file_ = nullptr;      // the open log file, if any
  int64 torn_tail_skipped_ = 0;       // torn ends of files left behind
  bool file_delivered_ = false;       // a record came from file_
  ::string record_;                   // the bytes last returned
  ::string last_error_;
};

// ---- LogReaderScript ----------------------------------------------------------------
class LogReaderScript : public LogReader {
 public:
  LogReaderScript(const ::string& base, int64 start) : LogReader(base, start, 524288, false) {}
  bool ReadRecordIntoString(::string* s) {
    void* data;
    size_t len;
    if (!ReadRecordIfAvailable(&data, &len, nullptr)) return false;
    s->assign(static_cast<const char*>(data), len);
    return true;
  }
};

// ---- BackgroundLogReader --------------------------------------------------------------
// Runs a LogReader on its own thread: polls it, hands each record to
// ProcessRecord (with the record's position as text), and waits between
// empty polls. Start() starts the thread; MakeExit() asks it to stop;
// Stop() (and the destructor) stops and joins it. A subclass must call
// Stop() in its own destructor, before its members go away.
class BackgroundLogReader {
 public:
  // Takes ownership of `reader`.
  explicit BackgroundLogReader(LogReader* reader);
  virtual ~BackgroundLogReader();
  BackgroundLogReader(const BackgroundLogReader&) = delete;
  BackgroundLogReader& operator=(const BackgroundLogReader&) = delete;

  void Start();
  void MakeExit();
  void Stop();
  bool exiting() const { return exit_.load(); }

  // One record: its bytes and its position text. Runs on the thread.
  virtual void ProcessRecord(const void* data, int len, const char* position) = 0;
  // Sleeps after `empty_polls` polls in a row found nothing: 1 ms doubled
  // per empty poll, at most the maximum sleep time; returns early on
  // MakeExit.
  virtual void WaitBeforeReadingAgain(int empty_polls);

  LogReader* log_reader() const { return log_reader_; }
  void set_max_sleep_time_in_secs(int seconds);

  // The reader member. Replacing it while the thread runs is the caller's
  // race to avoid; the object deletes the reader it holds at the end.
  LogReader* log_reader_;

 private:
  void Run();

  std::atomic<bool> exit_{false};
  std::atomic<int> max_sleep_ms_{1000};
  std::mutex mu_;
  std::condition_variable wake_;
  std::thread thread_;
};

// ---- LogWriter --------------------------------------------------------------------
class LogWriter : public LogBase {
 public:
  static constexpr int kDefaultBufferSize = 524288;
  // Fixed underlying types: any int a caller passes is a value of them.
  enum Concurrency : int { SINGLE_WRITER = 0, CONCURRENT_APPENDERS = 1, AUTO = 2 };
  enum WriteStatus : int { WRITE_ERROR = 0, WRITE_OK = 1, WRITE_RETRY = 2 };
  // Flags (the constructor's last int).
  enum Flags {
    kFlushEachRecord = 1,  // flush after every record (crash-safe per record)
    kSyncOnRotate = 2,     // sync a file to stable storage before leaving it
    kAllFlags = 3,
  };

  // An unopened writer.
  LogWriter();
  // Opens the log (see Open); a failure leaves the writer unopened and is
  // in last_error().
  LogWriter(const ::string& base, const ::string& writer_name, Concurrency concurrency = AUTO,
            int buffer_size = kDefaultBufferSize, int flags = 0);
  ~LogWriter() override;

  // Opens (or continues) the log `base`: appends to its newest file, or
  // creates file 0. writer_name names the writer in log messages and
  // errors; buffer_size is the record writer's buffer; flags are Flags
  // bits. An open writer is closed first.
  bool Open(const ::string& base, const ::string& writer_name, Concurrency concurrency = AUTO,
            int buffer_size = kDefaultBufferSize, int flags = 0);

  bool WriteRecord(const ::string& s) { return WriteRecord(s.data(), s.size()); }
  bool WriteRecord(const void* data, size_t n) { return WriteRecordInternal(data, n, true, nullptr) == WRITE_OK; }
  int TryWriteRecord(const ::string& s, AsyncIO* done) { return TryWriteRecord(s.data(), s.size(), done); }
  int TryWriteRecord(const void* data, size_t n, AsyncIO* done) {
    return WriteRecordInternal(data, n, false, done);
  }
  bool WriteProtocolMessage(const proto2::Message& m) {
    return WriteProtocolMessageInternal(m, true, nullptr) == WRITE_OK;
  }
  int TryWriteProtocolMessage(const proto2::Message& m, AsyncIO* done) {
    return WriteProtocolMessageInternal(m, false, done);
  }
  WriteStatus WriteRecordInternal(const void* data, size_t n, bool blocking, AsyncIO* done);
  WriteStatus WriteProtocolMessageInternal(const proto2::Message& m, bool blocking, AsyncIO* done);

  bool Flush();
  void Close();

  // Compression of the records written from now on, kept across files.
  void EnableCompression(int level);
  void EnableCWCompression(int level, int window_log, bool long_matching, bool windowed, int threads);
  void DisableCompression();

  // Where the next record will go (file number, offset), as a number and
  // as text; ApproximateEOFPosition counts buffered bytes without asking
  // the file system.
  int64 ApproximateTell() { return ApproximateEOFPosition(); }
  int64 ApproximateEOFPosition();
  ::string GetPosition();
  int64 EOFPosition();
  int max_record_size() const;
  int current_file_number() const { return file_number_; }
  const ::string& last_error() const { return last_error_; }
  const ::string& writer_name() const { return writer_name_; }

  // The position text of the start of any log.
  static ::string GetInitialPosition();
  // Cuts the log back to the position given as text: later files are
  // deleted and the position's file is truncated at its offset.
  static bool TruncateLog(const char* base, const char* position);
  // Sets the chunk size of the process (n <= 0: back to 64 MiB).
  static void setLogChunkSize_TEST(int n);

  bool AsyncEnabled() const;

 private:
  bool OpenFile(int number, bool continuing);
  bool Rotate(bool carry_pending);
  bool NewerFileExists() const;
  void FinishFile(bool carry_pending);
  void SwitchTo(File* next, int64 size);
  void CloseFile();
  void ApplyCompression();
  void Fail(const ::string& why);
  bool WriterFailed();  // takes the record writer's error; false
  int64 Held() const;
  int64 NextOffset() const;
  bool RecordWriterAsyncEnabled() const;

  // One record writer for the writer's life, writing to the log's current
  // file through current_ (its buffer and settings survive file changes).
  // Both are set exactly while the writer has a file open.
  RecordWriter* writer_ = nullptr;
  logs::CurrentFile* current_ = nullptr;
  int64 next_offset_ = 0;   // see NextOffset
  int batch_records_ = 0;   // records in writer_'s open compressed batch (at most
                            // logs::kMaxBatchRecords)
  int file_number_ = -1;
  Concurrency concurrency_ = AUTO;
  int buffer_size_ = kDefaultBufferSize;
  int flags_ = 0;
  ::string writer_name_;
  ::string last_error_;
  struct Compression;
  std::unique_ptr<Compression> compression_;  // the switch last set, if any
  std::mutex mu_;  // one record at a time per writer object
};

// The writer of a log has an open record file; AsyncEnabled without one is
// a broken precondition, not a recoverable error. NDEBUG builds keep it.
inline bool LogWriter::AsyncEnabled() const {
  if (writer_ == nullptr) {
    __assert_fail("writer_ != __null", "./file/base/logio.h", 426, __PRETTY_FUNCTION__);
  }
  return RecordWriterAsyncEnabled();
}

#endif  // FILE_BASE_LOGIO_H_
