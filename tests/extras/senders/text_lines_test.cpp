// SPDX-License-Identifier: MIT
#include "extras/senders/text_lines.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

namespace quillbeaker {
namespace {

TextLines::Read FromText(std::string text) {
  return [text = std::move(text), at = std::size_t{0}](char* buffer, std::size_t capacity) mutable {
    const std::size_t count = std::min(capacity, text.size() - at);
    std::memcpy(buffer, text.data() + at, count);
    at += count;
    return count;
  };
}

std::vector<std::string> AllLines(const std::string& text, std::size_t longest = 100) {
  TextLines lines(FromText(text));
  std::vector<std::string> all;
  std::string line;
  while (lines.Next(line, longest)) all.push_back(line);
  return all;
}

using Lines = std::vector<std::string>;

std::string Utf16(std::u16string_view text, bool little_endian) {
  std::string bytes;
  for (const char16_t unit : text) {
    const char low = static_cast<char>(unit & 0xFF);
    const char high = static_cast<char>(unit >> 8);
    bytes += little_endian ? low : high;
    bytes += little_endian ? high : low;
  }
  return bytes;
}

TEST(TextLines, EndAtLineFeeds) {
  EXPECT_EQ(AllLines(""), Lines{});
  EXPECT_EQ(AllLines("a\nb\r\n\nc"), (Lines{"a", "b\r", "", "c"}));
  EXPECT_EQ(AllLines("a\n"), (Lines{"a"}));
}

TEST(TextLines, DropTheRestOfALongLine) {
  EXPECT_EQ(AllLines("abcdef\nghi", 3), (Lines{"abc", "ghi"}));
  EXPECT_EQ(AllLines("abc\nghi", 3), (Lines{"abc", "ghi"}));
  // Over the pieces in which the file is read.
  EXPECT_EQ(AllLines(std::string(200'000, 'x') + "\nnext\n", 1023), (Lines{std::string(1023, 'x'), "next"}));
}

TEST(TextLines, DropAByteOrderMarkAndKeepTheOtherBytes) {
  EXPECT_EQ(AllLines("\xEF\xBB\xBF"
                     "a\n"),
            (Lines{"a"}));
  EXPECT_EQ(AllLines("J\xFCrgen\nJ\xC3\xBCrgen"), (Lines{"J\xFCrgen", "J\xC3\xBCrgen"}));
  EXPECT_EQ(AllLines(std::string("a\0b\n", 4)), (Lines{std::string("a\0b", 3)}));
}

TEST(TextLines, ConvertUtf16) {
  const std::u16string text = u"J\u00FCrgen \u20AC \U0001F600\nb";
  const Lines expected{"J\xC3\xBCrgen \xE2\x82\xAC \xF0\x9F\x98\x80", "b"};
  EXPECT_EQ(AllLines("\xFF\xFE" + Utf16(text, true)), expected);
  EXPECT_EQ(AllLines("\xFE\xFF" + Utf16(text, false)), expected);
  EXPECT_EQ(AllLines(Utf16(u"ab\u20AC", true)), (Lines{"ab\xE2\x82\xAC"}));
  EXPECT_EQ(AllLines(Utf16(u"ab\u20AC", false)), (Lines{"ab\xE2\x82\xAC"}));
  // Half a pair, alone and at the end; half a unit.
  EXPECT_EQ(AllLines("\xFF\xFE" + Utf16(u"a\xD800z\xDC00\xD801", true) + "x"),
            (Lines{"a\xEF\xBF\xBDz\xEF\xBF\xBD\xEF\xBF\xBD"}));
}

TEST(TextLines, ConvertUtf16AcrossPieces) {
  std::u16string text = u"x";  // so that pairs lie across the end of a piece
  for (int i = 0; i < 40'000; ++i) text += u"\U0001F600";
  TextLines lines(FromText("\xFF\xFE" + Utf16(text, true)));
  std::string line;
  ASSERT_TRUE(lines.Next(line, 1'000'000));
  EXPECT_EQ(line.size(), 1U + 160'000U);
  EXPECT_EQ(line.find("\xEF\xBF\xBD"), std::string::npos);
  EXPECT_FALSE(lines.Next(line, 10));
}

TEST(TextLines, CutNoCharacterOfConvertedText) {
  const std::string bytes = "\xFF\xFE" + Utf16(u"a\u20AC\u20AC\nb", true);
  EXPECT_EQ(AllLines(bytes, 3), (Lines{"a", "b"}));
  EXPECT_EQ(AllLines(bytes, 4), (Lines{"a\xE2\x82\xAC", "b"}));
  EXPECT_EQ(AllLines(bytes, 6), (Lines{"a\xE2\x82\xAC", "b"}));
}

TEST(TextLines, TellBinaryFiles) {
  const auto binary = [](const std::string& text) { return TextLines(FromText(text)).is_binary(); };
  std::string noise;
  std::uint32_t state = 1;
  for (int i = 0; i < 8192; ++i) noise += static_cast<char>((state = state * 1664525 + 1013904223) >> 24);
  EXPECT_TRUE(binary(noise));
  EXPECT_TRUE(binary("MZ" + std::string(200, '\0')));
  EXPECT_FALSE(binary(""));
  EXPECT_FALSE(binary("name,address\r\nBob,b@x\r\n\x1A"));
  EXPECT_FALSE(binary(std::string("a\0b,c@d\n", 8)));
  EXPECT_FALSE(binary("\xFF\xFE" + Utf16(u"name;address\r\n", true)));
}

TEST(TextLines, TellOfAFailureAndLeaveOutTheLineThatItCuts) {
  for (const std::size_t pieces : {0U, 1U, 3U}) {
    std::size_t left = pieces;
    TextLines lines([&left](char* buffer, std::size_t capacity) -> std::optional<std::size_t> {
      if (left == 0) return std::nullopt;
      --left;
      for (std::size_t i = 0; i < capacity; ++i) buffer[i] = i % 100 == 99 ? '\n' : 'x';
      return capacity;
    });
    std::string line;
    std::size_t read = 0;
    for (; lines.Next(line, 1000); ++read) EXPECT_GE(line.size(), 99U);
    EXPECT_EQ(read, pieces * (64 * 1024 / 100));
    EXPECT_TRUE(lines.failed());
    EXPECT_FALSE(lines.Next(line, 1000));
  }
  TextLines whole(FromText("a\nb"));
  std::string line;
  while (whole.Next(line, 1000)) continue;
  EXPECT_FALSE(whole.failed());
}

TEST(TextLines, ReadALineOfAHundredMegabytesInLittleMemory) {
  // Made as it is read: the test itself holds no such file.
  std::size_t left = 100'000'000;
  TextLines lines([&left](char* buffer, std::size_t capacity) {
    const std::size_t count = std::min(capacity, left);
    std::memset(buffer, 'x', count);
    left -= count;
    return count;
  });
  std::string line;
  const auto start = std::chrono::steady_clock::now();
  ASSERT_TRUE(lines.Next(line, 1023));
  EXPECT_EQ(line.size(), 1023U);
  EXPECT_LT(line.capacity(), 10'000U);
  EXPECT_FALSE(lines.Next(line, 1023));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}

}  // namespace
}  // namespace quillbeaker
