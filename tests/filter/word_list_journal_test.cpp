// SPDX-License-Identifier: MIT

#include "filter/word_list_journal.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "filter/learning.h"
#include "filter/word_tables.h"
#include "support/learn_message.h"
#include "support/test_program.h"
#include "support/word_list_text.h"

namespace quillbeaker {
namespace {

using test::AppendLittle32;
using test::kBadListFile;
using test::kGoodListFile;
using test::ListedWords;
using test::WordListBytes;

constexpr char kJournalFile[] = "training/wordlist.journal";

std::uint32_t Crc(std::string_view bytes) {
  return static_cast<std::uint32_t>(crc32_z(0, reinterpret_cast<const Bytef*>(bytes.data()), bytes.size()));
}

// The journal of a save that makes the good list `good` and the bad one `bad`, as the file's format has it.
std::string JournalOf(std::string_view good, const std::optional<std::string>& former_bad,
                      std::string_view bad) {
  std::string rest;
  AppendLittle32(rest, 1);
  AppendLittle32(rest, static_cast<std::uint32_t>(good.size()));
  AppendLittle32(rest, Crc(good));
  AppendLittle32(rest, former_bad ? static_cast<std::uint32_t>(former_bad->size()) : 0xFFFFFFFFU);
  AppendLittle32(rest, former_bad ? Crc(*former_bad) : 0);
  rest += bad;
  std::string bytes;
  AppendLittle32(bytes, Crc(rest));
  return bytes + rest;
}

class WordListJournalTest : public testing::Test {
 protected:
  Program& program() { return surroundings.program(); }
  [[nodiscard]] bool Put(const char* file, std::string_view bytes) {
    return surroundings.directory.Put(file, bytes);
  }
  std::optional<std::string> Get(const char* file) const { return surroundings.directory.Get(file); }
  // A crash between the two lists.
  [[nodiscard]] bool PutHalfSaved(std::string_view journal) {
    return Put(kGoodListFile, new_good) && Put(kBadListFile, old_bad) && Put(kJournalFile, journal);
  }

