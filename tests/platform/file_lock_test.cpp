// SPDX-License-Identifier: MIT
#include "platform/file_lock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

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

TEST(StoreLock, TwoOfTheSamePathExcludeEachOther) {
  TestDirectory directory;
  StoreLock one(directory.PathOf("lock"));
  StoreLock other(directory.PathOf("lock"));
  auto guard = one.Acquire();
  std::atomic<bool> taken{false};
  std::thread waiter([&] {
    const auto its = other.Acquire();
    taken = true;
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  EXPECT_FALSE(taken);
  guard.reset();
  waiter.join();
  EXPECT_TRUE(taken);
}

TEST(StoreLock, IsTakenWithoutAFileWhereNoneCanBe) {
  TestDirectory directory;
  StoreLock lock(directory.PathOf("missing/lock"));
  EXPECT_NE(lock.Acquire(), nullptr);
  EXPECT_NE(lock.Acquire(), nullptr);
}

}  // namespace
}  // namespace quillbeaker
