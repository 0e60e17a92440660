// SPDX-License-Identifier: MIT
#pragma once

// What stands behind the word of a mail client's command: numbers, and the user name that names the account.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace quillbeaker {

// Each at most; longer ones are refused.
inline constexpr std::size_t kMaxAccountField = 79;  // bytes

struct AccountName {
  std::string server;
  std::string user;
  std::optional<std::int32_t> port;  // as given; without one the server's security decides
};

// The command's text without its word, which is `word_length` bytes long; nothing of it behind a NUL.
std::string_view ArgumentsOf(std::string_view command, std::size_t word_length);

// The first word of the arguments: leading white space skipped, up to the next. Empty when there is none.
std::string_view TextArgument(std::string_view arguments);

// The next integer, decimal, octal ("010") or hexadecimal ("0x10"), removed from `arguments`; nothing when
// the text there is no number. Held at the ends of 32 bits.
std::optional<std::int32_t> NumberArgument(std::string_view& arguments);

// Splits "[pop3server]&[username]&[port]"; "&&" stands for one "&" inside a field. Nothing when it has not
// two or three fields or when one is too long.
std::optional<AccountName> SplitAccountName(std::string_view text);

}  // namespace quillbeaker
