// OutputBuffer's out-of-line parts: opening, the slow write path,
// write-behind, positioning, checksums and checkpoints.
#include "file/base/outputbuffer.h"

#include <algorithm>
#include <climits>
#include <memory>
#include <new>

#include "file/base/core/attr.h"
#include "file/base/core/file_attributes.h"
#include "file/base/file.h"
#include "file/base/streams/async_writer.h"
#include "file/base/util/logging.h"
#include "file/base/util/open_mode.h"

using file::streams::AsyncWriter;

namespace {

int Clamp(int requested, int fallback, int most) {
  if (requested <= 0) return fallback;
  return std::min(requested, most);
}

// Adds the bytes [from, to) of the file `name` to *state; false when they
// cannot all be read.
bool AddFileBytes(const ::string& name, int64 from, int64 to, ChecksumState* state) {
  if (to <= from) return true;
  std::unique_ptr<File> f(File::Open(name.c_str(), "r"));
  if (f == nullptr) return false;
  std::unique_ptr<char[]> chunk(new (std::nothrow) char[1 << 20]);
  if (chunk == nullptr) return false;
  for (int64 at = from; at < to;) {
    const int64 n = f->PRead(at, chunk.get(), std::min<int64>(1 << 20, to - at));
    if (n <= 0) return false;
    state->Add(chunk.get(), static_cast<size_t>(n));
    at += n;
  }
  return true;
}

// With a checkpoint, a truncating mode would destroy the bytes to resume
// after: such files are opened "r+" (created with the mode's own letter
// when they do not exist and the checkpoint is at 0).
::string ModeForResume(const char* mode, const CheckpointRecord* checkpoint) {
  file::OpenMode parsed;
  if (checkpoint == nullptr || !file::ParseOpenMode(mode, &parsed) || !parsed.truncate) {
    return mode != nullptr ? mode : "";
  }
  return "r+";
}

bool IsAppendMode(const char* mode) {
  file::OpenMode parsed;
  return file::ParseOpenMode(mode, &parsed) && parsed.append;
}

}  // namespace

void OutputBufferOptions::set_file_group(const char* group) {
  group_set_ = group != nullptr;
  group_ = group != nullptr ? group : "";
}

OutputBuffer::OutputBuffer(File* file, int buffer_size, int aio_budget)
    : OutputBuffer(file, buffer_size, aio_budget, false, false) {}

OutputBuffer::OutputBuffer(File* file, int buffer_size, int aio_budget, bool keep_checksum, bool append)
    : file_(file), keep_checksum_(keep_checksum), append_(append) {
  capacity_ = Clamp(buffer_size, kDefaultBufferSize, kMaxBufferSize);
  if (file_ == nullptr) {
    failed_ = true;
    return;
  }
  storage_ = new (std::nothrow) char[static_cast<size_t>(capacity_)];
  if (storage_ == nullptr) {
    failed_ = true;
    return;
  }
  buf_ = cur_ = storage_;
  limit_ = buf_ + capacity_;
  const int64 size = file_->Size();
  size_ = size > 0 ? size : 0;
  const int64 at = file_->Tell();
  pos_ = append_ ? size_ : (at > 0 ? at : 0);
  if (aio_budget > 0) {
    async_writer_ = new AsyncWriter(file_, std::min(aio_budget, kMaxAioBudget), static_cast<size_t>(capacity_));
  }
  // The checksum covers the whole file: bytes already there are counted now.
  if (keep_checksum_ && size_ > 0 && !AddFileBytes(file_->CreateFileName(), 0, size_, &checksum_)) {
    checksum_stale_ = true;
  }
}

OutputBuffer::~OutputBuffer() {
  if (file_ != nullptr) {
    if (owns_file_) {
      CloseFile();
    } else {
      Flush();
      if (keep_checksum_) StoreAttributes();
    }
  }
  delete async_writer_;
  delete[] storage_;
}

