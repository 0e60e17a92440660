// SPDX-License-Identifier: MIT
// The decoders move whole runs of bytes and look for several things at once. Here each is held against the
// plainest code that does the same one byte at a time, on random texts made of the bytes that matter.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <random>
#include <string>
#include <string_view>

#include "config/ascii.h"
#include "message/decoded_text.h"

namespace quillbeaker {
namespace {

std::string RandomText(std::mt19937& random, std::string_view alphabet) {
  std::string text(random() % 40, ' ');
  for (char& c : text) {
    c = random() % 10 == 0 ? static_cast<char>(random() % 256) : alphabet[random() % alphabet.size()];
  }
  return text;
}

std::string PlainQuotedPrintable(std::string buffer) {
  const auto digit = [](char c) {
    const std::size_t value = std::string_view("0123456789abcdef").find(ToLowerAscii(c));
    return value == std::string_view::npos ? -1 : static_cast<int>(value);
  };
  std::size_t out = 0;
  for (std::size_t in = 0; in < buffer.size(); ++in) {
    if (buffer[in] != '=' || buffer.size() - in < 3) {
      buffer[out++] = buffer[in] == '_' ? ' ' : buffer[in];
      continue;
    }
    const char first = buffer[in + 1];
    const char second = buffer[in + 2];
    in += 2;
    if (first == '\r' && second == '\n') continue;
    int value = 0;
    if (digit(first) >= 0) value = digit(second) >= 0 ? digit(first) * 16 + digit(second) : digit(first);
    if (value != 0) buffer[out] = static_cast<char>(value);
    ++out;
  }
  return buffer.substr(0, out);
}

std::string PlainBase64(std::string_view text) {
  constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/=";
  std::string digits;
  for (const char c : text) {
    if (kAlphabet.find(c) != std::string_view::npos) digits += c;
  }
  while (digits.size() % 4 != 0) digits += '=';
  std::string out;
  for (std::size_t group = 0; group < digits.size(); group += 4) {
    unsigned bits = 0;
    for (std::size_t i = 0; i < 4; ++i) {
      bits = bits * 64 + (static_cast<unsigned>(kAlphabet.find(digits[group + i])) & 63);
    }
    const std::size_t pad = std::min<std::size_t>(digits.substr(group, 4).find('='), 4);
    for (std::size_t byte = 0; byte + 1 < pad; ++byte) {
      out += static_cast<char>(bits >> (16 - 8 * byte) & 0xFF);
    }
    if (pad < 4) break;
  }
  return out;
}

std::string PlainHtml(std::string text) {
  std::size_t at = text.find('<');
  while (at != std::string::npos) {
    const std::size_t close = text.find('>', at);
    if (close == std::string::npos) break;
    const bool is_break = StartsWithIgnoringCase(std::string_view(text).substr(at), "<br>");
    text.replace(at, close - at + 1, is_break ? "\r\n" : "");
    at = text.find('<', at);
  }
  for (at = 0; (at = FindIgnoringCase(text, "&nbsp;", at)) != std::string::npos; ++at)
    text.replace(at, 6, " ");
  return text;
}

// Each decoder must leave what stands before its start alone.
template <typename Decoder>
std::string Decoded(Decoder decode, const std::string& text) {
  std::string buffer = "=41<b>" + text;
  decode(buffer, 6);
  EXPECT_EQ(buffer.substr(0, 6), "=41<b>");
  return buffer.substr(6);
}

constexpr int kRounds = 20000;

TEST(PlainDecoders, QuotedPrintable) {
  std::mt19937 random(1);
  for (int round = 0; round < kRounds; ++round) {
    const std::string text = RandomText(random, "===_\r\n04aFz");
    ASSERT_EQ(Decoded(DecodeQuotedPrintable, text), PlainQuotedPrintable(text))
        << testing::PrintToString(text);
  }
}

TEST(PlainDecoders, Base64) {
  std::mt19937 random(2);
  for (int round = 0; round < kRounds; ++round) {
    const std::string text = RandomText(random, round % 2 == 0 ? "ABZaz09+/" : "ABZaz09+/=\r\n -");
    ASSERT_EQ(Decoded(DecodeBase64, text), PlainBase64(text)) << testing::PrintToString(text);
  }
}

TEST(PlainDecoders, Html) {
  std::mt19937 random(3);
  constexpr std::string_view kWords[] = {"<",      ">",   "<br>", "<BR>", "<br/>", "&nbsp;",
                                         "&NbSp;", "&nb", "sp;",  "a",    "&"};
  for (int round = 0; round < kRounds; ++round) {
    std::string text;
    for (std::size_t count = random() % 15; count > 0; --count) text += kWords[random() % std::size(kWords)];
    ASSERT_EQ(Decoded(RemoveHtml, text), PlainHtml(text)) << text;
  }
}

}  // namespace
}  // namespace quillbeaker
