// SPDX-License-Identifier: MIT
#pragma once

// Texts in the character sets of mail, converted by the system's converter. Any thread.

#include <optional>
#include <string>
#include <string_view>

namespace quillbeaker {

// The bytes as UTF-8. Nothing when no character set of that name (RFC 2045, without regard to case) is known
// here, when the system cannot convert it, or when the bytes are not valid in it, one that is cut off at
// their end included.
std::optional<std::string> Utf8FromCharset(std::string_view bytes, std::string_view charset);

}  // namespace quillbeaker
