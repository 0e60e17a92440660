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
#include "filter/word_list_journal.h"
#include "stores/posix/traced_process.h"
#include "support/full_disk.h"
#include "support/learn_message.h"
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

const ListedWords kOldList{1, {{"old", 1}, {"words", 1}}};
const ListedWords kNewGood{2, {{"old", 2}, {"words", 2}, {"and", 1}, {"new", 1}}};
const ListedWords kNewBad{3, {{"old", 3}, {"words", 3}, {"and", 2}, {"new", 2}}};

void PutOldLists(test::TestProgram& one) {
  ASSERT_TRUE(LearnText(one.program(), "old words \r\n", LearnKind::kGood));
  ASSERT_TRUE(LearnText(one.program(), "old words \r\n", LearnKind::kSpam));
}

bool LearnBoth(test::TestProgram& one) {
  LearningBatch batch(one.program());
  MailMessage message;
  message.ParseText("Subject: x\r\n\r\nold and new words \r\n");
  batch.Count(message, LearnKind::kGood);
  batch.Count(message, LearnKind::kSpam, 2);
  return batch.Save();
}

// Kills learning into both lists at one call after another and looks at what the next load finds.
TEST(LearningFaults, KilledAnywhereBothListsAreTheOldOrTheNewOnes) {
  std::set<bool> learnt;
  std::set<std::pair<std::uint32_t, std::uint32_t>> on_the_disk;
  bool finished = false;
  for (int call = 0; call < kMoreCallsThanAnyWorkMakes && !finished; ++call) {
    SCOPED_TRACE("killed at system call " + std::to_string(call));
    test::TestProgram one;
    PutOldLists(one);
    const TracedEnd end = test::RunKilledAt(call, [&] {
      if (!LearnBoth(one)) _exit(1);
    });
    if (end == TracedEnd::kNotTraced) GTEST_SKIP() << "no process may be traced here";
    finished = end == TracedEnd::kFinished;
    const auto good_before = ListOf(one, test::kGoodListFile);
    const auto bad_before = ListOf(one, test::kBadListFile);
    ASSERT_TRUE(good_before.has_value() && bad_before.has_value());
    on_the_disk.emplace(good_before->messages, bad_before->messages);

    WordTables tables;
    ASSERT_TRUE(tables.Load(one.program(), false));
    learnt.insert(tables.good.messages == 2);
    const bool is_new = tables.good.messages == 2;
    ASSERT_EQ(tables.bad.messages, is_new ? 3U : 1U);
    ASSERT_EQ(ListOf(one, test::kGoodListFile), is_new ? kNewGood : kOldList);
    ASSERT_EQ(ListOf(one, test::kBadListFile), is_new ? kNewBad : kOldList);
    ASSERT_FALSE(one.directory.Has("training/wordlist.journal"));
    // Neither a lock nor a leftover is in the way of the next.
    ASSERT_TRUE(LearnBoth(one));
    ASSERT_EQ(ListOf(one, test::kGoodListFile)->messages, is_new ? 3U : 2U);
  }
  EXPECT_TRUE(finished);
  EXPECT_EQ(learnt, (std::set<bool>{false, true}));
  // The moment between the two was among them.
  EXPECT_EQ(on_the_disk.count({2, 1}), 1U);
}

// What a kill between the two lists leaves in training/: the good list new, the bad one old, and the journal.
struct HalfSaved {
  std::string good;
  std::string bad;
  std::string journal;
};

// Nothing where no process may be traced.
std::optional<HalfSaved> KilledBetweenTheLists() {
  for (int call = 0; call < kMoreCallsThanAnyWorkMakes; ++call) {
    test::TestProgram one;
    PutOldLists(one);
    const TracedEnd end = test::RunKilledAt(call, [&] { static_cast<void>(LearnBoth(one)); });
    if (end != TracedEnd::kKilled) return std::nullopt;
    if (ListOf(one, test::kGoodListFile)->messages == 2 && ListOf(one, test::kBadListFile)->messages == 1)
      return HalfSaved{one.directory.Get(test::kGoodListFile).value_or(""),
                       one.directory.Get(test::kBadListFile).value_or(""),
                       one.directory.Get(kWordListJournal).value_or("")};
  }
  return std::nullopt;
}

