// SPDX-License-Identifier: MIT
// What a batch costs in files: the lists are read and written once, however many messages it counted.

#include <gtest/gtest.h>
#include <sys/syscall.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <thread>

#include "filter/learning.h"
#include "stores/posix/traced_process.h"
#include "support/test_program.h"

namespace quillbeaker {
namespace {

using Calls = std::map<std::uint64_t, int>;

void CountMessage(LearningBatch& batch, int number) {
  MailMessage message;
  message.ParseText("Subject:\r\n\r\nword" + std::to_string(1000 + number) + " and more \r\n");
  batch.Count(message, LearnKind::kGood);
}

// How often learning from so many messages makes each system call; empty when no process may be traced here.
Calls CallsOfABatchOf(int count) {
  test::TestProgram program;
  LearningBatch before(program.program());
  CountMessage(before, -1);
  EXPECT_TRUE(before.Save());
  // Old enough to be told from every later state.
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  Calls calls;
  const test::TracedEnd end = test::RunTraced(
      [&] {
        LearningBatch batch(program.program());
        for (int i = 0; i < count; ++i) CountMessage(batch, i);
        if (!batch.Save()) _exit(1);
      },
      [&calls](std::uint64_t number) {
        ++calls[number];
        return true;
      });
  if (end != test::TracedEnd::kFinished) return {};
  EXPECT_EQ(LearningBatch(program.program()).tables().good.messages, static_cast<std::uint32_t>(count) + 1);
  return calls;
}

TEST(LearningCost, ListsAreReadAndWrittenOnceHoweverManyMessagesThereAre) {
  Calls one = CallsOfABatchOf(1);
  if (one.empty()) GTEST_SKIP() << "no process may be traced here";
  Calls many = CallsOfABatchOf(500);
  // Opened: the configuration, each list to read it, the list that nothing was counted into once more, the
  // new list, the lock, the folder.
  EXPECT_LE(one[SYS_openat], 7);
  EXPECT_GE(one[SYS_openat], 6);
  EXPECT_EQ(many[SYS_openat], one[SYS_openat]);
  EXPECT_EQ(one[SYS_fsync], 2);  // the list that was counted into and the names in their folder
  EXPECT_EQ(many[SYS_fsync], 2);
}

}  // namespace
}  // namespace quillbeaker
