// InputBuffer's out-of-line parts: construction, the slow read path,
// read-ahead, lines, varints and verified reading.
#include "file/base/inputbuffer.h"

#include <algorithm>
#include <climits>
#include <new>

#include "file/base/core/async.h"
#include "file/base/core/file_attributes.h"
#include "file/base/file.h"
#include "file/base/streams/async_reader.h"
#include "file/base/util/errors.h"
#include "file/base/util/logging.h"

using file::streams::AsyncReader;
using file::streams::Piece;

namespace {
// First refill of a buffer whose read size grows (fixed_size false).
constexpr int kFirstGrowingRead = 65536;
constexpr int kMinBufferSize = 4096;
// Most read-ahead pieces in flight or waiting at once.
constexpr int kMaxPiecesAhead = 64;

int ClampSize(int requested, int fallback, int most) {
  if (requested <= 0) return fallback;
  return std::min(requested, most);
}
}  // namespace

InputBuffer::InputBuffer(File* file, int buffer_size, int lookahead, int read_size, bool owns_file) {
  Init(file, buffer_size, lookahead, read_size, owns_file, /*fixed_size=*/true,
       /*lookahead_on_open=*/false);
}

InputBuffer::InputBuffer(File* file, const InputBufferOptions& options) {
  const int budget = ClampSize(options.memory_budget(), kDefaultBufferSize, kMaxLookahead);
  const int lookahead = std::max(0, options.lookahead());
  int buffer_size = options.buffer_size();
  if (buffer_size <= 0) buffer_size = std::max(kMinBufferSize, budget - lookahead);
  Init(file, buffer_size, lookahead, 0, /*owns_file=*/true, options.fixed_size(),
       options.lookahead_on_open());
}

void InputBuffer::Init(File* file, int buffer_size, int lookahead, int read_size, bool owns_file,
                       bool fixed_size, bool lookahead_on_open) {
  file_ = file;
  owns_file_ = owns_file;
  capacity_ = ClampSize(buffer_size, kDefaultBufferSize, kMaxBufferSize);
  read_size_ = ClampSize(read_size, capacity_, capacity_);
  if (!fixed_size && read_size <= 0) {
    grow_read_size_ = true;
    read_size_ = std::min(capacity_, kFirstGrowingRead);
  }
  lookahead_ = static_cast<size_t>(std::clamp(lookahead, 0, static_cast<int>(kMaxLookahead)));
  if (file_ != nullptr) {
    const int64 at = file_->Tell();
    pos_ = at > 0 ? at : 0;
  }
  if (lookahead_ > 0) async_reader_ = new AsyncReader();
  if (lookahead_on_open && lookahead_ > 0 && file_ != nullptr) ScheduleAhead(pos_);
}

InputBuffer::~InputBuffer() {
  DrainAsync();
  delete async_reader_;
  if (owns_file_ && file_ != nullptr) delete file_;
  delete[] storage_;
}

void InputBuffer::DrainAsync() {
  if (async_reader_ == nullptr) return;
  async_reader_->WaitIdle();
  async_reader_->Drop(0, -1);
}

bool InputBuffer::CloseFile() {
  if (file_ == nullptr) return false;
  DrainAsync();
  pos_ = Tell();
  DropBuffer();
  bool ok = file_->Close();
  if (owns_file_) delete file_;
  file_ = nullptr;
  return ok;
}

void InputBuffer::DropBuffer() {
  cur_ = buf_;
  limit_ = buf_;
}

void InputBuffer::OnReadError(const char* what) {
  read_error_ = true;
  if (die_on_error_) {
    const ::string name = file_ != nullptr ? file_->CreateFileName() : ::string("(no file)");
    const ::string reason =
        file_ != nullptr ? file_->GetCurrentErrorMessage() : ::string("the buffer has no file");
    LogMessageFatal(__FILE__, __LINE__).stream()
        << "InputBuffer: " << what << " of " << name << " failed: " << reason;
  }
}

