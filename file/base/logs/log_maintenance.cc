// Garbage collection and truncation of a log's files.
#include "file/base/file.h"
#include "file/base/logio.h"
#include "file/base/logs/log_files.h"
#include "file/base/util/logging.h"

bool LogReader::GarbageCollect(const ::string& base, int64 position,
                               Callback1<const ::string&>* done) {
  const int keep_from = LogPositionToFileNumber(position);
  if (keep_from < 0) {
    PQ_LOG(WARNING) << "GarbageCollect of log " << base << ": no position given";
    return false;
  }
  vector<int> numbers;
  ::string error;
  if (!logs::ListLogFiles(base, &numbers, &error)) {
    PQ_LOG(WARNING) << "GarbageCollect: " << error;
    return false;
  }
  LogBase names(base);
  for (int n : numbers) {
    if (n >= keep_from) break;
    const ::string name = names.FileName(n);
    if (!File::Delete(name.c_str())) {
      PQ_LOG(WARNING) << "GarbageCollect: cannot delete " << name;
      return false;
    }
    if (done != nullptr) done->Run(name);
  }
  return true;
}

bool LogWriter::TruncateLog(const char* base_text, const char* position_text) {
  int64 position;
  if (base_text == nullptr || !TextToPosition(position_text, &position) || position < 0) {
    PQ_LOG(WARNING) << "TruncateLog: malformed position "
                    << (position_text ? position_text : "(null)");
    return false;
  }
  const ::string base = base_text;
  vector<int> numbers;
  ::string error;
  if (!logs::ListLogFiles(base, &numbers, &error)) {
    PQ_LOG(WARNING) << "TruncateLog: " << error;
    return false;
  }
  LogBase names(base);
  const int keep = LogPositionToFileNumber(position);
  const int64 offset = LogPositionToOffset(position);
  const ::string kept_name = names.FileName(keep);
  const int64 size = logs::LogFileSize(kept_name);
  // The position must lie in the log: inside (or at the end of) an
  // existing file, or at offset 0 of a file that is not there.
  if (size < 0 ? offset != 0 : offset > size) {
    PQ_LOG(WARNING) << "TruncateLog: " << PositionToText(position) << " lies outside log " << base;
    return false;
  }
  // Newest first, so that a failure leaves a log that still reads in order.
  for (auto it = numbers.rbegin(); it != numbers.rend() && *it > keep; ++it) {
    const ::string name = names.FileName(*it);
    if (!File::Delete(name.c_str())) {
      PQ_LOG(WARNING) << "TruncateLog: cannot delete " << name;
      return false;
    }
  }
  if (size < 0 || size == offset) return true;
  File* f = File::Open(kept_name.c_str(), "r+");
  if (f == nullptr) {
    PQ_LOG(WARNING) << "TruncateLog: cannot open " << kept_name;
    return false;
  }
  const bool ok = f->Truncate(offset);
  if (!ok) PQ_LOG(WARNING) << "TruncateLog: " << f->GetCurrentErrorMessage();
  f->Close();
  delete f;
  return ok;
}
