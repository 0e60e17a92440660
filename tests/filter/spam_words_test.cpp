// SPDX-License-Identifier: MIT
// The spam words of both files, their editing, and the conversion of the older points.

#include "filter/spam_words.h"

#include <gtest/gtest.h>

#include <string>

#include "support/test_program.h"

namespace quillbeaker {
namespace {

class SpamWordsTest : public testing::Test {
 protected:
  void PutUser(std::string_view bytes) { ASSERT_TRUE(test_.directory.Put("spampoints_user.ini", bytes)); }
  void PutShipped(std::string_view bytes) { ASSERT_TRUE(test_.directory.Put("spampoints.ini", bytes)); }
  std::string User() { return test_.directory.Get("spampoints_user.ini").value_or("(no file)"); }
  std::string Shipped() { return test_.directory.Get("spampoints.ini").value_or("(no file)"); }

  // "word:probability" in list order, predefined ones with a "!" behind.
  std::string List() {
    std::string list;
    for (const SpamWord& word : ReadSpamWords(test_.program())) {
      if (!list.empty()) list += ' ';
      list += word.word + ":" + std::to_string(word.probability) + (word.predefined ? "!" : "");
    }
    return list;
  }

  test::TestProgram test_;
};

TEST_F(SpamWordsTest, StandUserFirstEachInReverseFileOrder) {
  PutUser("[PROBABILITIES]\r\na=40\r\nb=50\r\n");
  PutShipped("[PROBABILITIES]\r\nc=1\r\nd=2\r\n");
  EXPECT_EQ(List(), "b:50 a:40 d:2! c:1!");
}

TEST_F(SpamWordsTest, AWordOfBothFilesStandsTwice) {
  PutUser("[PROBABILITIES]\nviagra=40\n");
  PutShipped("[PROBABILITIES]\nviagra=50\n");
  EXPECT_EQ(List(), "viagra:40 viagra:50!");
}

TEST_F(SpamWordsTest, KeepTheirCaseAndInnerBlanks) {
  PutUser("[probabilities]\r\n  Buy  NOW  =  90  \r\n#1=7\r\n100 %=3\r\n");
  EXPECT_EQ(List(), "100 %:3 #1:7 Buy  NOW:90");
}

TEST_F(SpamWordsTest, TakeTheLeadingDigitsWithoutRangeCheck) {
  PutUser("[PROBABILITIES]\r\na=-30\r\nb=250\r\nc=95 %\r\nd=many\r\ne=\r\n");
  EXPECT_EQ(List(), "e:0 d:0 c:95 b:250 a:-30");
}

TEST_F(SpamWordsTest, HugePercentsStopAtTheEndsOf32Bits) {
  PutUser("[PROBABILITIES]\r\na=99999999999999999999\r\nb=-99999999999999999999\r\n");
  EXPECT_EQ(List(), "b:-2147483648 a:2147483647");
}

TEST_F(SpamWordsTest, SplitAtTheFirstEqualsSign) {
  PutUser("[PROBABILITIES]\r\na=5=6\r\n");
  EXPECT_EQ(List(), "a:5");
}

TEST_F(SpamWordsTest, KeepQuotesSinceTheWholeSectionIsRead) {
  PutUser("[PROBABILITIES]\r\n\"free\"=20\r\ncash=\"50\"\r\n");
  EXPECT_EQ(List(), "cash:0 \"free\":20");
}

TEST_F(SpamWordsTest, ALineWithoutEqualsSignRepeatsTheWordBeforeWithZero) {
  PutUser("[PROBABILITIES]\r\nfree=60\r\nodd line\r\ncash=5\r\n");
  EXPECT_EQ(List(), "cash:5 free:0 free:60");
}

TEST_F(SpamWordsTest, SkipCommentsAndOtherSections) {
  PutUser("[THRESHOLD]\r\nlevel50=70\r\n[PROBABILITIES]\r\n;a=1\r\n\r\nb=2\r\n[POINTS]\r\nc=3\r\n");
  EXPECT_EQ(List(), "b:2");
}

TEST_F(SpamWordsTest, AreCutAtTheirLimit) {
  PutUser("[PROBABILITIES]\r\n" + std::string(300, 'w') + "=9\r\n");
  EXPECT_EQ(List(), std::string(255, 'w') + ":9");
}

TEST_F(SpamWordsTest, MissingAndEmptyFilesHoldNone) {
  EXPECT_EQ(List(), "");
  PutUser("");
  EXPECT_EQ(List(), "");
  EXPECT_FALSE(test_.directory.Has("spampoints.ini"));
}

TEST_F(SpamWordsTest, AreReadAnewFromTheDisk) {
  PutUser("[PROBABILITIES]\r\na=1\r\n");
  EXPECT_EQ(List(), "a:1");
  PutUser("[PROBABILITIES]\r\nbcd=21\r\n");
  EXPECT_EQ(List(), "bcd:21");
}

TEST_F(SpamWordsTest, SetWritesTheUsersFileAlone) {
  PutShipped("[PROBABILITIES]\r\nviagra=50\r\n");
  EXPECT_TRUE(SetSpamWord(test_.program(), "viagra", 90));
  EXPECT_TRUE(SetSpamWord(test_.program(), "Buy now", 0));
  EXPECT_EQ(List(), "Buy now:0 viagra:90 viagra:50!");
  EXPECT_EQ(Shipped(), "[PROBABILITIES]\r\nviagra=50\r\n");
  EXPECT_EQ(User(), "[PROBABILITIES]\r\nviagra=90\r\nBuy now=0\r\n");
}

TEST_F(SpamWordsTest, SetChangesTheValueInItsPlace) {
  PutUser("; mine\r\n[PROBABILITIES]\r\na=1\r\nb=2\r\n[THRESHOLD]\r\nlevel50=70\r\n");
  EXPECT_TRUE(SetSpamWord(test_.program(), "A", 15));
  EXPECT_EQ(User(), "; mine\r\n[PROBABILITIES]\r\na=15\r\nb=2\r\n[THRESHOLD]\r\nlevel50=70\r\n");
}

TEST_F(SpamWordsTest, SetRefusesWhatTheFileCannotHold) {
  PutUser("[PROBABILITIES]\r\na=1\r\n");
  for (const char* word : {"", "a=b", "=", ";comment", "[section]", " x", "x ", "\tx", " "})
    EXPECT_FALSE(SetSpamWord(test_.program(), word, 5)) << '"' << word << '"';
  EXPECT_EQ(User(), "[PROBABILITIES]\r\na=1\r\n");
}

TEST_F(SpamWordsTest, SetMakesBlanksOfControlBytesSoThatNoLineIsAdded) {
  EXPECT_TRUE(SetSpamWord(test_.program(), "buy\r\n[SERVER]", 5));
  EXPECT_EQ(User(), "[PROBABILITIES]\r\nbuy  [SERVER]=5\r\n");
}

TEST_F(SpamWordsTest, SetAndReadMeetAgainForOddWords) {
  for (const char* word : {"#hash", "a;b", "a[b]", "'quoted'", "\"q\"", "\xE4\xFF", "50% off!"}) {
    PutUser("");
    EXPECT_TRUE(SetSpamWord(test_.program(), word, 33)) << word;
    EXPECT_EQ(List(), std::string(word) + ":33");
  }
}

TEST_F(SpamWordsTest, RemoveTakesTheUsersWordAway) {
  PutShipped("[PROBABILITIES]\r\na=50\r\n");
  PutUser("[PROBABILITIES]\r\na=1\r\nb=2\r\n");
  EXPECT_TRUE(RemoveSpamWord(test_.program(), "A"));
  EXPECT_EQ(User(), "[PROBABILITIES]\r\nb=2\r\n");
  EXPECT_EQ(Shipped(), "[PROBABILITIES]\r\na=50\r\n");
  RemoveSpamWord(test_.program(), "a");
  EXPECT_EQ(List(), "b:2 a:50!");
}

TEST_F(SpamWordsTest, ConversionMovesPointsToProbabilities) {
  PutUser("[POINTS]\r\nfree=70\r\ncash=15\r\nx=-3\r\n");
  EXPECT_TRUE(ConvertSpamPoints(test_.program()));
  EXPECT_EQ(List(), "x:-4 cash:22 free:100");
  EXPECT_TRUE(test_.program().user_spam_words.Read()->Section("POINTS").empty());
}

TEST_F(SpamWordsTest, ConversionTakesBothFiles) {
  PutUser("[POINTS]\r\na=10\r\n");
  PutShipped("[POINTS]\r\nb=20\r\n");
  EXPECT_TRUE(ConvertSpamPoints(test_.program()));
  EXPECT_EQ(List(), "a:15 b:30!");
  EXPECT_TRUE(test_.program().spam_words.Read()->Section("POINTS").empty());
  EXPECT_TRUE(test_.program().user_spam_words.Read()->Section("POINTS").empty());
}

TEST_F(SpamWordsTest, ConversionOfTheShippedFileAloneIsReportedToo) {
  PutShipped("[POINTS]\r\nb=20\r\n");
  EXPECT_TRUE(ConvertSpamPoints(test_.program()));
  EXPECT_FALSE(test_.directory.Has("spampoints_user.ini"));
}

TEST_F(SpamWordsTest, ASecondConversionChangesNothing) {
  PutUser("[POINTS]\r\nfree=70\r\n[THRESHOLD]\r\nlevel50=80\r\n");
  EXPECT_TRUE(ConvertSpamPoints(test_.program()));
  const std::string once = User();
  EXPECT_FALSE(ConvertSpamPoints(test_.program()));
  EXPECT_EQ(User(), once);
  EXPECT_EQ(test_.program().user_spam_words.ReadInteger("THRESHOLD", "level50", -1), 80);
}

TEST_F(SpamWordsTest, ConversionRunsAgainWhenPointsCameBack) {
  PutUser("[PROBABILITIES]\r\nfree=100\r\n[POINTS]\r\nfree=20\r\n");
  EXPECT_TRUE(ConvertSpamPoints(test_.program()));
  EXPECT_EQ(List(), "free:30");
}

TEST_F(SpamWordsTest, ConversionHasNothingToDoWithoutPoints) {
  EXPECT_FALSE(ConvertSpamPoints(test_.program()));
  PutUser("[PROBABILITIES]\r\nfree=100\r\n");
  PutShipped("[POINTS]\r\n");
  EXPECT_FALSE(ConvertSpamPoints(test_.program()));
  EXPECT_EQ(User(), "[PROBABILITIES]\r\nfree=100\r\n");
  EXPECT_EQ(Shipped(), "[POINTS]\r\n");
}

TEST_F(SpamWordsTest, ConversionBoundsAndTruncates) {
  PutUser("[POINTS]\r\na=66\r\nb=67\r\nc=2147483647\r\nd=1\r\ne=-1\r\nf=0\r\n");
  EXPECT_TRUE(ConvertSpamPoints(test_.program()));
  EXPECT_EQ(List(), "f:0 e:-1 d:1 c:100 b:100 a:99");
}

}  // namespace
}  // namespace quillbeaker