int64 InputBuffer::ReadFile(int64 offset, char* dst, int64 n, bool* failed) {
  int64 got = 0;
  *failed = false;
  while (got < n) {
    const int64 r = file_->PRead(offset + got, dst + got, n - got);
    if (r < 0) {
      *failed = true;
      break;
    }
    if (r == 0) break;
    got += r;
  }
  return got;
}

void InputBuffer::NoteRead(int64 offset, const char* data, int64 n) {
  if (!checksumming_ || n <= 0) return;
  const int64 have = checksum_.Length();
  if (offset > have || offset + n <= have) return;
  checksum_.Add(data + (have - offset), static_cast<size_t>(offset + n - have));
}

// ---- refills ----------------------------------------------------------------

bool InputBuffer::Fill(bool block, AsyncIO* aio) {
  pos_ = Tell();
  DropBuffer();
  if (file_ == nullptr) {
    OnReadError("read");
    return false;
  }
  // Read-ahead that holds the position.
  if (async_reader_ != nullptr) {
    std::function<void(int, int64)> notify;
    if (aio != nullptr) notify = [aio](int error, int64 bytes) { aio->Finish(error, bytes); };
    std::shared_ptr<Piece> piece = async_reader_->Take(pos_, block, std::move(notify));
    if (piece != nullptr) {
      if (piece->error != 0 && piece->got <= pos_ - piece->offset) {
        OnReadError("read-ahead");
        return false;
      }
      // The piece's storage becomes the buffer's.
      delete[] storage_;
      storage_ = piece->data.release();
      storage_size_ = static_cast<size_t>(piece->length);
      buf_ = storage_;
      limit_ = buf_ + piece->got;
      cur_ = buf_ + (pos_ - piece->offset);
      pos_ = piece->offset;
      NoteRead(piece->offset, buf_, piece->got);
      if (use_aio_ || lookahead_ > 0) ScheduleAhead(pos_ + piece->got);
      if (piece->got == 0) AtEndOfFile();
      return cur_ < limit_;
    }
    if (!block && async_reader_->Holds(pos_)) return false;  // on its way
  }
  if (!block) {
    // Queue the read and answer short.
    if (async_reader_ == nullptr) async_reader_ = new AsyncReader();
    std::function<void(int, int64)> notify;
    if (aio != nullptr) notify = [aio](int error, int64 bytes) { aio->Finish(error, bytes); };
    const int64 size = file_->SizeHint();
    if (size >= 0 && pos_ >= size) {
      if (aio != nullptr) aio->Finish(file::OK, 0);
      return false;
    }
    if (!async_reader_->Start(file_, pos_, read_size_, std::move(notify)) && aio != nullptr) {
      aio->Finish(file::ERROR_TEMPORARY, 0);
    }
    return false;
  }
  // A plain read into the buffer.
  if (storage_size_ < static_cast<size_t>(read_size_)) {
    char* bigger = new (std::nothrow) char[static_cast<size_t>(read_size_)];
    if (bigger == nullptr) {
      OnReadError("buffer allocation");
      return false;
    }
    delete[] storage_;
    storage_ = bigger;
    storage_size_ = static_cast<size_t>(read_size_);
  }
  buf_ = cur_ = limit_ = storage_;
  bool failed;
  const int64 got = ReadFile(pos_, buf_, read_size_, &failed);
  limit_ = buf_ + got;
  NoteRead(pos_, buf_, got);
  if (failed) {
    OnReadError("read");
    return got > 0;
  }
  if ((use_aio_ || lookahead_ > 0) && got == read_size_) ScheduleAhead(pos_ + got);
  if (grow_read_size_ && got == read_size_) read_size_ = std::min(capacity_, read_size_ * 2);
  if (got == 0) AtEndOfFile();
  return got > 0;
}

void InputBuffer::ScheduleAhead(int64 from) {
  if (async_reader_ == nullptr) async_reader_ = new AsyncReader();
  const int64 want = static_cast<int64>(std::max(lookahead_, static_cast<size_t>(read_size_)));
  const int64 size = file_->SizeHint();
  int64 next = std::max(from, async_reader_->End());
  for (int pieces = 0; pieces < kMaxPiecesAhead && async_reader_->BytesFrom(from) < want &&
                       (size < 0 || next < size) && next <= INT64_MAX - read_size_;
       ++pieces) {
    if (!async_reader_->Start(file_, next, read_size_, nullptr)) break;
    next += read_size_;
  }
}

