// The shared layer of File handles: bookkeeping around the primitives of a
// concrete file system (open state, deadlines, errors, attribute
// enforcement, statistics, the open-handle list).
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <list>
#include <mutex>
#include <new>
#include <stdexcept>

#include "file/base/core/async.h"
#include "file/base/core/attr_record.h"
#include "file/base/core/file_attributes.h"
#include "file/base/file.h"
#include "file/base/core/file_factory_internal.h"
#include "file/base/core/operation.h"

namespace {

// Every open handle, for GetOpenFiles.
struct OpenHandleList {
  std::mutex mu;
  std::list<const File*> handles;
};

OpenHandleList& OpenHandles() {
  static OpenHandleList* list = new OpenHandleList;
  return *list;
}

constexpr uint64 kMaxIoSize =
    static_cast<uint64>(std::numeric_limits<int64>::max());

// ReadToString reads in chunks that start at most this large and then grow
// with the data read: the size of a file says little about what fits in
// memory (a sparse file can be far larger than the machine).
constexpr uint64 kReadChunk = 64 * 1024;
constexpr uint64 kMaxFirstReadChunk = 1024 * 1024;

// No buffer larger than the machine's memory can ever be filled; refusing
// it up front beats growing towards it until the process is killed.
uint64 PhysicalMemory() {
  static const uint64 bytes = [] {
    const long pages = sysconf(_SC_PHYS_PAGES);  // NOLINT
    const long page = sysconf(_SC_PAGESIZE);     // NOLINT
    if (pages <= 0 || page <= 0) return kMaxIoSize;
    return static_cast<uint64>(pages) * static_cast<uint64>(page);
  }();
  return bytes;
}

}  // namespace

// Brackets one handle operation: refuses passed deadlines and (when asked)
// handles that are not open, tags the Operation, and when the operation set
// a handle error, copies it into the caller's Operation.
class FileOpScope {
 public:
  FileOpScope(File* file, file::Operation* op, const char* what)
      : file_(file), op_(op), what_(what) {
    std::lock_guard<std::mutex> lock(file_->error_mu_);
    error_seq_at_start_ = file_->error_seq_;
  }

  ~FileOpScope() {
    if (op_ == nullptr) return;
    int code = file::OK;
    ::string message;
    {
      std::lock_guard<std::mutex> lock(file_->error_mu_);
      if (file_->error_seq_ != error_seq_at_start_) {
        code = file_->error_code_;
        message = file_->error_message_;
      }
    }
    if (code != file::OK) {
      op_->SetError(static_cast<file::ErrorCode>(code), message);
    }
    if (started_) op_->InternalFinish();
  }

  // False (with the handle error set) when the operation must not run.
  bool Begin(bool needs_open = true) {
    if (op_ != nullptr) {
      if (file_internal::OpNesting::outermost()) {
        op_->ClearError();
        op_->InternalStart(what_, file_->name_);
        started_ = true;
      }
      if (op_->DeadlineExceeded()) {
        return file_->SetError(file::ERROR_DEADLINE_EXCEEDED, what_,
                               "deadline exceeded");
      }
    }
    if (needs_open) {
      // Held until the operation ends, so Close waits for it.
      if (file_->closing_ == 0) {
        io_lock_ = std::shared_lock<std::shared_mutex>(file_->io_mu_);
      }
      if (!io_lock_.owns_lock() || !file_->is_open_) {
        return file_->SetError(file::ERROR_INVALID_ARGUMENT, what_,
                               "file is not open");
      }
    }
    return true;
  }

  bool RequireReadable() {
    if (file_->open_mode_.read) return true;
    return file_->SetError(file::ERROR_PERMISSION_DENIED, what_,
                           "file is not open for reading");
  }

  bool RequireWritable() {
    if (file_->open_mode_.write) return true;
    return file_->SetError(file::ERROR_PERMISSION_DENIED, what_,
                           "file is not open for writing");
  }

 private:
  file_internal::OpNesting nesting_;
  File* const file_;
  file::Operation* const op_;
  const char* const what_;
  uint64 error_seq_at_start_ = 0;
  bool started_ = false;
  std::shared_lock<std::shared_mutex> io_lock_;
};

namespace {

FileOpStats& Stats() { return *File::opstats(); }

}  // namespace

File::File(FileFactory* factory, const char* name, const char* mode,
           const FileOpenOptions& options)
    : factory_(factory),
      name_(name != nullptr ? name : ""),
      mode_(mode != nullptr ? mode : ""),
      options_(options),
      // Records are plain files to themselves: they have no record.
      is_attribute_record_(file::IsAttributeRecordName(name_.c_str())) {
  mode_valid_ = file::ParseOpenMode(mode, &open_mode_);
}

bool File::QueueWork(AsyncIO* done, file::Operation* caller_op,
                     const char* what,
                     std::function<int64(file::Operation*)> work) {
  if (done == nullptr) return false;
  file::RunAsync([this, done, caller_op, what, work = std::move(work)]() {
    file::Operation scratch;
    file::Operation* op = caller_op != nullptr ? caller_op : &scratch;
    int64 result = -1;
    // The completion is owed whatever happens: a job that throws must still
    // report, or its waiters would wait forever.
    try {
      result = work(op);
    } catch (const std::bad_alloc&) {
      SetError(file::ERROR_TEMPORARY, what, std::strerror(ENOMEM));
    } catch (const std::exception& e) {
      SetError(file::ERROR_UNKNOWN, what, e.what());
    } catch (...) {
      SetError(file::ERROR_UNKNOWN, what, "unknown exception");
    }
    int error = file::OK;
    if (result < 0) {
      error = op->error();
      if (error == file::OK) {
        // Operations that take no Operation leave their failure on the
        // handle.
        error = GetCurrentErrorCode();
        if (error == file::OK) error = file::ERROR_UNKNOWN;
        op->SetError(static_cast<file::ErrorCode>(error),
                     GetCurrentErrorMessage());
      }
    }
    done->Finish(error, result < 0 ? 0 : result);
  });
  return true;
}

