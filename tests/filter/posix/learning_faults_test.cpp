// SPDX-License-Identifier: MIT
// Learning killed at every system call, and in several processes at once: no list is ever half written and no
// count is lost.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "filter/learning.h"
#include "stores/posix/traced_process.h"
#include "support/full_disk.h"
#include "support/test_program.h"
#include "support/word_list_text.h"

namespace quillbeaker {
namespace {

using test::ListedWords;
using test::TracedEnd;

constexpr int kMoreCallsThanAnyWorkMakes = 5000;

bool LearnText(Program& program, const std::string& body, LearnKind kind) {
  MailMessage message;
  message.ParseText("Subject: x\r\n\r\n" + body);
  return LearnMessage(program, message, kind);
}

// The list, empty when its file is missing; nothing when it is damaged.
std::optional<ListedWords> ListOf(const test::TestProgram& one, const char* file) {
  const std::optional<std::string> bytes = one.directory.Get(file);
  if (!bytes) return ListedWords{};
  return test::ParseWordList(*bytes);
}

TEST(LearningFaults, KilledAnywhereEachListIsTheOldOrTheNewOne) {
  std::set<std::pair<std::uint32_t, std::uint32_t>> seen;
  bool finished = false;
  for (int call = 0; call < kMoreCallsThanAnyWorkMakes && !finished; ++call) {
    SCOPED_TRACE("killed at system call " + std::to_string(call));
    test::TestProgram one;
    ASSERT_TRUE(LearnText(one.program(), "old words \r\n", LearnKind::kGood));
    ASSERT_TRUE(LearnText(one.program(), "old words \r\n", LearnKind::kSpam));
    const TracedEnd end = test::RunKilledAt(call, [&] {
      LearningBatch batch(one.program());
      MailMessage message;
      message.ParseText("Subject: x\r\n\r\nold and new words \r\n");
      batch.Count(message, LearnKind::kGood);
      batch.Count(message, LearnKind::kSpam, 2);
      if (!batch.Save()) _exit(1);
    });
    if (end == TracedEnd::kNotTraced) GTEST_SKIP() << "no process may be traced here";
    finished = end == TracedEnd::kFinished;
    const auto good = ListOf(one, test::kGoodListFile);
    const auto bad = ListOf(one, test::kBadListFile);
    ASSERT_TRUE(good.has_value());
    ASSERT_TRUE(bad.has_value());
    if (good->messages == 1) {
      EXPECT_EQ(*good, (ListedWords{1, {{"old", 1}, {"words", 1}}}));
    } else {
      EXPECT_EQ(*good, (ListedWords{2, {{"old", 2}, {"words", 2}, {"and", 1}, {"new", 1}}}));
    }
    if (bad->messages == 1) {
      EXPECT_EQ(*bad, (ListedWords{1, {{"old", 1}, {"words", 1}}}));
    } else {
      EXPECT_EQ(*bad, (ListedWords{3, {{"old", 3}, {"words", 3}, {"and", 2}, {"new", 2}}}));
    }
    seen.emplace(good->messages, bad->messages);
    // Neither a lock nor a leftover is in the way of the next.
    ASSERT_TRUE(LearnText(one.program(), "next \r\n", LearnKind::kGood));
    EXPECT_EQ(ListOf(one, test::kGoodListFile)->messages, good->messages + 1);
    if (testing::Test::HasFailure()) return;
  }
  EXPECT_TRUE(finished);
  EXPECT_EQ(seen.count({1, 1}), 1U);
  EXPECT_EQ(seen.count({2, 3}), 1U);
}

TEST(LearningFaults, AFullDiskLeavesTheOldLists) {
  test::TestProgram one;
  std::string body;
  for (int i = 0; i < 1000; ++i) body += "word" + std::to_string(i) + " ";
  ASSERT_TRUE(LearnText(one.program(), body, LearnKind::kGood));
  ASSERT_TRUE(LearnText(one.program(), body, LearnKind::kSpam));
  const auto good = one.directory.Get(test::kGoodListFile);
  const auto bad = one.directory.Get(test::kBadListFile);
  bool learnt = true;
  {
    const test::FullDisk full(5000);
    if (!full.active()) GTEST_SKIP() << "this system cannot be told to refuse writes";
    learnt = LearnText(one.program(), "more \r\n", LearnKind::kGood);
  }
  EXPECT_FALSE(learnt);
  EXPECT_EQ(one.directory.Get(test::kGoodListFile), good);
  EXPECT_EQ(one.directory.Get(test::kBadListFile), bad);
}

TEST(LearningFaults, SeveralProcessesLoseNoCount) {
  constexpr std::uint32_t kProcesses = 5;
  constexpr std::uint32_t kEach = 15;
  test::TestProgram one;
  std::vector<pid_t> children;
  for (std::uint32_t process = 0; process < kProcesses; ++process) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      Program program(one.MakeEnvironment());
      LearningBatch batch(program);
      MailMessage message;
      message.ParseText("Subject: x\r\n\r\ncommon batch \r\n");
      for (std::uint32_t i = 0; i < kEach; ++i) {
        if (!LearnText(program, "common single \r\n", LearnKind::kSpam)) _exit(1);
        batch.Count(message, LearnKind::kSpam);
      }
      _exit(batch.Save() ? 0 : 1);
    }
    children.push_back(child);
  }
  for (const pid_t child : children) {
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  }
  const auto bad = ListOf(one, test::kBadListFile);
  ASSERT_TRUE(bad.has_value());
  EXPECT_EQ(bad->messages, 2 * kProcesses * kEach);
  EXPECT_EQ((*bad)["common"], 2 * kProcesses * kEach);
  EXPECT_EQ((*bad)["single"], kProcesses * kEach);
  EXPECT_EQ((*bad)["batch"], kProcesses * kEach);
}

}  // namespace
}  // namespace quillbeaker