void InputBuffer::AtEndOfFile() {
  if (!verify_at_eof_ || verified_at_eof_ || !checksumming_ || checksum_.Length() != Tell()) return;
  verified_at_eof_ = true;
  ::string why;
  if (VerifyChecksum(&why) != MISMATCH) return;
  read_error_ = true;
  if (die_on_error_) {
    LogMessageFatal(__FILE__, __LINE__).stream()
        << "InputBuffer: " << file_->CreateFileName() << " does not match its checksum: " << why;
  }
}

ssize_t InputBuffer::ReadExpensive(void* dst, size_t n, bool block, AsyncIO* aio) {
  // A negative count passed as a size, or no memory to read into.
  if (n > static_cast<size_t>(SSIZE_MAX) || (dst == nullptr && n != 0)) return -1;
  if (n == 0) return 0;
  char* out = static_cast<char*>(dst);
  size_t done = static_cast<size_t>(limit_ - cur_);
  if (done != 0) std::memcpy(out, cur_, done);
  cur_ = limit_;
  while (done < n) {
    const size_t want = n - done;
    const int64 at = Tell();
    if (block && file_ != nullptr && want >= static_cast<size_t>(capacity_) &&
        (async_reader_ == nullptr || !async_reader_->Holds(at))) {
      // Large reads go straight into the caller's memory.
      pos_ = at;
      DropBuffer();
      bool failed;
      const int64 got = ReadFile(at, out + done, static_cast<int64>(want), &failed);
      NoteRead(at, out + done, got);
      pos_ += got;
      done += static_cast<size_t>(got);
      if (failed) {
        OnReadError("read");
        break;
      }
      if (use_aio_ || lookahead_ > 0) ScheduleAhead(pos_);
      if (static_cast<size_t>(got) < want) {
        Fill(true, nullptr);  // at end of file: notes it (verification)
        break;
      }
      continue;
    }
    if (!Fill(block, aio)) break;
    const size_t take = std::min(want, static_cast<size_t>(limit_ - cur_));
    std::memcpy(out + done, cur_, take);
    cur_ += take;
    done += take;
  }
  return static_cast<ssize_t>(done);
}

void InputBuffer::ReadToString(::string* out, int64 max) {
  if (out == nullptr) return;
  // The string's present bytes are room to read into: they are overwritten,
  // never zero-filled first, so a caller that passes the same string again
  // reads into warm memory. Growth beyond them follows what arrives: pieces
  // of what the file has left (when known), at most 64 MiB each, and small
  // probes past its known end.
  int64 left = max < 0 ? INT64_MAX : max;
  const int64 size = Size();
  int64 hint = size >= 0 ? std::max<int64>(0, size - Tell()) : 0;
  size_t used = 0;
  while (left > 0) {
    const int64 chunk = std::min({hint > 0 ? hint : int64{65536}, left, int64{64} << 20});
    const size_t need = used + static_cast<size_t>(chunk);
    if (out->size() < need) out->resize(need);
    const ssize_t got = Read(out->data() + used, static_cast<size_t>(chunk));
    const int64 g = got > 0 ? got : 0;
    used += static_cast<size_t>(g);
    left -= g;
    hint = std::max<int64>(0, hint - g);
    if (g < chunk) break;
  }
  out->resize(used);
}

// ---- read-ahead ---------------------------------------------------------------

