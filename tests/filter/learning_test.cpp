// SPDX-License-Identifier: MIT
// Teaching the word lists: what one message adds, batches beside other learners, full and damaged lists.

#include "filter/learning.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "support/learn_message.h"
#include "support/test_program.h"
#include "support/word_list_text.h"

namespace quillbeaker {
namespace {

using test::kBadListFile;
using test::kGoodListFile;
using test::ListedWords;
using test::TestProgram;

constexpr std::array kLists = {kGoodWordList, kBadWordList};

class Mail : public MailMessage {
 public:
  explicit Mail(std::string_view body, std::string_view subject = {}) {
    ParseText("Subject: " + std::string(subject) + "\r\n\r\n" + std::string(body) + "\r\n");
  }
};

class LearningTest : public testing::Test {
 protected:
  Program& program() { return surroundings.program(); }

  ListedWords Good() const { return test::ListIn(surroundings.directory, kGoodListFile); }
  ListedWords Bad() const { return test::ListIn(surroundings.directory, kBadListFile); }
  [[nodiscard]] bool PutList(const char* file, const ListedWords& list) const {
    return surroundings.directory.Put(file, test::WordListBytes(list));
  }
  bool Learn(std::string_view body, LearnKind kind, std::string_view subject = "") {
    return LearnMessage(program(), Mail(body, subject), kind);
  }

  TestProgram surroundings;
};

std::string BytesOf(const TestProgram& program, std::string_view list) {
  return program.directory.Get(list).value_or("(missing)");
}

WordTables Saved(TestProgram& program) {
  WordTables tables;
  tables.Load(program.program(), false);
  return tables;
}

TEST_F(LearningTest, OneGoodMessageCountsIntoTheGoodList) {
  EXPECT_TRUE(Learn("Hello world, hello!", LearnKind::kGood));
  EXPECT_EQ(Good(), (ListedWords{1, {{"hello", 2}, {"world", 1}}}));
  EXPECT_EQ(Bad(), ListedWords{});
  // Both lists are saved, whichever was counted into.
  EXPECT_TRUE(surroundings.directory.Has(kGoodListFile));
  EXPECT_TRUE(surroundings.directory.Has(kBadListFile));
}

TEST_F(LearningTest, AWordThatOccursThreeTimesCountsThree) {
  EXPECT_TRUE(Learn("pills Pills PILLS cheap", LearnKind::kSpam));
  EXPECT_EQ(Bad(), (ListedWords{1, {{"pills", 3}, {"cheap", 1}}}));
  EXPECT_TRUE(Learn("pills", LearnKind::kSpam));
  EXPECT_EQ(Bad(), (ListedWords{2, {{"pills", 4}, {"cheap", 1}}}));
  EXPECT_EQ(Good(), ListedWords{});
}

TEST_F(LearningTest, NothingIsEverUnlearnt) {
  EXPECT_TRUE(Learn("word one", LearnKind::kSpam));
  EXPECT_TRUE(Learn("word one", LearnKind::kGood));
  EXPECT_EQ(Bad()["word"], 1U);
  EXPECT_EQ(Good()["word"], 1U);
  EXPECT_EQ(Bad().messages, 1U);
  EXPECT_EQ(Good().messages, 1U);
}

TEST_F(LearningTest, TheSubjectCountsUpToItsLastDelimiter) {
  EXPECT_TRUE(Learn("body", LearnKind::kSpam, "great offers today"));
  EXPECT_EQ(Bad(), (ListedWords{1, {{"body", 1}, {"great", 1}, {"offers", 1}}}));
}

TEST_F(LearningTest, AnEncodedSubjectIsCountedAsItStands) {
  EXPECT_TRUE(Learn("body", LearnKind::kSpam, "=?iso-8859-1?Q?secret_words_here?= x"));
  EXPECT_EQ(Bad()["iso"], 1U);
  EXPECT_EQ(Bad()["8859"], 0U);
  EXPECT_EQ(Bad()["secret"], 1U);
}

TEST_F(LearningTest, HtmlIsRemovedWhateverTheSettingSays) {
  ASSERT_TRUE(surroundings.Configure("FilterWordHTML=0"));
  MailMessage message;
  message.ParseText("Content-Type: text/html\r\n\r\n<table>word</table> end\r\n");
  EXPECT_TRUE(LearnMessage(program(), message, LearnKind::kGood));
  EXPECT_EQ(Good(), (ListedWords{1, {{"word", 1}, {"end", 1}}}));
}

TEST_F(LearningTest, AMessageWithoutTextStillCountsAsOne) {
  MailMessage message;
  message.ParseText("Content-Type: image/gif\r\nSubject: a picture for you\r\n\r\nGIF89a\r\n");
  EXPECT_TRUE(LearnMessage(program(), message, LearnKind::kGood));
  EXPECT_EQ(Good(), (ListedWords{1, {{"picture", 1}, {"for", 1}}}));
}

TEST_F(LearningTest, AMessageWithoutWordsIsCountedAsAMessage) {
  EXPECT_TRUE(LearnMessage(program(), Mail(""), LearnKind::kGood));
  EXPECT_TRUE(LearnMessage(program(), MailMessage(), LearnKind::kGood));
  EXPECT_EQ(Saved(surroundings).good.messages, 2U);
}

TEST_F(LearningTest, OneStepEqualsLoadingCountingAndSavingToTheByte) {
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
      MailMessage message;
      message.ParseText("Subject: a subject here\r\n\r\n" + std::string(bodies[i]));
      EXPECT_TRUE(LearnMessage(program(), message, kind));
      WordTables tables;
      tables.Load(by_hand.program(), false);
      tables.Count(message, kind);
      ASSERT_TRUE(tables.Save());
    }
  }
  EXPECT_EQ(surroundings.directory.Get(kGoodListFile), by_hand.directory.Get(kGoodListFile));
  EXPECT_EQ(surroundings.directory.Get(kBadListFile), by_hand.directory.Get(kBadListFile));
  EXPECT_EQ(Good().messages + Bad().messages, 15U);
}