// ---- opening ------------------------------------------------------------------

OutputBuffer* OutputBuffer::OpenWithOptions(const char* name, const char* mode,
                                            const OutputBufferOptions& options) {
  const ::string effective = ModeForResume(mode, options.checkpoint());
  File* f = File::OpenFullySpecified(name, effective.c_str(), Attr_t(options.file_attributes()),
                                     options.file_permissions(), options.file_group());
  if (f == nullptr) {
    PQ_LOG(WARNING) << "OutputBuffer: could not open " << (name ? name : "") << " with mode '"
                    << (mode ? mode : "") << "'";
    return nullptr;
  }
  auto* ob = new OutputBuffer(f, options.memory_budget(), options.aio_budget(), options.attribute_file(),
                              IsAppendMode(effective.c_str()));
  if (options.checkpoint() != nullptr && !ob->ResumeAt(*options.checkpoint())) {
    delete ob;
    return nullptr;
  }
  return ob;
}

OutputBuffer* OutputBuffer::OpenWithFile(File* file, const OutputBufferOptions& options) {
  if (file == nullptr) return nullptr;
  auto* ob = new OutputBuffer(file, options.memory_budget(), options.aio_budget(), options.attribute_file(), false);
  if (options.checkpoint() != nullptr && !ob->ResumeAt(*options.checkpoint())) {
    ob->RelinquishFileOwnership();  // the caller keeps the file it gave
    delete ob;
    return nullptr;
  }
  return ob;
}

OutputBuffer* OutputBuffer::OpenOrDie(const char* name, const char* mode, const CheckpointRecord* checkpoint,
                                      int buffer_size, int aio_budget, bool keep_checksum) {
  const ::string effective = ModeForResume(mode, checkpoint);
  File* f = File::OpenOrDieForWriting(name, effective.c_str(), checkpoint, true, nullptr);
  auto* ob = new OutputBuffer(f, buffer_size, aio_budget, keep_checksum, IsAppendMode(effective.c_str()));
  if (checkpoint != nullptr && !ob->ResumeAt(*checkpoint)) {
    LogMessageFatal(__FILE__, __LINE__).stream()
        << "OutputBuffer: could not resume " << (name ? name : "") << " at checkpoint offset "
        << checkpoint->offset << ": " << f->GetCurrentErrorMessage();
  }
  return ob;
}

bool OutputBuffer::ResumeAt(const CheckpointRecord& checkpoint) {
  if (file_ == nullptr || checkpoint.offset < 0) return false;
  if (!Flush()) return false;
  if (!file_->Truncate(checkpoint.offset)) return false;
  if (!append_ && !file_->Seek(checkpoint.offset)) return false;
  pos_ = size_ = checkpoint.offset;
  if (keep_checksum_) {
    checksum_.Clear();
    checksum_stale_ = false;
    if (checkpoint.has_checksum && checkpoint.checksum.Length() == checkpoint.offset) {
      checksum_ = checkpoint.checksum;
    } else if (!AddFileBytes(file_->CreateFileName(), 0, checkpoint.offset, &checksum_)) {
      checksum_stale_ = true;
    }
  }
  return true;
}

// ---- closing --------------------------------------------------------------------

bool OutputBuffer::CloseFile() {
  if (file_ == nullptr) return false;
  bool ok = Flush();
  delete async_writer_;
  async_writer_ = nullptr;
  ok = file_->Close() && ok;
  if (keep_checksum_) ok = StoreAttributes() && ok;
  if (owns_file_) delete file_;
  file_ = nullptr;
  // Later writes take nothing.
  buf_ = cur_ = limit_ = storage_;
  failed_ = true;
  return ok;
}

bool OutputBuffer::StoreAttributes() {
  if (file_ == nullptr || file_attributes == nullptr) return false;
  FileAttr attr;
  GetAttributes(&attr);
  if (attr.checksum.Length() != size_) return false;  // the file could not be read back
  attr.version = file_attributes->CreateVersion();
  const ::string name = file_->CreateFileName();
  return file_attributes->Store(name.c_str(), &attr);
}