File::~File() {
  // A concrete destructor has already closed the file (CloseBeforeDestroy);
  // this only keeps the open-handle list honest if it did not.
  Unlist();
}

void File::CloseBeforeDestroy() { CloseInternal(); }

void File::List() {
  OpenHandleList& list = OpenHandles();
  std::lock_guard<std::mutex> lock(list.mu);
  list.handles.push_back(this);
  listed_ = true;
}

void File::Unlist() {
  if (!listed_) return;
  OpenHandleList& list = OpenHandles();
  std::lock_guard<std::mutex> lock(list.mu);
  list.handles.remove(this);
  listed_ = false;
}

::string File::GetOpenFiles() {
  OpenHandleList& list = OpenHandles();
  std::lock_guard<std::mutex> lock(list.mu);
  ::string text;
  for (const File* f : list.handles) {
    text += f->name_;
    text += ' ';
    text += f->mode_;
    text += '\n';
  }
  return text;
}

// ---- Error state -------------------------------------------------------------

void File::RecordError(int code, const ::string& message) {
  std::lock_guard<std::mutex> lock(error_mu_);
  error_code_ = code;
  error_message_ = message;
  ++error_seq_;
  ++Stats().errors;
}

bool File::SetError(file::ErrorCode code, const char* what,
                    const char* reason) {
  ::string message = what;
  message += ' ';
  message += name_;
  message += ": ";
  message += reason;
  RecordError(code, message);
  return false;
}

bool File::SetErrnoError(const char* what, int errnum) {
  RecordError(file::TranslateFromErrno(errnum),
              ::string(what) + " " + name_ + ": " + std::strerror(errnum));
  return false;
}

bool File::SetErrorFrom(const file::Operation& op) {
  RecordError(op.error() != file::OK ? op.error() : file::ERROR_UNKNOWN,
              op.message());
  return false;
}

bool File::AllocateOrFail(uint64 size, const char* what,
                          const std::function<void()>& allocate) {
  if (size > PhysicalMemory()) {
    return SetError(file::ERROR_NO_SPACE, what,
                    ("cannot hold " + std::to_string(size) +
                     " bytes: more than this machine's memory").c_str());
  }
  try {
    allocate();
  } catch (const std::bad_alloc&) {
    return SetError(file::ERROR_TEMPORARY, what,
                    ("cannot hold " + std::to_string(size) + " bytes: " +
                     std::strerror(ENOMEM)).c_str());
  } catch (const std::length_error&) {
    return SetError(file::ERROR_NO_SPACE, what,
                    ("cannot hold " + std::to_string(size) +
                     " bytes in one buffer").c_str());
  }
  return true;
}

bool File::ResizeOrFail(::string* bytes, uint64 size, const char* what) {
  return AllocateOrFail(size, what,
                        [bytes, size] { bytes->resize(static_cast<size_t>(size)); });
}

Attr_t File::attributes() const {
  std::lock_guard<std::mutex> lock(error_mu_);
  return attributes_;
}

void File::CacheAttributes(Attr_t attr, uint64 generation) {
  std::lock_guard<std::mutex> lock(error_mu_);
  attributes_ = attr;
  attributes_generation_ = generation;
}

bool File::ReloadAttributes(Attr_t* attr) {
  *attr = Attr_t(0);
  if (is_attribute_record_) return true;
  // Taken before reading, so a change made meanwhile leaves the cache stale.
  const uint64 generation = file::AttributeRecordGeneration();
  file::Operation lookup;
  if (!factory_->GetAttributes(name_.c_str(), attr, &lookup)) {
    return SetErrorFrom(lookup);
  }
  CacheAttributes(*attr, generation);
  return true;
}

bool File::CurrentAttributes(Attr_t* attr) {
  {
    std::lock_guard<std::mutex> lock(error_mu_);
    if (attributes_generation_ == file::AttributeRecordGeneration()) {
      *attr = attributes_;
      return true;
    }
  }
  return ReloadAttributes(attr);
}

::string File::GetCurrentErrorMessage() {
  std::lock_guard<std::mutex> lock(error_mu_);
  return error_message_;
}

int File::GetCurrentErrorCode() {
  std::lock_guard<std::mutex> lock(error_mu_);
  return error_code_;
}

void File::ClearError() {
  std::lock_guard<std::mutex> lock(error_mu_);
  error_code_ = file::OK;
  error_message_.clear();
}

bool File::IsSoftError() {
  const int code = GetCurrentErrorCode();
  return code == file::ERROR_TEMPORARY || code == file::ERROR_DEADLINE_EXCEEDED;
}

// ---- Open and close ------------------------------------------------------------

bool File::Open() { return OpenWithOp(nullptr); }

