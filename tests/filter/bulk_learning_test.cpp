// SPDX-License-Identifier: MIT
// Learning many mails: which of them are counted, and how often, at both sides of each bound.

#include "filter/bulk_learning.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "filter/classifier.h"
#include "support/learn_message.h"
#include "support/test_program.h"
#include "support/word_list_text.h"

namespace quillbeaker {
namespace {

using test::kBadListFile;
using test::kGoodListFile;
using test::ListedWords;
using test::TestProgram;

// Mails in memory; notes what is read, in order.
class ListedMails : public MailSource {
 public:
  struct Mail {
    LearnKind kind = LearnKind::kGood;
    std::string body;
    bool readable = true;
  };
  std::size_t size() const override { return mails.size(); }
  LearnKind KindOf(std::size_t index) const override { return mails[index].kind; }
  bool Read(std::size_t index, std::string& text) override {
    read.push_back(index);
    if (!mails[index].readable) return false;
    text = "Subject:\r\n\r\n" + mails[index].body + "\r\n";
    return true;
  }
  void Good(std::string body) { mails.push_back({LearnKind::kGood, std::move(body)}); }
  void Spam(std::string body) { mails.push_back({LearnKind::kSpam, std::move(body)}); }

  std::vector<Mail> mails;
  std::vector<std::size_t> read;
};

// The words so often, each time with a blank after them.
std::string Times(std::string_view words, int times) {
  std::string text;
  for (int i = 0; i < times; ++i) text += std::string(words) + ' ';
  return text;
}

// Sixteen words: fifteen of them settle a mail.
std::string Vocabulary(const std::string& stem, int times) {
  std::string text;
  for (char letter = 'a'; letter < 'q'; ++letter) text += stem + letter + " ";
  return Times(text, times);
}

class BulkLearningTest : public testing::Test {
 protected:
  // Lists that hold nothing but numbers of messages.
  void StartWith(std::uint32_t good, std::uint32_t spam) {
    Put(kGoodListFile, {good, {}});
    Put(kBadListFile, {spam, {}});
  }
  void Put(const char* file, const ListedWords& list) {
    ASSERT_TRUE(surroundings.directory.Put(file, test::WordListBytes(list)));
  }
  // Lists of two thousand good messages, in which sixteen words are known as good.
  void StartWithKnownWords() {
    ListedWords good{2000, {}};
    for (char letter = 'a'; letter < 'q'; ++letter) good.words["known" + std::string(1, letter)] = 50;
    Put(kGoodListFile, good);
    Put(kBadListFile, {900, {}});
  }
  ListedWords Good() const { return test::ListIn(surroundings.directory, kGoodListFile); }
  ListedWords Bad() const { return test::ListIn(surroundings.directory, kBadListFile); }

  // A whole run that is saved.
  BulkReport Learn(LearningManner manner = LearningManner::kCareful) {
    BulkLearning run(surroundings.program(), source, manner);
    run.Run({});
    EXPECT_TRUE(run.Save());
    return run.report();
  }

