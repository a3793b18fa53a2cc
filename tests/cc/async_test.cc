// Completion objects and the worker pool.
#include <atomic>
#include <chrono>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "file/base/core/async.h"
#include "file/base/util/errors.h"

namespace {

using std::chrono::milliseconds;

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
  auto give_up = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > give_up) return false;
    std::this_thread::sleep_for(milliseconds(1));
  }
  return true;
}

TEST(AsyncIOWatcherTest, WaitsEndAtTheFirstReportWhichAloneCounts) {
  AsyncIOWatcher watcher;
  EXPECT_FALSE(watcher.WaitWithTimeout(0));
  file::RunAsync([&watcher] {
    std::this_thread::sleep_for(milliseconds(20));
    AsyncIO* completion = &watcher;  // operations only know the base class
    completion->Finish(file::ERROR_PAST_EOF, 1LL << 40);
  });
  EXPECT_TRUE(watcher.WaitWithTimeout(-1));  // no limit
  watcher.Finish(file::OK, 100);
  EXPECT_TRUE(watcher.WaitWithTimeout(0));   // stays finished
  EXPECT_EQ(watcher.Error(), file::ERROR_PAST_EOF);
  EXPECT_EQ(watcher.Bytes(), 1LL << 40);

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
  watcher.Finish(file::ERROR_TEMPORARY, 9);  // a late completion is still recorded
  EXPECT_TRUE(watcher.IsFinished());
  EXPECT_EQ(watcher.Error(), file::ERROR_TEMPORARY);

  // The callback may cancel through Finish without deadlocking on the lock.
  AsyncIOWatcher cancelled;
  FunctionCallback1<bool> cancel([&cancelled](bool) { cancelled.Finish(file::ERROR_DEADLINE_EXCEEDED, 0); });
  cancelled.SetAbandonCallback(&cancel);
  cancelled.Abandon();
  EXPECT_TRUE(cancelled.IsFinished());
  EXPECT_EQ(cancelled.Error(), file::ERROR_DEADLINE_EXCEEDED);
}

// Detach and AbandonAndRelease both hand ownership over: the watcher deletes
// itself on Finish, or at once when already finished. Only AbandonAndRelease
// runs the abandon callback, and only while the operation is pending.
TEST(AsyncIOWatcherTest, ReleasedWatchersDeleteThemselvesWhenFinished) {
  for (bool abandon : {false, true}) {
    std::atomic<int> deleted{0};
    int callbacks = 0;
    FunctionCallback1<bool> callback([&callbacks](bool) { ++callbacks; });
    auto release = [abandon](TrackedWatcher* w) { abandon ? w->AbandonAndRelease() : w->Detach(); };

    auto* pending = new TrackedWatcher(&deleted);
    pending->SetAbandonCallback(&callback);
    release(pending);
    EXPECT_EQ(callbacks, abandon ? 1 : 0) << abandon;
    EXPECT_EQ(deleted, 0) << abandon;
    pending->Finish(file::ERROR_UNKNOWN, 0);
    EXPECT_EQ(deleted, 1) << abandon;

    auto* done = new TrackedWatcher(&deleted);
    done->SetAbandonCallback(&callback);
    done->Finish(file::OK, 0);
    release(done);
    EXPECT_EQ(deleted, 2) << abandon;
    EXPECT_EQ(callbacks, abandon ? 1 : 0) << abandon;
  }
}

// Ownership handed over while the pool completes the operation: exactly one
// deletion, whichever side comes second.
TEST(AsyncIOWatcherTest, ReleaseRacingFinishDeletesExactlyOnce) {
  constexpr int kRounds = 500;
  std::atomic<int> deleted{0};
  for (int i = 0; i < kRounds; ++i) {
    auto* watcher = new TrackedWatcher(&deleted);
    file::RunAsync([watcher] { watcher->Finish(file::OK, 1); });
    i % 2 == 0 ? watcher->Detach() : watcher->AbandonAndRelease();
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
  std::pair<int, int64> seen;
  AsyncIO* base = AsyncIOForSS::New([&](AsyncIOForSS* self) {
    seen = {self->Error(), self->Bytes()};
    delete self;  // the usual way such a completion ends
  });
  base->Finish(file::ERROR_NO_SPACE, 77);
  EXPECT_EQ(seen, std::make_pair(int{file::ERROR_NO_SPACE}, int64{77}));

  std::unique_ptr<AsyncIOForSS> quiet(AsyncIOForSS::New(nullptr));
  quiet->Finish(file::OK, 4);  // no closure: only records
  EXPECT_EQ(quiet->Bytes(), 4);
}

TEST(RunAsyncTest, RunsEveryJobOffTheCallingThreadDespiteThrowsAndNulls) {
  constexpr int kJobs = 100;
  std::atomic<int> done{0};
  std::atomic<bool> ran_here{false};
  auto caller = std::this_thread::get_id();
  file::RunAsync([] { throw std::runtime_error("job failure under test"); });
  file::RunAsync(nullptr);  // ignored, not a crash in a worker
  for (int i = 0; i < kJobs; ++i) {
    file::RunAsync([&] {
      if (std::this_thread::get_id() == caller) ran_here = true;
      ++done;
    });
  }
  EXPECT_TRUE(Eventually([&] { return done == kJobs; }));
  EXPECT_FALSE(ran_here);
}

TEST(RunAsyncTest, JobsStartInSubmissionOrder) {
  std::atomic<int> busy_workers{0}, permits{0};
  std::mutex mu;
  std::vector<char> order;
  auto ordered = [&] {
    std::lock_guard<std::mutex> lock(mu);
    return order;
  };
  // Occupy every worker until a permit lets one go.
  for (int i = 0; i < file::kAsyncWorkerThreads; ++i) {
    file::RunAsync([&] {
      ++busy_workers;
      for (int p = permits; p <= 0 || !permits.compare_exchange_weak(p, p - 1); p = permits) {
        std::this_thread::sleep_for(milliseconds(1));
      }
    });
  }
  ASSERT_TRUE(Eventually([&] { return busy_workers == file::kAsyncWorkerThreads; }));
  for (char name : {'a', 'b', 'c'}) {
    file::RunAsync([&, name] {
      std::lock_guard<std::mutex> lock(mu);
      order.push_back(name);
    });
  }
  permits = 1;  // one worker free: it must take the oldest job first
  EXPECT_TRUE(Eventually([&] { return ordered().size() == 3; }));
  EXPECT_EQ(ordered(), (std::vector<char>{'a', 'b', 'c'}));
  permits += file::kAsyncWorkerThreads - 1;
  EXPECT_TRUE(Eventually([&] { return permits == 0; }));
}

}  // namespace