TEST(LearningFaults, KilledWhileFinishingWhatWasHalfSavedItIsFinishedLater) {
  if (test::RunKilledAt(0, [] {}) == TracedEnd::kNotTraced) GTEST_SKIP() << "no process may be traced here";
  const std::optional<HalfSaved> half = KilledBetweenTheLists();
  ASSERT_TRUE(half.has_value());
  bool finished = false;
  for (int call = 0; call < kMoreCallsThanAnyWorkMakes && !finished; ++call) {
    SCOPED_TRACE("finishing killed at system call " + std::to_string(call));
    test::TestProgram one;
    ASSERT_TRUE(one.directory.Put(test::kGoodListFile, half->good));
    ASSERT_TRUE(one.directory.Put(test::kBadListFile, half->bad));
    ASSERT_TRUE(one.directory.Put(kWordListJournal, half->journal));
    const TracedEnd end = test::RunKilledAt(call, [&] { WordTables().Load(one.program(), false); });
    finished = end == TracedEnd::kFinished;
    ASSERT_TRUE(WordTables().Load(one.program(), false));
    ASSERT_EQ(ListOf(one, test::kGoodListFile), kNewGood);
    ASSERT_EQ(ListOf(one, test::kBadListFile), kNewBad);
  }
  EXPECT_TRUE(finished);
}

TEST(LearningFaults, AFullDiskLeavesBothOldListsOrBothNewOnes) {
  test::TestProgram one;
  std::string body;
  for (int i = 0; i < 300; ++i) body += "word" + std::to_string(i) + " ";
  ASSERT_TRUE(LearnText(one.program(), body, LearnKind::kSpam));
  // The good list is small and the bad one large: the limit falls between them, and into the journal.
  for (const std::size_t bytes : {0U, 10U, 100U, 1000U, 3000U, 3500U, 3900U}) {
    const auto good = one.directory.Get(test::kGoodListFile);
    const auto bad = one.directory.Get(test::kBadListFile);
    bool learnt = true;
    {
      const test::FullDisk full(bytes);
      if (!full.active()) GTEST_SKIP() << "this system cannot be told to refuse writes";
      learnt = LearnBoth(one);
    }
    WordTables tables;
    ASSERT_TRUE(tables.Load(one.program(), false));
    EXPECT_EQ(learnt, one.directory.Get(test::kGoodListFile) != good) << bytes;
    EXPECT_EQ(learnt, one.directory.Get(test::kBadListFile) != bad) << bytes;
    EXPECT_FALSE(one.directory.Has("training/wordlist.journal"));
  }
}

TEST(LearningFaults, AFullDiskLeavesTheOldListsAndTheCountsForLater) {
  test::TestProgram one;
  std::string body;
  for (int i = 0; i < 1000; ++i) body += "word" + std::to_string(i) + " ";
  ASSERT_TRUE(LearnText(one.program(), body, LearnKind::kGood));
  ASSERT_TRUE(LearnText(one.program(), body, LearnKind::kSpam));
  const auto good = one.directory.Get(test::kGoodListFile);
  const auto bad = one.directory.Get(test::kBadListFile);
  for (const std::size_t bytes : {20U, 5000U}) {
    LearningBatch batch(one.program());
    MailMessage message;
    message.ParseText("Subject: x\r\n\r\nmore \r\n");
    batch.Count(message, LearnKind::kGood);
    bool saved = true;
    {
      const test::FullDisk full(bytes);
      if (!full.active()) GTEST_SKIP() << "this system cannot be told to refuse writes";
      saved = batch.Save();
    }
    EXPECT_FALSE(saved);
    EXPECT_EQ(one.directory.Get(test::kGoodListFile), good);
    EXPECT_EQ(one.directory.Get(test::kBadListFile), bad);
    if (bytes == 20) continue;
    EXPECT_TRUE(batch.Save());
    EXPECT_EQ(ListOf(one, test::kGoodListFile)->messages, 2U);
  }
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
