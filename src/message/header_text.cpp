// SPDX-License-Identifier: MIT
#include "message/header_text.h"

#include <optional>

#include "config/ascii.h"
#include "message/decoded_text.h"
#include "message/display_text.h"
#include "platform/charset.h"

namespace quillbeaker {
namespace {

struct EncodedWord {
  std::string bytes;
  std::string charset;
};

// The word that `text` begins with, and how long that is.
std::optional<EncodedWord> TakeWord(std::string_view text, std::size_t& length) {
  constexpr std::size_t kLongestCharset = 80;
  const std::size_t charset_end = text.find('?', 2);
  if (charset_end == std::string_view::npos || charset_end > kLongestCharset) return std::nullopt;
  if (text.size() < charset_end + 3 || text[charset_end + 2] != '?') return std::nullopt;
  const char encoding = ToLowerAscii(text[charset_end + 1]);
  if (encoding != 'q' && encoding != 'b') return std::nullopt;
  const std::size_t begin = charset_end + 3;
  const std::size_t end = text.find("?=", begin);
  if (end == std::string_view::npos) return std::nullopt;
  EncodedWord word;
  word.bytes = text.substr(begin, end - begin);
  encoding == 'q' ? DecodeQuotedPrintable(word.bytes) : DecodeBase64(word.bytes);
  // RFC 2231, section 5: a language may follow the character set.
  const std::string_view charset = text.substr(2, charset_end - 2);
  word.charset = LowerAscii(charset.substr(0, charset.find('*')));
  length = end + 2;
  return word;
}

std::string Shown(const EncodedWord& word) {
  return DisplayLine(Utf8FromCharset(word.bytes, word.charset).value_or(word.bytes));
}

bool IsBlank(std::string_view text) {
  return text.find_first_not_of(" \t\r\n") == std::string_view::npos;
}

}  // namespace

std::string HeaderToShow(std::string_view value) {
  std::string shown;
  EncodedWord open;  // whose neighbours may hold the rest of its last character
  bool has_open = false;
  std::size_t plain = 0;  // where the text begins that is not shown yet
  for (std::size_t at = value.find("=?"); at != std::string_view::npos; at = value.find("=?", at)) {
    std::size_t length = 0;
    std::optional<EncodedWord> word = TakeWord(value.substr(at), length);
    if (!word) {
      at += 2;
      continue;
    }
    const std::string_view between = value.substr(plain, at - plain);
    // Blanks between two encoded words are no part of the text.
    const bool joins = has_open && IsBlank(between);
    if (joins && word->charset == open.charset) {
      open.bytes += word->bytes;
    } else {
      if (has_open) shown += Shown(open);
      if (!joins) shown += DisplayLine(between);
      open = std::move(*word);
      has_open = true;
    }
    at += length;
    plain = at;
  }
  if (has_open) shown += Shown(open);
  return shown + DisplayLine(value.substr(plain));
}

}  // namespace quillbeaker
