// Helpers shared by the File and FileFactory implementation files; not part
// of the library's interface.
#ifndef FILE_BASE_FILE_FACTORY_INTERNAL_H_
#define FILE_BASE_FILE_FACTORY_INTERNAL_H_

#include <functional>

#include "file/base/util/base_types.h"
#include "file/base/util/errors.h"
#include "file/base/core/forward.h"
#include "file/base/core/operation.h"

namespace file_internal {

// How many library operations the current thread is inside. Only the
// outermost one clears and tags the caller's Operation, so an operation
// built from others reports under its own name.
class OpNesting {
 public:
  OpNesting() { ++depth_; }
  ~OpNesting() { --depth_; }
  OpNesting(const OpNesting&) = delete;
  OpNesting& operator=(const OpNesting&) = delete;
  // True for the outermost operation (checked after construction).
  static bool outermost() { return depth_ == 1; }

 private:
  // Read three times per operation: initial-exec spares the library, a
  // shared object, a __tls_get_addr call per read for these few bytes.
  static thread_local int depth_ __attribute__((tls_model("initial-exec")));
};

// Brackets one by-name operation: supplies a scratch Operation when the
// caller gave none (so primitives can always record into one), refuses
// passed deadlines and empty names, and tags the caller's Operation. The
// scratch Operation is never seen outside the call, so it is not tagged or
// timed. `name` must outlive the NamedOp (it is the operation's argument).
class NamedOp {
 public:
  NamedOp(file::Operation* caller, const char* what, const char* name);
  ~NamedOp();
  NamedOp(const NamedOp&) = delete;
  NamedOp& operator=(const NamedOp&) = delete;

  // False (failure recorded) when the operation must not run. `name` is the
  // argument to validate (null or empty is refused).
  bool Begin(const char* name);
  // Records "<what> <name>: <reason>"; returns false.
  bool Fail(file::ErrorCode code, const char* reason);
  file::Operation* op() { return op_; }

 private:
  OpNesting nesting_;
  file::Operation scratch_;
  file::Operation* const op_;
  const char* const what_;
  const char* const name_;
  bool started_ = false;
};

// Copies a failure into `to` (when not null and not the same); false.
bool CopyFailure(const file::Operation& from, file::Operation* to);

// Runs `work` on the worker pool with a fresh Operation and reports to
// `done`: OK and the (non-negative) result, or the recorded error and 0. Work
// that throws still finishes `done`: ERROR_TEMPORARY for std::bad_alloc,
// ERROR_UNKNOWN for anything else.
bool QueueNamedWork(AsyncIO* done, std::function<int64(file::Operation*)> work);

// Whole-file reads: false (ERROR_NO_SPACE recorded) when `size` bytes could
// never be held in this machine's memory, so that a huge sparse file fails at
// once instead of exhausting memory on the way.
bool CheckWholeFileFits(int64 size, const ::string& name, file::Operation* op);
// Never reserve more than this ahead of reading: a file's size is a hint, and
// the string grows as the bytes actually arrive.
inline constexpr int64 kMaxWholeFileReserve = int64{64} << 20;

// The failures of a bulk call, name by name: the code of the first and every
// name's message, joined with "; " (for example "Delete /a: No such file or
// directory; Delete /d: Is a directory").
class BulkFailures {
 public:
  void Add(const file::Operation& failed);
  // Sets op to OK or to the collected failures (op may be null).
  void Report(file::Operation* op) const;
  bool empty() const { return count_ == 0; }

 private:
  file::ErrorCode code_ = file::OK;
  ::string message_;
  int count_ = 0;
};

// Runs `one` for each name with its own Operation (carrying the caller's
// deadline); fills one flag per name in order, reports every failure into
// `op` (BulkFailures) and returns true when all succeeded.
bool RunBulk(const vector<::string>& names, file::Operation* op, vector<bool>* results,
             const std::function<bool(const char*, file::Operation*)>& one);

// Copies the bytes of `from` (served by `source`) into `to` (served by
// `target`, created or truncated), honouring `limit` when not null.
bool CopyFileBytes(FileFactory* source, const ::string& from, FileFactory* target,
                   const ::string& to, BandwidthLimit* limit, file::Operation* op);

}  // namespace file_internal

#endif  // FILE_BASE_FILE_FACTORY_INTERNAL_H_
