// SPDX-License-Identifier: MIT
// The table of counted words: hashing, growth, budget, and the word list file byte for byte.

#include "filter/word_count_table.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "support/test_program.h"

namespace quillbeaker {
namespace {

std::string Number(std::uint32_t value) {
  std::string bytes;
  for (int shift = 0; shift < 32; shift += 8) bytes.push_back(static_cast<char>((value >> shift) & 0xFF));
  return bytes;
}

std::string Header(std::uint32_t records, std::uint32_t messages, std::uint32_t version = 1,
                   std::uint32_t reserved = 0) {
  return Number(version) + Number(records) + Number(messages) + Number(reserved);
}

std::string Record(std::string_view word, std::uint32_t count) {
  return std::string(1, static_cast<char>(word.size())) + std::string(word) + Number(count);
}

// "word000", "word001", ...
std::string NumberedWord(int number) {
  std::string digits = std::to_string(number);
  return "word" + std::string(3 - digits.size(), '0') + digits;
}

class WordListFile : public testing::Test {
 protected:
  void Load(WordCountTable& table, std::string_view bytes) {
    ASSERT_TRUE(directory_.Put("words", bytes));
    table.Load(directory_.PathOf("words"));
  }

  test::TestDirectory directory_;
};

TEST(WordCountTable, HashesAsTheFormatSays) {
  EXPECT_EQ(WordCountTable::Hash("cheap"), 1565180207u);
  EXPECT_EQ(WordCountTable::Hash("pills"), 38786106u);
  EXPECT_EQ(WordCountTable::Hash("money"), 1319680256u);
  EXPECT_EQ(WordCountTable::Hash("free"), 3258920140u);
  EXPECT_EQ(WordCountTable::Hash(""), 0u);
}

TEST(WordCountTable, HashesBytesAsUnsigned) {
  EXPECT_EQ(WordCountTable::Hash("\xE4"), 228u);
  EXPECT_EQ(WordCountTable::Hash("\xE4\xFF"), 14956827u);  // 228 * 65599 + 255
}

TEST(WordCountTable, IsEmptyAndWithoutSlotsWhenMade) {
  const WordCountTable table;
  EXPECT_EQ(table.slot_count(), 0u);
  EXPECT_EQ(table.bytes_used(), 0u);
  EXPECT_EQ(table.messages, 0u);
  EXPECT_EQ(table.byte_budget, 0u);
  EXPECT_EQ(table.Count("word"), 0u);
  EXPECT_TRUE(table.entries().empty());
}

TEST(WordCountTable, CountsWordsUp) {
  WordCountTable table;
  EXPECT_TRUE(table.Add("cheap"));
  EXPECT_TRUE(table.Add("pills"));
  EXPECT_TRUE(table.Add("cheap"));
  EXPECT_EQ(table.Count("cheap"), 2u);
  EXPECT_EQ(table.Count("pills"), 1u);
  EXPECT_EQ(table.Count("pill"), 0u);
  EXPECT_EQ(table.Count(Word("cheap")), 2u);
  EXPECT_EQ(table.bytes_used(), 20u);
  ASSERT_EQ(table.entries().size(), 2u);
  EXPECT_EQ(table.entries()[0].word(), "cheap");
  EXPECT_EQ(table.entries()[1].word(), "pills");
  EXPECT_EQ(table.entries()[1].count, 1u);
}

TEST(WordCountTable, ComparesWordsExactly) {
  WordCountTable table;
  table.Add("Cheap");
  EXPECT_EQ(table.Count("cheap"), 0u);
  table.Add("\xE4pfel");
  EXPECT_EQ(table.Count("\xE4pfel"), 1u);
  EXPECT_EQ(table.Count("\xC4pfel"), 0u);
}

TEST(WordCountTable, CutsWordsToTwentyBytesBeforeItLooksThemUp) {
  WordCountTable table;
  EXPECT_TRUE(table.Add("abcdefghijklmnopqrstuvwxy"));
  EXPECT_TRUE(table.Add("abcdefghijklmnopqrstUVWXY"));
  EXPECT_TRUE(table.Add("abcdefghijklmnopqrst"));
  ASSERT_EQ(table.entries().size(), 1u);
  EXPECT_EQ(table.entries()[0].word(), "abcdefghijklmnopqrst");
  EXPECT_EQ(table.Count("abcdefghijklmnopqrst"), 3u);
  EXPECT_EQ(table.bytes_used(), 25u);
}

TEST(WordCountTable, GrowsWhenThreeQuartersAreFull) {
  WordCountTable table;
  for (int i = 0; i < 12; ++i) table.Add(NumberedWord(i));
  EXPECT_EQ(table.slot_count(), 16u);
  table.Add(NumberedWord(0));
  EXPECT_EQ(table.slot_count(), 16u);
  table.Add(NumberedWord(12));
  EXPECT_EQ(table.slot_count(), 32u);
  for (int i = 13; i < 24; ++i) table.Add(NumberedWord(i));
  EXPECT_EQ(table.slot_count(), 32u);
  table.Add(NumberedWord(24));
  EXPECT_EQ(table.slot_count(), 64u);
  for (int i = 0; i < 25; ++i) EXPECT_EQ(table.Count(NumberedWord(i)), i == 0 ? 2u : 1u) << i;
}

TEST(WordCountTable, TheBudgetRefusesNewWordsAndCountsKnownOnes) {
  WordCountTable table;
  table.byte_budget = 20;
  EXPECT_TRUE(table.Add("cheap"));
  EXPECT_TRUE(table.Add("pills"));  // exactly full
  EXPECT_FALSE(table.Add("abc"));
  EXPECT_EQ(table.Count("abc"), 0u);
  EXPECT_TRUE(table.Add("cheap"));
  EXPECT_EQ(table.Count("cheap"), 2u);
  EXPECT_EQ(table.bytes_used(), 20u);
  EXPECT_EQ(table.entries().size(), 2u);
}

TEST(WordCountTable, AShorterWordMayStillFitWhereALongerDidNot) {
  WordCountTable table;
  table.byte_budget = 19;
  EXPECT_TRUE(table.Add("cheap"));
  EXPECT_FALSE(table.Add("pills"));
  EXPECT_TRUE(table.Add("pill"));
  EXPECT_EQ(table.bytes_used(), 19u);
}

TEST(WordCountTable, NeverUsesMoreThanItsBudget) {
  WordCountTable table;
  table.byte_budget = 512;
  int added = 0;
  for (int i = 0; i < 1000; ++i) added += table.Add(NumberedWord(i)) ? 1 : 0;
  EXPECT_EQ(added, 42);  // 42 * 12 = 504
  EXPECT_EQ(table.bytes_used(), 504u);
}

TEST(WordCountTable, BudgetZeroIsNoLimit) {
  WordCountTable table;
  for (int i = 0; i < 1000; ++i) EXPECT_TRUE(table.Add(NumberedWord(i)));
  EXPECT_EQ(table.bytes_used(), 12'000u);
}

TEST(WordCountTable, ClearKeepsTheBudgetAlone) {
  WordCountTable table;
  table.byte_budget = 20;
  table.messages = 3;
  table.Add("cheap");
  table.Add("pills");
  table.Clear();
  EXPECT_EQ(table.Count("cheap"), 0u);
  EXPECT_TRUE(table.entries().empty());
  EXPECT_EQ(table.bytes_used(), 0u);
  EXPECT_EQ(table.messages, 0u);
  EXPECT_EQ(table.byte_budget, 20u);
  EXPECT_TRUE(table.Add("money"));
  EXPECT_EQ(table.Count("money"), 1u);
}

TEST(WordCountTable, WritesTheFilesBytesInSlotOrder) {
  WordCountTable table;
  table.messages = 3;
  table.Add("cheap");  // home 15 of 16
  table.Add("pills");  // home 10
  table.Add("cheap");
  EXPECT_EQ(table.Serialise(), std::string("\x01\0\0\0\x02\0\0\0\x03\0\0\0\0\0\0\0", 16) +
                                   std::string("\x05pills\x01\0\0\0", 10) +
                                   std::string("\x05"
                                               "cheap\x02\0\0\0",
                                               10));
}

TEST(WordCountTable, ProbesOnwardsByTheWordsOwnStep) {
  WordCountTable table;
  table.Add("money");  // home 0
  table.Add("loan");   // home 0, step 11: slot 11
  table.Add("prize");  // home 2
  table.Add("hello");  // home 2, step 3: slot 5
  table.Add("free");   // home 12
  table.Add("win");    // home 12, step 5: slot 17 % 16 = 1
  table.Add("drug");   // home 0, step 13: slot 13
  EXPECT_EQ(table.Serialise(), Header(7, 0) + Record("money", 1) + Record("win", 1) + Record("prize", 1) +
                                   Record("hello", 1) + Record("loan", 1) + Record("free", 1) +
                                   Record("drug", 1));
}

TEST(WordCountTable, TheLaterOfTwoWordsWithOneHomeStepsAside) {
  WordCountTable table;
  table.Add("win");   // home 12
  table.Add("free");  // home 12, step 11: slot 23 % 16 = 7
  table.Add("bank");  // home 12, step 3: slot 15
  EXPECT_EQ(table.Serialise(), Header(3, 0) + Record("free", 1) + Record("win", 1) + Record("bank", 1));
}

TEST(WordCountTable, AnEmptyTableIsAHeaderAlone) {
  WordCountTable table;
  table.messages = 7;
  EXPECT_EQ(table.Serialise(), Header(0, 7));
}

TEST(WordCountTable, SaveWithoutFileNameFails) {
  WordCountTable table;
  table.Add("cheap");
  EXPECT_FALSE(table.Save());
}

TEST_F(WordListFile, LoadsRecordsAndMessages) {
  WordCountTable table;
  Load(table, Header(2, 3) + Record("pills", 1) + Record("cheap", 4'000'000'000u));
  EXPECT_EQ(table.messages, 3u);
  EXPECT_EQ(table.Count("pills"), 1u);
  EXPECT_EQ(table.Count("cheap"), 4'000'000'000u);
  EXPECT_EQ(table.bytes_used(), 20u);
  EXPECT_EQ(table.slot_count(), 16u);
}

TEST_F(WordListFile, IgnoresVersionAndReservedFieldAndWritesItsOwn) {
  WordCountTable table;
  Load(table, Header(1, 2, 99, 77) + Record("pills", 5));
  EXPECT_EQ(table.Count("pills"), 5u);
  ASSERT_TRUE(table.Save());
  EXPECT_EQ(directory_.Get("words"), Header(1, 2) + Record("pills", 5));
}

TEST_F(WordListFile, RecordsMayStandInAnyOrder) {
  WordCountTable table;
  Load(table, Header(2, 0) + Record("cheap", 2) + Record("pills", 1));
  EXPECT_EQ(table.Serialise(), Header(2, 0) + Record("pills", 1) + Record("cheap", 2));
}

TEST_F(WordListFile, AMissingFileIsAnEmptyTableThatCanBeSaved) {
  WordCountTable table;
  table.Load(directory_.PathOf("new"));
  EXPECT_TRUE(table.entries().empty());
  EXPECT_EQ(table.messages, 0u);
  table.Add("pills");
  table.messages = 1;
  EXPECT_TRUE(table.Save());
  EXPECT_EQ(directory_.Get("new"), Header(1, 1) + Record("pills", 1));
}

TEST_F(WordListFile, SaveIntoAMissingFolderFails) {
  WordCountTable table;
  table.Load(directory_.PathOf("missing/words"));
  table.Add("pills");
  EXPECT_FALSE(table.Save());
  EXPECT_FALSE(directory_.Has("missing"));
}

TEST_F(WordListFile, SlotsAreThePowerOfTwoThatHoldsTheRecords) {
  WordCountTable none;
  Load(none, Header(0, 0));
  EXPECT_EQ(none.slot_count(), 16u);

  std::string records;
  for (int i = 0; i < 12; ++i) records += Record(NumberedWord(i), 1);
  WordCountTable twelve;
  Load(twelve, Header(12, 0) + records);
  EXPECT_EQ(twelve.slot_count(), 16u);

  // The thirteenth word makes a table of 16 slots grow while it is read.
  records += Record(NumberedWord(12), 1);
  WordCountTable thirteen;
  Load(thirteen, Header(13, 0) + records);
  EXPECT_EQ(thirteen.slot_count(), 32u);

  for (int i = 13; i < 17; ++i) records += Record(NumberedWord(i), 1);
  WordCountTable seventeen;
  Load(seventeen, Header(17, 0) + records);
  EXPECT_EQ(seventeen.slot_count(), 32u);
  EXPECT_EQ(seventeen.entries().size(), 17u);
}

TEST_F(WordListFile, ADamagedRecordCountLoadsWhatIsThere) {
  WordCountTable table;
  Load(table, Header(0xFFFFFFFF, 9) + Record("pills", 1) + Record("cheap", 2));
  EXPECT_EQ(table.entries().size(), 2u);
  EXPECT_EQ(table.Count("cheap"), 2u);
  EXPECT_EQ(table.messages, 9u);
  EXPECT_LE(table.slot_count(), 32u);
}

TEST_F(WordListFile, ReadsNoMoreRecordsThanTheHeaderSays) {
  WordCountTable table;
  Load(table, Header(1, 0) + Record("pills", 1) + Record("cheap", 2));
  EXPECT_EQ(table.Count("pills"), 1u);
  EXPECT_EQ(table.Count("cheap"), 0u);
}

TEST_F(WordListFile, StopsAtTheFirstShortRecord) {
  const std::string bytes = Header(2, 1) + Record("pills", 1) + Record("cheap", 2);
  for (std::size_t cut = 1; cut <= 10; ++cut) {
    WordCountTable table;
    Load(table, std::string_view(bytes).substr(0, bytes.size() - cut));
    EXPECT_EQ(table.entries().size(), 1u) << cut;
    EXPECT_EQ(table.Count("pills"), 1u) << cut;
  }
}

TEST_F(WordListFile, AFileShorterThanItsHeaderIsAnEmptyTable) {
  const std::string bytes = Header(1, 5) + Record("pills", 1);
  for (std::size_t size : {0u, 1u, 8u, 15u}) {
    WordCountTable table;
    Load(table, std::string_view(bytes).substr(0, size));
    EXPECT_TRUE(table.entries().empty()) << size;
    EXPECT_EQ(table.messages, 0u) << size;
  }
}

TEST_F(WordListFile, TheFirstWordThatTheBudgetRefusesEndsTheReading) {
  WordCountTable table;
  table.byte_budget = 19;
  Load(table, Header(3, 4) + Record("pills", 1) + Record("cheap", 2) + Record("abc", 3));
  EXPECT_EQ(table.Count("pills"), 1u);
  EXPECT_EQ(table.Count("cheap"), 0u);
  EXPECT_EQ(table.Count("abc"), 0u);
  EXPECT_EQ(table.messages, 4u);
}

TEST_F(WordListFile, AWordThatStandsTwiceHasTheLaterCount) {
  WordCountTable table;
  Load(table, Header(2, 0) + Record("pills", 7) + Record("pills", 3));
  EXPECT_EQ(table.entries().size(), 1u);
  EXPECT_EQ(table.Count("pills"), 3u);
}

TEST_F(WordListFile, AnOverlongWordOfAFileIsCut) {
  WordCountTable table;
  Load(table, Header(2, 0) + Record(std::string(255, 'x'), 7) + Record("pills", 3));
  EXPECT_EQ(table.Count(std::string(20, 'x')), 7u);
  EXPECT_EQ(table.Count("pills"), 3u);
  EXPECT_EQ(table.bytes_used(), 35u);
}

TEST_F(WordListFile, LoadReplacesWhatTheTableHeld) {
  WordCountTable table;
  table.Add("older");
  table.messages = 9;
  Load(table, Header(1, 2) + Record("pills", 1));
  EXPECT_EQ(table.Count("older"), 0u);
  EXPECT_EQ(table.messages, 2u);
  EXPECT_EQ(table.bytes_used(), 10u);
}

TEST_F(WordListFile, SaveAndLoadKeepThousandsOfWords) {
  WordCountTable table;
  table.Load(directory_.PathOf("words"));
  for (int i = 0; i < 1000; ++i)
    for (int times = 0; times <= i % 3; ++times) table.Add(NumberedWord(i));
  table.messages = 500;
  ASSERT_TRUE(table.Save());
  WordCountTable again;
  again.Load(directory_.PathOf("words"));
  EXPECT_EQ(again.messages, 500u);
  EXPECT_EQ(again.entries().size(), 1000u);
  for (int i = 0; i < 1000; ++i)
    ASSERT_EQ(again.Count(NumberedWord(i)), static_cast<std::uint32_t>(i % 3 + 1)) << i;
  EXPECT_EQ(again.Serialise().size(), 16u + 1000u * 12u);
}

}  // namespace
}  // namespace quillbeaker
