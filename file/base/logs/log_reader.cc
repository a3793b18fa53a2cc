// LogReader: reads a log's records in order across its files and follows
// the log as writers extend it.
#include <cstring>

#include "file/base/file.h"
#include "file/base/logio.h"
#include "file/base/logs/log_files.h"
#include "file/base/recordio.h"

LogReader::LogReader(const ::string& base, int64 start, int buffer_size, bool async_read)
    : LogBase(base),
      buffer_size_(buffer_size > 0 ? buffer_size : kDefaultBufferSize),
      async_read_(async_read),
      position_(start) {
  if (start < kLogEnd) {
    Fail("malformed start position " + std::to_string(start) + "; reading from the start");
    position_ = kLogStart;
  }
}

LogReader::~LogReader() { CloseFile(); }

void LogReader::Fail(const ::string& why) { last_error_ = why; }

bool LogReader::FileAsyncReadEnabled() const { return file_->AsyncReadEnabled(); }

int64 LogReader::OpenFileSkippedBytes() const { return file_ == nullptr ? 0 : file_->skipped_bytes(); }

void LogReader::CloseFile() {
  if (file_ == nullptr) return;
  skipped_in_closed_files_ += file_->skipped_bytes();
  delete file_;
  file_ = nullptr;
}

bool LogReader::OpenFile(int number) {
  File* f = File::Open(FileName(number).c_str(), "r");
  if (f == nullptr) return false;
  // The file may still grow: its size is asked again at its end.
  RecordReaderOptions options;
  options.set_memory_budget(buffer_size_);
  options.set_enable_aio(async_read_);
  options.set_fixed_size(false);
  file_ = new RecordReader(f, options);
  file_->Seek(logs::ToRecordPosition(LogPositionToOffset(position_)));
  file_delivered_ = false;
  return true;
}

// The file will not grow (the next one exists): the bytes after its last
// whole record are a torn record; they are counted once as skipped.
bool LogReader::ReadFinishedFile(void** data, size_t* len) {
  if (file_->ReadRecordInternal(data, len, false, true, 0, nullptr, int64{1} << 60) == RecordReader::READ_OK) {
    return true;
  }
  if (!file_->read_error()) {
    const int64 size = file_->Size(), at = file_->FileTell();
    if (size > at) torn_tail_skipped_ += size - at;
  }
  return false;
}

// Turns a start value into a position once the log shows where that is.
bool LogReader::ResolveStart() {
  if (position_ >= 0) return true;
  vector<int> numbers;
  ::string error;
  if (!logs::ListLogFiles(base_, &numbers, &error)) {
    Fail(error);
    return false;
  }
  if (position_ == kLogStart) {
    if (numbers.empty()) return false;  // nothing yet; look again later
    position_ = MakeLogPosition(numbers.front(), 0);
    return true;
  }
  if (numbers.empty()) {
    position_ = MakeLogPosition(0, 0);
  } else {
    const int64 size = logs::LogFileSize(FileName(numbers.back()));
    position_ = MakeLogPosition(numbers.back(), size < 0 ? 0 : size);
  }
  return true;
}

// Moves from a missing or finished file to the next file of the log, if
// there is one.
bool LogReader::NextFile() {
  const int number = LogPositionToFileNumber(position_);
  if (File::Exists(FileName(number + 1).c_str())) {
    position_ = MakeLogPosition(number + 1, 0);
    return true;
  }
  // A gap (files collected or cut away): the first file after it.
  vector<int> numbers;
  ::string error;
  if (!logs::ListLogFiles(base_, &numbers, &error)) return false;
  for (int n : numbers) {
    if (n > number) {
      position_ = MakeLogPosition(n, 0);
      return true;
    }
  }
  return false;
}

void LogReader::Deliver(bool* new_file) {
  const int number = LogPositionToFileNumber(position_);
  last_record_position_ = MakeLogPosition(number, logs::ToOffsetField(file_->LastRecordPosition()));
  position_ = MakeLogPosition(number, logs::ToOffsetField(file_->Tell()));
  if (new_file != nullptr) *new_file = !file_delivered_;
  file_delivered_ = true;
}

bool LogReader::ReadRecordIfAvailable(void** data, size_t* len, bool* new_file) {
  for (;;) {
    if (!ResolveStart()) return false;
    if (file_ == nullptr && !OpenFile(LogPositionToFileNumber(position_))) {
      // Not there: collected or cut away (go on with the next file there
      // is), or not written yet.
      if (NextFile()) continue;
      return false;
    }
    if (file_->TryReadRecord(data, len) == RecordReader::READ_OK) {
      Deliver(new_file);
      return true;
    }
    if (!file_->read_error()) {
      // The file is finished once the next one exists: its writer wrote
      // all of it before starting the next. Read it to its end once more.
      if (!File::Exists(FileName(LogPositionToFileNumber(position_) + 1).c_str())) return false;
      if (ReadFinishedFile(data, len)) {
        Deliver(new_file);
        return true;
      }
      if (!file_->read_error()) {
        CloseFile();
        position_ = MakeLogPosition(LogPositionToFileNumber(position_) + 1, 0);
        continue;
      }
    }
    Fail("cannot read " + FileName(LogPositionToFileNumber(position_)));
    CloseFile();  // opened again on the next call
    return false;
  }
}