void InputBuffer::Prefetch(int64 offset, int64 length, AsyncIO* done) {
  if (file_ == nullptr || offset < 0 || length < 0) {
    if (done != nullptr) done->Finish(file_ == nullptr ? file::ERROR_UNKNOWN : file::ERROR_INVALID_ARGUMENT, 0);
    return;
  }
  const int64 size = file_->Size();
  // At most kMaxLookahead bytes, and never past the largest offset.
  int64 end = offset + std::min({length, int64{kMaxLookahead}, INT64_MAX - offset});
  if (size >= 0) end = std::min(end, size);
  if (end <= offset) {
    if (done != nullptr) done->Finish(file::OK, 0);
    return;
  }
  if (async_reader_ == nullptr) async_reader_ = new AsyncReader();
  // One completion for all the pieces of the range.
  struct Group {
    std::mutex mu;
    int remaining = 0;
    int error = 0;
    int64 bytes = 0;
    AsyncIO* done = nullptr;
  };
  auto group = std::make_shared<Group>();
  group->done = done;
  const int64 piece = capacity_;
  group->remaining = static_cast<int>((end - offset + piece - 1) / piece);
  auto finish_one = [group](int error, int64 bytes) {
    bool last;
    {
      std::lock_guard<std::mutex> lock(group->mu);
      if (error != 0 && group->error == 0) group->error = error;
      group->bytes += bytes;
      last = --group->remaining == 0;
    }
    if (last && group->done != nullptr) group->done->Finish(group->error, group->bytes);
  };
  for (int64 at = offset; at < end;) {
    const int64 n = std::min(piece, end - at);
    if (!async_reader_->Start(file_, at, n, finish_one)) finish_one(file::ERROR_TEMPORARY, 0);
    at += n;
  }
}

void InputBuffer::Unfetch(int64 offset, int64 length) {
  if (async_reader_ == nullptr || length <= 0 || offset < 0) return;
  async_reader_->Drop(offset, length);
}

void InputBuffer::UseAIO(bool use_aio) {
  use_aio_ = use_aio;
  if (use_aio_ && async_reader_ == nullptr) async_reader_ = new AsyncReader();
}

void InputBuffer::SetLookahead(size_t bytes) {
  lookahead_ = std::min(bytes, static_cast<size_t>(kMaxLookahead));
  if (lookahead_ > 0 && async_reader_ == nullptr) async_reader_ = new AsyncReader();
}

// ---- position -------------------------------------------------------------------

bool InputBuffer::Seek(int64 offset) {
  if (offset < 0 || file_ == nullptr) return false;
  if (offset >= pos_ && offset <= pos_ + (limit_ - buf_)) {
    cur_ = buf_ + (offset - pos_);
    return true;
  }
  pos_ = offset;
  DropBuffer();
  return true;
}

int64 InputBuffer::Size() const { return file_ != nullptr ? file_->Size() : -1; }

int64 InputBuffer::SizeHint() const { return file_ != nullptr ? file_->SizeHint() : -1; }

// ---- lines ------------------------------------------------------------------------

::string InputBuffer::ReadLineSlow(size_t max) {
  ::string line;
  while (line.size() < max) {
    if (cur_ == limit_ && !Fill(true, nullptr)) break;
    const size_t room = max - line.size();
    const size_t avail = std::min(room, static_cast<size_t>(limit_ - cur_));
    const char* nl = static_cast<const char*>(std::memchr(cur_, '\n', avail));
    const size_t take = nl != nullptr ? static_cast<size_t>(nl + 1 - cur_) : avail;
    line.append(cur_, take);
    cur_ += take;
    if (nl != nullptr) break;
  }
  return line;
}

bool InputBuffer::ReadLine(::string* line) {
  ::string read = ReadLineAsString(SIZE_MAX);
  const bool ok = !read.empty();
  if (line != nullptr) *line = std::move(read);
  return ok;
}

char* InputBuffer::ReadLine(char* buf, size_t size) {
  if (buf == nullptr || size == 0) return nullptr;
  size_t n = 0;
  bool any = false;
  while (n + 1 < size) {
    if (cur_ == limit_ && !Fill(true, nullptr)) break;
    any = true;
    const size_t avail = std::min(size - 1 - n, static_cast<size_t>(limit_ - cur_));
    const char* nl = static_cast<const char*>(std::memchr(cur_, '\n', avail));
    const size_t take = nl != nullptr ? static_cast<size_t>(nl + 1 - cur_) : avail;
    std::memcpy(buf + n, cur_, take);
    cur_ += take;
    n += take;
    if (nl != nullptr) break;
  }
  if (!any && size > 1) return nullptr;
  buf[n] = '\0';
  return buf;
}

