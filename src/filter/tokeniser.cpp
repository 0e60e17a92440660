// SPDX-License-Identifier: MIT
#include "filter/tokeniser.h"

#include <array>
#include <cstdint>
#include <optional>

#include "config/ascii.h"
#include "message/decoded_text.h"

namespace quillbeaker {

namespace {

constexpr std::size_t kShortestWord = 3;
// The length counter runs from 0 to 500; the byte that finds it at 500 is dropped and starts it again.
constexpr std::size_t kCounterPeriod = 501;
constexpr std::size_t kBlock = 1024;  // of a text, searched for delimiters at once

constexpr std::string_view kDelimiters = " \t\n\r\f@\"`!<>()[]{}-_=/\\.,;:&|?*#%+^~";

// Lower case of every byte, and whether it ends a word.
struct ByteTables {
  std::array<char, 256> lower{};
  std::array<bool, 256> delimiter{};
};

constexpr ByteTables MakeByteTables() {
  ByteTables tables;
  for (std::size_t i = 0; i < 256; ++i) {
    tables.lower[i] = ToLowerAscii(static_cast<char>(static_cast<unsigned char>(i)));
  }
  for (const char c : kDelimiters) tables.delimiter[static_cast<unsigned char>(c)] = true;
  return tables;
}

constexpr ByteTables kBytes = MakeByteTables();

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

// Notes where the block has delimiters and returns their number. There is no branch for each byte: words end
// so irregularly that a processor, which guesses branches, would lose more time to them than to all else
// here.
std::size_t FindDelimiters(std::string_view block, std::array<std::uint16_t, kBlock>& places) {
  std::size_t count = 0;
  for (std::size_t i = 0; i < block.size(); ++i) {
    places[count] = static_cast<std::uint16_t>(i);
    count += kBytes.delimiter[static_cast<unsigned char>(block[i])];
  }
  return count;
}

// Adds one token of 3 to 20 bytes unless it is a plain number; lower case and hash are made in one pass.
void AddToken(std::string_view token, WordCountTable& table) {
  Word word;
  bool digits_only = true;
  for (std::size_t i = 0; i < token.size(); ++i) {
    const char c = kBytes.lower[static_cast<unsigned char>(token[i])];
    word.text[i] = c;
    word.hash = WordCountTable::Hash(word.hash, c);
    digits_only = digits_only && IsDigit(c);
  }
  word.length = static_cast<std::uint8_t>(token.size());
  if (!digits_only) table.Add(word);
}

}  // namespace

void Tokenise(std::string_view text, WordCountTable& table) {
  std::array<std::uint16_t, kBlock> places;
  std::size_t start = 0;  // of the word
  for (std::size_t block = 0; block < text.size(); block += kBlock) {
    const std::size_t count = FindDelimiters(text.substr(block, kBlock), places);
    for (std::size_t i = 0; i < count; ++i) {
      const std::size_t end = block + places[i];
      std::size_t length = end - start;
      // Deliberate: of a run longer than 500 bytes only what follows its last dropped byte is the word. The
      // learnt lists were counted that way.
      if (length >= kCounterPeriod) length %= kCounterPeriod;
      if (length >= kShortestWord && length <= kMaxWordLength) {
        AddToken(text.substr(end - length, length), table);
      }
      start = end + 1;
    }
  }
  // Deliberate: what stands behind the last delimiter is no word.
}

void CountMessage(const MailMessage& message, std::string_view stripped_text, WordCountTable& table) {
  table.AddMessages(1);
  Tokenise(stripped_text, table);
  const std::optional<std::string_view> subject = message.FindField(kHeaderSubject);
  if (subject) Tokenise(*subject, table);
}

void CountMessage(const MailMessage& message, WordCountTable& table) {
  std::string text;
  if (!DecodeText(message, /*strip_html=*/true, text)) text.clear();
  CountMessage(message, text, table);
}

}  // namespace quillbeaker