TEST_F(LearningTest, ABatchEqualsOneByOne) {
  test::TestProgram single;
  LearningBatch batch(program());
  for (int i = 0; i < 40; ++i) {
    const Mail message("word" + std::to_string(i) + " common note" + std::to_string(i % 7), "re: x");
    const LearnKind kind = i % 3 == 0 ? LearnKind::kSpam : LearnKind::kGood;
    batch.Count(message, kind);
    EXPECT_TRUE(LearnMessage(single.program(), message, kind));
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

TEST_F(LearningTest, TouchesNoFileWithNothingCounted) {
  LearningBatch batch(program());
  EXPECT_TRUE(batch.empty());
  EXPECT_TRUE(batch.Save());
  batch.Count(Mail("cheap"), LearnKind::kSpam, 0);
  EXPECT_TRUE(batch.Save());
  EXPECT_TRUE(surroundings.directory.Names().empty());
}

TEST_F(LearningTest, SavesBothListsWhicheverWasCountedInto) {
  EXPECT_TRUE(LearnMessage(program(), Mail("cheap pills"), LearnKind::kSpam));
  EXPECT_EQ(BytesOf(surroundings, kGoodWordList), std::string("\x01\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0", 16));
  EXPECT_EQ(BytesOf(surroundings, kBadWordList), std::string("\x01\0\0\0\x02\0\0\0\x01\0\0\0\0\0\0\0", 16) +
                                                     std::string("\x05pills\x01\0\0\0", 10) +
                                                     std::string("\x05"
                                                                 "cheap\x01\0\0\0",
                                                                 10));
}

TEST_F(LearningTest, AMessageMayCountSeveralTimes) {
  LearningBatch batch(program());
  batch.Count(Mail("twice twice once"), LearnKind::kGood, 3);
  EXPECT_FALSE(batch.empty());
  EXPECT_EQ(batch.tables().good.messages, 3U);
  EXPECT_EQ(batch.tables().good.Count("twice"), 6U);
  batch.Count(Mail("never counted"), LearnKind::kGood, 0);
  EXPECT_TRUE(batch.Save());
  EXPECT_EQ(Good(), (ListedWords{3, {{"twice", 6}, {"once", 3}}}));
}

TEST_F(LearningTest, TheTablesShowTheListsWithWhatWasCounted) {
  ASSERT_TRUE(PutList(kBadListFile, {10, {{"pills", 4}}}));
  LearningBatch batch(program());
  EXPECT_EQ(batch.tables().bad.Count("pills"), 4U);
  EXPECT_EQ(batch.tables().bad.messages, 10U);
  batch.Count(Mail("pills pills new "), LearnKind::kSpam);
  EXPECT_EQ(batch.tables().bad.Count("pills"), 6U);
  EXPECT_EQ(batch.tables().bad.Count("new"), 1U);
  EXPECT_EQ(batch.tables().bad.messages, 11U);
  EXPECT_EQ(Bad(), (ListedWords{10, {{"pills", 4}}}));
}

TEST_F(LearningTest, SavingTwiceAddsWhatCameBetween) {
  LearningBatch batch(program());
  batch.Count(Mail("first both"), LearnKind::kGood);
  EXPECT_TRUE(batch.Save());
  EXPECT_TRUE(batch.empty());
  EXPECT_TRUE(batch.Save());
  EXPECT_EQ(Good(), (ListedWords{1, {{"first", 1}, {"both", 1}}}));
  batch.Count(Mail("second both"), LearnKind::kGood);
  EXPECT_FALSE(batch.empty());
  EXPECT_TRUE(batch.Save());
  EXPECT_EQ(Good(), (ListedWords{2, {{"first", 1}, {"both", 2}, {"second", 1}}}));
}

struct Lesson {
  std::string text;
  LearnKind kind = LearnKind::kGood;
};

// Lessons of words that repeat, now and then a new one, of all lengths that count.
std::vector<Lesson> RandomLessons(std::mt19937& random, int number) {
  std::vector<Lesson> lessons;
  for (int i = 0; i < number; ++i) {
    Lesson lesson;
    lesson.kind = random() % 2 == 0 ? LearnKind::kGood : LearnKind::kSpam;
    for (int words = static_cast<int>(random() % 30); words > 0; --words) {
      std::string word = "w" + std::to_string(random() % 150);
      word.append(2 + word.size() * 7 % 14, 'y');
      lesson.text += word + ' ';
    }
    lessons.push_back(std::move(lesson));
  }
  return lessons;
}

void CountAll(LearningBatch& batch, const std::vector<Lesson>& lessons) {
  for (const Lesson& lesson : lessons) batch.Count(Mail(lesson.text), lesson.kind);
}

// What both files must hold after these lessons: loaded, counted and saved with nothing else in between.
void CountPlainly(TestProgram& program, const std::vector<Lesson>& lessons) {
  program.directory.MakeFolder("training");
  WordTables tables;
  tables.Load(program.program(), false);
  for (const Lesson& lesson : lessons) tables.Count(Mail(lesson.text), lesson.kind);
  ASSERT_TRUE(tables.Save());
}

// Old enough that its state tells it from every later one.
void LetListsGrowOld() {
  std::this_thread::sleep_for(std::chrono::milliseconds(80));
}

// Batches of all lengths, one after another, with room enough and without.
class EqualToTheByte : public testing::TestWithParam<const char*> {};

TEST_P(EqualToTheByte, WhenNobodyElseSaves) {
  std::mt19937 random(20061102);
  for (int round = 0; round < 6; ++round) {
    TestProgram batched;
    TestProgram plain;
    batched.Configure(GetParam());
    plain.Configure(GetParam());
    std::optional<LearningBatch> long_lived;
    for (int step = 0; step < 6; ++step) {
      const std::vector<Lesson> lessons = RandomLessons(random, 1 + static_cast<int>(random() % 12));
      CountPlainly(plain, lessons);
      if (step % 2 == 0) {
        LearningBatch batch(batched.program());
        CountAll(batch, lessons);
        ASSERT_TRUE(batch.Save());
      } else {
        if (!long_lived) long_lived.emplace(batched.program());
        CountAll(*long_lived, lessons);
        ASSERT_TRUE(long_lived->Save());
      }
      for (const std::string_view list : kLists) {
        ASSERT_EQ(BytesOf(batched, list), BytesOf(plain, list))
            << list << ", round " << round << ", step " << step;
      }
      if (round == 0) LetListsGrowOld();
    }
  }
}

INSTANTIATE_TEST_SUITE_P(LearningTest, EqualToTheByte,
                         testing::Values("TrainingAreaMaxMemory=0", "TrainingAreaMaxMemory=1",
                                         "TrainingAreaMaxMemory=3", "TrainingAreaMaxMemory=2048"));

TEST_F(LearningTest, TwoBatchesMakeTheSumOfBoth) {
  std::mt19937 random(7);
  for (int round = 0; round < 12; ++round) {
    TestProgram both;
    TestProgram plain;
    const std::vector<Lesson> before = RandomLessons(random, 5);
    const std::vector<Lesson> first = RandomLessons(random, 10);
    const std::vector<Lesson> second = RandomLessons(random, 10);
    CountPlainly(both, before);
    for (const auto& lessons : {before, first, second}) CountPlainly(plain, lessons);
    if (round % 4 == 0) LetListsGrowOld();
    LearningBatch one(both.program());
    LearningBatch other(both.program());
    CountAll(one, second);
    CountAll(other, first);
    ASSERT_TRUE(other.Save());
    ASSERT_TRUE(one.Save());
    // What is saved later comes later: so even the order of the records is that of one after the other.
    for (const std::string_view list : kLists) ASSERT_EQ(BytesOf(both, list), BytesOf(plain, list)) << round;
    EXPECT_EQ(one.tables().good.messages, Saved(plain).good.messages);
    EXPECT_EQ(one.tables().bad.messages, Saved(plain).bad.messages);
  }
}

TEST_F(LearningTest, WhatOthersLearntMeanwhileIsKept) {
  LearningBatch slow(program());
  LearningBatch slower(program());
  slow.Count(Mail("common slow "), LearnKind::kSpam);
  slower.Count(Mail("common slower "), LearnKind::kSpam, 2);
  EXPECT_TRUE(Learn("common quick ", LearnKind::kSpam));
  EXPECT_TRUE(slow.Save());
  EXPECT_TRUE(Learn("common quick ", LearnKind::kSpam));
  EXPECT_TRUE(slower.Save());
  EXPECT_EQ(Bad(), (ListedWords{5, {{"common", 5}, {"slow", 1}, {"slower", 2}, {"quick", 2}}}));
  slow.Count(Mail("common again "), LearnKind::kSpam);
  EXPECT_TRUE(slow.Save());
  EXPECT_EQ(Bad()["common"], 6U);
  EXPECT_EQ(Bad().messages, 6U);
}

TEST_F(LearningTest, IsNotMisledByListsThatStartAfresh) {
  ASSERT_TRUE(LearnMessage(program(), Mail("cheap pills"), LearnKind::kSpam));
  LearningBatch batch(program());
  batch.Count(Mail("cheap offer"), LearnKind::kSpam);
  for (const std::string_view list : kLists) ASSERT_TRUE(surroundings.directory.Remove(list));
  ASSERT_TRUE(batch.Save());
  EXPECT_EQ(Saved(surroundings).bad.messages, 1U);
  EXPECT_EQ(Saved(surroundings).bad.Count("cheap"), 1U);
  EXPECT_EQ(Saved(surroundings).bad.Count("pills"), 0U);
}

TEST_F(LearningTest, CountsAreKeptWhenTheListsCanNotBeWritten) {
  ASSERT_TRUE(PutList(kGoodListFile, {7, {{"old", 3}}}));
  LearningBatch batch(program());
  batch.Count(Mail("old new"), LearnKind::kGood);
  surroundings.directory.SetReadOnly(kGoodListFile, true);
  EXPECT_FALSE(batch.Save());
  EXPECT_FALSE(batch.empty());
  EXPECT_FALSE(LearnMessage(program(), Mail("old"), LearnKind::kGood));
  surroundings.directory.SetReadOnly(kGoodListFile, false);
  EXPECT_EQ(Good(), (ListedWords{7, {{"old", 3}}}));
  EXPECT_TRUE(batch.Save());
  EXPECT_EQ(Good(), (ListedWords{8, {{"old", 4}, {"new", 1}}}));
}

TEST_F(LearningTest, KeepsItsCountsWhenOneListCannotBeWritten) {
  ASSERT_TRUE(LearnMessage(program(), Mail("cheap pills"), LearnKind::kSpam));
  for (const std::string_view list : kLists) {
    const WordTables before = Saved(surroundings);
    const std::string good = BytesOf(surroundings, kGoodWordList);
    const std::string bad = BytesOf(surroundings, kBadWordList);
    LearningBatch batch(program());
    batch.Count(Mail("cheap offer"), LearnKind::kSpam);
    batch.Count(Mail("kind words "), LearnKind::kGood);
    surroundings.directory.SetReadOnly(list, true);
    EXPECT_FALSE(batch.Save());
    EXPECT_FALSE(batch.empty());
    batch.Count(Mail("later "), LearnKind::kGood);
    EXPECT_FALSE(batch.Save());
    EXPECT_EQ(BytesOf(surroundings, kGoodWordList), good);
    EXPECT_EQ(BytesOf(surroundings, kBadWordList), bad);
    surroundings.directory.SetReadOnly(list, false);
    EXPECT_TRUE(batch.Save());
    EXPECT_TRUE(batch.empty());
    const WordTables after = Saved(surroundings);
    EXPECT_EQ(after.bad.messages, before.bad.messages + 1);
    EXPECT_EQ(after.bad.Count("cheap"), before.bad.Count("cheap") + 1);
    EXPECT_EQ(after.good.messages, before.good.messages + 2);
    EXPECT_EQ(after.good.Count("kind"), before.good.Count("kind") + 1);
    EXPECT_EQ(after.good.Count("later"), before.good.Count("later") + 1);
  }
}

// A caller that learns of the failure and tries again must not teach one list twice.
TEST_F(LearningTest, AListThatWasNotThereIsNotThereAfterAHalfFailedSave) {
  ASSERT_TRUE(PutList(kBadListFile, {1, {{"old", 1}}}));
  LearningBatch batch(program());
  batch.Count(Mail("new "), LearnKind::kGood);
  batch.Count(Mail("new "), LearnKind::kSpam);
  surroundings.directory.SetReadOnly(kBadListFile, true);
  EXPECT_FALSE(batch.Save());
  surroundings.directory.SetReadOnly(kBadListFile, false);
  EXPECT_FALSE(surroundings.directory.Has(kGoodListFile));
  EXPECT_TRUE(batch.Save());
  EXPECT_EQ(Good(), (ListedWords{1, {{"new", 1}}}));
  EXPECT_EQ(Bad(), (ListedWords{2, {{"old", 1}, {"new", 1}}}));
}

TEST_F(LearningTest, NeitherListIsWrittenWhenOneCanNotBeRead) {
  ASSERT_TRUE(PutList(kGoodListFile, {1, {{"old", 1}}}));
  ASSERT_TRUE(surroundings.directory.MakeFolder(kBadListFile));
  LearningBatch batch(program());
  batch.Count(Mail("new "), LearnKind::kGood);
  batch.Count(Mail("new "), LearnKind::kSpam);
  EXPECT_FALSE(batch.Save());
  EXPECT_EQ(Good(), (ListedWords{1, {{"old", 1}}}));
}

TEST_F(LearningTest, DoesNotWriteOverAListThatItCannotRead) {
  ASSERT_TRUE(LearnMessage(program(), Mail("cheap pills"), LearnKind::kSpam));
  const std::string good = BytesOf(surroundings, kGoodWordList);
  ASSERT_TRUE(surroundings.directory.Remove(kBadWordList));
  ASSERT_TRUE(surroundings.directory.MakeFolder(kBadWordList));
  LearningBatch batch(program());
  batch.Count(Mail("cheap "), LearnKind::kSpam);
  EXPECT_FALSE(batch.Save());
  EXPECT_EQ(BytesOf(surroundings, kGoodWordList), good);
  ASSERT_TRUE(surroundings.directory.Remove(kBadWordList));
  EXPECT_TRUE(batch.Save());
  EXPECT_EQ(Saved(surroundings).bad.Count("cheap"), 1U);
}

TEST_F(LearningTest, FailsWhereNoDirectoryCanBeMade) {
  ASSERT_TRUE(surroundings.directory.Put("training", "a file"));
  EXPECT_FALSE(LearnMessage(program(), Mail("cheap "), LearnKind::kSpam));
  EXPECT_EQ(surroundings.directory.Get("training"), "a file");
}

TEST_F(LearningTest, AFullListRefusesNewWordsAndCountsKnownOnes) {
  ASSERT_TRUE(surroundings.Configure("TrainingAreaMaxMemory=1"));
  std::string body = "known ";
  for (int i = 1000; i < 2000; ++i) body += "word" + std::to_string(i) + " ";
  LearningBatch batch(program());
  batch.Count(Mail(body + "known known word1999 "), LearnKind::kSpam);
  // 512 bytes: "known" takes 10 and each other word 13.
  EXPECT_EQ(batch.refused(LearnKind::kSpam), 1000U - 38U + 1U);
  EXPECT_EQ(batch.refused(LearnKind::kGood), 0U);
  EXPECT_TRUE(batch.Save());
  EXPECT_EQ(Bad().words.size(), 39U);
  EXPECT_EQ(Bad()["known"], 3U);
  EXPECT_EQ(Bad().messages, 1U);
  EXPECT_TRUE(Learn("known unknown ", LearnKind::kSpam));
  EXPECT_EQ(Bad().words.size(), 39U);
  EXPECT_EQ(Bad()["known"], 4U);
  EXPECT_EQ(Bad().messages, 2U);
  EXPECT_TRUE(Learn("unknown ", LearnKind::kGood));
  EXPECT_EQ(Good()["unknown"], 1U);
}

TEST_F(LearningTest, TellsHowManyNewWordsAFullListRefused) {
  surroundings.Configure("TrainingAreaMaxMemory=1");  // 512 bytes for each list
  LearningBatch batch(program());
  for (int i = 0; i < 50; ++i) batch.Count(Mail("number" + std::to_string(100 + i) + " "), LearnKind::kSpam);
  EXPECT_EQ(batch.tables().bad.entries().size(), 36U);  // of 14 bytes each
  EXPECT_EQ(batch.refused(LearnKind::kSpam), 14U);
  EXPECT_EQ(batch.refused(LearnKind::kGood), 0U);
  batch.Count(Mail("number149 number149 number100"), LearnKind::kSpam, 2);
  EXPECT_EQ(batch.refused(LearnKind::kSpam), 18U);
  EXPECT_TRUE(batch.Save());
  EXPECT_EQ(batch.refused(LearnKind::kSpam), 18U);
  EXPECT_EQ(Saved(surroundings).bad.messages, 52U);
  EXPECT_EQ(Saved(surroundings).bad.Count("number100"), 3U);
}

TEST_F(LearningTest, OthersWordsCountAgainstTheBudgetToo) {
  ASSERT_TRUE(surroundings.Configure("TrainingAreaMaxMemory=1"));
  std::string mine;
  std::string theirs;
  for (int i = 1000; i < 1030; ++i) {
    mine += "mine" + std::to_string(i) + " ";
    theirs += "them" + std::to_string(i) + " ";
  }
  LearningBatch batch(program());
  batch.Count(Mail(mine), LearnKind::kSpam);
  EXPECT_TRUE(Learn(theirs, LearnKind::kSpam));
  EXPECT_TRUE(batch.Save());
  EXPECT_EQ(Bad().words.size(), 39U);  // 39 words of 13 bytes are 507
  EXPECT_EQ(Bad()["them1029"], 1U);
  EXPECT_EQ(Bad().messages, 2U);
}

TEST_F(LearningTest, CountsWordsOnForWhichSomebodyElseFoundRoom) {
  surroundings.Configure("TrainingAreaMaxMemory=1");  // 512 bytes for each list
  std::string filler;
  for (int i = 0; i < 40; ++i) filler += "word" + std::to_string(100 + i) + " ";  // 480 bytes
  ASSERT_TRUE(LearnMessage(program(), Mail(filler), LearnKind::kGood));
  LearningBatch batch(program());
  batch.Count(Mail("very long one alphabetic bravo bravo "), LearnKind::kGood);
  EXPECT_EQ(batch.tables().good.bytes_used(), 506U);
  EXPECT_EQ(batch.refused(LearnKind::kGood), 3U);
  ASSERT_TRUE(LearnMessage(program(), Mail("bravo "), LearnKind::kGood));
  ASSERT_TRUE(batch.Save());
  EXPECT_EQ(Saved(surroundings).good.Count("bravo"), 3U);
  EXPECT_EQ(Saved(surroundings).good.Count("very"), 1U);
  EXPECT_EQ(Saved(surroundings).good.Count("one"), 0U);
  EXPECT_EQ(batch.refused(LearnKind::kGood), 2U);
}

TEST_F(LearningTest, WithoutALimitEveryWordIsKept) {
  ASSERT_TRUE(surroundings.Configure("TrainingAreaMaxMemory=0"));
  std::string body;
  for (int i = 0; i < 200000; ++i) body += "w" + std::to_string(i) + "x ";
  LearningBatch batch(program());
  batch.Count(Mail(body), LearnKind::kGood);
  EXPECT_EQ(batch.refused(LearnKind::kGood), 0U);
  EXPECT_TRUE(batch.Save());
  EXPECT_EQ(Good().words.size(), 200000U);
}

TEST_F(LearningTest, HugeAndNegativeBudgetsAreNoTrap) {
  for (const char* const kilobytes : {"8388608", "2147483647", "-5"}) {
    ASSERT_TRUE(surroundings.Configure("TrainingAreaMaxMemory=" + std::string(kilobytes)));
    EXPECT_TRUE(Learn("alpha ", LearnKind::kGood));
  }
  EXPECT_EQ(Good(), (ListedWords{3, {{"alpha", 3}}}));
}

TEST_F(LearningTest, ADamagedListLearnsOnFromWhatCanBeRead) {
  const std::string whole = test::WordListBytes({5, {{"alpha", 2}, {"beta", 3}}});
  ASSERT_TRUE(surroundings.directory.Put(kGoodListFile, whole.substr(0, whole.size() - 3)));
  std::string lying = whole;
  for (std::size_t i = 4; i < 8; ++i) lying[i] = '\xFF';
  ASSERT_TRUE(surroundings.directory.Put(kBadListFile, lying));
  EXPECT_TRUE(Learn("alpha beta ", LearnKind::kGood));
  EXPECT_TRUE(Learn("alpha beta ", LearnKind::kSpam));
  EXPECT_EQ(Good(), (ListedWords{6, {{"alpha", 3}, {"beta", 1}}}));
  EXPECT_EQ(Bad(), (ListedWords{6, {{"alpha", 3}, {"beta", 4}}}));
  ASSERT_TRUE(surroundings.directory.Put(kGoodListFile, "short"));
  EXPECT_TRUE(Learn("alpha ", LearnKind::kGood));
  EXPECT_EQ(Good(), (ListedWords{1, {{"alpha", 1}}}));
}

TEST_F(LearningTest, CountsEndAtTheLargestNumber) {
  ASSERT_TRUE(PutList(kGoodListFile, {4294967295U, {{"alpha", 4294967294U}}}));
  EXPECT_TRUE(Learn("alpha alpha alpha ", LearnKind::kGood));
  EXPECT_EQ(Good(), (ListedWords{4294967295U, {{"alpha", 4294967295U}}}));
}

TEST_F(LearningTest, CountsEndAtTheLargestThatAFileCanHold) {
  {
    LearningBatch batch(program());
    batch.Count(Mail("cheap cheap pills"), LearnKind::kSpam, 0xFFFFFFFE);
    batch.Count(Mail("pills"), LearnKind::kSpam);
    ASSERT_TRUE(batch.Save());
  }
  EXPECT_EQ(Saved(surroundings).bad.Count("cheap"), 0xFFFFFFFFU);
  EXPECT_EQ(Saved(surroundings).bad.Count("pills"), 0xFFFFFFFFU);
  EXPECT_EQ(Saved(surroundings).bad.messages, 0xFFFFFFFFU);
  LearningBatch batch(program());
  batch.Count(Mail("pills new"), LearnKind::kSpam, 5);
  ASSERT_TRUE(LearnMessage(program(), Mail("other"), LearnKind::kSpam));
  ASSERT_TRUE(batch.Save());
  EXPECT_EQ(Saved(surroundings).bad.Count("pills"), 0xFFFFFFFFU);
  EXPECT_EQ(Saved(surroundings).bad.Count("new"), 5U);
  EXPECT_EQ(Saved(surroundings).bad.messages, 0xFFFFFFFFU);
}

TEST_F(LearningTest, ManyThreadsLoseNoCount) {
  constexpr std::uint32_t kThreads = 6;
  constexpr std::uint32_t kEach = 12;
  program();
  std::vector<std::thread> threads;
  for (std::uint32_t thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([this, thread] {
      LearningBatch batch(program());
      for (std::uint32_t i = 0; i < kEach; ++i) {
        const LearnKind kind = thread % 2 == 0 ? LearnKind::kGood : LearnKind::kSpam;
        EXPECT_TRUE(LearnMessage(program(), Mail("common t" + std::to_string(thread) + "x \r\n"), kind));
        batch.Count(Mail("common batch \r\n"), kind);
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