bool InputBuffer::ReadVarint32Slow(uint32* value) {
  const int64 start = Tell();
  uint64 result = 0;
  for (int i = 0; i < 5; ++i) {
    uint8 byte;
    if (Read(&byte, 1) != 1) {
      Seek(start);
      return false;
    }
    result |= static_cast<uint64>(byte & 0x7f) << (7 * i);
    if (byte < 0x80) {
      if (result > 0xffffffffULL) break;
      *value = static_cast<uint32>(result);
      return true;
    }
  }
  Seek(start);  // longer than 5 bytes, or above 2^32-1
  return false;
}

// ---- the file -----------------------------------------------------------------------

void InputBuffer::SetFile(File* file, int64 offset) {
  DrainAsync();
  if (owns_file_ && file_ != nullptr && file_ != file) delete file_;
  file_ = file;
  pos_ = offset > 0 ? offset : 0;
  DropBuffer();
  read_error_ = false;
  // The checksum described the old file.
  checksum_.Clear();
  verified_at_eof_ = false;
}

::string InputBuffer::CreateFileName() { return file_ != nullptr ? file_->CreateFileName() : ::string(); }

void InputBuffer::RelinquishFileOwnership() {
  // The caller may delete the file as soon as this returns.
  DrainAsync();
  owns_file_ = false;
}

// ---- verified reading -------------------------------------------------------------------

bool InputBuffer::SetChecksumming(bool enable, bool verify_at_eof) {
  if (!enable) {
    checksumming_ = false;
    verify_at_eof_ = false;
    return true;
  }
  if (checksumming_) {
    verify_at_eof_ = verify_at_eof;
    return true;
  }
  // Start from offset 0 with whatever of the file's start the buffer holds.
  if (pos_ != 0) return false;
  checksum_.Clear();
  checksumming_ = true;
  verify_at_eof_ = verify_at_eof;
  verified_at_eof_ = false;
  if (pos_ == 0) NoteRead(0, buf_, limit_ - buf_);
  return true;
}

int InputBuffer::VerifyChecksum(::string* why) const {
  ::string ignored;
  ::string* reason = why != nullptr ? why : &ignored;
  if (!checksumming_) {
    *reason = "checksumming is off";
    return NO_CHECKSUMMING;
  }
  if (file_ == nullptr) {
    *reason = "the buffer has no file";
    return NO_ATTRIBUTE_FILE;
  }
  const ::string name = file_->CreateFileName();
  FileAttr stored;
  if (file_attributes == nullptr || !file_attributes->Load(name.c_str(), &stored)) {
    *reason = "no checksum is recorded for " + name;
    return NO_ATTRIBUTE_FILE;
  }
  const int64 length = checksum_.Length();
  const int64 recorded = stored.checksum.Length();
  if (length > recorded) {
    *reason = "read " + std::to_string(length) + " bytes, the record has " + std::to_string(recorded);
    return MISMATCH;
  }
  if (length == recorded) {
    if (stored.checksum.Equals(&checksum_, reason)) return MATCHES_FULL;
    return MISMATCH;
  }
  for (int i = 0; i < checksum_.HistoryLength(); ++i) {
    if (checksum_.History(i) != stored.checksum.History(i)) {
      *reason = "block " + std::to_string(i) + " differs from the record";
      return MISMATCH;
    }
  }
  FileAttr prefix;
  if (!file_attributes->LoadPrefix(name.c_str(), length, &prefix)) {
    *reason = "the recorded checksum of the first " + std::to_string(length) +
              " bytes cannot be had: the file no longer matches its record";
    return MISMATCH;
  }
  if (!prefix.checksum.Equals(&checksum_, reason)) return MISMATCH;
  return MATCHES_PREFIX;
}
