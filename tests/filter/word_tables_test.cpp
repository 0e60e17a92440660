// SPDX-License-Identifier: MIT
// Both learnt lists and the spam words together: budgets, files, counting.

#include "filter/word_tables.h"

#include <gtest/gtest.h>

#include <string>

#include "support/test_program.h"

namespace quillbeaker {
namespace {

constexpr char kGoodFile[] = "training/good.Quillbeaker.wordlist";
constexpr char kBadFile[] = "training/bad.Quillbeaker.wordlist";

TEST(WordTables, GiveEachListHalfOfTheConfiguredKilobytes) {
  test::TestProgram test;
  WordTables tables;
  tables.Load(test.program(), false);
  EXPECT_EQ(tables.good.byte_budget, 1'048'576u);
  EXPECT_EQ(tables.bad.byte_budget, 1'048'576u);
  ASSERT_TRUE(test.Configure("TrainingAreaMaxMemory=1"));
  tables.Load(test.program(), false);
  EXPECT_EQ(tables.good.byte_budget, 512u);
  EXPECT_EQ(tables.bad.byte_budget, 512u);
}

TEST(WordTables, HaveNoLimitWithZeroKilobytes) {
  test::TestProgram test;
  ASSERT_TRUE(test.Configure("TrainingAreaMaxMemory=0"));
  WordTables tables;
  tables.Load(test.program(), false);
  EXPECT_EQ(tables.good.byte_budget, 0u);
  EXPECT_EQ(tables.bad.byte_budget, 0u);
}

TEST(WordTables, ABudgetOfOneKilobyteHoldsEachListBelowHalf) {
  test::TestProgram test;
  ASSERT_TRUE(test.Configure("TrainingAreaMaxMemory=1"));
  WordTables tables;
  tables.Load(test.program(), false);
  std::string text = "X: y\r\n\r\nknown ";
  for (int i = 1000; i < 2000; ++i) text += "word" + std::to_string(i) + " ";
  text += "known known ";
  MailMessage message;
  message.ParseText(text);
  tables.Count(message, LearnKind::kGood);
  tables.Count(message, LearnKind::kSpam);
  EXPECT_EQ(tables.good.bytes_used(), 10u + 38u * 13u);  // a thirty-ninth would need 517
  EXPECT_EQ(tables.bad.bytes_used(), 10u + 38u * 13u);
  EXPECT_EQ(tables.good.Count("known"), 3u);
}

TEST(WordTables, LoadBothListsFromTheirFiles) {
  test::TestProgram test;
  ASSERT_TRUE(test.directory.Put(
      kGoodFile, std::string("\x01\0\0\0\x01\0\0\0\x0A\0\0\0\0\0\0\0\x05hello\x04\0\0\0", 26)));
  ASSERT_TRUE(test.directory.Put(
      kBadFile, std::string("\x01\0\0\0\x01\0\0\0\x0B\0\0\0\0\0\0\0\x05pills\x06\0\0\0", 26)));
  WordTables tables;
  tables.Load(test.program(), false);
  EXPECT_EQ(tables.good.messages, 10u);
  EXPECT_EQ(tables.good.Count("hello"), 4u);
  EXPECT_EQ(tables.bad.messages, 11u);
  EXPECT_EQ(tables.bad.Count("pills"), 6u);
}

TEST(WordTables, LoadSpamWordsOnlyWhenAsked) {
  test::TestProgram test;
  ASSERT_TRUE(test.directory.Put("spampoints.ini", "[PROBABILITIES]\r\nfree=60\r\n"));
  ASSERT_TRUE(test.directory.Put("spampoints_user.ini", "[PROBABILITIES]\r\nmoney=50\r\n"));
  WordTables tables;
  tables.Load(test.program(), false);
  EXPECT_TRUE(tables.spam_words.empty());
  tables.Load(test.program(), true);
  ASSERT_EQ(tables.spam_words.size(), 2u);
  EXPECT_EQ(tables.spam_words[0].word, "money");
  EXPECT_FALSE(tables.spam_words[0].predefined);
  EXPECT_EQ(tables.spam_words[1].word, "free");
  EXPECT_TRUE(tables.spam_words[1].predefined);
}

TEST(WordTables, MissingFilesAreEmptyTables) {
  test::TestProgram test;
  WordTables tables;
  tables.Load(test.program(), true);
  EXPECT_TRUE(tables.good.entries().empty());
  EXPECT_TRUE(tables.bad.entries().empty());
  EXPECT_TRUE(tables.spam_words.empty());
  EXPECT_TRUE(test.directory.Names().empty());
}

TEST(WordTables, CountAMessageIntoTheListOfItsKind) {
  test::TestProgram test;
  WordTables tables;
  tables.Load(test.program(), false);
  MailMessage message;
  message.ParseText("Subject: Cheap pills\r\n\r\nBuy cheap pills now\r\n");
  tables.Count(message, LearnKind::kSpam);
  EXPECT_EQ(tables.bad.messages, 1u);
  EXPECT_EQ(tables.bad.Count("cheap"), 2u);
  EXPECT_EQ(tables.bad.Count("pills"), 1u);
  EXPECT_EQ(tables.bad.Count("buy"), 1u);
  EXPECT_EQ(tables.good.messages, 0u);
  EXPECT_TRUE(tables.good.entries().empty());
  tables.Count(message, LearnKind::kGood);
  EXPECT_EQ(tables.good.messages, 1u);
  EXPECT_EQ(tables.good.Count("cheap"), 2u);
  EXPECT_EQ(tables.bad.messages, 1u);
}

TEST(WordTables, WhatWasSavedIsLoadedAgain) {
  test::TestProgram test;
  ASSERT_TRUE(test.directory.MakeFolder("training"));
  WordTables tables;
  tables.Load(test.program(), false);
  MailMessage message;
  message.ParseText("X: y\r\n\r\npills cheap cheap ");
  tables.Count(message, LearnKind::kSpam);
  message.ParseText("X: y\r\n\r\nhello ");
  tables.Count(message, LearnKind::kGood);
  ASSERT_TRUE(tables.Save());
  EXPECT_EQ(test.directory.Get(kBadFile),
            std::string("\x01\0\0\0\x02\0\0\0\x01\0\0\0\0\0\0\0\x05pills\x01\0\0\0\x05"
                        "cheap\x02\0\0\0",
                        36));
  WordTables again;
  again.Load(test.program(), false);
  EXPECT_EQ(again.bad.Count("cheap"), 2u);
  EXPECT_EQ(again.bad.messages, 1u);
  EXPECT_EQ(again.good.Count("hello"), 1u);
  EXPECT_EQ(again.good.messages, 1u);
}

TEST(WordTables, SaveSaysWhenAListCouldNotBeWritten) {
  test::TestProgram test;
  ASSERT_TRUE(test.directory.MakeFolder(kGoodFile));  // a folder where the file should stand
  WordTables tables;
  tables.Load(test.program(), false);
  EXPECT_FALSE(tables.Save());
}

}  // namespace
}  // namespace quillbeaker
