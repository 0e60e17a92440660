// SPDX-License-Identifier: MIT
#include "message/display_text.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>

#include "config/ascii.h"
#include "message/utf8.h"

namespace quillbeaker {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

// Windows-1252 where it differs from ISO-8859-1; 0 where it has no character.
constexpr std::array<char16_t, 32> kWindows1252{
    0x20AC, 0,      0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0,      0x017D, 0,      0,      0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0,      0x017E, 0x0178};

// Takes the next character off the text; nothing when the bytes are no UTF-8 (RFC 3629: no overlong forms, no
// surrogates).
std::optional<char32_t> TakeUtf8(std::string_view& text) {
  const auto lead = static_cast<unsigned char>(text.front());
  const std::size_t length = lead < 0x80 ? 1 : lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if ((lead >= 0x80 && lead < 0xC2) || lead > 0xF4 || text.size() < length) {
    return std::nullopt;
  }
  char32_t c = length == 1 ? lead : lead & (0x7F >> length);
  for (std::size_t i = 1; i < length; ++i) {
    const auto follow = static_cast<unsigned char>(text[i]);
    if ((follow & 0xC0) != 0x80) {
      return std::nullopt;
    }
    c = (c << 6) | (follow & 0x3F);
  }
  constexpr std::array<char32_t, 5> kLowest{0, 0, 0x80, 0x800, 0x10000};
  if (c < kLowest[length] || (c >= 0xD800 && c <= 0xDFFF) || c > 0x10FFFF) {
    return std::nullopt;
  }
  text.remove_prefix(length);
  return c;
}

// The greatest of the characters, 0 of an empty text; nothing when the bytes are no UTF-8.
std::optional<char32_t> GreatestOfUtf8(std::string_view text) {
  char32_t greatest = 0;
  while (!text.empty()) {
    const auto c = TakeUtf8(text);
    if (!c) {
      return std::nullopt;
    }
    greatest = std::max(greatest, *c);
  }
  return greatest;
}

char32_t FromWindows1252(unsigned char byte) {
  if (byte < 0x80 || byte >= 0xA0) {
    return byte;
  }
  const char16_t c = kWindows1252[byte - 0x80u];
  return c == 0 ? kReplacement : c;
}

// What stands for itself on every screen, line ends and tabs aside.
bool IsVisibleAscii(char c) {
  return c >= ' ' && c <= '~';
}

bool IsHarmless(char32_t c) {
  if (c < 0x20) {
    return c == '\n' || c == '\r' || c == '\t';
  }
  const bool control = c >= 0x7F && c < 0xA0;
  const bool turns_text = (c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069) || c == 0x200E ||
                          c == 0x200F || c == 0x061C;
  return !control && !turns_text;
}

}  // namespace

std::string Latin1ToUtf8(std::string_view latin1) {
  std::string out;
  out.reserve(latin1.size() + latin1.size() / 8);
  for (const char c : latin1) {
    AppendUtf8(out, static_cast<unsigned char>(c));
  }
  return out;
}

std::string DisplayText(std::string_view bytes) {
  if (std::all_of(bytes.begin(), bytes.end(), IsVisibleAscii)) return std::string(bytes);
  std::string out;
  out.reserve(bytes.size());
  const auto append = [&out](char32_t c) { AppendUtf8(out, IsHarmless(c) ? c : kReplacement); };
  if (GreatestOfUtf8(bytes).value_or(0) >= 0x80) {
    while (!bytes.empty()) {
      append(TakeUtf8(bytes).value_or(kReplacement));
    }
  } else {
    for (const char c : bytes) {
      append(FromWindows1252(static_cast<unsigned char>(c)));
    }
  }
  return out;
}

std::string DisplayLine(std::string_view bytes) {
  return DisplayText(WithoutControlBytes(bytes));
}

bool IsUtf8(std::string_view bytes) {
  return GreatestOfUtf8(bytes).has_value();
}

std::string Latin1FromTyped(std::string_view utf8) {
  const auto greatest = GreatestOfUtf8(utf8);
  if (!greatest || *greatest > 0xFF) {
    return std::string(utf8);
  }
  std::string latin1;
  while (!utf8.empty()) {
    latin1 += static_cast<char>(static_cast<unsigned char>(TakeUtf8(utf8).value_or(0)));
  }
  return latin1;
}

std::string_view FirstColumns(std::string_view utf8, std::size_t columns) {
  constexpr char32_t kFirstThatMayBeWide = 0x1100;
  std::string_view rest = utf8;
  while (!rest.empty()) {
    const std::size_t begin = utf8.size() - rest.size();
    const auto c = TakeUtf8(rest);
    if (!c) {
      rest.remove_prefix(1);
    }
    const std::size_t width = c.value_or(0) >= kFirstThatMayBeWide ? 2 : 1;
    if (width > columns) {
      return utf8.substr(0, begin);
    }
    columns -= width;
  }
  return utf8;
}

}  // namespace quillbeaker