// ---- writing ----------------------------------------------------------------------

int OutputBuffer::WriteExpensive(const void* data, size_t n, bool block, AsyncIO* aio) {
  if (failed_ || file_ == nullptr || n > static_cast<size_t>(INT_MAX) || data == nullptr) return 0;
  const char* in = static_cast<const char*>(data);
  size_t done = 0;
  while (done < n) {
    const size_t want = n - done;
    if (cur_ == buf_ && want >= static_cast<size_t>(capacity_) && block && async_writer_ == nullptr) {
      // Large writes go straight from the caller's memory.
      if (!WriteToFile(in + done, static_cast<int64>(want))) break;
      done += want;
      continue;
    }
    if (cur_ == limit_) {
      if (!HandOff(block, aio)) break;
      continue;
    }
    const size_t take = std::min(want, static_cast<size_t>(limit_ - cur_));
    std::memcpy(cur_, in + done, take);
    cur_ += take;
    done += take;
  }
  return static_cast<int>(done);
}

void OutputBuffer::Fail() {
  failed_ = true;
  cur_ = limit_ = buf_;  // the inline path takes nothing more
}

void OutputBuffer::NoteWritten(const char* data, int64 n) {
  if (!keep_checksum_ || checksum_stale_ || n <= 0) return;
  if (pos_ == checksum_.Length()) {
    checksum_.Add(data, static_cast<size_t>(n));
  } else {
    checksum_stale_ = true;  // recomputed from the file when needed
  }
}

bool OutputBuffer::WriteToFile(const char* data, int64 n) {
  if (async_writer_ != nullptr && !async_writer_->Wait()) {
    Fail();
    return false;
  }
  int64 done = 0;
  while (done < n) {
    const int64 w = file_->Write(data + done, static_cast<uint64>(n - done));
    if (w <= 0) break;
    done += w;
  }
  // What did reach the file counts.
  NoteWritten(data, done);
  pos_ += done;
  size_ = std::max(size_, pos_);
  if (done != n) Fail();
  return done == n;
}

bool OutputBuffer::HandOff(bool block, AsyncIO* aio) {
  const int64 n = cur_ - buf_;
  if (n == 0) return !failed_;
  if (async_writer_ == nullptr) {
    if (!block) {
      // Without write-behind, taking more means writing now: queue the
      // buffer on a write-behind of one buffer.
      async_writer_ = new AsyncWriter(file_, 0, static_cast<size_t>(capacity_));
    } else {
      const bool ok = WriteToFile(buf_, n);
      if (ok) cur_ = buf_;
      return ok;
    }
  }
  if (async_writer_->failed()) {
    Fail();
    return false;
  }
  char* data = storage_;
  if (!async_writer_->Submit(&data, n, block, aio)) {
    if (async_writer_->failed()) Fail();
    return false;
  }
  NoteWritten(buf_, n);
  storage_ = data;
  buf_ = cur_ = storage_;
  limit_ = buf_ + capacity_;
  pos_ += n;
  size_ = std::max(size_, pos_);
  return true;
}

bool OutputBuffer::Flush() {
  if (file_ == nullptr) return false;
  if (!HandOff(true, nullptr)) return false;
  if (async_writer_ != nullptr && !async_writer_->Wait()) Fail();
  if (failed_) return false;
  return file_->Flush();
}

bool OutputBuffer::Align(int alignment, char fill) {
  if (alignment < 1 || alignment > kMaxAlignment || file_ == nullptr) return false;
  int64 pad = (alignment - Tell() % alignment) % alignment;
  char chunk[4096];
  std::memset(chunk, fill, sizeof(chunk));
  while (pad > 0) {
    const int64 n = std::min<int64>(pad, sizeof(chunk));
    if (Write(chunk, static_cast<size_t>(n)) != n) return false;
    pad -= n;
  }
  return true;
}

