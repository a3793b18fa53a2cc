// LogBase: positions, their text form, file numbers and the chunk size.
#include <atomic>
#include <cstring>

#include "file/base/logio.h"

namespace {

std::atomic<int64> chunk_size{LogBase::kDefaultChunkSize};

// Parses the decimal digits of [p, end) into *value, refusing an empty
// run, other characters and values above max.
bool ParseDecimal(const char* p, const char* end, int64 max, int64* value) {
  if (p == end) return false;
  int64 v = 0;
  for (; p < end; ++p) {
    if (*p < '0' || *p > '9') return false;
    v = v * 10 + (*p - '0');
    if (v > max) return false;
  }
  *value = v;
  return true;
}

}  // namespace

LogBase::~LogBase() = default;

int64 LogBase::MakeLogPosition(int file_number, int64 offset) {
  if (file_number < 0 || file_number > kMaxFileNumber || offset < 0 || offset > kMaxOffset) return -1;
  return (int64{file_number} << kOffsetBits) | offset;
}

int LogBase::LogPositionToFileNumber(int64 position) {
  return position < 0 ? -1 : static_cast<int>(position >> kOffsetBits);
}

int64 LogBase::LogPositionToOffset(int64 position) {
  return position < 0 ? -1 : position & kMaxOffset;
}

int LogBase::LogFileNameToFileNumber(const char* name) {
  if (name == nullptr) return -1;
  const char* end = name + std::strlen(name);
  const char* digits = end;
  while (digits > name && digits[-1] >= '0' && digits[-1] <= '9') --digits;
  if (end - digits < 5 || digits - name < 3 || std::memcmp(digits - 3, "seq", 3) != 0) return -1;
  int64 number;
  if (!ParseDecimal(digits, end, kMaxFileNumber, &number)) return -1;
  return static_cast<int>(number);
}

int64 LogBase::GetLogChunkSize() { return chunk_size.load(std::memory_order_relaxed); }

void LogWriter::setLogChunkSize_TEST(int n) {
  chunk_size.store(n > 0 ? n : kDefaultChunkSize, std::memory_order_relaxed);
}

::string LogBase::PositionToText(int64 position) {
  if (position < 0) return std::to_string(position);
  return std::to_string(LogPositionToFileNumber(position)) + ":" +
         std::to_string(LogPositionToOffset(position));
}

bool LogBase::TextToPosition(const char* text, int64* position) {
  if (text == nullptr) return false;
  if (std::strcmp(text, "-1") == 0 || std::strcmp(text, "-2") == 0) {
    *position = text[1] == '1' ? kLogStart : kLogEnd;
    return true;
  }
  const char* colon = std::strchr(text, ':');
  if (colon == nullptr) return false;
  int64 file, offset;
  if (!ParseDecimal(text, colon, kMaxFileNumber, &file) ||
      !ParseDecimal(colon + 1, colon + std::strlen(colon), kMaxOffset, &offset)) {
    return false;
  }
  *position = MakeLogPosition(static_cast<int>(file), offset);
  return true;
}

::string LogWriter::GetInitialPosition() { return PositionToText(MakeLogPosition(0, 0)); }
