// The library's logging facility: one line per record on stderr,
//   "<E> 2026-11-21 12:00:00.123456 file/base/file.h:654] text"
// with the severity letter I, W, E or F.
#ifndef FILE_BASE_LOGGING_H_
#define FILE_BASE_LOGGING_H_

#include <sstream>

namespace logging {
enum Severity : int { INFO = 0, WARNING = 1, ERROR = 2, FATAL = 3 };
}

class LogMessage {
 public:
  LogMessage(const char* file, int line, int severity);
  ~LogMessage();  // writes the record; severity FATAL then aborts
  std::ostream& stream() { return stream_; }

 protected:
  void Flush();
  const char* file_;
  int line_;
  int severity_;
  std::ostringstream stream_;
};

// A fatal record: written on destruction, then the process ends (abort).
class LogMessageFatal : public LogMessage {
 public:
  LogMessageFatal(const char* file, int line);
  [[noreturn]] ~LogMessageFatal();
};

#define PQ_LOG(severity) LogMessage(__FILE__, __LINE__, ::logging::severity).stream()
#define PQ_CHECK(cond) \
  if (cond) {} else LogMessageFatal(__FILE__, __LINE__).stream() << "Check failed: " #cond " "

#endif  // FILE_BASE_LOGGING_H_
