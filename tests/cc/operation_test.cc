// The per-call operation record: deadlines, errors, status texts, copying.
#include <thread>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "file/base/core/operation.h"

namespace {

void ExpectNoDeadline(const file::Operation& op) {
  EXPECT_FALSE(op.HasDeadline() || op.DeadlineExceeded());
  EXPECT_EQ(op.GetDeadline(), 0);
}

TEST(OperationTest, Deadlines) {
  file::Operation op;
  ExpectNoDeadline(op);
  WallTime before = WallTime_Now();
  op.SetDeadlineLength(100);
  EXPECT_GE(op.GetDeadline(), before + 100);
  EXPECT_LE(op.GetDeadline(), WallTime_Now() + 100);
  EXPECT_TRUE(op.HasDeadline() && !op.DeadlineExceeded());
}

TEST(OperationTest, ErrorsAndStatusTexts) {
  file::Operation op;
  EXPECT_TRUE(op.ToStatus().ok());
  op.SetError(file::ERROR_NOT_FOUND, StringPiece("no such file /x/y"));
  EXPECT_FALSE(op.ok());
  EXPECT_EQ(op.Status(), "not found: no such file /x/y");
  EXPECT_EQ(op.ToStatus().ToString(), "file::not found: no such file /x/y");
  op.SetError(file::ERROR_WRONG_TYPE, StringPiece("a\0b", 3));
  EXPECT_EQ(op.message(), ::string("a\0b", 3)) << "bytes after a NUL are part of the message";
  op.ClearError();
  EXPECT_EQ(op.Status(), "OK");

  // Fail records only when given an operation, and always returns false.
  EXPECT_FALSE(file::Fail(nullptr, file::ERROR_NO_SPACE, "disk full") || file::Fail(&op, file::ERROR_NO_SPACE, "disk full"));
  EXPECT_EQ(op.Status(), "no space: disk full");
}

TEST(OperationTest, InternalStartFinishAndCopyFromEveryField) {
  file::Operation source;
  source.SetError(file::ERROR_TEMPORARY, "try again");
  source.SetAbsoluteDeadline(4242.25);
  source.set_priority(util::Priority(7));
  source.set_retry(true);
  source.set_resource_user("batch");
  source.set_traffic_class(net_base::OptionalTrafficClass(3));
  source.InternalStart("Open", StringPiece("/mem/a"));
  source.InternalFinish();

  file::Operation copy;
  copy.CopyFrom(source);
  EXPECT_EQ(std::make_tuple(copy.error(), copy.message(), copy.GetDeadline(), copy.priority().level(), copy.retry(),
                            copy.resource_user(), copy.descriptor(), copy.elapsed_seconds()),
            std::make_tuple(file::ERROR_TEMPORARY, ::string("try again"), 4242.25, 7, true, ::string("batch"),
                            ::string("Open(/mem/a)"), source.elapsed_seconds()));
  EXPECT_TRUE(copy.traffic_class() == net_base::OptionalTrafficClass(3));

  copy.CopyFrom(file::Operation());  // copying a clean operation clears everything again
  ExpectNoDeadline(copy);
  EXPECT_TRUE(copy.ok() && !copy.retry() && copy.descriptor().empty());

  source.CopyFrom(source);  // must neither deadlock nor change anything
  EXPECT_EQ(source.resource_user(), "batch");
}

TEST(OperationTest, SharedBetweenThreads) {
  file::Operation op;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&op, t] {
      for (int i = 0; i < 1000; ++i) {
        op.SetError(file::ERROR_TEMPORARY, "thread " + std::to_string(t));
        const ::string status = op.Status();  // code and message always change together
        EXPECT_EQ(status.rfind("temporary error: thread ", 0), 0u) << status;
      }
    });
  }
  for (auto& thread : threads) thread.join();
}

TEST(OperationDeathTest, CheckSuccessDiesOnlyOnFailure) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  file::Operation op;
  op.CheckSuccess();
  op.SetError(file::ERROR_PERMISSION_DENIED, "nope");
  EXPECT_DEATH(op.CheckSuccess(), "F .*operation\\.cc:[0-9]+\\] Check failed: operation succeeded: permission denied: nope");
}

}  // namespace
