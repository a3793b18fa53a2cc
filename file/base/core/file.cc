// Opening files by name: dispatch to the file system that owns the name.
#include "file/base/file.h"

#include "file/base/core/async.h"
#include "file/base/util/logging.h"

namespace {

// The fatal logs of the or-die opens name the interface header, where these
// checks are documented.
constexpr char kFileHeader[] = "file/base/file.h";

FileOpenOptions FullySpecifiedOptions(Attr_t attr, unsigned int permissions, const char* group,
                                      LockInfo* lock) {
  FileOpenOptions options;
  options.set_attributes(attr);
  options.set_permissions(permissions);
  if (group != nullptr) options.set_group(group);
  if (lock != nullptr) options.set_lock_info(lock);
  return options;
}

}  // namespace

File* File::CreateWithOptions(const char* name, const char* mode, const FileOpenOptions& options) {
  return FileFactory::ForName(name)->CreateWithOptions(name, mode, options);
}

File* File::Create(const ::string& name, const ::string& mode) {
  return FileFactory::ForName(name.c_str())->Create(name.c_str(), mode.c_str());
}

File* File::CreateWithAttr(const char* name, const char* mode, Attr_t attr) {
  return CreateFullySpecified(name, mode, attr, DEFAULT_FILE_MODE, nullptr);
}

File* File::CreateFullySpecified(const char* name, const char* mode, Attr_t attr,
                                 unsigned int permissions, const char* group) {
  return CreateWithOptions(name, mode, FullySpecifiedOptions(attr, permissions, group, nullptr));
}

File* File::OpenWithOptions(const char* name, const char* mode, const FileOpenOptions& options) {
  File* f = CreateWithOptions(name, mode, options);
  if (f == nullptr) return nullptr;
  if (!f->OpenWithOp(options.operation())) {
    file::CloseAndDelete(f);
    return nullptr;
  }
  return f;
}

File* File::Open(const char* name, const char* mode) {
  return OpenWithOptions(name, mode, FileOpenOptions());
}

File* File::OpenLocked(const char* name, const char* mode, LockInfo* lock) {
  FileOpenOptions options;
  if (lock != nullptr) options.set_lock_info(lock);
  return OpenWithOptions(name, mode, options);
}

File* File::OpenWithAttr(const char* name, const char* mode, Attr_t attr) {
  return OpenFullySpecified(name, mode, attr, DEFAULT_FILE_MODE, nullptr);
}

File* File::OpenFullySpecified(const char* name, const char* mode, Attr_t attr,
                               unsigned int permissions, const char* group) {
  return OpenWithOptions(name, mode, FullySpecifiedOptions(attr, permissions, group, nullptr));
}

File* File::OpenFullySpecifiedLocked(const char* name, const char* mode, Attr_t attr,
                                     unsigned int permissions, const char* group,
                                     LockInfo* lock) {
  return OpenWithOptions(name, mode, FullySpecifiedOptions(attr, permissions, group, lock));
}

File* File::OpenForAppend(const char* name) { return Open(name, "a"); }

// ---- Or-die opens ----------------------------------------------------------------

File* File::OpenOrDie(const char* name, const char* mode) {
  return OpenFullySpecifiedOrDie(name, mode, Attr_t(Attr_t::DEFAULT), DEFAULT_FILE_MODE, nullptr);
}

File* File::OpenWithAttrOrDie(const char* name, const char* mode, Attr_t attr) {
  return OpenFullySpecifiedOrDie(name, mode, attr, DEFAULT_FILE_MODE, nullptr);
}

File* File::OpenFullySpecifiedOrDie(const char* name, const char* mode, Attr_t attr,
                                    unsigned int permissions, const char* group) {
  if (name == nullptr || name[0] == '\0') {
    LogMessageFatal(kFileHeader, 654).stream() << "Bad name for open:" << (name ? name : "");
  }
  File* f = OpenFullySpecified(name, mode, attr, permissions, group);
  if (f == nullptr) {
    LogMessageFatal(kFileHeader, 658).stream()
        << "Could not open:" << name << " with mode:" << (mode ? mode : "");
  }
  return f;
}

File* File::OpenForAppendOrDie(const char* name) {
  File* f = OpenForAppend(name);
  if (f == nullptr) {
    LogMessageFatal(kFileHeader, 683).stream()
        << "Check failed: f != NULL " << ": could not open " << (name ? name : "")
        << " for append";
  }
  return f;
}

File* File::OpenToCheckpointOrDie(const char* name, const char* mode,
                                  const CheckpointRecord* checkpoint) {
  File* f = OpenOrDie(name, mode);
  if (checkpoint != nullptr && !f->Seek(checkpoint->offset)) {
    LogMessageFatal(__FILE__, __LINE__).stream()
        << "Could not seek " << name << " to checkpoint offset " << checkpoint->offset << ": "
        << f->GetCurrentErrorMessage();
  }
  return f;
}

File* File::OpenOrDieForWriting(const char* name, const char* mode,
                                const CheckpointRecord* checkpoint, bool truncate_to_checkpoint,
                                FileAttr** attr) {
  file::OpenMode parsed;
  if (!file::ParseOpenMode(mode, &parsed) || !parsed.write) {
    LogMessageFatal(__FILE__, __LINE__).stream()
        << "Not a mode for writing: '" << (mode ? mode : "") << "' for " << (name ? name : "");
  }
  File* f = OpenOrDie(name, mode);
  if (checkpoint != nullptr) {
    const bool positioned = (!truncate_to_checkpoint || f->Truncate(checkpoint->offset)) &&
                            f->Seek(checkpoint->offset);
    if (!positioned) {
      LogMessageFatal(__FILE__, __LINE__).stream()
          << "Could not return " << name << " to checkpoint offset " << checkpoint->offset
          << ": " << f->GetCurrentErrorMessage();
    }
  }
  if (attr != nullptr) *attr = nullptr;
  return f;
}

// ---- Asynchronous opens -----------------------------------------------------------

File* File::OpenAsync(const char* name, const char* mode, AsyncIO* done) {
  return OpenFullySpecifiedAsyncLocked(name, mode, Attr_t(Attr_t::DEFAULT), DEFAULT_FILE_MODE,
                                       nullptr, nullptr, done);
}

File* File::OpenAsyncLocked(const char* name, const char* mode, LockInfo* lock, AsyncIO* done) {
  return OpenFullySpecifiedAsyncLocked(name, mode, Attr_t(Attr_t::DEFAULT), DEFAULT_FILE_MODE,
                                       nullptr, lock, done);
}

File* File::OpenFullySpecifiedAsync(const char* name, const char* mode, Attr_t attr,
                                    unsigned int permissions, const char* group,
                                    AsyncIO* done) {
  return OpenFullySpecifiedAsyncLocked(name, mode, attr, permissions, group, nullptr, done);
}

File* File::OpenFullySpecifiedAsyncLocked(const char* name, const char* mode, Attr_t attr,
                                          unsigned int permissions, const char* group,
                                          LockInfo* lock, AsyncIO* done) {
  File* f = CreateWithOptions(name, mode, FullySpecifiedOptions(attr, permissions, group, lock));
  if (f == nullptr) {
    // Nobody would ever finish the completion otherwise.
    if (done != nullptr) done->Finish(file::ERROR_INVALID_ARGUMENT, 0);
    return nullptr;
  }
  if (!f->OpenAsync(done)) {
    delete f;
    return nullptr;
  }
  return f;
}
