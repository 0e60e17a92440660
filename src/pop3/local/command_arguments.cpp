// SPDX-License-Identifier: MIT
#include "pop3/local/command_arguments.h"

#include <algorithm>
#include <limits>
#include <vector>

#include "config/leading_integer.h"

namespace quillbeaker {
namespace {

constexpr std::size_t kMaxPortDigits = 10;

bool IsWhiteSpace(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

std::string_view WithoutLeadingWhiteSpace(std::string_view text) {
  while (!text.empty() && IsWhiteSpace(text.front())) {
    text.remove_prefix(1);
  }
  return text;
}

// Value of a digit in the base, or -1.
int DigitValue(char c, int base) {
  const int value = c >= '0' && c <= '9'   ? c - '0'
                    : c >= 'a' && c <= 'f' ? c - 'a' + 10
                    : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                           : -1;
  return value < base ? value : -1;
}

// Removes the prefix that tells the base: "0x" before a hexadecimal digit, "0" for octal.
int TakeBase(std::string_view& text) {
  if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X') &&
      DigitValue(text[2], 16) >= 0) {
    text.remove_prefix(2);
    return 16;
  }
  return text.starts_with('0') ? 8 : 10;
}

// True when a "&" that is not one of a pair stands in the text.
bool HasSingleSeparator(std::string_view text) {
  for (std::size_t at = text.find('&'); at != std::string_view::npos; at = text.find('&', at + 2)) {
    if (text.substr(at + 1, 1) != "&") {
      return true;
    }
  }
  return false;
}

// Takes the next field, with its doubled "&" undone, and the separator behind it off the text.
std::string TakeField(std::string_view& text) {
  std::string field;
  while (!text.empty()) {
    if (text.front() != '&') {
      field += text.front();
      text.remove_prefix(1);
      continue;
    }
    // Deliberate: a pair is one "&" only where a single separator follows later; at the end of the name it is
    // two separators, so that a field can be left empty.
    const bool doubled = text.substr(1, 1) == "&" && HasSingleSeparator(text.substr(2));
    text.remove_prefix(doubled ? 2 : 1);
    if (!doubled) {
      break;
    }
    field += '&';
  }
  return field;
}

}  // namespace

std::string_view ArgumentsOf(std::string_view command, std::size_t word_length) {
  const std::string_view text = command.substr(0, command.find('\0'));
  return text.substr(std::min(word_length, text.size()));
}

std::string_view TextArgument(std::string_view arguments) {
  const std::string_view text = WithoutLeadingWhiteSpace(arguments);
  return text.substr(
      0, static_cast<std::size_t>(std::find_if(text.begin(), text.end(), IsWhiteSpace) - text.begin()));
}

std::optional<std::int32_t> NumberArgument(std::string_view& arguments) {
  std::string_view text = WithoutLeadingWhiteSpace(arguments);
  const bool negative = text.starts_with('-');
  if (negative || text.starts_with('+')) {
    text.remove_prefix(1);
  }
  if (text.empty() || DigitValue(text.front(), 10) < 0) {
    return std::nullopt;
  }
  const int base = TakeBase(text);
  constexpr std::int64_t kLimit = std::int64_t{std::numeric_limits<std::int32_t>::max()} + 1;
  std::int64_t number = 0;
  while (!text.empty() && DigitValue(text.front(), base) >= 0) {
    number = std::min(number * base + DigitValue(text.front(), base), kLimit);
    text.remove_prefix(1);
  }
  arguments = text;
  return static_cast<std::int32_t>(negative ? -number : std::min(number, kLimit - 1));
}

std::optional<AccountName> SplitAccountName(std::string_view text) {
  std::vector<std::string> fields;
  while (!text.empty() && fields.size() < 4) {
    fields.push_back(TakeField(text));
  }
  if (fields.size() < 2 || fields.size() > 3 || fields[0].size() > kMaxAccountField ||
      fields[1].size() > kMaxAccountField) {
    return std::nullopt;
  }
  AccountName account{std::move(fields[0]), std::move(fields[1]), std::nullopt};
  if (fields.size() == 3 && !fields[2].empty()) {
    account.port = LeadingInteger<std::int32_t>(std::string_view(fields[2]).substr(0, kMaxPortDigits));
  }
  return account;
}

}  // namespace quillbeaker
