// Completion objects and the worker pool.
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "file/base/async.h"
#include "file/base/errors.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// Counts its own destruction, to observe self-deleting watchers.
class TrackedWatcher : public AsyncIOWatcher {
 public:
  explicit TrackedWatcher(std::atomic<int>* deleted) : deleted_(deleted) {}
  ~TrackedWatcher() override { deleted_->fetch_add(1); }
  using AsyncIOWatcher::NumWaiters;

 private:
  std::atomic<int>* deleted_;
};

// Polls a condition for up to five seconds.
template <class Condition>
bool Eventually(Condition condition) {
  auto give_up = steady_clock::now() + std::chrono::seconds(5);
  while (!condition()) {
    if (steady_clock::now() > give_up) return false;
    std::this_thread::sleep_for(milliseconds(1));
  }
  return true;
}

TEST(AsyncIOWatcherTest, WaitIsWokenByFinishFromAnotherThread) {
  AsyncIOWatcher watcher;
  EXPECT_FALSE(watcher.IsFinished());
  std::thread finisher([&watcher] {
    std::this_thread::sleep_for(milliseconds(20));
    AsyncIO* completion = &watcher;  // operations only know the base class
    completion->Finish(file::ERROR_PAST_EOF, 1LL << 40);
  });
  watcher.Wait();
  EXPECT_TRUE(watcher.IsFinished());
  EXPECT_EQ(watcher.Error(), file::ERROR_PAST_EOF);
  EXPECT_EQ(watcher.Bytes(), 1LL << 40);
  finisher.join();
}

TEST(AsyncIOWatcherTest, WaitWithTimeoutTimesOutThenSucceeds) {
  AsyncIOWatcher watcher;
  EXPECT_FALSE(watcher.WaitWithTimeout(0));
  auto start = steady_clock::now();
  EXPECT_FALSE(watcher.WaitWithTimeout(30));
  EXPECT_GE(steady_clock::now() - start, milliseconds(30));

  file::RunAsync([&watcher] { watcher.Finish(file::OK, 12); });
  EXPECT_TRUE(watcher.WaitWithTimeout(-1));
  EXPECT_TRUE(watcher.WaitWithTimeout(0));  // stays finished
  EXPECT_EQ(watcher.Bytes(), 12);
}

TEST(AsyncIOWatcherTest, OnlyTheFirstReportCounts) {
  AsyncIOWatcher watcher;
  watcher.Finish(file::ERROR_NOT_FOUND, 3);
  watcher.Finish(file::OK, 100);
  EXPECT_EQ(watcher.Error(), file::ERROR_NOT_FOUND);
  EXPECT_EQ(watcher.Bytes(), 3);

  // HandleFinish (the fifth operation) finishes with the outcome so far.
  AsyncIOWatcher direct;
  direct.Run();
  EXPECT_TRUE(direct.IsFinished());
  direct.Finish(file::INTERNAL_ERROR, 5);
  EXPECT_EQ(direct.Error(), file::OK);
  EXPECT_EQ(direct.Bytes(), 0);
}

TEST(AsyncIOWatcherTest, AbandonRunsCallbackOnceAndWakesWaiters) {
  AsyncIOWatcher watcher;
  std::vector<bool> calls;
  FunctionCallback1<bool> callback([&calls](bool abandoned) { calls.push_back(abandoned); });
  watcher.SetAbandonCallback(&callback);

  std::thread waiter([&watcher] { watcher.Wait(); });
  std::this_thread::sleep_for(milliseconds(10));
  watcher.Abandon();
  waiter.join();  // would hang if Abandon did not wake it
  watcher.Abandon();
  EXPECT_EQ(calls, std::vector<bool>{true});
  EXPECT_FALSE(watcher.IsFinished());

  // A late completion is still recorded.
  watcher.Finish(file::ERROR_TEMPORARY, 9);
  EXPECT_TRUE(watcher.IsFinished());
  EXPECT_EQ(watcher.Error(), file::ERROR_TEMPORARY);

  // Abandoning a finished operation has nothing to cancel.
  AsyncIOWatcher finished;
  finished.SetAbandonCallback(&callback);
  finished.Finish(file::OK, 1);
  finished.Abandon();
  EXPECT_EQ(calls.size(), 1u);
}

TEST(AsyncIOWatcherTest, AbandonCallbackMayCancelThroughFinish) {
  AsyncIOWatcher watcher;
  FunctionCallback1<bool> cancel(
      [&watcher](bool) { watcher.Finish(file::ERROR_DEADLINE_EXCEEDED, 0); });
  watcher.SetAbandonCallback(&cancel);
  watcher.Abandon();  // must not deadlock on the watcher's own lock
  EXPECT_TRUE(watcher.IsFinished());
  EXPECT_EQ(watcher.Error(), file::ERROR_DEADLINE_EXCEEDED);
}

TEST(AsyncIOWatcherTest, DetachDeletesWhenFinished) {
  std::atomic<int> deleted{0};
  auto* pending = new TrackedWatcher(&deleted);
  int callbacks = 0;
  FunctionCallback1<bool> callback([&callbacks](bool) { ++callbacks; });
  pending->SetAbandonCallback(&callback);
  pending->Detach();
  EXPECT_EQ(deleted, 0);
  pending->Finish(file::OK, 0);
  EXPECT_EQ(deleted, 1);
  EXPECT_EQ(callbacks, 0);

  auto* done = new TrackedWatcher(&deleted);
  done->Finish(file::OK, 0);
  done->Detach();  // already finished: deleted at once
  EXPECT_EQ(deleted, 2);
}

