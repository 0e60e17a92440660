// SPDX-License-Identifier: MIT
// The automaton against a search for each word by itself, on random words and texts: few letters, so that
// words overlap and contain one another, both cases, bytes above 127, NUL bytes, empty words and words listed
// twice. The search for one word is itself held against the standard library's.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "config/ascii.h"
#include "filter/spam_word_search.h"
#include "support/find_text.h"

namespace quillbeaker {
namespace {

using test::FindText;

using Random = std::mt19937;

std::size_t Below(Random& random, std::size_t limit) {
  return std::uniform_int_distribution<std::size_t>(0, limit - 1)(random);
}

std::string RandomText(Random& random, std::string_view alphabet, std::size_t length) {
  std::string text(length, '\0');
  for (char& c : text) c = alphabet[Below(random, alphabet.size())];
  return text;
}

std::string Upper(std::string_view text) {
  std::string upper(text);
  std::transform(upper.begin(), upper.end(), upper.begin(), ToUpperAscii);
  return upper;
}

std::vector<std::uint32_t> FoundOneByOne(const std::vector<SpamWord>& words, std::string_view text) {
  std::vector<std::uint32_t> found;
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (FindText(text, words[i].word, /*case_sensitive=*/false) != std::string_view::npos) {
      found.push_back(static_cast<std::uint32_t>(i));
    }
  }
  return found;
}

// Letters in both cases beside their neighbours in the code table, bytes above 127 that differ by the case
// bit, and NUL.
constexpr std::string_view kAlphabet("abABzZ@[`{\xE4\xC4\xFF\0 ", 15);

TEST(FindTextRandomTest, EqualsTheStandardSearch) {
  Random random(20240229);
  int hits = 0;
  for (int round = 0; round < 20000; ++round) {
    const std::string_view alphabet = kAlphabet.substr(0, 2 + Below(random, kAlphabet.size() - 1));
    const std::string text = RandomText(random, alphabet, Below(random, 40));
    const std::string pattern = RandomText(random, alphabet, Below(random, 6));
    ASSERT_EQ(FindText(text, pattern, true), std::string_view(text).find(pattern));
    const std::size_t folded = Upper(text).find(Upper(pattern));
    ASSERT_EQ(FindText(text, pattern, false), folded);
    hits += folded != std::string::npos;
  }
  EXPECT_GT(hits, 2000);
  EXPECT_LT(hits, 18000);
}

TEST(SpamWordSearchRandomTest, EqualsOneSearchPerWord) {
  Random random(1970);
  std::size_t hits = 0;
  std::vector<std::uint32_t> found{99};
  for (int round = 0; round < 1500; ++round) {
    const std::string_view alphabet = kAlphabet.substr(0, 2 + Below(random, kAlphabet.size() - 1));
    const std::size_t longest = 1 + Below(random, 9);
    std::vector<SpamWord> words(Below(random, 30));
    for (SpamWord& word : words) word.word = RandomText(random, alphabet, Below(random, longest + 1));
    const SpamWordSearch search(words);
    for (int text_round = 0; text_round < 6; ++text_round) {
      const std::string text = RandomText(random, alphabet, Below(random, text_round < 3 ? 60 : 400));
      search.FindAll(text, found);
      ASSERT_EQ(found, FoundOneByOne(words, text));
      hits += found.size();
    }
  }
  EXPECT_GT(hits, 10000U);
}

// Texts made of whole words, of their beginnings and of the same in upper case. Returns how many words were
// found.
std::size_t CompareOnPiecedTexts(Random& random, const std::vector<SpamWord>& words, int rounds) {
  const SpamWordSearch search(words);
  std::vector<std::uint32_t> found;
  std::size_t hits = 0;
  for (int round = 0; round < rounds; ++round) {
    std::string text;
    for (int piece = 0; piece < 40; ++piece) {
      std::string word = words[Below(random, words.size())].word;
      if (piece % 3 == 0) word = word.substr(0, Below(random, word.size()));
      if (piece % 4 == 0) word = Upper(word);
      text += word;
    }
    search.FindAll(text, found);
    EXPECT_EQ(found, FoundOneByOne(words, text));
    hits += found.size();
  }
  return hits;
}

// Words in which every other one begins with the tail of its predecessor, so that a mismatch falls back into
// a deep state.
std::vector<SpamWord> ChainedWords(Random& random, std::string_view alphabet, std::size_t count,
                                   std::size_t length) {
  std::vector<SpamWord> words(count);
  for (std::size_t i = 0; i < count; ++i) {
    std::string start;
    if (i % 2 == 1) start = words[i - 1].word.substr(words[i - 1].word.size() / 2);
    words[i].word = (start + RandomText(random, alphabet, length)).substr(0, kMaxSpamWord);
  }
  return words;
}

// Long words over all byte values make more states than are given a row of their own, and some bytes without
// a cell.
TEST(SpamWordSearchRandomTest, EqualsOneSearchPerWordBeyondTheRows) {
  Random random(86);
  std::string all_bytes(256, '\0');
  for (std::size_t i = 0; i < 256; ++i) all_bytes[i] = static_cast<char>(static_cast<unsigned char>(i));
  EXPECT_GT(CompareOnPiecedTexts(random, ChainedWords(random, all_bytes, 600, 60), 60), 300U);
}

// Many words over few letters make rows whose next states are too high for a cell.
TEST(SpamWordSearchRandomTest, EqualsOneSearchPerWordBeyondTheCells) {
  Random random(68);
  EXPECT_GT(CompareOnPiecedTexts(random, ChainedWords(random, "abcdefghijklmnop", 5000, 9), 15), 300U);
}

TEST(SpamWordSearchRandomTest, AWordListedTwiceIsFoundTwice) {
  const SpamWordSearch search({{"cheap", 10, false}, {"", 1, false}, {"CHEAP", 20, true}, {"heap", 5, true}});
  std::vector<std::uint32_t> found;
  search.FindAll("so cHeaP", found);
  EXPECT_EQ(found, (std::vector<std::uint32_t>{0, 1, 2, 3}));
  search.FindAll("a heap", found);
  EXPECT_EQ(found, (std::vector<std::uint32_t>{1, 3}));
  search.FindAll("", found);
  EXPECT_EQ(found, (std::vector<std::uint32_t>{1}));
}

}  // namespace
}  // namespace quillbeaker
