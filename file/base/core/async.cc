#include "file/base/core/async.h"

#include <chrono>
#include <deque>
#include <exception>
#include <thread>

#include "file/base/util/logging.h"

AsyncIO::~AsyncIO() = default;

// --- AsyncIOWatcher ----------------------------------------------------------

AsyncIOWatcher::AsyncIOWatcher() = default;

AsyncIOWatcher::~AsyncIOWatcher() = default;

void AsyncIOWatcher::Finish(int error, int64 bytes) {
  {
    std::lock_guard<std::mutex> lock(mu_);
    // Completion is reported once; a late or duplicate report must not
    // overwrite the outcome a waiter may already have read.
    if (reported_ || finished_) return;
    reported_ = true;
    error_ = error;
    bytes_ = bytes;
  }
  // Not under the lock: a subclass's HandleFinish takes it itself.
  HandleFinish();
}

void AsyncIOWatcher::HandleFinish() {
  std::unique_lock<std::mutex> lock(mu_);
  FinishLocked(lock);
  // Touch nothing here: FinishLocked may have deleted the watcher.
}

void AsyncIOWatcher::FinishLocked(std::unique_lock<std::mutex>& lock) {
  if (finished_) return;
  reported_ = true;
  finished_ = true;
  cv_.notify_all();
  if (self_owned_) DeleteSelf(lock);
}

void AsyncIOWatcher::DeleteSelf(std::unique_lock<std::mutex>& lock) {
  cv_.wait(lock, [this] { return waiters_ == 0; });
  lock.unlock();
  delete this;
}

void AsyncIOWatcher::SetAbandonCallback(Callback1<bool>* cb) {
  std::lock_guard<std::mutex> lock(mu_);
  abandon_cb_ = cb;
}

void AsyncIOWatcher::Wait() { WaitWithTimeout(-1); }

bool AsyncIOWatcher::WaitWithTimeout(int timeout_ms) {
  std::unique_lock<std::mutex> lock(mu_);
  ++waiters_;
  auto done_waiting = [this] { return finished_ || abandoned_; };
  if (timeout_ms < 0) {
    cv_.wait(lock, done_waiting);
  } else {
    cv_.wait_for(lock, std::chrono::milliseconds(timeout_ms), done_waiting);
  }
  --waiters_;
  bool finished = finished_;
  // A self-owned watcher that finished meanwhile waits for us to leave
  // before deleting itself.
  if (waiters_ == 0 && self_owned_) cv_.notify_all();
  return finished;
}

bool AsyncIOWatcher::IsFinished() const {
  std::lock_guard<std::mutex> lock(mu_);
  return finished_;
}

int AsyncIOWatcher::Error() const {
  std::lock_guard<std::mutex> lock(mu_);
  return error_;
}

int64 AsyncIOWatcher::Bytes() const {
  std::lock_guard<std::mutex> lock(mu_);
  return bytes_;
}

int AsyncIOWatcher::NumWaiters() const {
  std::lock_guard<std::mutex> lock(mu_);
  return waiters_;
}

void AsyncIOWatcher::Abandon() {
  Callback1<bool>* callback = nullptr;
  {
    std::lock_guard<std::mutex> lock(mu_);
    if (abandoned_) return;
    abandoned_ = true;
    if (!finished_) callback = abandon_cb_;
    cv_.notify_all();
  }
  // Outside the lock: the callback typically cancels the operation, which
  // reports back through Finish.
  if (callback != nullptr) callback->Run(true);
}

void AsyncIOWatcher::AbandonAndRelease() {
  Abandon();
  ReleaseOwnership();
}

void AsyncIOWatcher::Detach() { ReleaseOwnership(); }

void AsyncIOWatcher::ReleaseOwnership() {
  std::unique_lock<std::mutex> lock(mu_);
  self_owned_ = true;
  if (finished_) DeleteSelf(lock);
}

// --- AsyncIOForSS ------------------------------------------------------------

AsyncIOForSS* AsyncIOForSS::New(std::function<void(AsyncIOForSS*)> done) {
  return new AsyncIOForSS(std::move(done));
}

AsyncIOForSS::AsyncIOForSS(std::function<void(AsyncIOForSS*)> done) : done_(std::move(done)) {}

AsyncIOForSS::~AsyncIOForSS() = default;

void AsyncIOForSS::Finish(int error, int64 bytes) {
  error_ = error;
  bytes_ = bytes;
  Run();
}

void AsyncIOForSS::SetAbandonCallback(Callback1<bool>* cb) { abandon_cb_ = cb; }

void AsyncIOForSS::Run() {
  if (!done_) return;
  // Run a copy: the closure commonly deletes this object, and with it done_.
  std::function<void(AsyncIOForSS*)> done = done_;
  done(this);
}

// --- Worker pool -------------------------------------------------------------

namespace file {

namespace {

class WorkerPool {
 public:
  WorkerPool() {
    for (int i = 0; i < kAsyncWorkerThreads; ++i) {
      try {
        std::thread(&WorkerPool::WorkLoop, this).detach();
        ++workers_;
      } catch (const std::system_error& e) {
        PQ_LOG(ERROR) << "cannot start an asynchronous worker: " << e.what();
      }
    }
  }

  void Add(std::function<void()> job) {
    if (workers_ == 0) {
      // No thread to hand it to: completing late beats never completing.
      RunJob(job);
      return;
    }
    {
      std::lock_guard<std::mutex> lock(mu_);
      jobs_.push_back(std::move(job));
    }
    cv_.notify_one();
  }

 private:
  [[noreturn]] void WorkLoop() {
    for (;;) {
      std::function<void()> job;
      {
        std::unique_lock<std::mutex> lock(mu_);
        cv_.wait(lock, [this] { return !jobs_.empty(); });
        job = std::move(jobs_.front());
        jobs_.pop_front();
      }
      RunJob(job);
    }
  }

  // A throwing job must not take the whole process down with it.
  static void RunJob(const std::function<void()>& job) {
    try {
      job();
    } catch (const std::exception& e) {
      PQ_LOG(ERROR) << "asynchronous job failed: " << e.what();
    } catch (...) {
      PQ_LOG(ERROR) << "asynchronous job failed with an unknown exception";
    }
  }

  std::mutex mu_;
  std::condition_variable cv_;
  std::deque<std::function<void()>> jobs_;
  int workers_ = 0;
};

WorkerPool& Pool() {
  // Never destroyed: detached workers keep using it until the process ends.
  static WorkerPool* const pool = new WorkerPool;
  return *pool;
}

}  // namespace

void RunAsync(std::function<void()> work) {
  if (!work) return;
  Pool().Add(std::move(work));
}

}  // namespace file
