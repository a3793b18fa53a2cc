// Asynchronous completion objects and the worker pool that completes them.
#ifndef FILE_BASE_ASYNC_H_
#define FILE_BASE_ASYNC_H_

#include <condition_variable>
#include <functional>
#include <mutex>

#include "file/base/util/base_types.h"
#include "file/base/util/callback.h"

// A completion: an asynchronous operation reports its outcome through
// Finish(error code, byte count) exactly once, from any thread.
class AsyncIO {
 public:
  virtual ~AsyncIO();
  virtual void Finish(int error, int64 bytes) = 0;
  // Called with true if the caller abandons the operation before it finished
  // (see AsyncIOWatcher::Abandon); the callback is not owned.
  virtual void SetAbandonCallback(Callback1<bool>* cb) = 0;
  // Runs the completion's own reaction to Finish (the fifth operation).
  virtual void Run() = 0;
};

// A completion that threads can wait on. Thread-safe.
class AsyncIOWatcher : public AsyncIO {
 public:
  AsyncIOWatcher();
  ~AsyncIOWatcher() override;

  void Finish(int error, int64 bytes) override;
  void SetAbandonCallback(Callback1<bool>* cb) override;
  void Run() override { HandleFinish(); }
  // Marks the watcher finished with the outcome recorded so far and wakes
  // every waiter; Finish records the outcome and then calls it.
  virtual void HandleFinish();

  // Both waits also return once the watcher is abandoned.
  void Wait();
  // Waits at most timeout_ms milliseconds (negative: forever); true if the
  // operation finished.
  bool WaitWithTimeout(int timeout_ms);
  bool IsFinished() const;
  int Error() const;
  int64 Bytes() const;

  // The caller loses interest: the abandon callback runs with true, waiters
  // wake, and a later Finish is recorded but nobody waits for it. The caller
  // still owns and deletes the watcher.
  void Abandon();
  // Abandon, and hand ownership to the operation: the watcher deletes itself
  // when it is finished (at once if it already is).
  void AbandonAndRelease();
  // Hand ownership to the operation without abandoning: the watcher deletes
  // itself when finished (at once if it already is); the abandon callback does
  // not run.
  void Detach();

 protected:
  // Threads currently blocked in Wait or WaitWithTimeout.
  int NumWaiters() const;

 private:
  void FinishLocked(std::unique_lock<std::mutex>& lock);
  // The watcher becomes self-owned; deletes it if it already finished.
  void ReleaseOwnership();
  // Waits for threads still inside Wait to leave, then deletes the watcher.
  void DeleteSelf(std::unique_lock<std::mutex>& lock);
  mutable std::mutex mu_;
  std::condition_variable cv_;
  bool reported_ = false;  // Finish has recorded an outcome
  bool finished_ = false;
  bool abandoned_ = false;
  bool self_owned_ = false;
  int waiters_ = 0;  // threads inside Wait/WaitWithTimeout
  int error_ = 0;
  int64 bytes_ = 0;
  Callback1<bool>* abandon_cb_ = nullptr;
};

// A completion that records its outcome and then runs a closure; made by the
// library (no public constructor needed by users: use New).
class AsyncIOForSS : public AsyncIO {
 public:
  // done (may be empty) runs on the completing thread after the outcome is
  // recorded.
  static AsyncIOForSS* New(std::function<void(AsyncIOForSS*)> done);
  ~AsyncIOForSS() override;

  void Finish(int error, int64 bytes) override;
  void SetAbandonCallback(Callback1<bool>* cb) override;
  void Run() override;  // runs the closure

  int Error() const { return error_; }
  int64 Bytes() const { return bytes_; }

 protected:
  explicit AsyncIOForSS(std::function<void(AsyncIOForSS*)> done);

 private:
  int error_ = 0;
  int64 bytes_ = 0;
  std::function<void(AsyncIOForSS*)> done_;
  Callback1<bool>* abandon_cb_ = nullptr;
};

namespace file {
// Threads of the worker pool behind RunAsync.
constexpr int kAsyncWorkerThreads = 4;

// Runs work on the library's worker pool (a few threads, started on first
// use, living until the process ends). Jobs start in the order given. A job
// that throws is logged and dropped, so a job that owes a completion its
// Finish must catch for itself.
void RunAsync(std::function<void()> work);
}  // namespace file

#endif  // FILE_BASE_ASYNC_H_
