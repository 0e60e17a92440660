// SPDX-License-Identifier: MIT
#include "config/ascii.h"

#include <algorithm>

namespace quillbeaker {
namespace {

bool SameLetter(char a, char b) {
  return ToLowerAscii(a) == ToLowerAscii(b);
}

bool IsBlank(char c) {
  return c == ' ' || c == '\t';
}

}  // namespace

std::string LowerAscii(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(), ToLowerAscii);
  return lower;
}

bool EqualsIgnoringCase(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), SameLetter);
}

bool StartsWithIgnoringCase(std::string_view text, std::string_view prefix) {
  return EqualsIgnoringCase(text.substr(0, prefix.size()), prefix);
}

bool EndsWithIgnoringCase(std::string_view text, std::string_view suffix) {
  return text.size() >= suffix.size() && EqualsIgnoringCase(text.substr(text.size() - suffix.size()), suffix);
}

std::size_t FindIgnoringCase(std::string_view text, std::string_view pattern, std::size_t from) {
  if (from > text.size()) return std::string_view::npos;
  const auto begin = text.begin() + static_cast<std::ptrdiff_t>(from);
  const auto found = std::search(begin, text.end(), pattern.begin(), pattern.end(), SameLetter);
  if (found == text.end() && !pattern.empty()) return std::string_view::npos;
  return static_cast<std::size_t>(found - text.begin());
}

std::string_view TrimBlanks(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

std::string WithoutControlBytes(std::string_view text) {
  std::string clean(text);
  std::replace_if(
      clean.begin(), clean.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20; }, ' ');
  return clean;
}

}  // namespace quillbeaker
