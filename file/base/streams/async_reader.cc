#include "file/base/streams/async_reader.h"

#include <new>

#include "file/base/core/async.h"
#include "file/base/file.h"

namespace file {
namespace streams {

AsyncReader::~AsyncReader() { WaitIdle(); }

bool AsyncReader::Start(File* file, int64 offset, int64 length,
                        std::function<void(int, int64)> on_done) {
  if (file == nullptr || offset < 0 || length <= 0) return false;
  auto piece = std::make_shared<Piece>();
  piece->data.reset(new (std::nothrow) char[static_cast<size_t>(length)]);
  if (!piece->data) return false;
  piece->offset = offset;
  piece->length = length;
  if (on_done) piece->on_done.push_back(std::move(on_done));
  {
    std::lock_guard<std::mutex> lock(mu_);
    pieces_.push_back(piece);
    ++running_;
  }
  file::RunAsync([this, file, piece] {
    int64 got = 0;
    int error = 0;
    // PRead returns short only at end of file; keep asking until then.
    while (got < piece->length) {
      const int64 n = file->PRead(piece->offset + got, piece->data.get() + got, piece->length - got);
      if (n < 0) {
        error = file->GetCurrentErrorCode();
        if (error == 0) error = file::ERROR_UNKNOWN;
        break;
      }
      if (n == 0) break;
      got += n;
    }
    Finished(piece, error, got);
  });
  return true;
}

void AsyncReader::Finished(const std::shared_ptr<Piece>& piece, int error, int64 got) {
  vector<std::function<void(int, int64)>> callbacks;
  {
    std::lock_guard<std::mutex> lock(mu_);
    piece->got = got;
    piece->error = error;
    piece->done = true;
    callbacks.swap(piece->on_done);
  }
  for (auto& cb : callbacks) cb(error, got);
  // The last thing this job does with the reader: after this the reader
  // may be destroyed.
  std::lock_guard<std::mutex> lock(mu_);
  --running_;
  cv_.notify_all();
}

namespace {
bool HoldsOffset(const Piece& p, int64 offset) {
  // A piece still reading may hold anything it asked for.
  const int64 end = p.offset + (p.done ? p.got : p.length);
  return p.offset <= offset && offset < end;
}
}  // namespace

std::shared_ptr<Piece> AsyncReader::Take(int64 offset, bool block,
                                         std::function<void(int, int64)> on_pending) {
  std::unique_lock<std::mutex> lock(mu_);
  for (;;) {
    std::shared_ptr<Piece> found;
    for (auto it = pieces_.begin(); it != pieces_.end();) {
      Piece& p = **it;
      const int64 end = p.offset + (p.done ? p.got : p.length);
      if (end <= offset && p.done) {
        it = pieces_.erase(it);  // wholly before: consumed or skipped
        continue;
      }
      if (found == nullptr && HoldsOffset(p, offset)) found = *it;
      ++it;
    }
    if (found == nullptr) return nullptr;
    if (found->done) {
      for (auto it = pieces_.begin(); it != pieces_.end(); ++it) {
        if (*it == found) {
          pieces_.erase(it);
          break;
        }
      }
      // A piece cut short by end of file may not reach `offset`.
      if (found->offset + found->got <= offset && found->error == 0) return nullptr;
      return found;
    }
    if (!block) {
      if (on_pending) found->on_done.push_back(std::move(on_pending));
      return nullptr;
    }
    cv_.wait(lock, [&] { return found->done; });
  }
}

bool AsyncReader::Holds(int64 offset) const {
  std::lock_guard<std::mutex> lock(mu_);
  for (const auto& p : pieces_) {
    if (HoldsOffset(*p, offset)) return true;
  }
  return false;
}

void AsyncReader::Drop(int64 offset, int64 length) {
  std::lock_guard<std::mutex> lock(mu_);
  for (auto it = pieces_.begin(); it != pieces_.end();) {
    const Piece& p = **it;
    const bool overlaps =
        length < 0 || (p.offset - offset < length && offset < p.offset + p.length);
    it = overlaps ? pieces_.erase(it) : it + 1;
  }
}

void AsyncReader::WaitIdle() {
  std::unique_lock<std::mutex> lock(mu_);
  cv_.wait(lock, [&] { return running_ == 0; });
}

int64 AsyncReader::End() const {
  std::lock_guard<std::mutex> lock(mu_);
  int64 end = 0;
  for (const auto& p : pieces_) end = std::max(end, p->offset + p->length);
  return end;
}

int64 AsyncReader::BytesFrom(int64 from) const {
  std::lock_guard<std::mutex> lock(mu_);
  int64 total = 0;
  for (const auto& p : pieces_) {
    if (p->offset >= from) total += p->length;
  }
  return total;
}

int AsyncReader::running() const {
  std::lock_guard<std::mutex> lock(mu_);
  return running_;
}

}  // namespace streams
}  // namespace file