bool File::OpenWithOp(file::Operation* op) {
  FileOpScope scope(this, op, "Open");
  if (!scope.Begin(/*needs_open=*/false)) return false;
  std::unique_lock<std::shared_mutex> exclusive(io_mu_);
  if (is_open_) return SetError(file::ERROR_INVALID_ARGUMENT, "Open",
                                "file is already open");
  if (!mode_valid_) {
    return SetError(file::ERROR_INVALID_ARGUMENT, "Open",
                    ("bad mode '" + mode_ + "'").c_str());
  }
  if (name_.empty()) {
    return SetError(file::ERROR_INVALID_ARGUMENT, "Open", "empty file name");
  }
  // Attributes only restrict writing, so a read-only open does not consult
  // the record. Records are plain files to themselves: loading a record must
  // not look for a record of the record.
  Attr_t recorded(0);
  // A read-only handle's attributes count as not loaded: nothing it does
  // depends on them.
  uint64 recorded_generation = kNotLoaded;
  if (open_mode_.write && !is_attribute_record_) {
    recorded_generation = file::AttributeRecordGeneration();
    file::Operation lookup;
    if (!factory_->GetAttributes(name_.c_str(), &recorded, &lookup)) {
      ++Stats().open_failures;
      return SetErrorFrom(lookup);
    }
  }
  if (open_mode_.write && recorded.forbids_writing()) {
    ++Stats().open_failures;
    return SetError(file::ERROR_PERMISSION_DENIED, "Open",
                    "file is finalized or frozen");
  }
  if (open_mode_.truncate && recorded.has(Attr_t::APPEND)) {
    ++Stats().open_failures;
    return SetError(file::ERROR_PERMISSION_DENIED, "Open",
                    "file is append-only and cannot be truncated");
  }
  // A locked open must not empty a file somebody else holds: truncate only
  // once the lock is ours.
  defer_truncate_ = open_mode_.truncate && options_.lock_info() != nullptr;
  if (!DoOpen()) {
    defer_truncate_ = false;
    ++Stats().open_failures;
    return false;
  }
  is_open_ = true;
  if (options_.lock_info() != nullptr &&
      !AcquireLockInternal(options_.lock_info(), "Open")) {
    CloseLocked();
    defer_truncate_ = false;
    ++Stats().open_failures;
    return false;
  }
  if (defer_truncate_) {
    defer_truncate_ = false;
    // Only what has bytes needs cutting (pipes and devices cannot be cut,
    // and the open would not have truncated them either).
    const int64 size = DoSize();
    if (size < 0 || (size > 0 && !DoTruncate(0))) {
      CloseLocked();
      ++Stats().open_failures;
      return false;
    }
  }
  const int pattern = options_.access_pattern();
  const int policy = options_.cache_policy();
  if ((pattern != file::NORMAL || policy != file::CACHED) &&
      !ApplyAccessPattern(pattern, policy)) {
    CloseLocked();
    ++Stats().open_failures;
    return false;
  }
  CacheAttributes(recorded, recorded_generation);
  const Attr_t requested = options_.attributes();
  if (open_mode_.write && requested.attr != 0 && !requested.is_default()) {
    file::Operation store;
    if (!factory_->SetAttributesWithOp(name_.c_str(), requested, &store)) {
      SetErrorFrom(store);
      CloseLocked();
      ++Stats().open_failures;
      return false;
    }
    CacheAttributes(requested, file::AttributeRecordGeneration());
  }
  List();
  ++Stats().opens;
  return true;
}

bool File::AcquireLockInternal(LockInfo* lock, const char* what) {
  if (lock == nullptr) {
    return SetError(file::ERROR_INVALID_ARGUMENT, what, "no lock given");
  }
  std::lock_guard<std::mutex> guard(lock_mu_);
  file::Operation scratch;
  std::unique_ptr<file::HeldLock> held;
  // The lock already held in the mode asked for stays: letting go of it to
  // take it again could only lose it.
  if (lock_ != nullptr && lock->exclusive() == lock_exclusive_) return true;
  if (lock_ == nullptr) {
    if (!factory_->AcquireLock(name_, *lock, &held, &scratch)) {
      return SetErrorFrom(scratch);
    }
    lock_ = std::move(held);
    lock_exclusive_ = lock->exclusive();
    return true;
  }
  // A change of mode: the new lock would conflict with our own old one, so
  // let go of that first, and take it back if the new one is refused.
  const LockInfo old(lock_exclusive_ ? LockInfo::EXCLUSIVE : LockInfo::SHARED,
                     /*blocking=*/false);
  lock_.reset();
  if (factory_->AcquireLock(name_, *lock, &held, &scratch)) {
    lock_ = std::move(held);
    lock_exclusive_ = lock->exclusive();
    return true;
  }
  file::Operation again;
  if (factory_->AcquireLock(name_, old, &held, &again)) {
    lock_ = std::move(held);
    return SetErrorFrom(scratch);
  }
  scratch.SetError(static_cast<file::ErrorCode>(scratch.error()),
                   scratch.message() +
                       " (and the lock held before was taken by another "
                       "holder meanwhile)");
  return SetErrorFrom(scratch);
}

bool File::AccessWithLock(LockInfo* lock) {
  FileOpScope scope(this, nullptr, "AccessWithLock");
  if (!scope.Begin()) return false;
  return AcquireLockInternal(lock, "AccessWithLock");
}

bool File::CloseInternal() {
  ++closing_;
  std::unique_lock<std::shared_mutex> exclusive(io_mu_);
  --closing_;
  return CloseLocked();
}

bool File::CloseLocked() {
  if (!is_open_) return true;
  lock_.reset();
  const bool closed = DoClose();
  is_open_ = false;
  Unlist();
  ++Stats().closes;
  return closed;
}

bool File::Close() { return CloseInternal(); }

namespace file {
bool CloseAndDelete(File* f) {
  const bool closed = f->Close();
  delete f;
  return closed;
}
}  // namespace file

