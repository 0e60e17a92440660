// SPDX-License-Identifier: MIT
#include "ui/presenter/unbroken_text.h"

#include <cstddef>
#include <string_view>

namespace quillbeaker {
namespace {

constexpr wchar_t kNonBreakingHyphen = L'\x2011';
constexpr std::wstring_view kBetweenWords = L" \t\n(\"";

}  // namespace

std::wstring Unbroken(std::wstring text) {
  for (std::size_t i = 0; i + 1 < text.size(); ++i) {
    const bool begins_word = i == 0 || kBetweenWords.find(text[i - 1]) != kBetweenWords.npos;
    const bool has_word = kBetweenWords.find(text[i + 1]) == kBetweenWords.npos;
    if (text[i] == L'-' && begins_word && has_word) {
      text[i] = kNonBreakingHyphen;
    }
  }
  return text;
}

}  // namespace quillbeaker
