// SPDX-License-Identifier: MIT
// Which words a text has: delimiters, lengths, digits, case, and the counter that starts again at 500.

#include "filter/tokeniser.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <string>
#include <utility>

namespace quillbeaker {
namespace {

using Counts = std::map<std::string, std::uint32_t>;

Counts CountsOf(const WordCountTable& table) {
  Counts counts;
  for (const WordEntry& entry : table.entries()) counts[std::string(entry.word())] = entry.count;
  return counts;
}

Counts TokensOf(std::string_view text) {
  WordCountTable table;
  Tokenise(text, table);
  EXPECT_EQ(table.messages, 0u);
  return CountsOf(table);
}

Counts TokensOfMessage(std::string text) {
  MailMessage message;
  message.ParseText(std::move(text));
  WordCountTable table;
  CountMessage(message, table);
  EXPECT_EQ(table.messages, 1u);
  return CountsOf(table);
}

TEST(Tokenise, TakesWordsOfThreeToTwentyBytesThatAreNotDigitsAlone) {
  EXPECT_EQ(TokensOf("abc123 12345 ab abcdefghijklmnopqrstu end "), (Counts{{"abc123", 1}, {"end", 1}}));
  EXPECT_EQ(TokensOf("abcdefghijklmnopqrst abc a1 123 "), (Counts{{"abcdefghijklmnopqrst", 1}, {"abc", 1}}));
}

TEST(Tokenise, DropsTheWordAtTheEndOfTheText) {
  EXPECT_EQ(TokensOf("cheap pills"), (Counts{{"cheap", 1}}));
  EXPECT_EQ(TokensOf("cheap"), Counts{});
  EXPECT_EQ(TokensOf(""), Counts{});
}

TEST(Tokenise, CountsEveryOccurrenceInLowerCase) {
  EXPECT_EQ(TokensOf("Free FREE free fReE2 "), (Counts{{"free", 3}, {"free2", 1}}));
}

TEST(Tokenise, LowersAsciiLettersOnly) {
  EXPECT_EQ(TokensOf("\xC4PFEL "), (Counts{{"\xC4pfel", 1}}));
}

TEST(Tokenise, EachOfTheThirtyFiveDelimitersEndsAWord) {
  const std::string delimiters = " \t\n\r\f@\"`!<>()[]{}-_=/\\.,;:&|?*#%+^~";
  ASSERT_EQ(delimiters.size(), 35u);
  for (const char delimiter : delimiters) {
    EXPECT_EQ(TokensOf(std::string("abc") + delimiter + "def "), (Counts{{"abc", 1}, {"def", 1}}))
        << static_cast<int>(delimiter);
  }
}

TEST(Tokenise, EveryOtherByteBelongsToWords) {
  const std::string delimiters = " \t\n\r\f@\"`!<>()[]{}-_=/\\.,;:&|?*#%+^~";
  for (int value = 0; value < 256; ++value) {
    const char byte = static_cast<char>(value);
    if (delimiters.find(byte) != std::string::npos) continue;
    const char lower = value >= 'A' && value <= 'Z' ? static_cast<char>(value + 32) : byte;
    EXPECT_EQ(TokensOf(std::string("abc") + byte + "def "), (Counts{{std::string("abc") + lower + "def", 1}}))
        << value;
  }
}

TEST(Tokenise, ApostropheDollarAndVerticalTabBelongToWords) {
  EXPECT_EQ(TokensOf("don't $100 a\vb "), (Counts{{"don't", 1}, {"$100", 1}, {"a\vb", 1}}));
}

TEST(Tokenise, ManyDelimitersInARowMakeNoWord) {
  EXPECT_EQ(TokensOf(" .. ,, -- "), Counts{});
}

TEST(Tokenise, TheCounterStartsAgainAtFiveHundred) {
  // 500 bytes are stored, the next one is dropped, the last nine begin the buffer anew.
  EXPECT_EQ(TokensOf(std::string(501, 'x') + "abcdefghi "), (Counts{{"abcdefghi", 1}}));
  EXPECT_EQ(TokensOf(std::string(600, 'x') + " "), Counts{});
  EXPECT_EQ(TokensOf(std::string(500, 'x') + " "), Counts{});
  EXPECT_EQ(TokensOf(std::string(501, 'x') + " "), Counts{});
  EXPECT_EQ(TokensOf(std::string(501, 'x') + "ab "), Counts{});
  EXPECT_EQ(TokensOf(std::string(501, 'x') + "abc "), (Counts{{"abc", 1}}));
  EXPECT_EQ(TokensOf(std::string(500, 'x') + "yabc "), (Counts{{"abc", 1}}));
  EXPECT_EQ(TokensOf(std::string(1002, 'x') + "abcde "), (Counts{{"abcde", 1}}));
  EXPECT_EQ(TokensOf(std::string(501, 'x') + "12345 "), Counts{});
}

TEST(Tokenise, AnOverlongWordTakesNothingFromTheNext) {
  EXPECT_EQ(TokensOf(std::string(100, 'x') + " abc " + std::string(700, 'y') + " def "),
            (Counts{{"abc", 1}, {"def", 1}}));
}

TEST(CountMessage, TakesTheTextAndThenTheSubjectEachByItself) {
  EXPECT_EQ(TokensOfMessage("Subject: Buy cheap pills\r\n\r\nhello big world"),
            (Counts{{"hello", 1}, {"big", 1}, {"buy", 1}, {"cheap", 1}}));
  EXPECT_EQ(TokensOfMessage("Subject: Buy cheap pills!\r\n\r\nBuy "),
            (Counts{{"buy", 2}, {"cheap", 1}, {"pills", 1}}));
}

TEST(CountMessage, NeedsNoSubjectAndNoText) {
  EXPECT_EQ(TokensOfMessage("X: header words count not\r\n\r\nhello \r\n"), (Counts{{"hello", 1}}));
  EXPECT_EQ(TokensOfMessage("Subject: only this one\r\n"), (Counts{{"only", 1}, {"this", 1}}));
}

TEST(CountMessage, RemovesHtmlAlways) {
  EXPECT_EQ(TokensOfMessage("Content-Type: text/html\r\n\r\n<table>hel<b>lo</b>&nbsp;world<br>"),
            (Counts{{"hello", 1}, {"world", 1}}));
}

TEST(CountMessage, TakesTheSubjectAsItCame) {
  EXPECT_EQ(TokensOfMessage("Subject: =?iso-8859-1?Q?hello_world?= end.\r\n\r\n"),
            (Counts{{"iso", 1}, {"hello", 1}, {"world", 1}, {"end", 1}}));
}

TEST(CountMessage, SeesTheSubjectCutToItsLookUpLimit) {
  // Behind the colon 1023 bytes count: the last of them is the blank before "lost".
  const std::string filler(1017, ',');
  EXPECT_EQ(TokensOfMessage("Subject:" + filler + "seen, lost \r\n\r\n"), (Counts{{"seen", 1}}));
}

TEST(CountMessage, TakesATextThatIsAtHand) {
  MailMessage message;
  message.ParseText("Subject: Buy cheap pills\r\n\r\nnot this text");
  WordCountTable table;
  table.messages = 4;
  CountMessage(message, "given words ", table);
  EXPECT_EQ(table.messages, 5u);
  EXPECT_EQ(CountsOf(table), (Counts{{"given", 1}, {"words", 1}, {"buy", 1}, {"cheap", 1}}));
}

TEST(CountMessage, LosesTheLastByteOfATextWithoutHeaderBlock) {
  MailMessage message;
  message.ParseBodyOnly("cheap pills ");
  WordCountTable table;
  CountMessage(message, table);
  EXPECT_EQ(CountsOf(table), (Counts{{"cheap", 1}}));
}

TEST(CountMessage, KeepsTheBudgetOfTheTable) {
  WordCountTable table;
  table.byte_budget = 100;
  std::string text = "X: y\r\n\r\n";
  for (int i = 100'000; i < 200'000; ++i) text += "w" + std::to_string(i) + " ";
  MailMessage message;
  message.ParseText(std::move(text));
  CountMessage(message, table);
  EXPECT_EQ(table.entries().size(), 8u);  // of 12 bytes each
  EXPECT_EQ(table.bytes_used(), 96u);
}

}  // namespace
}  // namespace quillbeaker
