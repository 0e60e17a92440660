// SPDX-License-Identifier: MIT
// Bulk learning: which mails are learnt and how often, at both sides of each bound.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "filter/bulk_learning.h"
#include "support/test_program.h"
#include "support/word_list_text.h"

namespace quillbeaker {
namespace {

using test::kBadListFile;
using test::kGoodListFile;
using test::ListedWords;

// Mails out of memory.
class Mails : public MailSource {
 public:
  struct Mail {
    LearnKind kind;
    std::string text;
    bool readable = true;
  };
  std::size_t size() const override { return mails.size(); }
  LearnKind KindOf(std::size_t index) const override { return mails[index].kind; }
  bool Read(std::size_t index, std::string& text) override {
    if (!mails[index].readable) return false;
    text = mails[index].text;
    return true;
  }

  void Put(LearnKind kind, const std::string& body) {
    mails.push_back({kind, "X: y\r\n\r\n" + body + "\r\n"});
  }
  void PutMany(LearnKind kind, std::size_t count, const std::string& body) {
    for (std::size_t i = 0; i < count; ++i) Put(kind, body);
  }

  std::vector<Mail> mails;
};

// The word so often, each time with a blank behind it.
std::string Times(const std::string& word, std::size_t times) {
  std::string text;
  for (std::size_t i = 0; i < times; ++i) text += word + " ";
  return text;
}

class BulkLearningContractTest : public testing::Test {
 protected:
  // Lists that hold nothing but numbers of messages.
  void StartWith(std::uint32_t good, std::uint32_t spam) {
    Put(kGoodListFile, {good, {}});
    Put(kBadListFile, {spam, {}});
  }
  void Put(const char* file, const ListedWords& list) {
    ASSERT_TRUE(surroundings.directory.Put(file, test::WordListBytes(list)));
  }
  ListedWords Good() const { return test::ListIn(surroundings.directory, kGoodListFile); }
  ListedWords Bad() const { return test::ListIn(surroundings.directory, kBadListFile); }

  // A whole run that is saved.
  BulkReport Learn(LearningManner manner) {
    BulkLearning run(surroundings.program(), mails, manner);
    run.Run([](std::uint64_t, std::uint64_t) { return true; });
    EXPECT_TRUE(run.Save());
    return run.report();
  }

