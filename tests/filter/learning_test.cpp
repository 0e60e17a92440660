// SPDX-License-Identifier: MIT
// Teaching the word lists in batches: the same bytes as one step under the lock, and the sum of what several
// batches counted.

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

#include "support/full_disk.h"
#include "support/test_program.h"

namespace quillbeaker {
namespace {

using test::TestProgram;

constexpr std::array kLists = {kGoodWordList, kBadWordList};

struct Lesson {
  std::string text;
  LearnKind kind = LearnKind::kGood;
};

class Mail : public MailMessage {
 public:
  explicit Mail(std::string_view body, std::string_view subject = {}) {
    ParseText("Subject: " + std::string(subject) + "\r\n\r\n" + std::string(body) + "\r\n");
  }
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

std::string BytesOf(const TestProgram& program, std::string_view list) {
  return program.directory.Get(list).value_or("(missing)");
}

WordTables Saved(TestProgram& program) {
  WordTables tables;
  tables.Load(program.program(), false);
  return tables;
}

// Old enough that its state tells it from every later one.
void LetListsGrowOld() {
  std::this_thread::sleep_for(std::chrono::milliseconds(80));
}

TEST(LearningBatch, CountsOccurrencesIntoTheListOfTheKind) {
  TestProgram program;
  LearningBatch batch(program.program());
  batch.Count(Mail("cheap pills cheap cheap"), LearnKind::kSpam);
  batch.Count(Mail("hello friend", "good day, ann"), LearnKind::kGood);
  ASSERT_TRUE(batch.Save());
  const WordTables saved = Saved(program);
  EXPECT_EQ(saved.bad.messages, 1U);
  EXPECT_EQ(saved.bad.Count("cheap"), 3U);
  EXPECT_EQ(saved.bad.Count("pills"), 1U);
  EXPECT_EQ(saved.bad.Count("hello"), 0U);
  EXPECT_EQ(saved.good.messages, 1U);
  EXPECT_EQ(saved.good.Count("hello"), 1U);
  EXPECT_EQ(saved.good.Count("day"), 1U);
  EXPECT_EQ(saved.good.Count("ann"), 0U);  // at the end of the Subject: no delimiter behind it
  EXPECT_EQ(saved.good.Count("cheap"), 0U);
}

TEST(LearningBatch, CountsAMessageSeveralTimes) {
  TestProgram program;
  LearningBatch batch(program.program());
  batch.Count(Mail("cheap pills cheap"), LearnKind::kSpam, 3);
  batch.Count(Mail("never counted"), LearnKind::kSpam, 0);
  ASSERT_TRUE(batch.Save());
  const WordTables saved = Saved(program);
  EXPECT_EQ(saved.bad.messages, 3U);
  EXPECT_EQ(saved.bad.Count("cheap"), 6U);
  EXPECT_EQ(saved.bad.Count("pills"), 3U);
  EXPECT_EQ(saved.bad.Count("never"), 0U);
}

TEST(LearningBatch, TouchesNoFileWithNothingCounted) {
  TestProgram program;
  LearningBatch batch(program.program());
  EXPECT_TRUE(batch.empty());
  EXPECT_TRUE(batch.Save());
  batch.Count(Mail("cheap"), LearnKind::kSpam, 0);
  EXPECT_TRUE(batch.Save());
  EXPECT_TRUE(program.directory.Names().empty());
}

TEST(LearningBatch, SavesBothListsWhicheverWasCountedInto) {
  TestProgram program;
  EXPECT_TRUE(LearnMessage(program.program(), Mail("cheap pills"), LearnKind::kSpam));
  EXPECT_EQ(BytesOf(program, kGoodWordList), std::string("\x01\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0", 16));
  EXPECT_EQ(BytesOf(program, kBadWordList), std::string("\x01\0\0\0\x02\0\0\0\x01\0\0\0\0\0\0\0", 16) +
                                                std::string("\x05pills\x01\0\0\0", 10) +
                                                std::string("\x05"
                                                            "cheap\x01\0\0\0",
                                                            10));
}

TEST(LearningBatch, AMessageWithoutWordsIsCountedAsAMessage) {
  TestProgram program;
  EXPECT_TRUE(LearnMessage(program.program(), Mail(""), LearnKind::kGood));
  EXPECT_TRUE(LearnMessage(program.program(), MailMessage(), LearnKind::kGood));
  EXPECT_EQ(Saved(program).good.messages, 2U);
}

TEST(LearningBatch, ShowsTheListsWithWhatItCounted) {
  TestProgram program;
  ASSERT_TRUE(LearnMessage(program.program(), Mail("cheap pills"), LearnKind::kSpam));
  LearningBatch batch(program.program());
  batch.Count(Mail("cheap offer"), LearnKind::kSpam, 2);
  EXPECT_EQ(batch.tables().bad.messages, 3U);
  EXPECT_EQ(batch.tables().bad.Count("cheap"), 3U);
  EXPECT_EQ(batch.tables().bad.Count("offer"), 2U);
  EXPECT_EQ(Saved(program).bad.Count("offer"), 0U);
}

TEST(LearningBatch, CountsEndAtTheLargestThatAFileCanHold) {
  TestProgram program;
  {
    LearningBatch batch(program.program());
    batch.Count(Mail("cheap cheap pills"), LearnKind::kSpam, 0xFFFFFFFE);
    batch.Count(Mail("pills"), LearnKind::kSpam);
    ASSERT_TRUE(batch.Save());
  }
  EXPECT_EQ(Saved(program).bad.Count("cheap"), 0xFFFFFFFFU);
  EXPECT_EQ(Saved(program).bad.Count("pills"), 0xFFFFFFFFU);
  EXPECT_EQ(Saved(program).bad.messages, 0xFFFFFFFFU);
  LearningBatch batch(program.program());
  batch.Count(Mail("pills new"), LearnKind::kSpam, 5);
  ASSERT_TRUE(LearnMessage(program.program(), Mail("other"), LearnKind::kSpam));
  ASSERT_TRUE(batch.Save());
  EXPECT_EQ(Saved(program).bad.Count("pills"), 0xFFFFFFFFU);
  EXPECT_EQ(Saved(program).bad.Count("new"), 5U);
  EXPECT_EQ(Saved(program).bad.messages, 0xFFFFFFFFU);
}

TEST(LearningBatch, TellsHowManyNewWordsAFullListRefused) {
  TestProgram program;
  program.Configure("TrainingAreaMaxMemory=1");  // 512 bytes for each list
  LearningBatch batch(program.program());
  for (int i = 0; i < 50; ++i) batch.Count(Mail("number" + std::to_string(100 + i) + " "), LearnKind::kSpam);
  EXPECT_EQ(batch.tables().bad.entries().size(), 36U);  // of 14 bytes each
  EXPECT_EQ(batch.refused(LearnKind::kSpam), 14U);
  EXPECT_EQ(batch.refused(LearnKind::kGood), 0U);
  batch.Count(Mail("number149 number149 number100"), LearnKind::kSpam, 2);
  EXPECT_EQ(batch.refused(LearnKind::kSpam), 18U);
  EXPECT_TRUE(batch.Save());
  EXPECT_EQ(batch.refused(LearnKind::kSpam), 18U);
  EXPECT_EQ(Saved(program).bad.messages, 52U);
  EXPECT_EQ(Saved(program).bad.Count("number100"), 3U);
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

INSTANTIATE_TEST_SUITE_P(LearningBatch, EqualToTheByte,
                         testing::Values("TrainingAreaMaxMemory=0", "TrainingAreaMaxMemory=1",
                                         "TrainingAreaMaxMemory=3", "TrainingAreaMaxMemory=2048"));

TEST(LearningBatch, TwoBatchesMakeTheSumOfBoth) {
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

TEST(LearningBatch, CountsWordsOnForWhichSomebodyElseFoundRoom) {
  TestProgram program;
  program.Configure("TrainingAreaMaxMemory=1");  // 512 bytes for each list
  std::string filler;
  for (int i = 0; i < 40; ++i) filler += "word" + std::to_string(100 + i) + " ";  // 480 bytes
  ASSERT_TRUE(LearnMessage(program.program(), Mail(filler), LearnKind::kGood));
  LearningBatch batch(program.program());
  batch.Count(Mail("very long one alphabetic bravo bravo "), LearnKind::kGood);
  EXPECT_EQ(batch.tables().good.bytes_used(), 506U);
  EXPECT_EQ(batch.refused(LearnKind::kGood), 3U);
  ASSERT_TRUE(LearnMessage(program.program(), Mail("bravo "), LearnKind::kGood));
  ASSERT_TRUE(batch.Save());
  EXPECT_EQ(Saved(program).good.Count("bravo"), 3U);
  EXPECT_EQ(Saved(program).good.Count("very"), 1U);
  EXPECT_EQ(Saved(program).good.Count("one"), 0U);
  EXPECT_EQ(batch.refused(LearnKind::kGood), 2U);
}

TEST(LearningBatch, IsNotMisledByListsThatStartAfresh) {
  TestProgram program;
  ASSERT_TRUE(LearnMessage(program.program(), Mail("cheap pills"), LearnKind::kSpam));
  LearningBatch batch(program.program());
  batch.Count(Mail("cheap offer"), LearnKind::kSpam);
  for (const std::string_view list : kLists) ASSERT_TRUE(program.directory.Remove(list));
  ASSERT_TRUE(batch.Save());
  EXPECT_EQ(Saved(program).bad.messages, 1U);
  EXPECT_EQ(Saved(program).bad.Count("cheap"), 1U);
  EXPECT_EQ(Saved(program).bad.Count("pills"), 0U);
}

TEST(LearningBatch, KeepsItsCountsWhenOneListCannotBeWritten) {
  TestProgram program;
  ASSERT_TRUE(LearnMessage(program.program(), Mail("cheap pills"), LearnKind::kSpam));
  for (const std::string_view list : kLists) {
    const WordTables before = Saved(program);
    LearningBatch batch(program.program());
    batch.Count(Mail("cheap offer"), LearnKind::kSpam);
    batch.Count(Mail("kind words "), LearnKind::kGood);
    program.directory.SetReadOnly(list, true);
    EXPECT_FALSE(batch.Save());
    EXPECT_FALSE(batch.empty());
    batch.Count(Mail("later "), LearnKind::kGood);
    EXPECT_FALSE(batch.Save());
    program.directory.SetReadOnly(list, false);
    EXPECT_TRUE(batch.Save());
    EXPECT_TRUE(batch.empty());
    const WordTables after = Saved(program);
    EXPECT_EQ(after.bad.messages, before.bad.messages + 1);
    EXPECT_EQ(after.bad.Count("cheap"), before.bad.Count("cheap") + 1);
    EXPECT_EQ(after.good.messages, before.good.messages + 2);
    EXPECT_EQ(after.good.Count("kind"), before.good.Count("kind") + 1);
    EXPECT_EQ(after.good.Count("later"), before.good.Count("later") + 1);
  }
}

TEST(LearningBatch, LeavesTheListsAloneOnAFullDisk) {
  TestProgram program;
  ASSERT_TRUE(LearnMessage(program.program(), Mail("cheap pills"), LearnKind::kSpam));
  const std::string good = BytesOf(program, kGoodWordList);
  const std::string bad = BytesOf(program, kBadWordList);
  LearningBatch batch(program.program());
  batch.Count(Mail("many more words than the disk has room for "), LearnKind::kSpam);
  bool saved = true;
  {
    const test::FullDisk full(20);
    if (!full.active()) GTEST_SKIP() << "no such limit here";
    saved = batch.Save();
  }
  EXPECT_FALSE(saved);
  EXPECT_EQ(BytesOf(program, kGoodWordList), good);
  EXPECT_EQ(BytesOf(program, kBadWordList), bad);
  EXPECT_TRUE(batch.Save());
  EXPECT_EQ(Saved(program).bad.messages, 2U);
}

TEST(LearningBatch, DoesNotWriteOverAListThatItCannotRead) {
  TestProgram program;
  ASSERT_TRUE(LearnMessage(program.program(), Mail("cheap pills"), LearnKind::kSpam));
  const std::string good = BytesOf(program, kGoodWordList);
  ASSERT_TRUE(program.directory.Remove(kBadWordList));
  ASSERT_TRUE(program.directory.MakeFolder(kBadWordList));
  LearningBatch batch(program.program());
  batch.Count(Mail("cheap "), LearnKind::kSpam);
  EXPECT_FALSE(batch.Save());
  EXPECT_EQ(BytesOf(program, kGoodWordList), good);
  ASSERT_TRUE(program.directory.Remove(kBadWordList));
  EXPECT_TRUE(batch.Save());
  EXPECT_EQ(Saved(program).bad.Count("cheap"), 1U);
}

TEST(LearningBatch, FailsWhereNoDirectoryCanBeMade) {
  TestProgram program;
  ASSERT_TRUE(program.directory.Put("training", "a file"));
  EXPECT_FALSE(LearnMessage(program.program(), Mail("cheap "), LearnKind::kSpam));
  EXPECT_EQ(program.directory.Get("training"), "a file");
}

TEST(LearningBatch, ThreadsLoseNoCount) {
  TestProgram program;
  program.program();
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&program, t] {
      for (int i = 0; i < 25; ++i) {
        LearnMessage(program.program(), Mail("common own" + std::to_string(t) + " "),
                     i % 5 == 0 ? LearnKind::kGood : LearnKind::kSpam);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  const WordTables saved = Saved(program);
  EXPECT_EQ(saved.good.messages, 20U);
  EXPECT_EQ(saved.bad.messages, 80U);
  EXPECT_EQ(saved.bad.Count("common"), 80U);
  EXPECT_EQ(saved.bad.Count("own3"), 20U);
}

}  // namespace
}  // namespace quillbeaker