bool File::OpenAsync(AsyncIO* done) {
  return QueueWork(done, nullptr, "Open", [this](file::Operation* op) {
    return OpenWithOp(op) ? int64{0} : int64{-1};
  });
}

// ---- Capabilities -----------------------------------------------------------
// Every file system here supports locks, atomic appends and the async forms
// (the latter through the shared worker pool).

bool File::SupportsHaspLockedAccess() { return true; }
bool File::SupportsConcurrentAppenders() { return true; }
bool File::SupportsAsyncWrite() { return true; }
bool File::SupportsAsyncOpen() { return true; }
bool File::SupportsAsyncRead() { return true; }
bool File::SupportsAsyncGetMatchingFiles() { return true; }
bool File::SupportsAsyncStat() { return true; }
bool File::SupportsAsyncDelete() { return true; }
bool File::SupportsAsyncSync() { return true; }
// No kernel AIO contexts to hand back.
bool File::SupportsAIORelease() { return false; }
bool File::IsLocalFile() { return false; }
::string File::CreateFileName() { return name_; }

bool File::IsFifo() {
  FileOpScope scope(this, nullptr, "IsFifo");
  if (!scope.Begin()) return false;
  return DoIsFifo();
}

bool File::DoIsFifo() { return false; }
bool File::DoFlush() { return true; }
bool File::DoSetAccessPattern(int, int) { return true; }

// ---- Deletion -------------------------------------------------------------------

bool File::Delete() { return DeleteWithOp(nullptr); }

bool File::DeleteWithOp(file::Operation* op) {
  FileOpScope scope(this, op, "Delete");
  if (!scope.Begin(/*needs_open=*/false)) return false;
  file::Operation scratch;
  if (!factory_->DeleteWithOp(name_.c_str(), &scratch)) {
    return SetErrorFrom(scratch);
  }
  return true;
}

bool File::DeleteAsync(AsyncIO* done) {
  return QueueWork(done, nullptr, "Delete", [this](file::Operation* op) {
    return DeleteWithOp(op) ? int64{0} : int64{-1};
  });
}

// ---- Size and position ------------------------------------------------------------

bool File::Truncate(int64 length) { return TruncateWithOp(length, nullptr); }

bool File::TruncateWithOp(int64 length, file::Operation* op) {
  FileOpScope scope(this, op, "Truncate");
  if (!scope.Begin() || !scope.RequireWritable()) return false;
  if (length < 0) {
    return SetError(file::ERROR_INVALID_ARGUMENT, "Truncate",
                    "negative length");
  }
  // Only cutting the file needs the record (read as it is now: it may have
  // changed since the open); growing is allowed on APPEND files too.
  Attr_t attr;
  if (!CurrentAttributes(&attr)) return false;
  if (attr.has(Attr_t::APPEND)) {
    const int64 size = DoSize();
    if (size < 0) return false;
    if (length < size) {
      return SetError(file::ERROR_PERMISSION_DENIED, "Truncate",
                      "file is append-only");
    }
  }
  if (!DoTruncate(length)) return false;
  size_hint_ = length;
  return true;
}

bool File::Resize(int64 length, file::Operation* op) {
  return TruncateWithOp(length, op);
}

bool File::TruncateAsync(int64 length, AsyncIO* done) {
  return QueueWork(done, nullptr, "Truncate",
                   [this, length](file::Operation* op) {
                     return TruncateWithOp(length, op) ? int64{0} : int64{-1};
                   });
}

int64 File::Size() {
  FileOpScope scope(this, nullptr, "Size");
  if (!scope.Begin()) return -1;
  const int64 size = DoSize();
  if (size >= 0) size_hint_ = size;
  return size;
}

int64 File::SizeHint() {
  const int64 hint = size_hint_;
  if (hint >= 0) return hint;
  return is_open_ ? Size() : -1;
}

bool File::Flush() {
  FileOpScope scope(this, nullptr, "Flush");
  return scope.Begin() && DoFlush();
}

bool File::Sync() {
  FileOpScope scope(this, nullptr, "Sync");
  if (!scope.Begin()) return false;
  ++Stats().syncs;
  return DoFlush() && DoSync(/*data_only=*/false);
}

bool File::DataSync() {
  FileOpScope scope(this, nullptr, "DataSync");
  if (!scope.Begin()) return false;
  ++Stats().syncs;
  return DoFlush() && DoSync(/*data_only=*/true);
}

bool File::SyncAsync(AsyncIO* done) {
  return QueueWork(done, nullptr, "Sync", [this](file::Operation*) {
    return Sync() ? int64{0} : int64{-1};
  });
}

int64 File::Tell() {
  FileOpScope scope(this, nullptr, "Tell");
  if (!scope.Begin()) return -1;
  return DoTell();
}

bool File::eof() {
  FileOpScope scope(this, nullptr, "eof");
  if (!scope.Begin()) return true;
  const int64 position = DoTell();
  const int64 size = DoSize();
  if (position < 0 || size < 0) return true;
  return position >= size;
}

bool File::Seek(int64 position) {
  FileOpScope scope(this, nullptr, "Seek");
  if (!scope.Begin()) return false;
  if (position < 0) {
    return SetError(file::ERROR_INVALID_ARGUMENT, "Seek",
                    "negative position");
  }
  return DoSeek(position);
}

// ---- Sequential I/O ------------------------------------------------------------------

int64 File::Read(void* buffer, uint64 size) {
  return ReadWithOp(buffer, size, nullptr);
}

