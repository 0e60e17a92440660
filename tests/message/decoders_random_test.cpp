// SPDX-License-Identifier: MIT
// The decoders against their descriptions written out step by step, on random texts over the bytes that mean
// something to them; and properties of whole messages put together at random.

#include <gtest/gtest.h>

#include <cstddef>
#include <random>
#include <string>
#include <string_view>

#include "config/ascii.h"
#include "message/decoded_text.h"
#include "message/mail_message.h"

namespace quillbeaker {
namespace {

using Random = std::mt19937;

std::size_t Below(Random& random, std::size_t limit) {
  return std::uniform_int_distribution<std::size_t>(0, limit - 1)(random);
}

// Up to `most` of the pieces in a row.
template <std::size_t count>
std::string RandomText(Random& random, const std::string_view (&pieces)[count], std::size_t most) {
  std::string text;
  for (std::size_t left = Below(random, most + 1); left > 0; --left) text += pieces[Below(random, count)];
  return text;
}

// Tag by tag with erase and replace, each search from the place of the last change.
std::string WithoutHtmlPlainly(std::string text) {
  std::size_t from = 0;
  while ((from = text.find('<', from)) != std::string::npos) {
    const std::size_t end = text.find('>', from);
    if (end == std::string::npos) break;
    const bool is_break = LowerAscii(text.substr(from, 4)) == "<br>";
    text.replace(from, end - from + 1, is_break ? "\r\n" : "");
  }
  from = 0;
  while ((from = LowerAscii(text).find("&nbsp;", from)) != std::string::npos) text.replace(from++, 6, " ");
  return text;
}

int HexDigit(char c) {
  const char lower = ToLowerAscii(c);
  if (lower >= '0' && lower <= '9') return lower - '0';
  if (lower >= 'a' && lower <= 'f') return lower - 'a' + 10;
  return -1;
}

std::string QuotedPrintablePlainly(std::string buffer) {
  std::size_t out = 0;
  for (std::size_t in = 0; in < buffer.size();) {
    const char c = buffer[in];
    if (c == '=' && in + 2 < buffer.size()) {
      if (buffer[in + 1] == '\r' && buffer[in + 2] == '\n') {
        in += 3;
        continue;
      }
      int value = 0;
      if (const int first = HexDigit(buffer[in + 1]); first >= 0) {
        value = first;
        if (const int second = HexDigit(buffer[in + 2]); second >= 0) value = value * 16 + second;
      }
      if (value != 0) buffer[out] = static_cast<char>(value);
      ++out;
      in += 3;
      continue;
    }
    buffer[out++] = c == '_' ? ' ' : c;
    ++in;
  }
  buffer.resize(out);
  return buffer;
}

std::string Base64Plainly(std::string_view text) {
  constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string digits;
  for (const char c : text)
    if (c == '=' || kAlphabet.find(c) != std::string_view::npos) digits += c;
  while (digits.size() % 4 != 0) digits += '=';
  std::string out;
  for (std::size_t group = 0; group < digits.size(); group += 4) {
    if (digits[group] == '=' || digits[group + 1] == '=') break;
    const auto value = [&](std::size_t i) {
      return static_cast<unsigned>(kAlphabet.find(digits[group + i]));
    };
    out += static_cast<char>((value(0) << 2 | value(1) >> 4) & 0xFF);
    if (digits[group + 2] == '=') break;
    out += static_cast<char>((value(1) << 4 | value(2) >> 2) & 0xFF);
    if (digits[group + 3] == '=') break;
    out += static_cast<char>((value(2) << 6 | value(3)) & 0xFF);
  }
  return out;
}

TEST(DecodersRandomTest, RemoveHtmlEqualsItsDescription) {
  constexpr std::string_view kPieces[] = {"<",   ">",   "<br>", "<BR>", "<b>", "&nbsp;",
                                          "&NB", "sp;", "&",    "x",    "\r\n"};
  Random random(20030204);
  for (int round = 0; round < 20'000; ++round) {
    const std::string text = RandomText(random, kPieces, 14);
    std::string decoded = text;
    RemoveHtml(decoded);
    ASSERT_EQ(decoded, WithoutHtmlPlainly(text)) << text;
  }
}

TEST(DecodersRandomTest, QuotedPrintableEqualsItsDescription) {
  constexpr std::string_view kPieces[] = {"=", "=\r\n", "\r", "\n", "0", "4", "1", "F", "e", "g", "_", "x"};
  Random random(20030205);
  for (int round = 0; round < 20'000; ++round) {
    const std::string text = RandomText(random, kPieces, 14);
    std::string decoded = text;
    DecodeQuotedPrintable(decoded);
    ASSERT_EQ(decoded, QuotedPrintablePlainly(text)) << text;
  }
}

TEST(DecodersRandomTest, Base64EqualsItsDescription) {
  constexpr std::string_view kPieces[] = {"QUJD", "A", "z", "9", "+", "/", "=", "\r\n", " ", "-", "\xE4"};
  Random random(20030206);
  for (int round = 0; round < 20'000; ++round) {
    const std::string text = RandomText(random, kPieces, 14);
    std::string decoded = text;
    DecodeBase64(decoded);
    ASSERT_EQ(decoded, Base64Plainly(text)) << text;
  }
}

TEST(MessagesRandomTest, TextIsShorterThanTheMessageAndWritingIsStable) {
  constexpr std::string_view kPieces[] = {"Content-Type: multipart/mixed; boundary=a\r\n",
                                          "Content-Type: multipart/alternative; boundary=\"b\"\r\n",
                                          "Content-Type: text/html\r\n",
                                          "Content-Transfer-Encoding: quoted-printable\r\n",
                                          "Content-Transfer-Encoding: base64\r\n",
                                          "Subject: x\r\n",
                                          "\r\n",
                                          "\r\n",
                                          "--a\r\n",
                                          "--b\r\n",
                                          "--a--\r\n",
                                          "--b--\r\n",
                                          "text =41 <b>SGVs\r\n",
                                          "\t",
                                          "loose end"};
  Random random(20030207);
  for (int round = 0; round < 20'000; ++round) {
    const std::string text = RandomText(random, kPieces, 20);
    MailMessage message;
    message.ParseText(text);
    ASSERT_EQ(message.size(), text.size());
    std::string decoded;
    if (DecodeText(message, true, decoded)) {
      ASSERT_LT(decoded.size(), text.size()) << text;
    }
    // What the first writing makes of a message, a second one repeats from the second reading on.
    MailMessage second;
    second.ParseText(message.Serialise().value_or(""));
    MailMessage third;
    third.ParseText(second.Serialise().value_or(""));
    ASSERT_EQ(third.Serialise(), second.Serialise()) << text;
  }
}

}  // namespace
}  // namespace quillbeaker
