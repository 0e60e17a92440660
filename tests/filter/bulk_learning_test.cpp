// SPDX-License-Identifier: MIT
// Learning many mails: which of them are counted, and how often, by the sizes of what is there.

#include "filter/bulk_learning.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "filter/classifier.h"
#include "support/test_program.h"

namespace quillbeaker {
namespace {

using test::TestProgram;

struct SourceMail {
  LearnKind kind = LearnKind::kGood;
  std::string body;
  bool readable = true;
};

// Mails in memory; notes what is read, in order.
class ListedMails : public MailSource {
 public:
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

  std::vector<SourceMail> mails;
  std::vector<std::size_t> read;
};

std::string Times(std::string_view words, int times) {
  std::string text;
  for (int i = 0; i < times; ++i) text += std::string(words) + ' ';
  return text;
}

class BulkLearningTest : public testing::Test {
 protected:
  // Lists of so many messages, in each of which a word of its kind stands once.
  void StartWith(std::uint32_t good, std::uint32_t spam) {
    LearningBatch batch(surroundings.program());
    MailMessage message;
    message.ParseText("Subject:\r\n\r\nhello \r\n");
    batch.Count(message, LearnKind::kGood, good);
    message.ParseText("Subject:\r\n\r\npills \r\n");
    batch.Count(message, LearnKind::kSpam, spam);
    ASSERT_TRUE(batch.Save());
  }
  // Runs to the end and saves.
  BulkReport Learn(LearningManner manner = LearningManner::kCareful) {
    BulkLearning learning(surroundings.program(), source, manner);
    learning.Run({});
    EXPECT_TRUE(learning.Save());
    return learning.report();
  }
  WordTables Saved() {
    WordTables tables;
    tables.Load(surroundings.program(), false);
    return tables;
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
  EXPECT_EQ(report.good_words, 4U);  // hello, good, day, night
  EXPECT_EQ(report.spam_words, 2U);  // pills, cheap
  EXPECT_FALSE(report.interrupted);
  EXPECT_EQ(Saved().good.messages, 502U);
  EXPECT_EQ(Saved().good.Count("good"), 2U);
  EXPECT_EQ(Saved().bad.Count("pills"), 101U);
}

TEST_F(BulkLearningTest, SizesAreTheListsAndTheRunTogether) {
  StartWith(7, 3);
  source.Good("day ");
  source.Spam("cheap ");
  source.Spam("offer ");
  const BulkLearning learning(surroundings.program(), source, LearningManner::kCareful);
  EXPECT_EQ(learning.sizes().good, 8U);
  EXPECT_EQ(learning.sizes().spam, 5U);
}

TEST_F(BulkLearningTest, SavesNothingByItself) {
  source.Good("day ");
  BulkLearning learning(surroundings.program(), source, LearningManner::kCareful);
  learning.Run({});
  EXPECT_EQ(learning.report().good_messages, 3U);
  EXPECT_TRUE(surroundings.directory.Names().empty());
}

TEST_F(BulkLearningTest, WithNoMailNothingIsTouched) {
  const BulkReport report = Learn();
  EXPECT_EQ(report.good_messages, 0U);
  EXPECT_TRUE(surroundings.directory.Names().empty());
}

// From 1,000 good messages on.
TEST_F(BulkLearningTest, LeavesLongGoodMailOut) {
  StartWith(998, 300);
  source.Good(Times("digest", 2001));
  source.Good(Times("letter", 2000));
  source.Spam(Times("offer", 2001));
  const BulkReport report = Learn();
  EXPECT_EQ(report.long_good_left_out, 1U);
  EXPECT_EQ(report.good_learnt, 1U);
  EXPECT_EQ(report.spam_learnt, 1U);
  EXPECT_EQ(Saved().good.messages, 999U);
  EXPECT_EQ(Saved().good.Count("digest"), 0U);
  EXPECT_EQ(Saved().good.Count("letter"), 2000U);
  EXPECT_EQ(Saved().bad.Count("offer"), 2001U);
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

TEST_F(BulkLearningTest, KeepsLongGoodMailBelowAThousand) {
  StartWith(998, 300);
  source.Good(Times("digest", 2001));
  const BulkReport report = Learn();
  EXPECT_EQ(report.long_good_left_out, 0U);
  EXPECT_EQ(Saved().good.Count("digest"), 2001U);
}

// Below 400 good messages, or below two for each spam.
TEST_F(BulkLearningTest, CountsScarceGoodMailThreeTimes) {
  struct Case {
    std::uint32_t good;  // of the lists; one more comes with the run
    std::uint32_t spam;
    std::uint32_t weight;
  };
  for (const Case& c : {Case{398, 0, 3}, Case{399, 0, 1}, Case{398, 1, 3}, Case{399, 199, 1},
                        Case{399, 200, 3}, Case{999, 499, 1}, Case{998, 499, 3}}) {
    SCOPED_TRACE(std::to_string(c.good) + " good, " + std::to_string(c.spam) + " spam");
    TestProgram fresh;
    LearningBatch batch(fresh.program());
    MailMessage empty;
    batch.Count(empty, LearnKind::kGood, c.good);
    batch.Count(empty, LearnKind::kSpam, c.spam);
    ASSERT_TRUE(batch.Save());
    ListedMails mails;
    mails.Good("good day good ");
    mails.Spam("cheap ");
    BulkLearning learning(fresh.program(), mails, LearningManner::kCareful);
    learning.Run({});
    ASSERT_TRUE(learning.Save());
    EXPECT_EQ(learning.report().good_weight, c.weight);
    EXPECT_EQ(learning.report().good_learnt, 1U);
    WordTables saved;
    saved.Load(fresh.program(), false);
    EXPECT_EQ(saved.good.messages, c.good + c.weight);
    EXPECT_EQ(saved.good.Count("good"), 2 * c.weight);
    EXPECT_EQ(saved.bad.messages, c.spam + 1);
    EXPECT_EQ(saved.bad.Count("cheap"), 1U);
  }
}

TEST(WarningsFor, TooFewGoodAndTooLittleSpam) {
  EXPECT_TRUE(WarningsFor({199, 199}).too_few_good);
  EXPECT_FALSE(WarningsFor({200, 200}).too_few_good);
  EXPECT_FALSE(WarningsFor({400, 100}).too_little_spam);
  EXPECT_TRUE(WarningsFor({400, 99}).too_little_spam);
  EXPECT_TRUE(WarningsFor({401, 100}).too_little_spam);
  EXPECT_TRUE(WarningsFor({100, 10}).any());
  EXPECT_TRUE(WarningsFor({2000, 10}).any());
  EXPECT_FALSE(WarningsFor({2000, 500}).any());
}

TEST_F(BulkLearningTest, PlainCountsEverythingOnce) {
  StartWith(1000, 5000);
  source.Good(Times("digest", 2001));
  source.Spam("cheap ");
  const BulkReport report = Learn(LearningManner::kPlain);
  EXPECT_EQ(report.good_weight, 1U);
  EXPECT_EQ(report.long_good_left_out, 0U);
  EXPECT_EQ(Saved().good.messages, 1001U);
  EXPECT_EQ(Saved().good.Count("digest"), 2001U);
  EXPECT_EQ(Saved().bad.messages, 5001U);
}

TEST_F(BulkLearningTest, KeenNeedsTwoThousandGood) {
  StartWith(1998, 600);
  source.Good(Times("digest", 2001));
  source.Spam("cheap ");
  const BulkReport report = Learn(LearningManner::kKeen);
  EXPECT_TRUE(report.keen_refused);
  EXPECT_EQ(report.spam_weight, 1U);
  EXPECT_EQ(report.long_good_left_out, 1U);
  EXPECT_EQ(Saved().bad.messages, 601U);
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
  EXPECT_EQ(Saved().good.messages, 2000U);
  EXPECT_EQ(Saved().good.Count("digest"), 2001U);
  EXPECT_EQ(Saved().bad.messages, 606U);
  EXPECT_EQ(Saved().bad.Count("cheap"), 6U);
  EXPECT_EQ(Saved().bad.Count("offer"), 3U);
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
  EXPECT_EQ(Saved().good.Count("known7"), 3U);
  EXPECT_EQ(Saved().good.Count("unknown"), 1U);
  EXPECT_EQ(Saved().good.messages, 1994U);
}

// 8 words at 0.01 give 1.0e-16 and a little, 9 give 1e-18.
TEST_F(BulkLearningTest, KeenAsksTheJudgeOfTheLearntWords) {
  StartWith(2000, 600);
  std::string eight;
  for (int i = 0; i < 8; ++i) eight += "known" + std::to_string(i) + " ";
  for (int i = 0; i < 3; ++i) source.Good(eight);
  ASSERT_EQ(Learn(LearningManner::kKeen).good_learnt, 3U);
  MailMessage message;
  message.ParseText("Subject:\r\n\r\n" + eight + "\r\n");
  const WordTables tables = Saved();
  std::string words;
  const double probability = Classifier(surroundings.program(), tables).LearntProbability(message, words);
  ASSERT_NEAR(probability, 1.08e-16, 0.02e-16);
  EXPECT_EQ(Learn(LearningManner::kKeen).good_learnt, 3U);             // just above: learnt
  for (SourceMail& mail : source.mails) mail.body += "known0 hello ";  // a ninth word, which the lists knew
  EXPECT_EQ(Learn(LearningManner::kKeen).good_learnt, 0U);
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
  EXPECT_EQ(Saved().good.messages, 502U);
  EXPECT_EQ(Saved().good.Count("day"), 2U);
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

TEST_F(BulkLearningTest, AddsToWhatOthersSavedMeanwhile) {
  StartWith(500, 100);
  source.Good("day ");
  BulkLearning learning(surroundings.program(), source, LearningManner::kCareful);
  learning.Run({});
  MailMessage message;
  message.ParseText("Subject:\r\n\r\nday night \r\n");
  ASSERT_TRUE(LearnMessage(surroundings.program(), message, LearnKind::kGood));
  ASSERT_TRUE(learning.Save());
  EXPECT_EQ(Saved().good.messages, 502U);
  EXPECT_EQ(Saved().good.Count("day"), 2U);
  EXPECT_EQ(learning.report().good_messages, 502U);
  EXPECT_EQ(learning.report().good_words, 3U);
}

}  // namespace
}  // namespace quillbeaker