TEST(AsyncIOWatcherTest, AbandonAndReleaseDeletesWhenFinished) {
  std::atomic<int> deleted{0};
  int callbacks = 0;
  FunctionCallback1<bool> callback([&callbacks](bool) { ++callbacks; });

  auto* pending = new TrackedWatcher(&deleted);
  pending->SetAbandonCallback(&callback);
  pending->AbandonAndRelease();
  EXPECT_EQ(callbacks, 1);
  EXPECT_EQ(deleted, 0);
  pending->Finish(file::ERROR_UNKNOWN, 0);
  EXPECT_EQ(deleted, 1);

  auto* done = new TrackedWatcher(&deleted);
  done->SetAbandonCallback(&callback);
  done->Finish(file::OK, 0);
  done->AbandonAndRelease();
  EXPECT_EQ(callbacks, 1);
  EXPECT_EQ(deleted, 2);
}

// Ownership handed over while the pool completes the operation: exactly one
// deletion, whichever side comes second.
TEST(AsyncIOWatcherTest, ReleaseRacingFinishDeletesExactlyOnce) {
  constexpr int kRounds = 500;
  std::atomic<int> deleted{0};
  for (int i = 0; i < kRounds; ++i) {
    auto* watcher = new TrackedWatcher(&deleted);
    file::RunAsync([watcher] { watcher->Finish(file::OK, 1); });
    if (i % 2 == 0) {
      watcher->Detach();
    } else {
      watcher->AbandonAndRelease();
    }
  }
  EXPECT_TRUE(Eventually([&] { return deleted == kRounds; })) << deleted;
}

// A waiter still leaving Wait must not see its watcher deleted under it.
TEST(AsyncIOWatcherTest, SelfDeletionWaitsForWaitersToLeave) {
  constexpr int kRounds = 200;
  std::atomic<int> deleted{0};
  for (int i = 0; i < kRounds; ++i) {
    auto* watcher = new TrackedWatcher(&deleted);
    std::thread waiter([watcher] { watcher->Wait(); });
    ASSERT_TRUE(Eventually([watcher] { return watcher->NumWaiters() == 1; }));
    watcher->Detach();
    watcher->Finish(file::OK, 0);
    waiter.join();
  }
  EXPECT_EQ(deleted, kRounds);
}

TEST(AsyncIOForSSTest, RecordsOutcomeThenRunsClosure) {
  int seen_error = -1;
  int64 seen_bytes = -1;
  AsyncIOForSS* completion = AsyncIOForSS::New([&](AsyncIOForSS* self) {
    seen_error = self->Error();
    seen_bytes = self->Bytes();
    delete self;  // the usual way such a completion ends
  });
  AsyncIO* base = completion;
  base->Finish(file::ERROR_NO_SPACE, 77);
  EXPECT_EQ(seen_error, file::ERROR_NO_SPACE);
  EXPECT_EQ(seen_bytes, 77);

  std::unique_ptr<AsyncIOForSS> quiet(AsyncIOForSS::New(nullptr));
  quiet->Finish(file::OK, 4);  // no closure: only records
  EXPECT_EQ(quiet->Bytes(), 4);
}

TEST(RunAsyncTest, RunsEveryJobOffTheCallingThread) {
  constexpr int kJobs = 100;
  std::atomic<int> done{0};
  std::atomic<bool> ran_here{false};
  auto caller = std::this_thread::get_id();
  for (int i = 0; i < kJobs; ++i) {
    file::RunAsync([&] {
      if (std::this_thread::get_id() == caller) ran_here = true;
      ++done;
    });
  }
  file::RunAsync(nullptr);  // ignored, not a crash in a worker
  EXPECT_TRUE(Eventually([&] { return done == kJobs; }));
  EXPECT_FALSE(ran_here);
}

TEST(RunAsyncTest, JobsStartInSubmissionOrder) {
  std::mutex mu;
  std::condition_variable cv;
  int busy_workers = 0;
  int permits = 0;
  std::vector<char> order;
  // Occupy every worker until a permit lets one go.
  for (int i = 0; i < file::kAsyncWorkerThreads; ++i) {
    file::RunAsync([&] {
      std::unique_lock<std::mutex> lock(mu);
      ++busy_workers;
      cv.notify_all();
      cv.wait(lock, [&] { return permits > 0; });
      --permits;
    });
  }
  {
    std::unique_lock<std::mutex> lock(mu);
    ASSERT_TRUE(cv.wait_for(lock, std::chrono::seconds(5),
                            [&] { return busy_workers == file::kAsyncWorkerThreads; }));
  }
  for (char name : {'a', 'b', 'c'}) {
    file::RunAsync([&, name] {
      std::lock_guard<std::mutex> lock(mu);
      order.push_back(name);
    });
  }
  {
    std::lock_guard<std::mutex> lock(mu);
    permits = 1;  // one worker free: it must take the oldest job first
  }
  cv.notify_all();
  ASSERT_TRUE(Eventually([&] {
    std::lock_guard<std::mutex> lock(mu);
    return order.size() == 3;
  }));
  {
    std::lock_guard<std::mutex> lock(mu);
    EXPECT_EQ(order, (std::vector<char>{'a', 'b', 'c'}));
    permits += file::kAsyncWorkerThreads - 1;
  }
  cv.notify_all();
  EXPECT_TRUE(Eventually([&] {
    std::lock_guard<std::mutex> lock(mu);
    return permits == 0;
  }));
}

TEST(RunAsyncTest, ThrowingJobDoesNotStopThePool) {
  std::atomic<bool> later_job_ran{false};
  file::RunAsync([] { throw std::runtime_error("job failure under test"); });
  file::RunAsync([&] { later_job_ran = true; });
  EXPECT_TRUE(Eventually([&] { return later_job_ran.load(); }));
}

}  // namespace
