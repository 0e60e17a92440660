// SPDX-License-Identifier: MIT
// Teaching the word lists: what one message adds, batches beside other learners, full and damaged lists.
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "filter/learning.h"
#include "support/test_program.h"
#include "support/word_list_text.h"

namespace quillbeaker {
namespace {

using test::kBadListFile;
using test::kGoodListFile;
using test::ListedWords;

class LearningContractTest : public testing::Test {
 protected:
  Program& program() { return surroundings.program(); }

  ListedWords Good() const { return test::ListIn(surroundings.directory, kGoodListFile); }
  ListedWords Bad() const { return test::ListIn(surroundings.directory, kBadListFile); }
  [[nodiscard]] bool PutList(const char* file, const ListedWords& list) const {
    return surroundings.directory.Put(file, test::WordListBytes(list));
  }
  bool Learn(std::string_view body, LearnKind kind, std::string_view subject = "") {
    return LearnMessage(program(), *Parsed(body, subject), kind);
  }
  static std::unique_ptr<MailMessage> Parsed(std::string_view body, std::string_view subject = "") {
    auto message = std::make_unique<MailMessage>();
    message->ParseText("From: a@b.example\r\nSubject: " + std::string(subject) + "\r\n\r\n" +
                       std::string(body));
    return message;
  }