int64 File::ReadWithOp(void* buffer, uint64 size, file::Operation* op) {
  FileOpScope scope(this, op, "Read");
  if (!scope.Begin() || !scope.RequireReadable()) return -1;
  if (!CheckBuffer(buffer, size, "Read")) return -1;
  if (size == 0) return 0;
  const int64 n = DoRead(buffer, size);
  if (n >= 0) {
    ++Stats().reads;
    Stats().bytes_read += n;
  }
  return n;
}

// APPEND files take writes only at their end, whatever the handle's mode.
// A write at the end is allowed either way, so only writes elsewhere read
// the record, as it is now: APPEND may have been set or cleared since the
// open. Sequential writes thus cost a size check, not a record read.
bool File::CheckAppendOnly(int64 offset, const char* what) {
  if (is_attribute_record_) return true;
  Attr_t attr;
  if (!CurrentAttributes(&attr)) return false;
  if (!attr.has(Attr_t::APPEND)) return true;
  if (offset == kAtPosition) {
    // A pipe has no position: whatever is written goes to its end.
    if (DoIsFifo()) return true;
    offset = DoTell();
    if (offset < 0) return false;
  }
  const int64 size = DoSize();
  if (size < 0) return false;
  if (offset == size) return true;
  return SetError(file::ERROR_PERMISSION_DENIED, what,
                  "file is append-only: writes must go to its end");
}

void File::CountWrite(int64 written) {
  if (written < 0) return;
  ++Stats().writes;
  Stats().bytes_written += written;
  size_hint_ = -1;
}

int64 File::Write(const void* buffer, uint64 size) {
  return WriteWithOp(buffer, size, nullptr);
}

int64 File::WriteWithOp(const void* buffer, uint64 size,
                        file::Operation* op) {
  FileOpScope scope(this, op, "Write");
  if (!scope.Begin() || !scope.RequireWritable()) return -1;
  if (!CheckBuffer(buffer, size, "Write")) return -1;
  if (size == 0) return 0;
  int64 written;
  if (open_mode_.append) {
    int64 offset;
    written = DoAppend(buffer, size, &offset);
  } else {
    if (!CheckAppendOnly(kAtPosition, "Write")) return -1;
    written = DoWrite(buffer, size);
  }
  CountWrite(written);
  return written;
}

int64 File::Append(const void* buffer, uint64 size) {
  FileOpScope scope(this, nullptr, "Append");
  if (!scope.Begin() || !scope.RequireWritable()) return -1;
  if (!CheckBuffer(buffer, size, "Append")) return -1;
  if (size == 0) return 0;
  int64 offset;
  const int64 written = DoAppend(buffer, size, &offset);
  CountWrite(written);
  return written;
}

int64 File::RecordAppend(IOBuffer* data) {
  FileOpScope scope(this, nullptr, "RecordAppend");
  if (!scope.Begin() || !scope.RequireWritable()) return -1;
  if (data == nullptr) {
    SetError(file::ERROR_INVALID_ARGUMENT, "RecordAppend", "no buffer");
    return -1;
  }
  int64 offset = -1;
  const int64 written = DoAppend(data->data(), data->size(), &offset);
  CountWrite(written);
  return written < 0 ? -1 : offset;
}

bool File::RecordAppendAsync(IOBuffer* data, int64* offset, AsyncIO* done) {
  return QueueWork(done, nullptr, "RecordAppend",
                   [this, data, offset](file::Operation*) {
                     const int64 landed = RecordAppend(data);
                     if (offset != nullptr) *offset = landed;
                     return landed < 0 ? int64{-1}
                                       : static_cast<int64>(data->size());
                   });
}

char* File::ReadLine(char* buffer, uint64 max_length) {
  FileOpScope scope(this, nullptr, "ReadLine");
  if (!scope.Begin() || !scope.RequireReadable()) return nullptr;
  if (buffer == nullptr || max_length == 0) return nullptr;
  const uint64 capacity = max_length - 1;  // room for the NUL
  uint64 length = 0;
  if (DoIsFifo()) {
    // A pipe cannot be rewound, so take one byte at a time.
    while (length < capacity) {
      const int64 n = DoRead(buffer + length, 1);
      if (n < 0) return nullptr;
      if (n == 0) break;
      if (buffer[length++] == '\n') break;
    }
  } else if (capacity > 0) {
    const int64 start = DoTell();
    if (start < 0) return nullptr;
    const int64 n = DoRead(buffer, capacity);
    if (n < 0) return nullptr;
    const void* newline = std::memchr(buffer, '\n', static_cast<size_t>(n));
    length = newline != nullptr
                 ? static_cast<const char*>(newline) - buffer + 1
                 : static_cast<uint64>(n);
    // Give back what lies past the line.
    if (static_cast<int64>(length) != n &&
        !DoSeek(start + static_cast<int64>(length))) {
      return nullptr;
    }
  }
  if (length == 0 && capacity > 0) return nullptr;  // end of file
  buffer[length] = '\0';
  ++Stats().reads;
  Stats().bytes_read += length;
  return buffer;
}