  TestProgram surroundings;
  ListedMails source;
};

TEST_F(BulkLearningTest, CountsBothKindsInTheOrderOfTheSource) {
  StartWith(500, 100);
  source.Good("good day ");
  source.Spam("cheap pills ");
  source.Good("good night ");
  const BulkReport report = Learn();
  EXPECT_EQ(source.read, (std::vector<std::size_t>{0, 1, 2}));
  EXPECT_EQ(report.good_at_start, 500U);
  EXPECT_EQ(report.spam_at_start, 100U);
  EXPECT_EQ(report.good_learnt, 2U);
  EXPECT_EQ(report.spam_learnt, 1U);
  EXPECT_EQ(report.good_weight, 1U);
  EXPECT_EQ(report.spam_weight, 1U);
  EXPECT_EQ(report.good_messages, 502U);
  EXPECT_EQ(report.spam_messages, 101U);
  EXPECT_EQ(report.good_words, 3U);  // good, day, night
  EXPECT_EQ(report.spam_words, 2U);  // pills, cheap
  EXPECT_FALSE(report.interrupted);
  EXPECT_EQ(Good(), (ListedWords{502, {{"good", 2}, {"day", 1}, {"night", 1}}}));
  EXPECT_EQ(Bad(), (ListedWords{101, {{"cheap", 1}, {"pills", 1}}}));
}

TEST_F(BulkLearningTest, SizesAreTheListsMessagesAndTheRuns) {
  StartWith(10, 20);
  for (int i = 0; i < 3; ++i) source.Good("alpha");
  for (int i = 0; i < 4; ++i) source.Spam("beta");
  BulkLearning run(surroundings.program(), source, LearningManner::kCareful);
  EXPECT_EQ(run.sizes().good, 13U);
  EXPECT_EQ(run.sizes().spam, 24U);
}

TEST_F(BulkLearningTest, SavesNothingByItself) {
  source.Good("day ");
  BulkLearning learning(surroundings.program(), source, LearningManner::kCareful);
  learning.Run({});
  EXPECT_EQ(learning.report().good_messages, 3U);
  EXPECT_TRUE(surroundings.directory.Names().empty());
  EXPECT_TRUE(learning.Save());
  EXPECT_EQ(Good(), (ListedWords{3, {{"day", 3}}}));
}

TEST_F(BulkLearningTest, WithNoMailNothingIsTouched) {
  const BulkReport report = Learn();
  EXPECT_EQ(report.good_messages, 0U);
  EXPECT_TRUE(surroundings.directory.Names().empty());
}

TEST_F(BulkLearningTest, TheReportTellsTheListsBeforeAndAfter) {
  Put(kGoodListFile, {10, {{"old", 1}, {"alpha", 2}}});
  Put(kBadListFile, {5, {{"pills", 1}}});
  source.Good("alpha beta");
  source.Spam("pills cheap now");
  const BulkReport report = Learn(LearningManner::kPlain);
  EXPECT_EQ(report.good_at_start, 10U);
  EXPECT_EQ(report.spam_at_start, 5U);
  EXPECT_EQ(report.good_messages, 11U);
  EXPECT_EQ(report.spam_messages, 6U);
  EXPECT_EQ(report.good_words, 3U);
  EXPECT_EQ(report.spam_words, 3U);
}

TEST_F(BulkLearningTest, PlainLearnsEverythingOnce) {
  source.Spam("pills pills");
  source.Good(Times("long", 5000));
  source.Spam("pills");
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

TEST_F(BulkLearningTest, PlainLeavesNoLongMailOutOfLargeLists) {
  StartWith(5000, 2000);
  source.Good(Times("long", 5000));
  EXPECT_EQ(Learn(LearningManner::kPlain).good_learnt, 1U);
  EXPECT_EQ(Good()["long"], 5000U);
}

TEST_F(BulkLearningTest, LongGoodMailIsLeftOutFromAThousandGoodMessagesOn) {
  for (const std::uint32_t at_start : {998U, 999U}) {
    StartWith(at_start, 300);
    source.mails.clear();
    source.Good(Times("long", 2500));
    const BulkReport report = Learn(LearningManner::kCareful);
    const bool left_out = at_start + 1 >= 1000;
    EXPECT_EQ(report.long_good_left_out, left_out ? 1U : 0U) << at_start;
    EXPECT_EQ(report.good_learnt, left_out ? 0U : 1U);
    EXPECT_EQ(Good().messages, at_start + (left_out ? 0 : 1));
    EXPECT_EQ(Good()["long"], left_out ? 0U : 2500U);
  }
}

TEST_F(BulkLearningTest, TwoThousandWordsAreNotLong) {
  StartWith(2000, 900);
  source.Good(Times("word", 2000));
  source.Good(Times("word", 2001));
  const BulkReport report = Learn(LearningManner::kCareful);
  EXPECT_EQ(report.long_good_left_out, 1U);
  EXPECT_EQ(report.good_learnt, 1U);
  EXPECT_EQ(Good()["word"], 2000U);
}

TEST_F(BulkLearningTest, LongSpamIsLearntAlways) {
  StartWith(2000, 900);
  source.Spam(Times("word", 5000));
  const BulkReport report = Learn(LearningManner::kCareful);
  EXPECT_EQ(report.spam_learnt, 1U);
  EXPECT_EQ(Bad()["word"], 5000U);
  EXPECT_EQ(Bad().messages, 901U);
}

TEST_F(BulkLearningTest, TheSubjectCountsAmongTheWordsOfALongMail) {
  class WithSubject : public ListedMails {
   public:
    bool Read(std::size_t, std::string& text) override {
      text = "Subject: one more \r\n\r\n" + Times("digest", 1999) + "\r\n";
      return true;
    }
  } mails;
  mails.Good({});
  StartWith(999, 300);
  BulkLearning learning(surroundings.program(), mails, LearningManner::kCareful);
  learning.Run({});
  EXPECT_EQ(learning.report().long_good_left_out, 0U);  // "more" stands at the end, without a delimiter

  class WithLongerSubject : public ListedMails {
   public:
    bool Read(std::size_t, std::string& text) override {
      text = "Subject: one more word\r\n\r\n" + Times("digest", 1999) + "\r\n";
      return true;
    }
  } more;
  more.Good({});
  BulkLearning again(surroundings.program(), more, LearningManner::kCareful);
  again.Run({});
  EXPECT_EQ(again.report().long_good_left_out, 1U);
}

TEST_F(BulkLearningTest, ScarceGoodMailIsCountedThreeTimes) {
  struct Case {
    std::uint32_t good;  // sizes, the one mail of each kind included
    std::uint32_t spam;
    std::uint32_t weight;
  };
  for (const Case& one :
       {Case{399, 100, 3}, Case{400, 100, 1}, Case{400, 200, 1}, Case{400, 201, 3}, Case{401, 201, 3},
        Case{402, 201, 1}, Case{1200, 600, 1}, Case{1200, 601, 3}, Case{1, 1, 3}, Case{399, 1, 3},
        Case{400, 1, 1}, Case{399, 2, 3}, Case{1000, 500, 1}, Case{999, 500, 3}}) {
    SCOPED_TRACE(std::to_string(one.good) + " good, " + std::to_string(one.spam) + " spam");
    StartWith(one.good - 1, one.spam - 1);
    source.mails.clear();
    source.Good("alpha alpha beta");
    source.Spam("pills");
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

TEST_F(BulkLearningTest, BothRulesMayHoldAtOnce) {
  StartWith(1500, 1500);
  source.Good(Times("long", 2500));
  source.Good("short");
  const BulkReport report = Learn(LearningManner::kCareful);
  EXPECT_EQ(report.long_good_left_out, 1U);
  EXPECT_EQ(report.good_weight, 3U);
  EXPECT_EQ(Good(), (ListedWords{1503, {{"short", 3}}}));
}

TEST_F(BulkLearningTest, WarnsOfTooLittleMail) {
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
  EXPECT_FALSE(told(200, 200).any());
  EXPECT_TRUE(told(199, 199).too_few_good);
  EXPECT_TRUE(told(100, 10).any());
  EXPECT_TRUE(told(2000, 10).any());
  EXPECT_FALSE(told(2000, 500).any());
}

TEST_F(BulkLearningTest, KeenNeedsTwoThousandGoodMessages) {
  StartWith(1998, 900);
  source.Good(Times("long", 2500));
  source.Spam("pills");
  const BulkReport report = Learn(LearningManner::kKeen);
  EXPECT_TRUE(report.keen_refused);
  EXPECT_EQ(report.spam_weight, 1U);
  EXPECT_EQ(report.long_good_left_out, 1U);
  EXPECT_EQ(Bad(), (ListedWords{901, {{"pills", 1}}}));
  EXPECT_EQ(Good().messages, 1998U);
}

TEST_F(BulkLearningTest, KeenBelowTheBoundWeighsScarceGoodMail) {
  StartWith(500, 400);
  source.Good("alpha");
  const BulkReport report = Learn(LearningManner::kKeen);
  EXPECT_TRUE(report.keen_refused);
  EXPECT_EQ(report.good_weight, 3U);
  EXPECT_EQ(Good(), (ListedWords{503, {{"alpha", 3}}}));
}

TEST_F(BulkLearningTest, KeenCountsSpamThreeTimesThenGoodMailShortestFirst) {
  StartWith(1996, 600);
  source.Good(Times("longest", 9));
  source.Spam("cheap offer ");
  source.Good("a very very very very very very long line of which the words are too short no it is ");
  source.Good("tiny ");
  source.Good(Times("digest", 2001));
  source.Spam("cheap ");
  const BulkReport report = Learn(LearningManner::kKeen);
  EXPECT_FALSE(report.keen_refused);
  EXPECT_EQ(report.spam_weight, 3U);
  EXPECT_EQ(report.good_weight, 1U);
  // Measured; spam; then good mail by its number of words.
  EXPECT_EQ(source.read, (std::vector<std::size_t>{0, 2, 3, 4, 1, 5, 3, 0, 2, 4}));
  EXPECT_EQ(report.good_learnt, 4U);
  EXPECT_EQ(report.spam_learnt, 2U);
  EXPECT_EQ(report.long_good_left_out, 0U);
  EXPECT_EQ(Good().messages, 2000U);
  EXPECT_EQ(Good()["digest"], 2001U);
  EXPECT_EQ(Bad(), (ListedWords{606, {{"cheap", 6}, {"offer", 3}}}));
}

TEST_F(BulkLearningTest, KeenLeavesOutWhatTheListsKnowAsGood) {
  StartWithKnownWords();
  source.Good(Vocabulary("known", 1));
  source.Good(Vocabulary("fresh", 1));
  const BulkReport report = Learn(LearningManner::kKeen);
  EXPECT_EQ(report.sure_good_left_out, 1U);
  EXPECT_EQ(report.good_learnt, 1U);
  EXPECT_EQ(Good().messages, 2001U);
  EXPECT_EQ(Good()["knowna"], 50U);
  EXPECT_EQ(Good()["fresha"], 1U);
}

TEST_F(BulkLearningTest, KeenLeavesOutWhatTheListsKnowAsGoodAlready) {
  StartWith(1990, 600);
  std::string known;
  for (int i = 0; i < 15; ++i) known += "known" + std::to_string(i) + " ";
  for (int i = 0; i < 10; ++i) source.Good(known);
  source.Good("unknown ");
  const BulkReport report = Learn(LearningManner::kKeen);
  // From 3 times on (6, counted double) a word speaks: 15 of them at 0.01 give 0.01^15.
  EXPECT_EQ(report.good_learnt, 4U);
  EXPECT_EQ(report.sure_good_left_out, 7U);
  EXPECT_EQ(Good()["known7"], 3U);
  EXPECT_EQ(Good()["unknown"], 1U);
  EXPECT_EQ(Good().messages, 1994U);
}

// 8 words at 0.01 give 1.0e-16 and a little, 9 give 1e-18.
TEST_F(BulkLearningTest, KeenAsksTheJudgeOfTheLearntWords) {
  Put(kGoodListFile, {2000, {{"hello", 2000}}});
  Put(kBadListFile, {600, {}});
  std::string eight;
  for (int i = 0; i < 8; ++i) eight += "known" + std::to_string(i) + " ";
  for (int i = 0; i < 3; ++i) source.Good(eight);
  ASSERT_EQ(Learn(LearningManner::kKeen).good_learnt, 3U);
  MailMessage message;
  message.ParseText("Subject:\r\n\r\n" + eight + "\r\n");
  WordTables tables;
  tables.Load(surroundings.program(), false);
  std::string words;
  const double probability = Classifier(tables).LearntProbability(message, words);
  ASSERT_NEAR(probability, 1.08e-16, 0.02e-16);
  EXPECT_EQ(Learn(LearningManner::kKeen).good_learnt, 3U);  // just above: learnt
  for (ListedMails::Mail& mail : source.mails)
    mail.body += "known0 hello ";  // a ninth word, which the lists knew
  EXPECT_EQ(Learn(LearningManner::kKeen).good_learnt, 0U);
}

TEST_F(BulkLearningTest, KeenTakesGoodMailShortestFirstAndJudgesByWhatItHasLearnt) {
  StartWith(3000, 900);
  // The longer one stands first; once the shorter is learnt, its words are known.
  source.Good(Vocabulary("fresh", 9));
  source.Good(Vocabulary("fresh", 4));
  source.Spam("pills");
  const BulkReport report = Learn(LearningManner::kKeen);
  EXPECT_EQ(report.good_learnt, 1U);
  EXPECT_EQ(report.sure_good_left_out, 1U);
  EXPECT_EQ(Good()["fresha"], 4U);
  EXPECT_EQ(Good().messages, 3001U);
}

TEST_F(BulkLearningTest, KeenLearnsSpamBeforeGoodMail) {
  StartWithKnownWords();
  source.Good(Vocabulary("known", 1));
  // Behind the good mail, yet it makes the same words speak for spam.
  for (int i = 0; i < 100; ++i) source.Spam(Vocabulary("known", 5));
  const BulkReport report = Learn(LearningManner::kKeen);
  EXPECT_EQ(report.sure_good_left_out, 0U);
  EXPECT_EQ(report.good_learnt, 1U);
  EXPECT_EQ(Good()["knowna"], 51U);
}

TEST_F(BulkLearningTest, ProgressRunsToItsEnd) {
  for (const LearningManner manner :
       {LearningManner::kPlain, LearningManner::kCareful, LearningManner::kKeen}) {
    StartWith(3000, 1000);
    source.mails.clear();
    for (int i = 0; i < 7; ++i) source.Good("alpha");
    for (int i = 0; i < 5; ++i) source.Spam("beta");
    BulkLearning run(surroundings.program(), source, manner);
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

TEST_F(BulkLearningTest, UnreadableMailIsLeftOutAndTold) {
  for (const LearningManner manner :
       {LearningManner::kCareful, LearningManner::kKeen, LearningManner::kPlain}) {
    TestProgram fresh;
    LearningBatch batch(fresh.program());
    batch.Count(MailMessage(), LearnKind::kGood, 2000);
    ASSERT_TRUE(batch.Save());
    ListedMails mails;
    mails.mails = {{LearnKind::kGood, "day ", true},
                   {LearnKind::kGood, "night ", false},
                   {LearnKind::kSpam, "cheap ", true},
                   {LearnKind::kSpam, "offer ", false}};
    BulkLearning learning(fresh.program(), mails, manner);
    std::uint64_t last = 0;
    std::uint64_t steps = 0;
    learning.Run([&](std::uint64_t done, std::uint64_t of) {
      EXPECT_GT(done, last);
      last = done;
      steps = of;
      return true;
    });
    EXPECT_EQ(last, steps);
    EXPECT_EQ(steps, manner == LearningManner::kKeen ? 6U : 4U);
    EXPECT_EQ(learning.report().unreadable, 2U);
    EXPECT_EQ(learning.report().good_learnt, 1U);
    EXPECT_EQ(learning.report().spam_learnt, 1U);
    EXPECT_EQ(learning.report().good_messages, 2001U);
  }
}

TEST_F(BulkLearningTest, KeepsWhatWasCountedWhenItIsInterrupted) {
  StartWith(500, 100);
  for (int i = 0; i < 5; ++i) source.Good("day ");
  BulkLearning learning(surroundings.program(), source, LearningManner::kCareful);
  learning.Run([](std::uint64_t done, std::uint64_t of) {
    EXPECT_EQ(of, 5U);
    return done < 2;
  });
  EXPECT_TRUE(learning.report().interrupted);
  EXPECT_EQ(learning.report().good_learnt, 2U);
  EXPECT_TRUE(learning.Save());
  EXPECT_EQ(Good().messages, 502U);
  EXPECT_EQ(Good()["day"], 2U);
}

TEST_F(BulkLearningTest, IsNotInterruptedWhenAllIsDone) {
  source.Good("day ");
  BulkLearning learning(surroundings.program(), source, LearningManner::kCareful);
  learning.Run([](std::uint64_t, std::uint64_t) { return false; });
  EXPECT_FALSE(learning.report().interrupted);
}

TEST_F(BulkLearningTest, KeenThatIsInterruptedWhileItMeasuresHasCountedNothing) {
  StartWith(2000, 600);
  source.Spam("cheap ");
  source.Good("day ");
  source.Good("night ");
  BulkLearning learning(surroundings.program(), source, LearningManner::kKeen);
  learning.Run([](std::uint64_t, std::uint64_t) { return false; });
  EXPECT_TRUE(learning.report().interrupted);
  EXPECT_EQ(learning.report().spam_learnt, 0U);
  EXPECT_EQ(learning.report().spam_messages, 600U);
}

TEST_F(BulkLearningTest, TellsWordsThatFullListsRefused) {
  surroundings.Configure("TrainingAreaMaxMemory=1");  // 512 bytes for each list
  std::string many;
  for (int i = 0; i < 60; ++i) many += "number" + std::to_string(100 + i) + " ";
  source.Good(many);
  source.Spam(many);
  const BulkReport report = Learn();
  EXPECT_EQ(report.good_words, 36U);          // of 14 bytes each
  EXPECT_EQ(report.refused_good_words, 72U);  // 24, counted three times
  EXPECT_EQ(report.refused_spam_words, 24U);
}

TEST_F(BulkLearningTest, WhatAMailCheckLearntMeanwhileIsKept) {
  for (int i = 0; i < 3; ++i) source.Spam("pills");
  BulkLearning run(surroundings.program(), source, LearningManner::kPlain);
  run.Run([&](std::uint64_t, std::uint64_t) {
    MailMessage message;
    message.ParseText("X: y\r\n\r\nchecked \r\n");
    EXPECT_TRUE(LearnMessage(surroundings.program(), message, LearnKind::kSpam));
    return true;
  });
  EXPECT_TRUE(run.Save());
  EXPECT_EQ(Bad(), (ListedWords{6, {{"pills", 3}, {"checked", 3}}}));
}

TEST_F(BulkLearningTest, AddsToWhatOthersSavedMeanwhile) {
  StartWith(500, 100);
  source.Good("day ");
  BulkLearning learning(surroundings.program(), source, LearningManner::kCareful);
  learning.Run({});
  MailMessage message;
  message.ParseText("Subject:\r\n\r\nday night \r\n");
  ASSERT_TRUE(LearnMessage(surroundings.program(), message, LearnKind::kGood));
  ASSERT_TRUE(learning.Save());
  EXPECT_EQ(Good().messages, 502U);
  EXPECT_EQ(Good()["day"], 2U);
  EXPECT_EQ(learning.report().good_messages, 502U);
  EXPECT_EQ(learning.report().good_words, 2U);
}

TEST_F(BulkLearningTest, ASaveThatFailsMayBeTriedAgain) {
  Put(kBadListFile, {5, {{"pills", 5}}});
  source.Spam("pills");
  BulkLearning run(surroundings.program(), source, LearningManner::kPlain);
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
