// SPDX-License-Identifier: MIT
#pragma once

// The search for one word that the spam words' automaton must equal. For tests: the program searches for all
// words at once.

#include <array>
#include <cstddef>
#include <string_view>

#include "config/ascii.h"

namespace quillbeaker::test {

// Position of the first occurrence, or npos. Sunday's quick search: after a mismatch the byte behind the
// window says how far it may move.
inline std::size_t FindText(std::string_view text, std::string_view pattern, bool case_sensitive) {
  const auto folded = [case_sensitive](char c) {
    return static_cast<unsigned char>(case_sensitive ? c : ToUpperAscii(c));
  };
  if (pattern.size() > text.size()) return std::string_view::npos;
  std::array<std::size_t, 256> shift;
  shift.fill(pattern.size() + 1);
  for (std::size_t i = 0; i < pattern.size(); ++i) shift[folded(pattern[i])] = pattern.size() - i;
  for (std::size_t at = 0;;) {
    std::size_t length = 0;
    while (length < pattern.size() && folded(pattern[length]) == folded(text[at + length])) ++length;
    if (length == pattern.size()) return at;
    if (at + pattern.size() >= text.size()) return std::string_view::npos;
    at += shift[folded(text[at + pattern.size()])];
    if (at > text.size() - pattern.size()) return std::string_view::npos;
  }
}

}  // namespace quillbeaker::test