int64 File::ReadToString(::string* contents, int64 max_length) {
  FileOpScope scope(this, nullptr, "ReadToString");
  if (!scope.Begin() || !scope.RequireReadable()) return -1;
  if (contents == nullptr) {
    SetError(file::ERROR_INVALID_ARGUMENT, "ReadToString", "no string");
    return -1;
  }
  contents->clear();
  const uint64 limit = max_length < 0 ? kMaxIoSize
                                      : static_cast<uint64>(max_length);
  // Size the first chunk by what is left of the file, when that is known,
  // but only up to a cap: the size promises nothing about what memory can
  // hold, so the string grows with the bytes actually read.
  uint64 chunk = kReadChunk;
  if (!DoIsFifo()) {
    const int64 size = DoSize();
    const int64 position = DoTell();
    if (size >= 0 && position >= 0 && size > position) {
      const uint64 left =
          std::min<uint64>(static_cast<uint64>(size - position), limit);
      if (left > PhysicalMemory()) {
        SetError(file::ERROR_NO_SPACE, "ReadToString",
                 ("cannot hold " + std::to_string(left) +
                  " bytes: more than this machine's memory").c_str());
        return -1;
      }
      chunk = std::min<uint64>(left + 1, kMaxFirstReadChunk);
    }
  }
  while (contents->size() < limit) {
    const uint64 want = std::min<uint64>(chunk, limit - contents->size());
    const size_t old_size = contents->size();
    if (!ResizeOrFail(contents, old_size + want, "ReadToString")) return -1;
    const int64 n = DoRead(contents->data() + old_size, want);
    if (n < 0) {
      contents->resize(old_size);
      return -1;
    }
    contents->resize(old_size + static_cast<size_t>(n));
    if (n == 0) break;
    // A short read most likely met the end: look for more in a small chunk.
    // Otherwise double, so a large file takes few reads.
    chunk = static_cast<uint64>(n) < want
                ? kReadChunk
                : std::max<uint64>(kReadChunk, contents->size());
  }
  ++Stats().reads;
  Stats().bytes_read += static_cast<int64>(contents->size());
  return static_cast<int64>(contents->size());
}

// ---- Positioned I/O -------------------------------------------------------------------

bool File::CheckBuffer(const void* buffer, uint64 size, const char* what) {
  if (size <= kMaxIoSize && (buffer != nullptr || size == 0)) return true;
  return SetError(file::ERROR_INVALID_ARGUMENT, what, "bad buffer or size");
}

bool File::CheckRange(int64 offset, const void* buffer, int64 size, const char* what) {
  if (offset >= 0 && size >= 0 && (buffer != nullptr || size == 0)) return true;
  return SetError(file::ERROR_INVALID_ARGUMENT, what, "bad offset, buffer or size");
}

int64 File::PRead(int64 offset, void* buffer, int64 size) {
  return PReadWithOp(offset, buffer, size, nullptr);
}

int64 File::PReadWithOp(int64 offset, void* buffer, int64 size,
                        file::Operation* op) {
  FileOpScope scope(this, op, "PRead");
  if (!scope.Begin() || !scope.RequireReadable()) return -1;
  if (!CheckRange(offset, buffer, size, "PRead")) return -1;
  if (size == 0) return 0;
  const int64 n = DoPRead(offset, buffer, size);
  if (n >= 0) {
    ++Stats().reads;
    Stats().bytes_read += n;
  }
  return n;
}

int64 File::PWrite(int64 offset, const void* buffer, int64 size) {
  return PWriteWithOp(offset, buffer, size, nullptr);
}

int64 File::PWriteWithOp(int64 offset, const void* buffer, int64 size,
                         file::Operation* op) {
  FileOpScope scope(this, op, "PWrite");
  if (!scope.Begin() || !scope.RequireWritable()) return -1;
  if (!CheckRange(offset, buffer, size, "PWrite")) return -1;
  if (size == 0) return 0;
  // Append-mode handles write only at the end; a positioned write elsewhere
  // would be silently moved there by the kernel, so refuse it.
  if (open_mode_.append) {
    const int64 end = DoSize();
    if (end < 0) return -1;
    if (offset != end) {
      SetError(file::ERROR_INVALID_ARGUMENT, "PWrite",
               "append-mode handles write only at the end of file");
      return -1;
    }
  } else if (!CheckAppendOnly(offset, "PWrite")) {
    return -1;
  }
  const int64 written = DoPWrite(offset, buffer, size);
  CountWrite(written);
  return written;
}

int64 File::ReadRegion(void* buffer, uint64 offset, uint64 length) {
  if (offset > kMaxIoSize || length > kMaxIoSize) {
    SetError(file::ERROR_INVALID_ARGUMENT, "ReadRegion", "region too large");
    return -1;
  }
  return PRead(static_cast<int64>(offset), buffer, static_cast<int64>(length));
}

int64 File::WriteRegion(const void* buffer, uint64 offset, uint64 length) {
  if (offset > kMaxIoSize || length > kMaxIoSize) {
    SetError(file::ERROR_INVALID_ARGUMENT, "WriteRegion", "region too large");
    return -1;
  }
  return PWrite(static_cast<int64>(offset), buffer,
                static_cast<int64>(length));
}

bool File::PReadAsync(int64 offset, int64 length, IOBuffer* data,
                      int64* bytes_read, AsyncIO* done) {
  return PReadAsyncWithOp(offset, length, data, bytes_read, done, nullptr);
}

bool File::PReadAsyncWithOp(int64 offset, int64 length, IOBuffer* data,
                            int64* bytes_read, AsyncIO* done,
                            file::Operation* op) {
  if (data == nullptr || length < 0) {
    SetError(file::ERROR_INVALID_ARGUMENT, "PReadAsync", "bad buffer or length");
    return false;
  }
  return QueueWork(
      done, op, "PRead",
      [this, offset, length, data, bytes_read](file::Operation* o) {
        if (bytes_read != nullptr) *bytes_read = -1;
        const int64 n = PReadIntoBuffer(offset, length, data, o);
        if (bytes_read != nullptr) *bytes_read = n;
        return n;
      });
}

