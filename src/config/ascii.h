// SPDX-License-Identifier: MIT
#pragma once

// Letters and blanks of mail and configuration bytes: ASCII only, independent of any locale, on unsigned
// bytes.

#include <string>
#include <string_view>

namespace quillbeaker {

constexpr char ToLowerAscii(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
}
constexpr char ToUpperAscii(char c) {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c;
}
std::string LowerAscii(std::string_view text);

bool EqualsIgnoringCase(std::string_view a, std::string_view b);
bool StartsWithIgnoringCase(std::string_view text, std::string_view prefix);
bool EndsWithIgnoringCase(std::string_view text, std::string_view suffix);
// Position of the first occurrence without regard to case, or npos.
std::size_t FindIgnoringCase(std::string_view text, std::string_view pattern, std::size_t from = 0);

// Without blanks and tabs at both ends.
std::string_view TrimBlanks(std::string_view text);

// Bytes below 0x20 become blanks.
std::string WithoutControlBytes(std::string_view text);

}  // namespace quillbeaker
