// SPDX-License-Identifier: MIT
#include "platform/file_lock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

#include "support/blocked_thread.h"
#include "support/test_program.h"

namespace quillbeaker {
namespace {

using test::TestDirectory;

TEST(StoreLock, HoldsBetweenThreads) {
  TestDirectory directory;
  StoreLock lock(directory.PathOf("lock"));
  int count = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 100; ++i) {
        const auto guard = lock.Acquire();
        const int seen = count;
        std::this_thread::yield();
        count = seen + 1;
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(count, 400);
  EXPECT_TRUE(directory.Has("lock"));
  EXPECT_EQ(directory.Get("lock"), "");
}

// With `guard` held: whether `other` waits for it, and comes in when it is gone.
void ExpectExcluded(std::unique_ptr<StoreLockGuard> guard, StoreLock& other) {
  std::atomic<bool> taken{false};
  test::BlockedThread blocked;
  std::thread waiter([&] {
    blocked.Enters();
    const auto its = other.Acquire();
    taken = true;
  });
  EXPECT_TRUE(blocked.WaitUntilAsleep());
  EXPECT_FALSE(taken);
  guard.reset();
  waiter.join();
  EXPECT_TRUE(taken);
}

TEST(StoreLock, TwoOfTheSamePathExcludeEachOther) {
  TestDirectory directory;
  StoreLock one(directory.PathOf("lock"));
  StoreLock other(directory.PathOf("lock"));
  ExpectExcluded(one.Acquire(), other);
  ExpectExcluded(other.Acquire(), one);
}

TEST(StoreLock, TwoOfTheSamePathExcludeEachOtherWhereNoFileCanBeMade) {
  TestDirectory directory;
  StoreLock one(directory.PathOf("missing/lock"));
  StoreLock other(directory.PathOf("missing/lock"));
  ExpectExcluded(one.Acquire(), other);
  EXPECT_FALSE(directory.Has("missing"));
}

TEST(StoreLock, TwoPathsAreTwoLocks) {
  TestDirectory directory;
  StoreLock one(directory.PathOf("missing/one"));
  StoreLock other(directory.PathOf("missing/other"));
  const auto guard = one.Acquire();
  EXPECT_NE(other.Acquire(), nullptr);
}

TEST(StoreLock, AGuardHoldsLongerThanTheObjectThatGaveIt) {
  TestDirectory directory;
  auto first = std::make_unique<StoreLock>(directory.PathOf("missing/lock"));
  auto guard = first->Acquire();
  first.reset();
  StoreLock second(directory.PathOf("missing/lock"));
  ExpectExcluded(std::move(guard), second);
}

TEST(StoreLock, IsTakenWithoutAFileWhereNoneCanBe) {
  TestDirectory directory;
  StoreLock lock(directory.PathOf("missing/lock"));
  EXPECT_NE(lock.Acquire(), nullptr);
  EXPECT_NE(lock.Acquire(), nullptr);
}

}  // namespace
}  // namespace quillbeaker
