// SPDX-License-Identifier: MIT
#pragma once

// Reads and writes a word list file without the code under test: little-endian version, records, messages,
// reserved; then length, word, count each.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "support/test_program.h"

namespace quillbeaker::test {

inline constexpr char kGoodListFile[] = "training/good.Quillbeaker.wordlist";
inline constexpr char kBadListFile[] = "training/bad.Quillbeaker.wordlist";

struct ListedWords {
  std::uint32_t messages = 0;
  std::map<std::string, std::uint32_t> words;
  bool operator==(const ListedWords&) const = default;
  // 0 for a word that is not there.
  std::uint32_t operator[](const std::string& word) const {
    const auto at = words.find(word);
    return at == words.end() ? 0 : at->second;
  }
};

inline std::uint32_t Little32(std::string_view bytes, std::size_t at) {
  std::uint32_t value = 0;
  for (std::size_t i = 4; i-- > 0;) value = value << 8 | static_cast<unsigned char>(bytes[at + i]);
  return value;
}

// Nothing when the bytes are not exactly one whole word list in which each word stands once.
inline std::optional<ListedWords> ParseWordList(std::string_view bytes) {
  if (bytes.size() < 16 || Little32(bytes, 0) != 1 || Little32(bytes, 12) != 0) return std::nullopt;
  ListedWords list;
  list.messages = Little32(bytes, 8);
  std::size_t at = 16;
  for (std::uint32_t left = Little32(bytes, 4); left > 0; --left) {
    if (at >= bytes.size()) return std::nullopt;
    const std::size_t length = static_cast<unsigned char>(bytes[at]);
    if (at + 1 + length + 4 > bytes.size()) return std::nullopt;
    const std::string word(bytes.substr(at + 1, length));
    if (!list.words.emplace(word, Little32(bytes, at + 1 + length)).second) return std::nullopt;
    at += length + 5;
  }
  if (at != bytes.size()) return std::nullopt;
  return list;
}

inline void AppendLittle32(std::string& bytes, std::uint32_t value) {
  for (int i = 0; i < 4; ++i) bytes.push_back(static_cast<char>(value >> (8 * i) & 0xFF));
}

inline std::string WordListBytes(const ListedWords& list) {
  std::string bytes;
  AppendLittle32(bytes, 1);
  AppendLittle32(bytes, static_cast<std::uint32_t>(list.words.size()));
  AppendLittle32(bytes, list.messages);
  AppendLittle32(bytes, 0);
  for (const auto& [word, count] : list.words) {
    bytes.push_back(static_cast<char>(word.size()));
    bytes += word;
    AppendLittle32(bytes, count);
  }
  return bytes;
}

// A list of a test's program directory: empty when there is none, a failure of the test when it is not whole.
inline ListedWords ListIn(const TestDirectory& directory, const char* file) {
  const std::optional<std::string> bytes = directory.Get(file);
  if (!bytes) return {};
  const std::optional<ListedWords> list = ParseWordList(*bytes);
  EXPECT_TRUE(list.has_value()) << file;
  return list.value_or(ListedWords{});
}

}  // namespace quillbeaker::test
