// FileCloser and FileDeleter: single-pointer holders that tie the end of a
// File handle to the holder.
//
//   FileCloser closer(File::Open(name, "r"));   // closed when closer goes
//   FileDeleter scratch(File::Open(tmp, "w"));  // deleted, then closed
//
// Each holder is one File* and nothing else: no reference count, no flag.
// get(), operator*() and operator->() all hand out that pointer unchanged
// and never test it for null. release() gives the pointer up without
// touching the file. reset(p) ends the held file (if any) and then holds p;
// the destructor is reset(nullptr). Results of Close() and Delete() are not
// reported.
//
// File::Close() closes the file and keeps the handle, so:
// - reset() does not compare p with the held pointer: reset(get()) closes
//   the held file and keeps holding the closed handle (closing it again
//   later does nothing).
// - Closing the held handle directly (holder->Close()) is harmless; the
//   holder's own close then does nothing.
// The holders never `delete` a File: the handle object stays with whoever
// owns it (delete it, or use file::CloseAndDelete, once the holder is done).
#ifndef FILE_BASE_FILE_HOLDERS_H_
#define FILE_BASE_FILE_HOLDERS_H_

#include "file/base/file.h"

namespace file_holders_internal {

// The shared body of both holders; `End` says what letting go of a file
// means.
template <class End>
class FileHolder {
 public:
  ~FileHolder() { reset(nullptr); }
  // Copies would end the same file twice.
  FileHolder(const FileHolder&) = delete;
  FileHolder& operator=(const FileHolder&) = delete;

  File* get() const { return file_; }
  File* operator*() const { return file_; }
  File* operator->() const { return file_; }

  File* release() {
    File* file = file_;
    file_ = nullptr;
    return file;
  }

  void reset(File* file) {
    if (file_ != nullptr) End::Finish(file_);
    file_ = file;
  }

 protected:
  FileHolder() = default;
  explicit FileHolder(File* file) : file_(file) {}

 private:
  File* file_ = nullptr;
};

struct CloseFile {
  static void Finish(File* file) { file->Close(); }
};

// Delete works on the open handle, so Close comes last.
struct DeleteThenCloseFile {
  static void Finish(File* file) {
    file->Delete();
    file->Close();
  }
};

}  // namespace file_holders_internal

// Closes its file when it lets go of it.
class FileCloser : public file_holders_internal::FileHolder<file_holders_internal::CloseFile> {
 public:
  FileCloser() = default;
  explicit FileCloser(File* file) : FileHolder(file) {}
};

// Deletes its file from the file system, then closes it, when it lets go of
// it. Always made from a pointer: a scratch file has a name from the start.
class FileDeleter : public file_holders_internal::FileHolder<file_holders_internal::DeleteThenCloseFile> {
 public:
  explicit FileDeleter(File* file) : FileHolder(file) {}
};

#endif  // FILE_BASE_FILE_HOLDERS_H_
