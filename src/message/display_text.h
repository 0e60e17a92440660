// SPDX-License-Identifier: MIT
#pragma once

// Bytes of mail as a screen shows them. For display only: files keep their bytes.

#include <string>
#include <string_view>

namespace quillbeaker {

// Every byte as the code point of the same number, in UTF-8: exact and reversible.
std::string Latin1ToUtf8(std::string_view latin1);

// What a person should see, in UTF-8: bytes that are valid UTF-8 with at least one multi-byte character stand
// for themselves, all others are read as Windows-1252. Control characters, line ends and tabs aside, and
// characters that turn the direction of text are replaced, so that no mail can write over the screen.
std::string DisplayText(std::string_view bytes);

}  // namespace quillbeaker