  test::TestProgram surroundings;
};

TEST_F(LearningContractTest, OneGoodMessageCountsIntoTheGoodList) {
  EXPECT_TRUE(Learn("Hello world, hello!\r\n", LearnKind::kGood));
  EXPECT_EQ(Good(), (ListedWords{1, {{"hello", 2}, {"world", 1}}}));
  EXPECT_EQ(Bad(), ListedWords{});
  // Both lists are saved, whichever was counted into.
  EXPECT_TRUE(surroundings.directory.Has(kGoodListFile));
  EXPECT_TRUE(surroundings.directory.Has(kBadListFile));
}

TEST_F(LearningContractTest, AWordThatOccursThreeTimesCountsThree) {
  EXPECT_TRUE(Learn("pills Pills PILLS cheap\r\n", LearnKind::kSpam));
  EXPECT_EQ(Bad(), (ListedWords{1, {{"pills", 3}, {"cheap", 1}}}));
  EXPECT_TRUE(Learn("pills\r\n", LearnKind::kSpam));
  EXPECT_EQ(Bad(), (ListedWords{2, {{"pills", 4}, {"cheap", 1}}}));
  EXPECT_EQ(Good(), ListedWords{});
}

TEST_F(LearningContractTest, NothingIsEverUnlearnt) {
  EXPECT_TRUE(Learn("word one\r\n", LearnKind::kSpam));
  EXPECT_TRUE(Learn("word one\r\n", LearnKind::kGood));
  EXPECT_EQ(Bad()["word"], 1U);
  EXPECT_EQ(Good()["word"], 1U);
  EXPECT_EQ(Bad().messages, 1U);
  EXPECT_EQ(Good().messages, 1U);
}

TEST_F(LearningContractTest, TheSubjectCountsUpToItsLastDelimiter) {
  EXPECT_TRUE(Learn("body\r\n", LearnKind::kSpam, "great offers today"));
  EXPECT_EQ(Bad(), (ListedWords{1, {{"body", 1}, {"great", 1}, {"offers", 1}}}));
}

TEST_F(LearningContractTest, AnEncodedSubjectIsCountedAsItStands) {
  EXPECT_TRUE(Learn("body\r\n", LearnKind::kSpam, "=?iso-8859-1?Q?secret_words_here?= x"));
  EXPECT_EQ(Bad()["iso"], 1U);
  EXPECT_EQ(Bad()["8859"], 0U);
  EXPECT_EQ(Bad()["secret"], 1U);
}

TEST_F(LearningContractTest, HtmlIsRemovedWhateverTheSettingSays) {
  ASSERT_TRUE(surroundings.Configure("FilterWordHTML=0"));
  MailMessage message;
  message.ParseText("Content-Type: text/html\r\n\r\n<table>word</table> end\r\n");
  EXPECT_TRUE(LearnMessage(program(), message, LearnKind::kGood));
  EXPECT_EQ(Good(), (ListedWords{1, {{"word", 1}, {"end", 1}}}));
}

TEST_F(LearningContractTest, AMessageWithoutTextStillCountsAsOne) {
  MailMessage message;
  message.ParseText("Content-Type: image/gif\r\nSubject: a picture for you\r\n\r\nGIF89a\r\n");
  EXPECT_TRUE(LearnMessage(program(), message, LearnKind::kGood));
  EXPECT_EQ(Good(), (ListedWords{1, {{"picture", 1}, {"for", 1}}}));
}

TEST_F(LearningContractTest, OneStepEqualsLoadingCountingAndSavingToTheByte) {
  const std::string_view bodies[] = {
      "alpha beta gamma delta\r\n", "beta beta omega x9y 12345 ab\r\n",
      "one two three four five six seven eight nine ten eleven twelve thirteen "
      "fourteen fifteen sixteen seventeen eighteen\r\n",
      "", "alpha"};
  test::TestProgram by_hand;
  ASSERT_TRUE(by_hand.directory.MakeFolder("training"));
  for (int round = 0; round < 3; ++round) {
    for (std::size_t i = 0; i < std::size(bodies); ++i) {
      const LearnKind kind =
          (i + static_cast<std::size_t>(round)) % 2 == 0 ? LearnKind::kGood : LearnKind::kSpam;
      EXPECT_TRUE(Learn(bodies[i], kind, "a subject here"));
      WordTables tables;
      tables.Load(by_hand.program(), false);
      tables.Count(*Parsed(bodies[i], "a subject here"), kind);
      ASSERT_TRUE(tables.Save());
    }
  }
  EXPECT_EQ(surroundings.directory.Get(kGoodListFile), by_hand.directory.Get(kGoodListFile));
  EXPECT_EQ(surroundings.directory.Get(kBadListFile), by_hand.directory.Get(kBadListFile));
  EXPECT_EQ(Good().messages + Bad().messages, 15U);
}

TEST_F(LearningContractTest, ABatchEqualsOneByOne) {
  test::TestProgram single;
  LearningBatch batch(program());
  for (int i = 0; i < 40; ++i) {
    const auto message =
        Parsed("word" + std::to_string(i) + " common note" + std::to_string(i % 7) + "\r\n", "re: x");
    const LearnKind kind = i % 3 == 0 ? LearnKind::kSpam : LearnKind::kGood;
    batch.Count(*message, kind);
    EXPECT_TRUE(LearnMessage(single.program(), *message, kind));
  }
  EXPECT_FALSE(surroundings.directory.Has(kGoodListFile));
  EXPECT_TRUE(batch.Save());
  // The order of the words may differ.
  EXPECT_EQ(Good(), test::ParseWordList(single.directory.Get(kGoodListFile).value_or("")));
  EXPECT_EQ(Bad(), test::ParseWordList(single.directory.Get(kBadListFile).value_or("")));
  EXPECT_EQ(Bad().messages, 14U);
  EXPECT_EQ(Good().messages, 26U);
  EXPECT_EQ(Good()["common"], 26U);
}

TEST_F(LearningContractTest, AnEmptyBatchTouchesNoFile) {
  LearningBatch batch(program());
  EXPECT_TRUE(batch.empty());
  EXPECT_TRUE(batch.Save());
  EXPECT_FALSE(surroundings.directory.Has(kGoodListFile));
  EXPECT_FALSE(surroundings.directory.Has(kBadListFile));
}

TEST_F(LearningContractTest, AMessageMayCountSeveralTimes) {
  LearningBatch batch(program());
  batch.Count(*Parsed("twice twice once\r\n"), LearnKind::kGood, 3);
  EXPECT_FALSE(batch.empty());
  EXPECT_EQ(batch.tables().good.messages, 3U);
  EXPECT_EQ(batch.tables().good.Count("twice"), 6U);
  EXPECT_TRUE(batch.Save());
  EXPECT_EQ(Good(), (ListedWords{3, {{"twice", 6}, {"once", 3}}}));
}

TEST_F(LearningContractTest, TheTablesShowTheListsWithWhatWasCounted) {
  ASSERT_TRUE(PutList(kBadListFile, {10, {{"pills", 4}}}));
  LearningBatch batch(program());
  EXPECT_EQ(batch.tables().bad.Count("pills"), 4U);
  EXPECT_EQ(batch.tables().bad.messages, 10U);
  batch.Count(*Parsed("pills pills new \r\n"), LearnKind::kSpam);
  EXPECT_EQ(batch.tables().bad.Count("pills"), 6U);
  EXPECT_EQ(batch.tables().bad.Count("new"), 1U);
  EXPECT_EQ(batch.tables().bad.messages, 11U);
  EXPECT_EQ(Bad(), (ListedWords{10, {{"pills", 4}}}));
}

TEST_F(LearningContractTest, SavingTwiceAddsWhatCameBetween) {
  LearningBatch batch(program());
  batch.Count(*Parsed("first both\r\n"), LearnKind::kGood);
  EXPECT_TRUE(batch.Save());
  EXPECT_TRUE(batch.empty());
  EXPECT_TRUE(batch.Save());
  EXPECT_EQ(Good(), (ListedWords{1, {{"first", 1}, {"both", 1}}}));
  batch.Count(*Parsed("second both\r\n"), LearnKind::kGood);
  EXPECT_FALSE(batch.empty());
  EXPECT_TRUE(batch.Save());
  EXPECT_EQ(Good(), (ListedWords{2, {{"first", 1}, {"both", 2}, {"second", 1}}}));
}

TEST_F(LearningContractTest, WhatOthersLearntMeanwhileIsKept) {
  LearningBatch slow(program());
  LearningBatch slower(program());
  slow.Count(*Parsed("common slow \r\n"), LearnKind::kSpam);
  slower.Count(*Parsed("common slower \r\n"), LearnKind::kSpam, 2);
  EXPECT_TRUE(Learn("common quick \r\n", LearnKind::kSpam));
  EXPECT_TRUE(slow.Save());
  EXPECT_TRUE(Learn("common quick \r\n", LearnKind::kSpam));
  EXPECT_TRUE(slower.Save());
  EXPECT_EQ(Bad(), (ListedWords{5, {{"common", 5}, {"slow", 1}, {"slower", 2}, {"quick", 2}}}));
  slow.Count(*Parsed("common again \r\n"), LearnKind::kSpam);
  EXPECT_TRUE(slow.Save());
  EXPECT_EQ(Bad()["common"], 6U);
  EXPECT_EQ(Bad().messages, 6U);
}

TEST_F(LearningContractTest, ListsThatWereErasedMeanwhileHoldWhatTheBatchCounted) {
  ASSERT_TRUE(PutList(kGoodListFile, {7, {{"old", 3}}}));
  LearningBatch batch(program());
  batch.Count(*Parsed("old new\r\n"), LearnKind::kGood);
  ASSERT_TRUE(surroundings.directory.Remove(kGoodListFile));
  EXPECT_TRUE(batch.Save());
  EXPECT_EQ(Good(), (ListedWords{1, {{"old", 1}, {"new", 1}}}));
}

TEST_F(LearningContractTest, CountsAreKeptWhenTheListsCanNotBeWritten) {
  ASSERT_TRUE(PutList(kGoodListFile, {7, {{"old", 3}}}));
  LearningBatch batch(program());
  batch.Count(*Parsed("old new\r\n"), LearnKind::kGood);
  surroundings.directory.SetReadOnly(kGoodListFile, true);
  EXPECT_FALSE(batch.Save());
  EXPECT_FALSE(batch.empty());
  EXPECT_FALSE(LearnMessage(program(), *Parsed("old\r\n"), LearnKind::kGood));
  surroundings.directory.SetReadOnly(kGoodListFile, false);
  EXPECT_EQ(Good(), (ListedWords{7, {{"old", 3}}}));
  EXPECT_TRUE(batch.Save());
  EXPECT_EQ(Good(), (ListedWords{8, {{"old", 4}, {"new", 1}}}));
}

TEST_F(LearningContractTest, SpamIsNotCountedTwiceWhenOnlyTheOtherListWasRefused) {
  ASSERT_TRUE(PutList(kGoodListFile, {1, {{"old", 1}}}));
  ASSERT_TRUE(PutList(kBadListFile, {1, {{"old", 1}}}));
  for (const char* const refused : {kGoodListFile, kBadListFile}) {
    const ListedWords good = Good();
    const ListedWords bad = Bad();
    LearningBatch batch(program());
    batch.Count(*Parsed("old \r\n"), LearnKind::kGood);
    batch.Count(*Parsed("old \r\n"), LearnKind::kSpam);
    surroundings.directory.SetReadOnly(refused, true);
    EXPECT_FALSE(batch.Save());
    surroundings.directory.SetReadOnly(refused, false);
    EXPECT_EQ(Good(), good) << refused;
    EXPECT_EQ(Bad(), bad) << refused;
    EXPECT_TRUE(batch.Save());
    EXPECT_EQ(Good()["old"], good["old"] + 1) << refused;
    EXPECT_EQ(Good().messages, good.messages + 1) << refused;
    EXPECT_EQ(Bad()["old"], bad["old"] + 1) << refused;
    EXPECT_EQ(Bad().messages, bad.messages + 1) << refused;
  }
}

// Who is told that nothing was learnt, and tries once more, must not teach one half twice.
TEST_F(LearningContractTest, AListThatWasNotThereIsNotThereAfterAHalfFailedSave) {
  ASSERT_TRUE(PutList(kBadListFile, {1, {{"old", 1}}}));
  LearningBatch batch(program());
  batch.Count(*Parsed("new \r\n"), LearnKind::kGood);
  batch.Count(*Parsed("new \r\n"), LearnKind::kSpam);
  surroundings.directory.SetReadOnly(kBadListFile, true);
  EXPECT_FALSE(batch.Save());
  surroundings.directory.SetReadOnly(kBadListFile, false);
  EXPECT_FALSE(surroundings.directory.Has(kGoodListFile));
  EXPECT_TRUE(batch.Save());
  EXPECT_EQ(Good(), (ListedWords{1, {{"new", 1}}}));
  EXPECT_EQ(Bad(), (ListedWords{2, {{"old", 1}, {"new", 1}}}));
}

TEST_F(LearningContractTest, NeitherListIsWrittenWhenOneCanNotBeRead) {
  ASSERT_TRUE(PutList(kGoodListFile, {1, {{"old", 1}}}));
  ASSERT_TRUE(surroundings.directory.MakeFolder(kBadListFile));
  LearningBatch batch(program());
  batch.Count(*Parsed("new \r\n"), LearnKind::kGood);
  batch.Count(*Parsed("new \r\n"), LearnKind::kSpam);
  EXPECT_FALSE(batch.Save());
  EXPECT_EQ(Good(), (ListedWords{1, {{"old", 1}}}));
}

TEST_F(LearningContractTest, AFullListRefusesNewWordsAndCountsKnownOnes) {
  ASSERT_TRUE(surroundings.Configure("TrainingAreaMaxMemory=1"));
  std::string body = "known ";
  for (int i = 1000; i < 2000; ++i) body += "word" + std::to_string(i) + " ";
  LearningBatch batch(program());
  batch.Count(*Parsed(body + "known known word1999 \r\n"), LearnKind::kSpam);
  // 512 bytes: "known" takes 10 and each other word 13.
  EXPECT_EQ(batch.refused(LearnKind::kSpam), 1000U - 38U + 1U);
  EXPECT_EQ(batch.refused(LearnKind::kGood), 0U);
  EXPECT_TRUE(batch.Save());
  EXPECT_EQ(Bad().words.size(), 39U);
  EXPECT_EQ(Bad()["known"], 3U);
  EXPECT_EQ(Bad().messages, 1U);
  EXPECT_TRUE(Learn("known unknown \r\n", LearnKind::kSpam));
  EXPECT_EQ(Bad().words.size(), 39U);
  EXPECT_EQ(Bad()["known"], 4U);
  EXPECT_EQ(Bad().messages, 2U);
  EXPECT_TRUE(Learn("unknown \r\n", LearnKind::kGood));
  EXPECT_EQ(Good()["unknown"], 1U);
}

TEST_F(LearningContractTest, OthersWordsCountAgainstTheBudgetToo) {
  ASSERT_TRUE(surroundings.Configure("TrainingAreaMaxMemory=1"));
  std::string mine;
  std::string theirs;
  for (int i = 1000; i < 1030; ++i) {
    mine += "mine" + std::to_string(i) + " ";
    theirs += "them" + std::to_string(i) + " ";
  }
  LearningBatch batch(program());
  batch.Count(*Parsed(mine), LearnKind::kSpam);
  EXPECT_TRUE(Learn(theirs, LearnKind::kSpam));
  EXPECT_TRUE(batch.Save());
  EXPECT_EQ(Bad().words.size(), 39U);  // 39 words of 13 bytes are 507
  EXPECT_EQ(Bad()["them1029"], 1U);
  EXPECT_EQ(Bad().messages, 2U);
}

TEST_F(LearningContractTest, WithoutALimitEveryWordIsKept) {
  ASSERT_TRUE(surroundings.Configure("TrainingAreaMaxMemory=0"));
  std::string body;
  for (int i = 0; i < 200000; ++i) body += "w" + std::to_string(i) + "x ";
  LearningBatch batch(program());
  batch.Count(*Parsed(body), LearnKind::kGood);
  EXPECT_EQ(batch.refused(LearnKind::kGood), 0U);
  EXPECT_TRUE(batch.Save());
  EXPECT_EQ(Good().words.size(), 200000U);
}

TEST_F(LearningContractTest, HugeAndNegativeBudgetsAreNoTrap) {
  for (const char* const kilobytes : {"8388608", "2147483647", "-5"}) {
    ASSERT_TRUE(surroundings.Configure("TrainingAreaMaxMemory=" + std::string(kilobytes)));
    EXPECT_TRUE(Learn("alpha \r\n", LearnKind::kGood));
  }
  EXPECT_EQ(Good(), (ListedWords{3, {{"alpha", 3}}}));
}

TEST_F(LearningContractTest, ADamagedListLearnsOnFromWhatCanBeRead) {
  const std::string whole = test::WordListBytes({5, {{"alpha", 2}, {"beta", 3}}});
  ASSERT_TRUE(surroundings.directory.Put(kGoodListFile, whole.substr(0, whole.size() - 3)));
  std::string lying = whole;
  for (std::size_t i = 4; i < 8; ++i) lying[i] = '\xFF';
  ASSERT_TRUE(surroundings.directory.Put(kBadListFile, lying));
  EXPECT_TRUE(Learn("alpha beta \r\n", LearnKind::kGood));
  EXPECT_TRUE(Learn("alpha beta \r\n", LearnKind::kSpam));
  EXPECT_EQ(Good(), (ListedWords{6, {{"alpha", 3}, {"beta", 1}}}));
  EXPECT_EQ(Bad(), (ListedWords{6, {{"alpha", 3}, {"beta", 4}}}));
  ASSERT_TRUE(surroundings.directory.Put(kGoodListFile, "short"));
  EXPECT_TRUE(Learn("alpha \r\n", LearnKind::kGood));
  EXPECT_EQ(Good(), (ListedWords{1, {{"alpha", 1}}}));
}

TEST_F(LearningContractTest, CountsEndAtTheLargestNumber) {
  ASSERT_TRUE(PutList(kGoodListFile, {4294967295U, {{"alpha", 4294967294U}}}));
  EXPECT_TRUE(Learn("alpha alpha alpha \r\n", LearnKind::kGood));
  EXPECT_EQ(Good(), (ListedWords{4294967295U, {{"alpha", 4294967295U}}}));
}

TEST_F(LearningContractTest, ManyThreadsLoseNoCount) {
  constexpr std::uint32_t kThreads = 6;
  constexpr std::uint32_t kEach = 12;
  program();
  std::vector<std::thread> threads;
  for (std::uint32_t thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([this, thread] {
      LearningBatch batch(program());
      for (std::uint32_t i = 0; i < kEach; ++i) {
        const LearnKind kind = thread % 2 == 0 ? LearnKind::kGood : LearnKind::kSpam;
        EXPECT_TRUE(LearnMessage(program(), *Parsed("common t" + std::to_string(thread) + "x \r\n"), kind));
        batch.Count(*Parsed("common batch \r\n"), kind);
        if (i % 4 == 3) {
          EXPECT_TRUE(batch.Save());
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (const ListedWords& list : {Good(), Bad()}) {
    EXPECT_EQ(list.messages, kThreads * kEach);
    EXPECT_EQ(list["common"], kThreads * kEach);
    EXPECT_EQ(list["batch"], kThreads * kEach / 2);
  }
  EXPECT_EQ(Good()["t2x"], kEach);
  EXPECT_EQ(Bad()["t3x"], kEach);
}

}  // namespace
}  // namespace quillbeaker
