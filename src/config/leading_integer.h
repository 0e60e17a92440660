// SPDX-License-Identifier: MIT
#pragma once

// The one reader of decimal numbers, in the program's own files and in servers' listings: what people, older
// programs and servers write there is taken as far as it is a number, and never refused. Not for the
// arguments of POP3 commands.

#include <charconv>
#include <concepts>
#include <limits>
#include <string_view>
#include <system_error>

#include "config/ascii.h"

namespace quillbeaker {

// The decimal digits after optional blanks, and after a "-" where the type has a sign; 0 without any.
// Saturates at the ends of the type.
template <std::integral Integer>
Integer LeadingInteger(std::string_view text) {
  text = TrimBlanks(text);
  Integer value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc::result_out_of_range) return value;
  return text.starts_with('-') ? std::numeric_limits<Integer>::min() : std::numeric_limits<Integer>::max();
}

}  // namespace quillbeaker