// ---- position and size -----------------------------------------------------------------

int64 OutputBuffer::Size() { return std::max(size_, Tell()); }

int64 OutputBuffer::Tell() { return pos_ + (cur_ - buf_); }

bool OutputBuffer::Seek(int64 offset) {
  if (offset < 0 || offset > kMaxOffset || !Flush()) return false;
  if (append_) return offset == pos_;  // append-mode files are written at their end only
  if (!file_->Seek(offset)) return false;
  pos_ = offset;
  return true;
}

bool OutputBuffer::Truncate(int64 length) {
  if (length < 0 || length > kMaxOffset || !Flush()) return false;
  if (!file_->Truncate(length)) return false;
  size_ = length;
  if (pos_ > length) {
    if (!append_ && !file_->Seek(length)) return false;
    pos_ = length;
  }
  if (append_) pos_ = length;
  if (keep_checksum_ && !checksum_stale_ && checksum_.Length() > length) {
    const int64 from = checksum_.RewindTo(length);
    if (!AddFileBytes(file_->CreateFileName(), from, length, &checksum_)) checksum_stale_ = true;
  }
  return true;
}

void OutputBuffer::RewindOrDie(const FileAttr& attr) {
  const int64 length = attr.checksum.Length();
  const ::string name = CreateFileName();
  const int64 size = file_ != nullptr ? (Flush(), file_->Size()) : -1;
  if (file_ == nullptr || size < length || !Truncate(length) || !Seek(length)) {
    LogMessageFatal(__FILE__, __LINE__).stream()
        << "OutputBuffer: could not rewind " << name << " to " << length << " bytes (the file has " << size
        << "): " << (file_ != nullptr ? file_->GetCurrentErrorMessage() : ::string("no file"));
  }
  checksum_ = attr.checksum;
  checksum_stale_ = false;
}

// ---- the file ------------------------------------------------------------------------------

::string OutputBuffer::CreateFileName() { return file_ != nullptr ? file_->CreateFileName() : ::string(); }

bool OutputBuffer::RefreshChecksum(ChecksumState* state, int64 length) const {
  state->Clear();
  return file_ != nullptr && AddFileBytes(file_->CreateFileName(), 0, length, state);
}

void OutputBuffer::GetAttributes(FileAttr* attr) const {
  if (attr == nullptr) return;
  attr->Clear();
  if (file_ == nullptr) return;
  // Write-behind still running must reach the file before it is read back.
  if (async_writer_ != nullptr) async_writer_->Wait();
  ChecksumState state = checksum_;
  if (!keep_checksum_ || checksum_stale_) {
    if (!RefreshChecksum(&state, size_)) return;
  }
  const int64 buffered = cur_ - buf_;
  if (buffered > 0) {
    if (pos_ == state.Length()) {
      state.Add(buf_, static_cast<size_t>(buffered));
    } else {
      // The buffer lands inside the file (after a Seek): apply it to a copy
      // read from the file.
      ::string name = file_->CreateFileName();
      state.Clear();
      if (!AddFileBytes(name, 0, pos_, &state)) return;
      state.Add(buf_, static_cast<size_t>(buffered));
      if (!AddFileBytes(name, pos_ + buffered, size_, &state)) return;
    }
  }
  attr->checksum = state;
}

void OutputBuffer::Checkpoint(CheckpointWriter* writer) {
  if (writer == nullptr || !Flush()) return;
  CheckpointRecord checkpoint(CreateFileName(), Tell());
  if (keep_checksum_) {
    FileAttr attr;
    GetAttributes(&attr);
    if (attr.checksum.Length() == checkpoint.offset) {
      checkpoint.has_checksum = true;
      checkpoint.checksum = attr.checksum;
    }
  }
  writer->WriteCheckpoint(checkpoint);
}