int64 File::PReadIntoBuffer(int64 offset, int64 length, IOBuffer* data,
                            file::Operation* op) {
  data->Clear();
  FileOpScope scope(this, op, "PRead");
  if (!scope.Begin() || !scope.RequireReadable()) return -1;
  if (offset < 0) {
    SetError(file::ERROR_INVALID_ARGUMENT, "PRead", "negative offset");
    return -1;
  }
  // Nothing past the end of file can be read, so the buffer need not be
  // larger than what lies before it, whatever length was asked for.
  if (!DoIsFifo()) {
    const int64 size = DoSize();
    if (size < 0) return -1;
    length = std::min(length, std::max<int64>(0, size - offset));
  }
  if (length == 0) return 0;
  if (!AllocateOrFail(static_cast<uint64>(length), "PRead", [data, length] {
        data->Resize(static_cast<size_t>(length));
      })) {
    return -1;
  }
  const int64 n = DoPRead(offset, data->mutable_data(), length);
  data->Resize(n < 0 ? 0 : static_cast<size_t>(n));
  if (n >= 0) {
    ++Stats().reads;
    Stats().bytes_read += n;
  }
  return n;
}

bool File::PWriteAsync(int64 offset, IOBuffer* data, int64* written,
                       AsyncIO* done) {
  return PWriteAsyncWithOp(offset, data, written, done, nullptr);
}

bool File::PWriteAsyncWithOp(int64 offset, IOBuffer* data, int64* written,
                             AsyncIO* done, file::Operation* op) {
  if (data == nullptr) {
    SetError(file::ERROR_INVALID_ARGUMENT, "PWriteAsync", "no buffer");
    return false;
  }
  return QueueWork(
      done, op, "PWrite", [this, offset, data, written](file::Operation* o) {
        const int64 n = PWriteWithOp(offset, data->data(),
                                     static_cast<int64>(data->size()), o);
        if (written != nullptr) *written = n;
        return n;
      });
}

// ---- Verified and variant reads ------------------------------------------------------------

int64 File::VerifyRead(int64 n, const void* buffer, FileDataVerifier* verifier,
                       const char* what) {
  if (n < 0) return n;
  if (!verifier->Verify(buffer, n)) {
    SetError(file::INTERNAL_ERROR, what, "data failed verification");
    return -1;
  }
  return n;
}

// Checks [offset, offset + n), just read into `buffer`, against the file's
// recorded checksum (VerifyRange reads the rest of the blocks around it).
int64 File::VerifyReadAgainstRecord(int64 offset, int64 n, const void* buffer,
                                    const char* what) {
  if (n < 0) return n;
  FileAttr attr;
  if (!file_attributes->Load(name_.c_str(), &attr)) {
    SetError(file::ERROR_NOT_FOUND, what,
             "no checksum is recorded for the file to verify against");
    return -1;
  }
  if (n == 0) return 0;
  if (offset + n > attr.checksum.Length()) {
    SetError(file::ERROR_PAST_EOF, what,
             ("only the first " + std::to_string(attr.checksum.Length()) +
              " bytes have a recorded checksum").c_str());
    return -1;
  }
  const char* bytes = static_cast<const char*>(buffer);
  auto read = [&](int64 position, void* out, int64 length) -> int64 {
    char* to = static_cast<char*>(out);
    int64 done = 0;
    while (done < length) {
      const int64 at = position + done;
      int64 got;
      if (at >= offset && at < offset + n) {
        got = std::min(length - done, offset + n - at);
        std::memcpy(to + done, bytes + (at - offset), static_cast<size_t>(got));
      } else {
        const int64 want = at < offset ? std::min(length - done, offset - at) : length - done;
        got = PRead(at, to + done, want);
        if (got < 0) return -1;
        if (got == 0) break;
      }
      done += got;
    }
    return done;
  };
  ::string why;
  if (!attr.checksum.VerifyRange(offset, n, read, &why)) {
    SetError(file::INTERNAL_ERROR, what, ("data loss: " + why).c_str());
    return -1;
  }
  return n;
}

int64 File::ReadWithVerifier(void* buffer, uint64 size,
                             FileDataVerifier** verifier) {
  if (verifier != nullptr && *verifier != nullptr) {
    return VerifyRead(Read(buffer, size), buffer, *verifier, "ReadWithVerifier");
  }
  const int64 offset = Tell();
  if (offset < 0) return -1;
  const int64 n = Read(buffer, size);
  return VerifyReadAgainstRecord(offset, n, buffer, "ReadWithVerifier");
}

int64 File::PReadWithVerifier(int64 offset, void* buffer, int64 size,
                              file::Operation* op,
                              FileDataVerifier** verifier) {
  const int64 n = PReadWithOp(offset, buffer, size, op);
  FileOpScope scope(this, op, "PReadWithVerifier");
  if (verifier != nullptr && *verifier != nullptr) {
    return VerifyRead(n, buffer, *verifier, "PReadWithVerifier");
  }
  return VerifyReadAgainstRecord(offset, n, buffer, "PReadWithVerifier");
}

bool File::ReadMultipleDataVariants(int64, int64, int, vector<DataVariant*>*,
                                    file::Operation* op) {
  FileOpScope scope(this, op, "ReadMultipleDataVariants");
  return SetError(file::ERROR_UNIMPLEMENTED, "ReadMultipleDataVariants",
                  "files here keep a single variant of their data");
}

// ---- Blocks and mappings ---------------------------------------------------------------------

// Cuts [offset, offset + length) to the file; false (error set) when the
// range starts past the end.
bool File::ClipRange(const char* what, int64 offset, int64* length) {
  if (offset < 0 || *length < 0) {
    return SetError(file::ERROR_INVALID_ARGUMENT, what,
                    "negative offset or length");
  }
  const int64 size = DoSize();
  if (size < 0) return false;
  if (offset > size) {
    return SetError(file::ERROR_PAST_EOF, what, "offset past end of file");
  }
  *length = std::min(*length, size - offset);
  return true;
}

