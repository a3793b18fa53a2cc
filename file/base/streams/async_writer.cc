#include "file/base/streams/async_writer.h"

#include <new>

#include "file/base/core/async.h"
#include "file/base/file.h"

namespace file {
namespace streams {

AsyncWriter::AsyncWriter(File* file, int64 budget, size_t buffer_size)
    : file_(file), budget_(budget), buffer_size_(buffer_size) {}

AsyncWriter::~AsyncWriter() {
  Wait();
  for (char* b : free_) delete[] b;
}

bool AsyncWriter::Submit(char** data, int64 n, bool block, AsyncIO* room) {
  std::unique_lock<std::mutex> lock(mu_);
  if (failed_) return false;
  auto has_room = [&] { return in_flight_ == 0 || in_flight_ + n <= budget_ || failed_; };
  if (!has_room()) {
    if (!block) {
      if (room != nullptr) waiting_for_room_.push_back(room);
      return false;
    }
    cv_.wait(lock, has_room);
    if (failed_) return false;
  }
  char* fresh = nullptr;
  if (!free_.empty()) {
    fresh = free_.back();
    free_.pop_back();
  } else {
    fresh = new (std::nothrow) char[buffer_size_];
    if (fresh == nullptr) return false;
  }
  queue_.push_back(Item{*data, n});
  *data = fresh;
  in_flight_ += n;
  if (!running_) {
    running_ = true;
    file::RunAsync([this] { Drain(); });
  }
  return true;
}

void AsyncWriter::Drain() {
  std::unique_lock<std::mutex> lock(mu_);
  while (!queue_.empty()) {
    Item item = queue_.front();
    queue_.pop_front();
    bool ok = !failed_;
    if (ok) {
      lock.unlock();
      int64 done = 0;
      while (done < item.n) {
        const int64 w = file_->Write(item.data + done, static_cast<uint64>(item.n - done));
        if (w <= 0) {
          ok = false;
          break;
        }
        done += w;
      }
      lock.lock();
    }
    if (!ok) failed_ = true;
    in_flight_ -= item.n;
    free_.push_back(item.data);
    vector<AsyncIO*> notify;
    notify.swap(waiting_for_room_);
    cv_.notify_all();
    if (!notify.empty()) {
      const int64 left = in_flight_;
      const int error = failed_ ? file::ERROR_UNKNOWN : file::OK;
      lock.unlock();
      for (AsyncIO* a : notify) a->Finish(error, left);
      lock.lock();
    }
  }
  running_ = false;
  cv_.notify_all();
}

bool AsyncWriter::Wait() {
  std::unique_lock<std::mutex> lock(mu_);
  cv_.wait(lock, [&] { return !running_ && queue_.empty(); });
  return !failed_;
}

bool AsyncWriter::failed() const {
  std::lock_guard<std::mutex> lock(mu_);
  return failed_;
}

int64 AsyncWriter::in_flight() const {
  std::lock_guard<std::mutex> lock(mu_);
  return in_flight_;
}

}  // namespace streams
}  // namespace file
