// Handles of remote files.
#include "file/base/remote/remote_file.h"

#include <XrdCl/XrdClFile.hh>

#include <algorithm>
#include <cerrno>

#include "file/base/core/async.h"
#include "file/base/core/operation.h"
#include "file/base/remote/remote_client.h"
#include "file/base/remote/remote_name.h"
#include "file/base/util/memblock.h"

namespace file {
namespace remote {

struct HandleState {
  XrdCl::File file;
  RemoteName name;
};

namespace {

using Handler = XrdCl::ResponseHandler;

// The largest piece one request moves; bigger transfers are split.
constexpr int64 kMaxPiece = int64{64} << 20;
// Asynchronous reads longer than this go through the shared layer, which
// sizes the buffer by the file first.
constexpr int64 kMaxAsyncRead = int64{64} << 20;

}  // namespace

RemoteFile::RemoteFile(FileFactory* factory, const char* name, const char* mode,
                       const FileOpenOptions& options)
    : File(factory, name, mode, options) {}

RemoteFile::~RemoteFile() { CloseBeforeDestroy(); }

bool RemoteFile::SetReplyError(const char* what, const Reply& reply, WallTime deadline) {
  Operation failed;
  FailWithReply(&failed, what, name(), reply, deadline);
  return SetErrorFrom(failed);
}

// ---- Deadlines of handle operations ---------------------------------------------------

bool RemoteFile::OpenWithOp(Operation* op) {
  const HandleDeadline deadline(op);
  return File::OpenWithOp(op);
}

int64 RemoteFile::ReadWithOp(void* buffer, uint64 size, Operation* op) {
  const HandleDeadline deadline(op);
  return File::ReadWithOp(buffer, size, op);
}

int64 RemoteFile::WriteWithOp(const void* buffer, uint64 size, Operation* op) {
  const HandleDeadline deadline(op);
  return File::WriteWithOp(buffer, size, op);
}

int64 RemoteFile::PReadWithOp(int64 offset, void* buffer, int64 size, Operation* op) {
  const HandleDeadline deadline(op);
  return File::PReadWithOp(offset, buffer, size, op);
}

int64 RemoteFile::PWriteWithOp(int64 offset, const void* buffer, int64 size, Operation* op) {
  const HandleDeadline deadline(op);
  return File::PWriteWithOp(offset, buffer, size, op);
}

bool RemoteFile::TruncateWithOp(int64 length, Operation* op) {
  const HandleDeadline deadline(op);
  return File::TruncateWithOp(length, op);
}

// ---- Open and close ---------------------------------------------------------------------

bool RemoteFile::DoOpen() {
  auto state = std::make_shared<HandleState>();
  ::string reason;
  if (!ParseRemoteName(name(), &state->name, &reason)) {
    return SetError(ERROR_INVALID_ARGUMENT, "Open", reason.c_str());
  }
  if (options().direct_io()) {
    return SetError(ERROR_UNIMPLEMENTED, "Open", "direct I/O is not available for remote files");
  }
  if (options().group() != nullptr && options().group()[0] != '\0') {
    return SetError(ERROR_UNIMPLEMENTED, "Open", "remote servers do not set a file's group");
  }
  const unsigned int requested = options().permissions();
  const unsigned int permissions =
      (requested == DEFAULT_FILE_MODE ? 0666 : requested) & ~ProcessUmask() & 0777;
  state_ = state;
  if (!OpenForMode(state->name.Url(), permissions)) {
    state_.reset();
    return false;
  }
  position_.Set(0);
  return true;
}

bool RemoteFile::OpenForMode(const ::string& url, unsigned int permissions) {
  const WallTime deadline = DeadlineFor(nullptr);
  XrdCl::File& file = state_->file;
  const auto access = static_cast<XrdCl::Access::Mode>(permissions);
  auto open = [&](XrdCl::OpenFlags::Flags flags) {
    return Await([&](Handler* h, uint16_t t) { return file.Open(url, flags, access, h, t); },
                 deadline);
  };
  using XrdCl::OpenFlags;
  if (open_mode().write && (truncate_on_open() || open_mode().create) && state_->name.path != "/") {
    // The server would make missing parents of a new file; a file system
    // makes new files only in existing directories.
    const ::string parent = RemoteParent(state_->name);
    FileStat stat;
    Operation probe;
    if (!factory()->DoStat(parent.c_str(), &stat, &probe)) {
      if (probe.error() != ERROR_NOT_FOUND) return SetErrorFrom(probe);
      return SetError(ERROR_NOT_FOUND, "Open", "no such directory");
    }
    if (!stat.IsDirectory()) return SetError(ERROR_WRONG_TYPE, "Open", "parent is not a directory");
  }
  std::shared_ptr<Reply> reply;
  if (!open_mode().write) {
    reply = open(OpenFlags::Read);
  } else if (truncate_on_open()) {
    reply = open(OpenFlags::Delete | OpenFlags::Update);  // created or emptied
  } else {
    reply = open(OpenFlags::Update);
    // Create only what is missing; if another client made it meanwhile,
    // open theirs.
    if (open_mode().create && CodeFor(*reply, deadline) == ERROR_NOT_FOUND) {
      reply = open(OpenFlags::New | OpenFlags::Update);
      if (CodeFor(*reply, deadline) == ERROR_ALREADY_EXISTS) reply = open(OpenFlags::Update);
    }
  }
  if (reply->status.IsOK()) return true;
  return SetReplyError("Open", *reply, deadline);
}

bool RemoteFile::DoClose() {
  {
    std::unique_lock<std::mutex> lock(async_mu_);
    async_cv_.wait(lock, [this] { return async_in_flight_ == 0; });
  }
  std::shared_ptr<HandleState> state = std::move(state_);
  if (state == nullptr) return true;
  // The length check goes first, while the handle is open.
  const int64 kept = ShortLength(&state->file, 0);
  // Closing is where a server reports writes it could not keep: wait for it
  // within the client's own time-outs whatever deadline the caller had.
  const auto reply =
      Await([&](Handler* h, uint16_t t) { return state->file.Close(h, t); }, 0);
  if (!reply->status.IsOK()) return SetReplyError("Close", *reply, 0);
  return kept < 0 || FailShort("Close", kept);
}

int64 RemoteFile::ShortLength(XrdCl::File* file, WallTime deadline) {
  const int64 written = written_end_.load();
  if (written == 0) return -1;
  const auto stat = Await([&](Handler* h, uint16_t t) { return file->Stat(true, h, t); }, deadline);
  auto* info = stat->status.IsOK() ? stat->Get<XrdCl::StatInfo>() : nullptr;
  const int64 kept = info != nullptr ? static_cast<int64>(info->GetSize()) : -1;
  return kept < written ? kept : -1;
}

bool RemoteFile::FailShort(const char* what, int64 kept) {
  const ::string reason = "the server kept only " + std::to_string(kept) + " of the " +
                          std::to_string(written_end_.load()) + " bytes written (its disk or quota is full)";
  return SetError(ERROR_NO_SPACE, what, reason.c_str());
}

void RemoteFile::Wrote(int64 end) {
  int64 known = written_end_.load();
  while (end > known && !written_end_.compare_exchange_weak(known, end)) {
  }
}

// ---- Reads and writes -------------------------------------------------------------------

int64 RemoteFile::ReadAt(int64 offset, void* buffer, int64 size, const char* what) {
  const WallTime deadline = DeadlineFor(nullptr);
  char* out = static_cast<char*>(buffer);
  int64 done = 0;
  while (done < size) {
    const auto piece = static_cast<uint32_t>(std::min(size - done, kMaxPiece));
    const auto at = static_cast<uint64_t>(offset + done);
    std::shared_ptr<Reply> reply;
    if (deadline == 0) {
      // Nothing stops waiting early, so the client may fill the caller's
      // buffer directly.
      reply = Await([&](Handler* h, uint16_t t) { return state_->file.Read(at, piece, out + done, h, t); },
                    0);
    } else {
      // The wait may end first: the client fills a buffer of its own.
      auto own = std::make_shared<::string>();
      if (!ResizeOrFail(own.get(), piece, what)) return -1;
      char* into = own->data();
      reply = Await([&](Handler* h, uint16_t t) { return state_->file.Read(at, piece, into, h, t); },
                    deadline, own);
      auto* chunk = reply->status.IsOK() ? reply->Get<XrdCl::ChunkInfo>() : nullptr;
      if (chunk != nullptr) std::copy_n(into, std::min<uint32_t>(chunk->length, piece), out + done);
    }
    if (!reply->status.IsOK()) {
      SetReplyError(what, *reply, deadline);
      return -1;
    }
    auto* chunk = reply->Get<XrdCl::ChunkInfo>();
    const int64 got = chunk != nullptr ? std::min<int64>(chunk->length, piece) : 0;
    done += got;
    if (got < piece) break;  // end of file
  }
  return done;
}

int64 RemoteFile::WriteAt(int64 offset, const void* buffer, int64 size, const char* what) {
  const WallTime deadline = DeadlineFor(nullptr);
  const char* in = static_cast<const char*>(buffer);
  int64 done = 0;
  while (done < size) {
    const auto piece = static_cast<uint32_t>(std::min(size - done, kMaxPiece));
    const auto at = static_cast<uint64_t>(offset + done);
    std::shared_ptr<Reply> reply;
    if (deadline == 0) {
      reply = Await(
          [&](Handler* h, uint16_t t) { return state_->file.Write(at, piece, in + done, h, t); }, 0);
    } else {
      // The request may outlive our wait: it sends a copy.
      auto own = std::make_shared<::string>();
      if (!ResizeOrFail(own.get(), piece, what)) return -1;
      std::copy_n(in + done, piece, own->data());
      const char* from = own->data();
      reply = Await([&](Handler* h, uint16_t t) { return state_->file.Write(at, piece, from, h, t); },
                    deadline, own);
    }
    if (!reply->status.IsOK()) {
      SetReplyError(what, *reply, deadline);
      return -1;
    }
    done += piece;
    Wrote(offset + done);
  }
  return done;
}

int64 RemoteFile::DoRead(void* buffer, uint64 size) {
  return position_.Advance([&](int64 position) {
    return ReadAt(position, buffer, static_cast<int64>(std::min<uint64>(size, uint64{1} << 62)), "Read");
  });
}

int64 RemoteFile::DoWrite(const void* buffer, uint64 size) {
  return position_.Advance(
      [&](int64 position) { return WriteAt(position, buffer, static_cast<int64>(size), "Write"); });
}

int64 RemoteFile::DoAppend(const void* buffer, uint64 size, int64* offset) {
  // No atomic append on the server: find the end, then write there (one
  // writer at a time; SupportsConcurrentAppenders says so).
  return position_.Holding([&](int64& position) -> int64 {
    const int64 end = DoSize();
    if (end < 0) return -1;
    const int64 n = WriteAt(end, buffer, static_cast<int64>(size), "Append");
    if (n < 0) return -1;
    *offset = end;
    if (open_mode().append) position = end + n;
    return n;
  });
}

int64 RemoteFile::DoPRead(int64 offset, void* buffer, int64 size) {
  return ReadAt(offset, buffer, size, "PRead");
}

int64 RemoteFile::DoPWrite(int64 offset, const void* buffer, int64 size) {
  return WriteAt(offset, buffer, size, "PWrite");
}

bool RemoteFile::DoTruncate(int64 length) {
  const WallTime deadline = DeadlineFor(nullptr);
  const auto reply = Await(
      [&](Handler* h, uint16_t t) { return state_->file.Truncate(static_cast<uint64_t>(length), h, t); },
      deadline);
  if (!reply->status.IsOK()) return SetReplyError("Truncate", *reply, deadline);
  int64 known = written_end_.load();
  while (length < known && !written_end_.compare_exchange_weak(known, length)) {
  }
  return true;
}

int64 RemoteFile::DoSize() {
  const WallTime deadline = DeadlineFor(nullptr);
  const auto reply =
      Await([&](Handler* h, uint16_t t) { return state_->file.Stat(true, h, t); }, deadline);
  auto* info = reply->status.IsOK() ? reply->Get<XrdCl::StatInfo>() : nullptr;
  if (info != nullptr) return static_cast<int64>(info->GetSize());
  SetReplyError("Size", *reply, deadline);
  return -1;
}

int64 RemoteFile::DoTell() { return position_.Get(); }

bool RemoteFile::DoSeek(int64 position) {
  position_.Set(position);
  return true;
}

bool RemoteFile::DoSync(bool) {
  const WallTime deadline = DeadlineFor(nullptr);
  const auto reply = Await([&](Handler* h, uint16_t t) { return state_->file.Sync(h, t); }, deadline);
  if (!reply->status.IsOK()) return SetReplyError("Sync", *reply, deadline);
  const int64 kept = ShortLength(&state_->file, deadline);
  return kept < 0 || FailShort("Sync", kept);
}

bool RemoteFile::DoStat(FileStat* stat) {
  // By name first: that answer has owner, group and mode. A file deleted
  // while open still answers through the handle.
  Operation op;
  if (factory()->DoStat(name().c_str(), stat, &op)) return true;
  if (op.error() != ERROR_NOT_FOUND) return SetErrorFrom(op);
  const WallTime deadline = DeadlineFor(nullptr);
  const auto reply =
      Await([&](Handler* h, uint16_t t) { return state_->file.Stat(true, h, t); }, deadline);
  auto* info = reply->status.IsOK() ? reply->Get<XrdCl::StatInfo>() : nullptr;
  if (info == nullptr) {
    return SetReplyError("Stat", *reply, deadline);
  }
  FillStat(*info, stat);
  return true;
}

// Remote bytes cannot be mapped: both kinds of block are private copies,
// which later writes to the file do not change.
MemBlock* RemoteFile::DoGetBlock(int64 offset, int64 length, bool) {
  ::string copy;
  if (!ResizeOrFail(&copy, static_cast<uint64>(length), "GetMemBlock")) return nullptr;
  const int64 n = ReadAt(offset, copy.data(), length, "GetMemBlock");
  if (n < 0) return nullptr;
  copy.resize(static_cast<size_t>(n));
  return MemBlock::FromCopy(std::move(copy), offset);
}

// ---- Vector and asynchronous reads and writes -------------------------------------------

bool RemoteFile::ReadRanges(const vector<Range>& ranges, vector<::string>* out, Operation* op) {
  const HandleDeadline scope(op);
  auto fail = [&](ErrorCode code, const char* reason) {
    SetError(code, "ReadRanges", reason);
    if (op != nullptr) op->SetError(code, GetCurrentErrorMessage());
    return false;
  };
  if (out == nullptr) return fail(ERROR_INVALID_ARGUMENT, "no output vector");
  if (!is_open() || state_ == nullptr) return fail(ERROR_INVALID_ARGUMENT, "file is not open");
  if (!open_mode().read) return fail(ERROR_PERMISSION_DENIED, "file is not open for reading");
  if (ranges.size() > 1024) return fail(ERROR_INVALID_ARGUMENT, "more than 1024 ranges");
  const int64 size = DoSize();
  if (size < 0) return false;
  XrdCl::ChunkList chunks;
  int64 total = 0;
  vector<int64> lengths;
  for (const Range& r : ranges) {
    if (r.offset < 0 || r.length < 0) return fail(ERROR_INVALID_ARGUMENT, "bad offset or length");
    const int64 length = std::clamp<int64>(size - r.offset, 0, std::min(r.length, kMaxPiece));
    lengths.push_back(length);
    total += length;
  }
  auto buffer = std::make_shared<::string>();
  if (!ResizeOrFail(buffer.get(), static_cast<uint64>(total), "ReadRanges")) return false;
  int64 at = 0;
  for (size_t i = 0; i < ranges.size(); ++i) {
    if (lengths[i] == 0) continue;
    chunks.emplace_back(static_cast<uint64_t>(ranges[i].offset), static_cast<uint32_t>(lengths[i]),
                        buffer->data() + at);
    at += lengths[i];
  }
  if (!chunks.empty()) {
    const WallTime deadline = DeadlineFor(nullptr);
    char* into = buffer->data();
    const auto reply = Await(
        [&](Handler* h, uint16_t t) { return state_->file.VectorRead(chunks, into, h, t); },
        deadline, buffer);
    if (!reply->status.IsOK()) {
      Operation failed;
      FailWithReply(&failed, "ReadRanges", name(), *reply, deadline);
      if (op != nullptr) op->CopyFrom(failed);
      return SetErrorFrom(failed);
    }
  }
  out->clear();
  at = 0;
  for (int64 length : lengths) {
    out->emplace_back(buffer->data() + at, static_cast<size_t>(length));
    at += length;
  }
  return true;
}

void RemoteFile::BeginAsync() {
  std::lock_guard<std::mutex> lock(async_mu_);
  ++async_in_flight_;
}

void RemoteFile::EndAsync() {
  {
    std::lock_guard<std::mutex> lock(async_mu_);
    --async_in_flight_;
  }
  async_cv_.notify_all();
}

bool RemoteFile::IssueAsync(const char* what, Operation* op, AsyncIO* done,
                            const std::function<XrdCl::XRootDStatus(XrdCl::File*, Handler*, uint16_t)>& issue,
                            std::function<int64(const Reply*)> settle) {
  if (op != nullptr) op->ClearError();
  const WallTime deadline = DeadlineFor(op);
  std::shared_ptr<HandleState> state = state_;  // kept until the answer
  BeginAsync();
  auto finish = [this, state, what, op, done, deadline, settle = std::move(settle)](const Reply& reply) {
    int code = OK;
    int64 n = 0;
    if (reply.status.IsOK()) {
      n = settle(&reply);
    } else {
      Operation failed;
      FailWithReply(&failed, what, name(), reply, deadline);
      code = failed.error();
      settle(nullptr);
      SetErrorFrom(failed);
      if (op != nullptr) op->CopyFrom(failed);
    }
    EndAsync();  // `this` may be gone from here on
    done->Finish(code, n);
  };
  XrdCl::XRootDStatus issued;
  if (Issue([&](Handler* h, uint16_t t) { return issue(&state->file, h, t); }, deadline, finish,
            &issued)) {
    return true;
  }
  Reply refused;
  refused.status = issued;
  finish(refused);
  return true;
}

bool RemoteFile::PReadAsyncWithOp(int64 offset, int64 length, IOBuffer* data, int64* bytes_read,
                                  AsyncIO* done, Operation* op) {
  // The shared layer does the rare and the checked cases (long reads sized
  // by the file first, handles not open or not readable, passed deadlines).
  if (done == nullptr || data == nullptr || offset < 0 || length < 0 || length > kMaxAsyncRead ||
      !is_open() || !open_mode().read || state_ == nullptr ||
      (op != nullptr && op->DeadlineExceeded())) {
    return File::PReadAsyncWithOp(offset, length, data, bytes_read, done, op);
  }
  if (bytes_read != nullptr) *bytes_read = -1;
  data->Resize(static_cast<size_t>(length));
  char* into = data->mutable_data();
  return IssueAsync(
      "PRead", op, done,
      [offset, length, into](XrdCl::File* file, Handler* h, uint16_t t) {
        return file->Read(static_cast<uint64_t>(offset), static_cast<uint32_t>(length), into, h, t);
      },
      [data, bytes_read](const Reply* reply) -> int64 {
        auto* chunk = reply != nullptr ? reply->Get<XrdCl::ChunkInfo>() : nullptr;
        const int64 n = chunk != nullptr ? std::min<int64>(chunk->length, static_cast<int64>(data->size())) : 0;
        data->Resize(static_cast<size_t>(n));
        if (reply != nullptr && bytes_read != nullptr) *bytes_read = n;
        return n;
      });
}

bool RemoteFile::PWriteAsyncWithOp(int64 offset, IOBuffer* data, int64* written, AsyncIO* done,
                                   Operation* op) {
  // Append-only files and append-mode handles take the checked path of the
  // shared layer, as do the rare and failing cases.
  if (done == nullptr || data == nullptr || offset < 0 ||
      static_cast<int64>(data->size()) > kMaxPiece || !is_open() || !open_mode().write ||
      open_mode().append || state_ == nullptr || (op != nullptr && op->DeadlineExceeded()) ||
      !CheckAppendOnly(offset, "PWrite")) {
    if (is_open()) ClearError();  // a refusal is reported again by the shared layer
    return File::PWriteAsyncWithOp(offset, data, written, done, op);
  }
  const int64 size = static_cast<int64>(data->size());
  const char* from = data->data();
  return IssueAsync(
      "PWrite", op, done,
      [offset, size, from](XrdCl::File* file, Handler* h, uint16_t t) {
        return file->Write(static_cast<uint64_t>(offset), static_cast<uint32_t>(size), from, h, t);
      },
      [this, written, offset, size](const Reply* reply) -> int64 {
        if (reply != nullptr) Wrote(offset + size);
        if (written != nullptr) *written = reply != nullptr ? size : -1;
        return reply != nullptr ? size : 0;
      });
}

}  // namespace remote
}  // namespace file