MemBlock* File::GetMemBlock(int64 offset, int64 length, int64) {
  FileOpScope scope(this, nullptr, "GetMemBlock");
  if (!scope.Begin() || !scope.RequireReadable()) return nullptr;
  if (!ClipRange("GetMemBlock", offset, &length)) return nullptr;
  return DoGetBlock(offset, length, /*must_map=*/false);
}

MemBlock* File::GetMemBlockFromDisk(int64 offset, int64 length,
                                    int max_retries) {
  FileOpScope scope(this, nullptr, "GetMemBlockFromDisk");
  if (!scope.Begin() || !scope.RequireReadable()) return nullptr;
  if (!ClipRange("GetMemBlockFromDisk", offset, &length)) return nullptr;
  ::string bytes;
  if (!ResizeOrFail(&bytes, static_cast<uint64>(length),
                    "GetMemBlockFromDisk")) {
    return nullptr;
  }
  int64 done = 0;
  int retries_left = std::max(0, max_retries);
  while (done < length) {
    const int64 n = DoPRead(offset + done, bytes.data() + done, length - done);
    if (n < 0) {
      if (IsSoftError() && retries_left-- > 0) continue;
      return nullptr;
    }
    if (n == 0) break;  // the file shrank under us
    done += n;
  }
  bytes.resize(static_cast<size_t>(done));
  return MemBlock::FromCopy(std::move(bytes), offset);
}

MemBlock* File::TryMMap(int64 offset, int64 length) {
  FileOpScope scope(this, nullptr, "TryMMap");
  if (!scope.Begin() || !scope.RequireReadable()) return nullptr;
  if (offset < 0 || length <= 0) {
    SetError(file::ERROR_INVALID_ARGUMENT, "TryMMap",
             "negative offset or empty range");
    return nullptr;
  }
  const int64 size = DoSize();
  if (size < 0) return nullptr;
  if (size < kMinMMapSize) {
    SetError(file::ERROR_INVALID_ARGUMENT, "TryMMap",
             "file is smaller than the 32768 bytes worth mapping");
    return nullptr;
  }
  if (offset > size || length > size - offset) {
    SetError(file::ERROR_PAST_EOF, "TryMMap", "range passes end of file");
    return nullptr;
  }
  return DoGetBlock(offset, length, /*must_map=*/true);
}

// ---- Mirrors: not kept by these file systems -------------------------------------------------

void File::FindAllMirrors() {
  SetError(file::ERROR_UNIMPLEMENTED, "FindAllMirrors",
           "files here have no mirrors");
}

bool File::IsMirrorOnDisk(int, int64) {
  return SetError(file::ERROR_UNIMPLEMENTED, "IsMirrorOnDisk",
                  "files here have no mirrors");
}

bool File::FindAllMirrorDisks(int64, vector<int>*) {
  return SetError(file::ERROR_UNIMPLEMENTED, "FindAllMirrorDisks",
                  "files here have no mirrors");
}

// ---- Attributes, hints and stat ------------------------------------------------------------------

bool File::SetAttributesWithOp(Attr_t attr, file::Operation* op) {
  FileOpScope scope(this, op, "SetAttributes");
  if (!scope.Begin(/*needs_open=*/false)) return false;
  file::Operation scratch;
  if (!factory_->SetAttributesWithOp(name_.c_str(), attr, &scratch)) {
    return SetErrorFrom(scratch);
  }
  CacheAttributes(attr.is_default() ? Attr_t(0) : attr, file::AttributeRecordGeneration());
  return true;
}

bool File::SetAccessPattern(int access_pattern, int cache_policy) {
  FileOpScope scope(this, nullptr, "SetAccessPattern");
  if (!scope.Begin()) return false;
  return ApplyAccessPattern(access_pattern, cache_policy);
}

bool File::ApplyAccessPattern(int access_pattern, int cache_policy) {
  if (access_pattern < file::NONE || access_pattern > file::SEQUENTIAL ||
      cache_policy < file::CACHED || cache_policy > file::UNCACHED) {
    return SetError(file::ERROR_INVALID_ARGUMENT, "SetAccessPattern",
                    "unknown access pattern or cache policy");
  }
  return DoSetAccessPattern(access_pattern, cache_policy);
}

bool File::Stat(FileStat* stat) { return StatWithOp(stat, nullptr); }

bool File::StatWithOp(FileStat* stat, file::Operation* op) {
  FileOpScope scope(this, op, "Stat");
  if (!scope.Begin()) return false;
  if (stat == nullptr) {
    return SetError(file::ERROR_INVALID_ARGUMENT, "Stat", "no FileStat");
  }
  stat->Clear();
  if (!DoStat(stat)) return false;
  ++Stats().stats;
  // The record may have changed since the open; when it cannot be read the
  // attributes last read are the best answer.
  Attr_t recorded = attributes();
  const uint64 generation = file::AttributeRecordGeneration();
  file::Operation lookup;
  if (!is_attribute_record_ &&
      factory_->GetAttributes(name_.c_str(), &recorded, &lookup)) {
    CacheAttributes(recorded, generation);
  }
  stat->attributes = recorded;
  size_hint_ = stat->length;
  return true;
}

bool File::StatAsync(FileStat* stat, AsyncIO* done) {
  return QueueWork(done, nullptr, "Stat", [this, stat](file::Operation* op) {
    return StatWithOp(stat, op) ? stat->length : int64{-1};
  });
}
