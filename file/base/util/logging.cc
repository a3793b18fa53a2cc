#include "file/base/util/logging.h"

#include <errno.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

int ClampSeverity(int severity) {
  if (severity < logging::INFO) return logging::INFO;
  if (severity > logging::FATAL) return logging::FATAL;
  return severity;
}

// "I 2026-11-21 12:00:00.123456 " in local time.
std::string RecordPrefix(int severity) {
  static const char kSeverityLetters[] = "IWEF";
  struct timeval now;
  gettimeofday(&now, nullptr);
  struct tm local;
  localtime_r(&now.tv_sec, &local);
  char date_time[32];
  strftime(date_time, sizeof(date_time), "%Y-%m-%d %H:%M:%S", &local);
  char prefix[64];
  std::snprintf(prefix, sizeof(prefix), "%c %s.%06ld ", kSeverityLetters[severity], date_time,
                static_cast<long>(now.tv_usec));
  return prefix;
}

// One write(2) per record, so that records of concurrent threads never
// interleave; the loop only matters for partial writes to a pipe.
void WriteFully(int fd, const std::string& bytes) {
  const char* data = bytes.data();
  size_t remaining = bytes.size();
  while (remaining > 0) {
    ssize_t written = write(fd, data, remaining);
    if (written < 0) {
      if (errno == EINTR) continue;
      return;  // nowhere left to report a failing stderr
    }
    data += written;
    remaining -= static_cast<size_t>(written);
  }
}

}  // namespace

LogMessage::LogMessage(const char* file, int line, int severity)
    : file_(file != nullptr ? file : "(unknown)"), line_(line), severity_(ClampSeverity(severity)) {}

LogMessage::~LogMessage() {
  Flush();
  if (severity_ == logging::FATAL) std::abort();
}

void LogMessage::Flush() {
  std::string record = RecordPrefix(severity_);
  record += file_;
  record += ':';
  record += std::to_string(line_);
  record += "] ";
  record += stream_.str();
  if (record.back() != '\n') record += '\n';
  WriteFully(STDERR_FILENO, record);
}

LogMessageFatal::LogMessageFatal(const char* file, int line)
    : LogMessage(file, line, logging::FATAL) {}

LogMessageFatal::~LogMessageFatal() {
  Flush();
  std::abort();
}