  test::TestProgram surroundings;
  const std::string old_good = WordListBytes({1, {{"old", 1}}});
  const std::string new_good = WordListBytes({2, {{"old", 1}, {"new", 1}}});
  const std::string old_bad = WordListBytes({5, {{"old", 5}}});
  const std::string new_bad = WordListBytes({6, {{"old", 5}, {"new", 1}}});
};

TEST_F(WordListJournalTest, ASaveThatIsDoneLeavesNoJournal) {
  ASSERT_TRUE(Put(kGoodListFile, old_good));
  EXPECT_TRUE(SaveBothWordLists(program(), new_good, new_bad));
  EXPECT_EQ(Get(kGoodListFile), new_good);
  EXPECT_EQ(Get(kBadListFile), new_bad);
  EXPECT_FALSE(surroundings.directory.Has(kJournalFile));
}

TEST_F(WordListJournalTest, TheNextLoadFinishesWhatWasHalfSaved) {
  ASSERT_TRUE(PutHalfSaved(JournalOf(new_good, old_bad, new_bad)));
  WordTables tables;
  EXPECT_TRUE(tables.Load(program(), false));
  EXPECT_EQ(tables.good.messages, 2U);
  EXPECT_EQ(tables.bad.messages, 6U);
  EXPECT_EQ(Get(kGoodListFile), new_good);
  EXPECT_EQ(Get(kBadListFile), new_bad);
  EXPECT_FALSE(surroundings.directory.Has(kJournalFile));
}

TEST_F(WordListJournalTest, TheNextLearningFinishesWhatWasHalfSaved) {
  // Loaded before the crash of somebody else, saved after it.
  ASSERT_TRUE(Put(kGoodListFile, old_good) && Put(kBadListFile, old_bad));
  LearningBatch batch(program());
  MailMessage message;
  message.ParseText("Subject:\r\n\r\nmine \r\n");
  batch.Count(message, LearnKind::kSpam);
  ASSERT_TRUE(PutHalfSaved(JournalOf(new_good, old_bad, new_bad)));
  EXPECT_TRUE(batch.Save());
  EXPECT_EQ(test::ListIn(surroundings.directory, kGoodListFile), (ListedWords{2, {{"old", 1}, {"new", 1}}}));
  EXPECT_EQ(test::ListIn(surroundings.directory, kBadListFile),
            (ListedWords{7, {{"old", 5}, {"new", 1}, {"mine", 1}}}));
  EXPECT_FALSE(surroundings.directory.Has(kJournalFile));
}

TEST_F(WordListJournalTest, AListThatWasMissingBeforeIsMade) {
  ASSERT_TRUE(Put(kGoodListFile, new_good));
  ASSERT_TRUE(Put(kJournalFile, JournalOf(new_good, std::nullopt, new_bad)));
  EXPECT_TRUE(RecoverWordLists(program()));
  EXPECT_EQ(Get(kBadListFile), new_bad);
}

TEST_F(WordListJournalTest, AJournalWhoseFirstListIsTheOldOneChangesNothing) {
  ASSERT_TRUE(Put(kGoodListFile, old_good) && Put(kBadListFile, old_bad));
  ASSERT_TRUE(Put(kJournalFile, JournalOf(new_good, old_bad, new_bad)));
  EXPECT_TRUE(RecoverWordLists(program()));
  EXPECT_EQ(Get(kGoodListFile), old_good);
  EXPECT_EQ(Get(kBadListFile), old_bad);
  EXPECT_FALSE(surroundings.directory.Has(kJournalFile));
}

TEST_F(WordListJournalTest, AListThatSomebodyReplacedMeanwhileStays) {
  const std::string others = WordListBytes({9, {{"others", 9}}});
  ASSERT_TRUE(PutHalfSaved(JournalOf(new_good, old_bad, new_bad)));
  ASSERT_TRUE(Put(kBadListFile, others));
  EXPECT_TRUE(RecoverWordLists(program()));
  EXPECT_EQ(Get(kBadListFile), others);
  EXPECT_FALSE(surroundings.directory.Has(kJournalFile));
}

TEST_F(WordListJournalTest, ATornJournalIsIgnored) {
  const std::string whole = JournalOf(new_good, old_bad, new_bad);
  for (std::size_t size = 0; size < whole.size(); ++size) {
    ASSERT_TRUE(PutHalfSaved(whole.substr(0, size)));
    EXPECT_TRUE(RecoverWordLists(program()));
    ASSERT_EQ(Get(kGoodListFile), new_good);
    ASSERT_EQ(Get(kBadListFile), old_bad) << size << " bytes";
    ASSERT_FALSE(surroundings.directory.Has(kJournalFile));
  }
}

TEST_F(WordListJournalTest, ADamagedJournalIsIgnored) {
  const std::string whole = JournalOf(new_good, old_bad, new_bad);
  for (std::size_t at = 0; at < whole.size(); ++at) {
    std::string damaged = whole;
    damaged[at] = static_cast<char>(damaged[at] ^ 0x10);
    ASSERT_TRUE(PutHalfSaved(damaged));
    EXPECT_TRUE(RecoverWordLists(program()));
    ASSERT_EQ(Get(kBadListFile), old_bad) << "byte " << at;
    ASSERT_FALSE(surroundings.directory.Has(kJournalFile));
  }
}

TEST_F(WordListJournalTest, WhatCanNotBeFinishedNowIsFinishedLater) {
  ASSERT_TRUE(PutHalfSaved(JournalOf(new_good, old_bad, new_bad)));
  surroundings.directory.SetReadOnly(kBadListFile, true);
  EXPECT_FALSE(RecoverWordLists(program()));
  EXPECT_TRUE(surroundings.directory.Has(kJournalFile));
  MailMessage message;
  message.ParseText("Subject:\r\n\r\nmine \r\n");
  EXPECT_FALSE(LearnMessage(program(), message, LearnKind::kGood));
  surroundings.directory.SetReadOnly(kBadListFile, false);
  EXPECT_TRUE(LearnMessage(program(), message, LearnKind::kGood));
  EXPECT_EQ(Get(kBadListFile), new_bad);
  EXPECT_EQ(test::ListIn(surroundings.directory, kGoodListFile).messages, 3U);
}

TEST_F(WordListJournalTest, AListThatCanNotBeWrittenLeavesBothOldOnes) {
  for (const char* const refused : {kGoodListFile, kBadListFile}) {
    ASSERT_TRUE(Put(kGoodListFile, old_good) && Put(kBadListFile, old_bad));
    surroundings.directory.SetReadOnly(refused, true);
    EXPECT_FALSE(SaveBothWordLists(program(), new_good, new_bad)) << refused;
    surroundings.directory.SetReadOnly(refused, false);
    EXPECT_EQ(Get(kGoodListFile), old_good) << refused;
    EXPECT_EQ(Get(kBadListFile), old_bad) << refused;
    EXPECT_FALSE(surroundings.directory.Has(kJournalFile)) << refused;
  }
}

}  // namespace
}  // namespace quillbeaker
