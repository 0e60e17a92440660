// SPDX-License-Identifier: MIT
#include "config/ascii.h"

#include <gtest/gtest.h>

#include <string>

namespace quillbeaker {
namespace {

TEST(Ascii, FoldsTheTwentySixLettersAndNothingElse) {
  for (int byte = 0; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    const bool upper = byte >= 65 && byte <= 90;
    const bool lower = byte >= 97 && byte <= 122;
    EXPECT_EQ(ToLowerAscii(c), upper ? static_cast<char>(byte + 32) : c) << byte;
    EXPECT_EQ(ToUpperAscii(c), lower ? static_cast<char>(byte - 32) : c) << byte;
  }
}

TEST(Ascii, LowersAWholeTextAndLeavesEightBitBytes) {
  EXPECT_EQ(LowerAscii("AbC-9\xC4\xD6@[`{"), "abc-9\xC4\xD6@[`{");
  EXPECT_EQ(LowerAscii(std::string_view("A\0B", 3)), std::string("a\0b", 3));
  EXPECT_EQ(LowerAscii(""), "");
}

TEST(Ascii, EqualityIgnoresCaseOfAsciiLettersOnly) {
  EXPECT_TRUE(EqualsIgnoringCase("QUILLBEAKER", "Quillbeaker"));
  EXPECT_TRUE(EqualsIgnoringCase("", ""));
  EXPECT_FALSE(EqualsIgnoringCase("abc", "abcd"));
  EXPECT_FALSE(EqualsIgnoringCase("abcd", "abc"));
  EXPECT_FALSE(EqualsIgnoringCase("\xC4", "\xE4"));
  // Neighbours of the letters that differ from each other by 32 as letters do.
  EXPECT_FALSE(EqualsIgnoringCase("[", "{"));
  EXPECT_FALSE(EqualsIgnoringCase("@", "`"));
  EXPECT_FALSE(EqualsIgnoringCase(std::string_view("a\0b", 3), std::string_view("a\0c", 3)));
}

TEST(Ascii, PrefixTestIgnoresCaseAndNeedsTheWholePrefix) {
  EXPECT_TRUE(StartsWithIgnoringCase("pass secret", "PASS"));
  EXPECT_TRUE(StartsWithIgnoringCase("PASS", "pass"));
  EXPECT_TRUE(StartsWithIgnoringCase("anything", ""));
  EXPECT_FALSE(StartsWithIgnoringCase("pas", "PASS"));
  EXPECT_FALSE(StartsWithIgnoringCase("xpass", "PASS"));
  EXPECT_FALSE(StartsWithIgnoringCase("", "P"));
}

TEST(Ascii, SuffixTestIgnoresCaseAndNeedsTheWholeSuffix) {
  EXPECT_TRUE(EndsWithIgnoringCase("mail.EML", ".eml"));
  EXPECT_TRUE(EndsWithIgnoringCase(".eml", ".EML"));
  EXPECT_TRUE(EndsWithIgnoringCase("x", ""));
  EXPECT_FALSE(EndsWithIgnoringCase("eml", ".eml"));
  EXPECT_FALSE(EndsWithIgnoringCase("mail.emlx", ".eml"));
}

TEST(Ascii, FindsTheFirstOccurrenceFromAPosition) {
  EXPECT_EQ(FindIgnoringCase("one BoundarY two boundary", "boundary"), 4U);
  EXPECT_EQ(FindIgnoringCase("one BoundarY two boundary", "BOUNDARY", 5), 17U);
  EXPECT_EQ(FindIgnoringCase("one BoundarY two boundary", "BOUNDARY", 17), 17U);
  EXPECT_EQ(FindIgnoringCase("one BoundarY two boundary", "BOUNDARY", 18), std::string::npos);
  EXPECT_EQ(FindIgnoringCase("short", "much longer than that"), std::string::npos);
  EXPECT_EQ(FindIgnoringCase("short", "t", 500), std::string::npos);
  EXPECT_EQ(FindIgnoringCase("", "x"), std::string::npos);
  // A partial match right before the real one must not hide it.
  EXPECT_EQ(FindIgnoringCase("aAaB", "AAB"), 1U);
}

TEST(Ascii, TrimsBlanksAndTabsAtBothEndsOnly) {
  EXPECT_EQ(TrimBlanks(" \t a \t b\t "), "a \t b");
  EXPECT_EQ(TrimBlanks(" \t "), "");
  EXPECT_EQ(TrimBlanks(""), "");
  EXPECT_EQ(TrimBlanks("\r\nx\r\n"), "\r\nx\r\n");
  EXPECT_EQ(TrimBlanks("\xA0x\xA0"), "\xA0x\xA0");
}

TEST(Ascii, TurnsEveryControlByteIntoABlank) {
  std::string all;
  for (int byte = 0; byte < 256; ++byte) all.push_back(static_cast<char>(byte));
  const std::string clean = WithoutControlBytes(all);
  ASSERT_EQ(clean.size(), 256U);
  for (std::size_t byte = 0; byte < 256; ++byte) {
    EXPECT_EQ(clean[byte], byte < 0x20 ? ' ' : all[byte]) << byte;
  }
}

}  // namespace
}  // namespace quillbeaker
