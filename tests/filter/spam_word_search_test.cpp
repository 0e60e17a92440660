// SPDX-License-Identifier: MIT
// All spam words found in one pass, and the single search that it must equal.

#include "filter/spam_word_search.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "support/find_text.h"

namespace quillbeaker {
namespace {

using test::FindText;

constexpr std::size_t kNone = std::string_view::npos;

std::vector<SpamWord> Words(const std::vector<std::string>& texts) {
  std::vector<SpamWord> words;
  for (const std::string& text : texts) words.push_back({text, 1, false});
  return words;
}

std::vector<std::uint32_t> Found(const std::vector<std::string>& words, std::string_view text) {
  const SpamWordSearch search(Words(words));
  std::vector<std::uint32_t> found = {77, 78};
  search.FindAll(text, found);
  return found;
}

using Indices = std::vector<std::uint32_t>;

TEST(FindText, GivesTheFirstOccurrence) {
  EXPECT_EQ(FindText("abcabc", "abc", true), 0u);
  EXPECT_EQ(FindText("xabcabc", "bc", true), 2u);
  EXPECT_EQ(FindText("aaab", "aab", true), 1u);
  EXPECT_EQ(FindText("abab", "ba", true), 1u);
  EXPECT_EQ(FindText("abc", "abc", true), 0u);
  EXPECT_EQ(FindText("abc", "c", true), 2u);
}

TEST(FindText, GivesNothingWhenThereIsNone) {
  EXPECT_EQ(FindText("abc", "abcd", true), kNone);
  EXPECT_EQ(FindText("abc", "x", true), kNone);
  EXPECT_EQ(FindText("", "a", true), kNone);
  EXPECT_EQ(FindText("ababab", "abb", true), kNone);
}

TEST(FindText, LooksAtCaseOnlyWhenAsked) {
  EXPECT_EQ(FindText("Essex", "SEX", false), 2u);
  EXPECT_EQ(FindText("Essex", "SEX", true), kNone);
  EXPECT_EQ(FindText("ESSEX", "sex", false), 2u);
}

TEST(FindText, FoldsAsciiLettersOnly) {
  EXPECT_EQ(FindText("\xE4", "\xC4", false), kNone);
  EXPECT_EQ(FindText("[", "{", false), kNone);
  EXPECT_EQ(FindText("@", "`", false), kNone);
  EXPECT_EQ(FindText("\xE4pfel", "\xE4PFEL", false), 0u);
}

TEST(FindText, AnEmptyPatternStandsAtTheStart) {
  EXPECT_EQ(FindText("abc", "", false), 0u);
  EXPECT_EQ(FindText("", "", false), 0u);
}

TEST(FindText, GoesOnBehindNulBytes) {
  EXPECT_EQ(FindText(std::string_view("a\0b\0c", 5), std::string_view("b\0c", 3), false), 2u);
}

TEST(SpamWordSearch, WithoutWordsFindsNothing) {
  EXPECT_EQ(Found({}, "any text"), Indices{});
  const SpamWordSearch none;
  std::vector<std::uint32_t> found = {5};
  none.FindAll("any text", found);
  EXPECT_EQ(found, Indices{});
}

TEST(SpamWordSearch, GivesIndicesAscendingEachOnce) {
  EXPECT_EQ(Found({"money", "free", "offer"}, "FREE free offers, Money money"), (Indices{0, 1, 2}));
  EXPECT_EQ(Found({"money", "free", "offer"}, "an offer"), (Indices{2}));
}

TEST(SpamWordSearch, FindsSubstrings) {
  EXPECT_EQ(Found({"sex", "sus"}, "Essex"), (Indices{0}));
}

TEST(SpamWordSearch, FindsWordsWithinAndAcrossOneAnother) {
  EXPECT_EQ(Found({"she", "he", "hers", "his", "ushers"}, "ushers"), (Indices{0, 1, 2, 4}));
  EXPECT_EQ(Found({"aaaa", "aaa", "aa", "a"}, "aaa"), (Indices{1, 2, 3}));
  EXPECT_EQ(Found({"abcd", "bc", "c", "cde"}, "abce"), (Indices{1, 2}));
}

TEST(SpamWordSearch, AWordListedTwiceIsFoundTwice) {
  EXPECT_EQ(Found({"Free", "x", "fREE"}, "it is free"), (Indices{0, 2}));
}

TEST(SpamWordSearch, AnEmptyWordOccursInEveryText) {
  EXPECT_EQ(Found({"a", "", "b"}, "b"), (Indices{1, 2}));
  EXPECT_EQ(Found({"a", ""}, ""), (Indices{1}));
}

TEST(SpamWordSearch, FoldsAsciiLettersOnly) {
  EXPECT_EQ(Found({"\xC4", "{", "`", "\xE4z"}, "\xE4Z [ @"), (Indices{3}));
}

TEST(SpamWordSearch, TakesEveryByteValue) {
  std::string all;
  std::vector<std::string> words;
  for (int value = 0; value < 256; ++value) {
    all.push_back(static_cast<char>(value));
    words.emplace_back(1, static_cast<char>(value));
  }
  Indices expected;
  for (std::uint32_t i = 0; i < 256; ++i) expected.push_back(i);
  EXPECT_EQ(Found(words, all), expected);
}

TEST(SpamWordSearch, StartsAnewForEveryText) {
  const SpamWordSearch search(Words({"abcd"}));
  Indices found;
  search.FindAll("xxab", found);
  EXPECT_EQ(found, Indices{});
  search.FindAll("cdxx", found);
  EXPECT_EQ(found, Indices{});
  search.FindAll("abcd", found);
  EXPECT_EQ(found, Indices{0});
}

}  // namespace
}  // namespace quillbeaker