bool LogReader::ReadRecordAsStringIfAvailable(::string* record) {
  void* data;
  size_t len;
  if (!ReadRecordIfAvailable(&data, &len, nullptr)) return false;
  record->assign(static_cast<const char*>(data), len);
  return true;
}

// A record that is not a message of the caller's kind is consumed and
// reported as a failure.
bool LogReader::ReadProtocolMessageIfAvailable(proto2::Message* message) {
  if (message == nullptr) {
    Fail("no message given");
    return false;
  }
  ::string bytes;
  if (!ReadRecordAsStringIfAvailable(&bytes)) return false;
  if (message->ParseFromString(bytes)) return true;
  Fail("the record at " + PositionToText(last_record_position_) + " is not a message of this kind");
  return false;
}

bool LogReader::Seek(int64 position) {
  if (position < kLogEnd) {
    Fail("malformed position " + std::to_string(position));
    return false;
  }
  CloseFile();
  position_ = position;
  last_record_position_ = -1;
  return true;
}

bool LogReader::SetInitialPosition(const char* text) {
  int64 position;
  if (!TextToPosition(text, &position)) {
    Fail(::string("malformed position text \"") + (text ? text : "") + "\"");
    return false;
  }
  return Seek(position);
}

namespace {
void CopyText(const ::string& text, char* buf, int len) {
  if (buf == nullptr || len <= 0) return;
  const size_t n = std::min(text.size(), static_cast<size_t>(len) - 1);
  std::memcpy(buf, text.data(), n);
  buf[n] = '\0';
}
}  // namespace

void LogReader::GetPosition(char* buf, int len) { CopyText(PositionToText(Tell()), buf, len); }

void LogReader::GetEOFPosition(char* buf, int len) { CopyText(PositionToText(EOFPosition()), buf, len); }

int64 LogReader::EOFPosition() const {
  vector<int> numbers;
  ::string error;
  if (!logs::ListLogFiles(base_, &numbers, &error) || numbers.empty()) return MakeLogPosition(0, 0);
  const int64 size = logs::LogFileSize(FileName(numbers.back()));
  return MakeLogPosition(numbers.back(), size < 0 ? 0 : size);
}

int64 LogReader::UnreadBytes() const {
  vector<int> numbers;
  ::string error;
  if (position_ == kLogEnd || !logs::ListLogFiles(base_, &numbers, &error)) return 0;
  const int from = position_ < 0 ? 0 : LogPositionToFileNumber(position_);
  int64 unread = 0;
  for (int n : numbers) {
    if (n < from) continue;
    const int64 size = logs::LogFileSize(FileName(n));
    if (size < 0) continue;  // collected meanwhile
    const int64 offset = (n == from && position_ >= 0) ? LogPositionToOffset(position_) & logs::kByteOffsetMask : 0;
    if (size > offset) unread += size - offset;
  }
  return unread;
}

int64 LogReader::LogPositionAdd(int64 position, int64 delta) {
  if (position < 0) return -1;
  vector<int> numbers;
  ::string error;
  if (!logs::ListLogFiles(base_, &numbers, &error)) return -1;
  // Index of the position's file among the log's files.
  const int number = LogPositionToFileNumber(position);
  size_t i = 0;
  while (i < numbers.size() && numbers[i] < number) ++i;
  if (i == numbers.size() || numbers[i] != number) return -1;
  auto size_of = [&](size_t k) { return logs::LogFileSize(FileName(numbers[k])); };
  int64 offset = LogPositionToOffset(position) & logs::kByteOffsetMask;
  int64 size = size_of(i);
  if (size < 0 || offset > size) return -1;
  if (delta >= 0) {
    while (delta > size - offset) {
      delta -= size - offset;
      if (++i == numbers.size() || (size = size_of(i)) < 0) return -1;
      offset = 0;
    }
    return MakeLogPosition(numbers[i], offset + delta);
  }
  int64 back = -delta;  // delta > INT64_MIN: it came from a valid int64
  while (back > offset) {
    back -= offset;
    if (i == 0 || (offset = size_of(--i)) < 0) return -1;
  }
  return MakeLogPosition(numbers[i], offset - back);
}