  test::TestProgram surroundings;
  Mails mails;
};

TEST_F(BulkLearningContractTest, SizesAreTheListsMessagesAndTheRuns) {
  StartWith(10, 20);
  mails.PutMany(LearnKind::kGood, 3, "alpha");
  mails.PutMany(LearnKind::kSpam, 4, "beta");
  BulkLearning run(surroundings.program(), mails, LearningManner::kCareful);
  EXPECT_EQ(run.sizes().good, 13U);
  EXPECT_EQ(run.sizes().spam, 24U);
}

TEST_F(BulkLearningContractTest, NothingIsSavedBeforeSave) {
  mails.PutMany(LearnKind::kGood, 3, "alpha");
  BulkLearning run(surroundings.program(), mails, LearningManner::kPlain);
  run.Run([](std::uint64_t, std::uint64_t) { return true; });
  EXPECT_FALSE(surroundings.directory.Has(kGoodListFile));
  EXPECT_TRUE(run.Save());
  EXPECT_EQ(Good(), (ListedWords{3, {{"alpha", 3}}}));
}

// -- plain
// --------------------------------------------------------------------------------------------------------
TEST_F(BulkLearningContractTest, PlainLearnsEverythingOnce) {
  mails.Put(LearnKind::kSpam, "pills pills");
  mails.Put(LearnKind::kGood, Times("long", 5000));
  mails.Put(LearnKind::kSpam, "pills");
  const BulkReport report = Learn(LearningManner::kPlain);
  EXPECT_EQ(Good(), (ListedWords{1, {{"long", 5000}}}));
  EXPECT_EQ(Bad(), (ListedWords{2, {{"pills", 3}}}));
  EXPECT_EQ(report.good_learnt, 1U);
  EXPECT_EQ(report.spam_learnt, 2U);
  EXPECT_EQ(report.good_weight, 1U);
  EXPECT_EQ(report.spam_weight, 1U);
  EXPECT_EQ(report.long_good_left_out, 0U);
  EXPECT_EQ(report.sure_good_left_out, 0U);
  EXPECT_FALSE(report.keen_refused);
  EXPECT_FALSE(report.interrupted);
}

TEST_F(BulkLearningContractTest, PlainLeavesNoLongMailOutOfLargeLists) {
  StartWith(5000, 2000);
  mails.Put(LearnKind::kGood, Times("long", 5000));
  EXPECT_EQ(Learn(LearningManner::kPlain).good_learnt, 1U);
  EXPECT_EQ(Good()["long"], 5000U);
}

TEST_F(BulkLearningContractTest, TheReportTellsTheListsBeforeAndAfter) {
  Put(kGoodListFile, {10, {{"old", 1}, {"alpha", 2}}});
  Put(kBadListFile, {5, {{"pills", 1}}});
  mails.Put(LearnKind::kGood, "alpha beta");
  mails.Put(LearnKind::kSpam, "pills cheap now");
  const BulkReport report = Learn(LearningManner::kPlain);
  EXPECT_EQ(report.good_at_start, 10U);
  EXPECT_EQ(report.spam_at_start, 5U);
  EXPECT_EQ(report.good_messages, 11U);
  EXPECT_EQ(report.spam_messages, 6U);
  EXPECT_EQ(report.good_words, 3U);
  EXPECT_EQ(report.spam_words, 3U);
}

// -- long good mail
// -----------------------------------------------------------------------------------------------
TEST_F(BulkLearningContractTest, LongGoodMailIsLeftOutFromAThousandGoodMessagesOn) {
  for (const std::uint32_t at_start : {998U, 999U}) {
    StartWith(at_start, 300);
    mails.mails.clear();
    mails.Put(LearnKind::kGood, Times("long", 2500));
    const BulkReport report = Learn(LearningManner::kCareful);
    const bool left_out = at_start + 1 >= 1000;
    EXPECT_EQ(report.long_good_left_out, left_out ? 1U : 0U) << at_start;
    EXPECT_EQ(report.good_learnt, left_out ? 0U : 1U);
    EXPECT_EQ(Good().messages, at_start + (left_out ? 0 : 1));
    EXPECT_EQ(Good()["long"], left_out ? 0U : 2500U);
  }
}

TEST_F(BulkLearningContractTest, TwoThousandWordsAreNotLong) {
  StartWith(2000, 900);
  mails.Put(LearnKind::kGood, Times("word", 2000));
  mails.Put(LearnKind::kGood, Times("word", 2001));
  const BulkReport report = Learn(LearningManner::kCareful);
  EXPECT_EQ(report.long_good_left_out, 1U);
  EXPECT_EQ(report.good_learnt, 1U);
  EXPECT_EQ(Good()["word"], 2000U);
}

TEST_F(BulkLearningContractTest, LongSpamIsLearntAlways) {
  StartWith(2000, 900);
  mails.Put(LearnKind::kSpam, Times("word", 5000));
  const BulkReport report = Learn(LearningManner::kCareful);
  EXPECT_EQ(report.spam_learnt, 1U);
  EXPECT_EQ(Bad()["word"], 5000U);
  EXPECT_EQ(Bad().messages, 901U);
}

// -- scarce good mail
// ---------------------------------------------------------------------------------------------
TEST_F(BulkLearningContractTest, ScarceGoodMailIsCountedThreeTimes) {
  struct Case {
    std::uint32_t good;  // sizes, the one mail of each kind included
    std::uint32_t spam;
    std::uint32_t weight;
  };
  for (const Case& one :
       {Case{399, 100, 3}, Case{400, 100, 1}, Case{400, 200, 1}, Case{400, 201, 3}, Case{401, 201, 3},
        Case{402, 201, 1}, Case{1200, 600, 1}, Case{1200, 601, 3}, Case{1, 1, 3}}) {
    SCOPED_TRACE(std::to_string(one.good) + " good, " + std::to_string(one.spam) + " spam");
    StartWith(one.good - 1, one.spam - 1);
    mails.mails.clear();
    mails.Put(LearnKind::kGood, "alpha alpha beta");
    mails.Put(LearnKind::kSpam, "pills");
    const BulkReport report = Learn(LearningManner::kCareful);
    EXPECT_EQ(report.good_weight, one.weight);
    EXPECT_EQ(report.spam_weight, 1U);
    EXPECT_EQ(report.good_learnt, 1U);
    EXPECT_EQ(report.spam_learnt, 1U);
    EXPECT_EQ(Good(),
              (ListedWords{one.good - 1 + one.weight, {{"alpha", 2 * one.weight}, {"beta", one.weight}}}));
    EXPECT_EQ(Bad(), (ListedWords{one.spam, {{"pills", 1}}}));
  }
}

TEST_F(BulkLearningContractTest, BothRulesMayHoldAtOnce) {
  StartWith(1500, 1500);
  mails.Put(LearnKind::kGood, Times("long", 2500));
  mails.Put(LearnKind::kGood, "short");
  const BulkReport report = Learn(LearningManner::kCareful);
  EXPECT_EQ(report.long_good_left_out, 1U);
  EXPECT_EQ(report.good_weight, 3U);
  EXPECT_EQ(Good(), (ListedWords{1503, {{"short", 3}}}));
}

// -- warnings
// -----------------------------------------------------------------------------------------------------
TEST_F(BulkLearningContractTest, WarnsOfTooLittleMail) {
  const auto told = [](std::uint64_t good, std::uint64_t spam) { return WarningsFor({good, spam}); };
  EXPECT_TRUE(told(199, 100).too_few_good);
  EXPECT_FALSE(told(200, 100).too_few_good);
  EXPECT_TRUE(told(0, 0).too_few_good);
  EXPECT_FALSE(told(400, 100).too_little_spam);
  EXPECT_TRUE(told(401, 100).too_little_spam);
  EXPECT_TRUE(told(400, 99).too_little_spam);
  EXPECT_TRUE(told(1000, 0).too_little_spam);
  EXPECT_FALSE(told(400, 100).any());
  EXPECT_TRUE(told(199, 100).any());
  EXPECT_TRUE(told(4000, 999).any());
}

// -- keen
// ---------------------------------------------------------------------------------------------------------
// Sixteen words: fifteen of them settle a mail.
std::string Vocabulary(const std::string& stem, std::size_t times) {
  std::string text;
  for (std::size_t i = 0; i < times; ++i)
    for (char letter = 'a'; letter < 'q'; ++letter) text += stem + letter + " ";
  return text;
}

TEST_F(BulkLearningContractTest, KeenNeedsTwoThousandGoodMessages) {
  StartWith(1998, 900);
  mails.Put(LearnKind::kGood, Times("long", 2500));
  mails.Put(LearnKind::kSpam, "pills");
  const BulkReport report = Learn(LearningManner::kKeen);
  EXPECT_TRUE(report.keen_refused);
  EXPECT_EQ(report.spam_weight, 1U);
  EXPECT_EQ(report.long_good_left_out, 1U);
  EXPECT_EQ(Bad(), (ListedWords{901, {{"pills", 1}}}));
  EXPECT_EQ(Good().messages, 1998U);
}

TEST_F(BulkLearningContractTest, KeenBelowTheBoundWeighsScarceGoodMail) {
  StartWith(500, 400);
  mails.Put(LearnKind::kGood, "alpha");
  const BulkReport report = Learn(LearningManner::kKeen);
  EXPECT_TRUE(report.keen_refused);
  EXPECT_EQ(report.good_weight, 3U);
  EXPECT_EQ(Good(), (ListedWords{503, {{"alpha", 3}}}));
}

TEST_F(BulkLearningContractTest, KeenCountsSpamThreeTimes) {
  StartWith(1999, 900);
  mails.Put(LearnKind::kSpam, "pills pills cheap");
  mails.Put(LearnKind::kGood, "alpha");
  const BulkReport report = Learn(LearningManner::kKeen);
  EXPECT_FALSE(report.keen_refused);
  EXPECT_EQ(report.spam_weight, 3U);
  EXPECT_EQ(report.spam_learnt, 1U);
  EXPECT_EQ(Bad(), (ListedWords{903, {{"pills", 6}, {"cheap", 3}}}));
  EXPECT_EQ(Good().messages, 2000U);
  EXPECT_EQ(Good()["alpha"], 1U);
}

TEST_F(BulkLearningContractTest, KeenLeavesOutWhatTheListsKnowAsGood) {
  ListedWords good{2000, {}};
  for (char letter = 'a'; letter < 'q'; ++letter) good.words["known" + std::string(1, letter)] = 50;
  Put(kGoodListFile, good);
  Put(kBadListFile, {900, {}});
  mails.Put(LearnKind::kGood, Vocabulary("known", 1));
  mails.Put(LearnKind::kGood, Vocabulary("fresh", 1));
  const BulkReport report = Learn(LearningManner::kKeen);
  EXPECT_EQ(report.sure_good_left_out, 1U);
  EXPECT_EQ(report.good_learnt, 1U);
  EXPECT_EQ(Good().messages, 2001U);
  EXPECT_EQ(Good()["knowna"], 50U);
  EXPECT_EQ(Good()["fresha"], 1U);
}

TEST_F(BulkLearningContractTest, KeenTakesGoodMailShortestFirstAndJudgesByWhatItHasLearnt) {
  StartWith(3000, 900);
  // The longer one stands first; once the shorter is learnt, its words are known.
  mails.Put(LearnKind::kGood, Vocabulary("fresh", 9));
  mails.Put(LearnKind::kGood, Vocabulary("fresh", 4));
  mails.Put(LearnKind::kSpam, "pills");
  const BulkReport report = Learn(LearningManner::kKeen);
  EXPECT_EQ(report.good_learnt, 1U);
  EXPECT_EQ(report.sure_good_left_out, 1U);
  EXPECT_EQ(Good()["fresha"], 4U);
  EXPECT_EQ(Good().messages, 3001U);
}

TEST_F(BulkLearningContractTest, KeenLearnsSpamBeforeGoodMail) {
  ListedWords good{2000, {}};
  for (char letter = 'a'; letter < 'q'; ++letter) good.words["known" + std::string(1, letter)] = 50;
  Put(kGoodListFile, good);
  Put(kBadListFile, {900, {}});
  mails.Put(LearnKind::kGood, Vocabulary("known", 1));
  // Behind the good mail, yet it makes the same words speak for spam.
  for (int i = 0; i < 100; ++i) mails.Put(LearnKind::kSpam, Vocabulary("known", 5));
  const BulkReport report = Learn(LearningManner::kKeen);
  EXPECT_EQ(report.sure_good_left_out, 0U);
  EXPECT_EQ(report.good_learnt, 1U);
  EXPECT_EQ(Good()["knowna"], 51U);
}

// -- the run
// ------------------------------------------------------------------------------------------------------
TEST_F(BulkLearningContractTest, ProgressRunsToItsEnd) {
  for (const LearningManner manner :
       {LearningManner::kPlain, LearningManner::kCareful, LearningManner::kKeen}) {
    StartWith(3000, 1000);
    mails.mails.clear();
    mails.PutMany(LearnKind::kGood, 7, "alpha");
    mails.PutMany(LearnKind::kSpam, 5, "beta");
    BulkLearning run(surroundings.program(), mails, manner);
    std::uint64_t last = 0;
    std::uint64_t end = 0;
    std::uint64_t calls = 0;
    run.Run([&](std::uint64_t done, std::uint64_t of) {
      EXPECT_GT(done, last);
      EXPECT_LE(done, of);
      EXPECT_TRUE(end == 0 || end == of);
      last = done;
      end = of;
      ++calls;
      return true;
    });
    EXPECT_EQ(last, end);
    EXPECT_GE(calls, 12U);
    EXPECT_FALSE(run.report().interrupted);
  }
}

TEST_F(BulkLearningContractTest, AnInterruptedRunKeepsWhatWasCounted) {
  mails.PutMany(LearnKind::kSpam, 10, "pills");
  BulkLearning run(surroundings.program(), mails, LearningManner::kPlain);
  run.Run([](std::uint64_t done, std::uint64_t) { return done < 4; });
  EXPECT_TRUE(run.report().interrupted);
  EXPECT_TRUE(run.Save());
  EXPECT_EQ(run.report().spam_learnt, 4U);
  EXPECT_EQ(Bad(), (ListedWords{4, {{"pills", 4}}}));
}

TEST_F(BulkLearningContractTest, UnreadableMailIsLeftOut) {
  mails.PutMany(LearnKind::kSpam, 4, "pills");
  mails.mails[1].readable = false;
  mails.mails[3].readable = false;
  const BulkReport report = Learn(LearningManner::kPlain);
  EXPECT_EQ(report.unreadable, 2U);
  EXPECT_EQ(report.spam_learnt, 2U);
  EXPECT_EQ(Bad().messages, 2U);
}

TEST_F(BulkLearningContractTest, WhatAMailCheckLearntMeanwhileIsKept) {
  mails.PutMany(LearnKind::kSpam, 3, "pills");
  BulkLearning run(surroundings.program(), mails, LearningManner::kPlain);
  run.Run([&](std::uint64_t, std::uint64_t) {
    MailMessage message;
    message.ParseText("X: y\r\n\r\nchecked \r\n");
    EXPECT_TRUE(LearnMessage(surroundings.program(), message, LearnKind::kSpam));
    return true;
  });
  EXPECT_TRUE(run.Save());
  EXPECT_EQ(Bad(), (ListedWords{6, {{"pills", 3}, {"checked", 3}}}));
}

TEST_F(BulkLearningContractTest, RefusedWordsAreTold) {
  ASSERT_TRUE(surroundings.Configure("TrainingAreaMaxMemory=1"));
  std::string body;
  for (int i = 1000; i < 1100; ++i) body += "word" + std::to_string(i) + " ";
  mails.Put(LearnKind::kSpam, body);
  mails.Put(LearnKind::kGood, "alpha");
  const BulkReport report = Learn(LearningManner::kPlain);
  EXPECT_EQ(report.refused_spam_words, 100U - 39U);
  EXPECT_EQ(report.refused_good_words, 0U);
  EXPECT_EQ(report.spam_words, 39U);
}

TEST_F(BulkLearningContractTest, ARunOfNothingDoesNothing) {
  const BulkReport report = Learn(LearningManner::kCareful);
  EXPECT_EQ(report.good_learnt + report.spam_learnt, 0U);
  EXPECT_FALSE(surroundings.directory.Has(kGoodListFile));
}

TEST_F(BulkLearningContractTest, ASaveThatFailsMayBeTriedAgain) {
  Put(kBadListFile, {5, {{"pills", 5}}});
  mails.Put(LearnKind::kSpam, "pills");
  BulkLearning run(surroundings.program(), mails, LearningManner::kPlain);
  run.Run([](std::uint64_t, std::uint64_t) { return true; });
  surroundings.directory.SetReadOnly(kBadListFile, true);
  EXPECT_FALSE(run.Save());
  surroundings.directory.SetReadOnly(kBadListFile, false);
  EXPECT_EQ(Bad()["pills"], 5U);
  EXPECT_TRUE(run.Save());
  EXPECT_EQ(Bad(), (ListedWords{6, {{"pills", 6}}}));
}

}  // namespace
}  // namespace quillbeaker
