// SPDX-License-Identifier: MIT
#pragma once

// Bytes of mail as a screen shows them. For display only: files keep their bytes.

#include <cstddef>
#include <string>
#include <string_view>

namespace quillbeaker {

// Every byte as the code point of the same number, in UTF-8: exact and reversible.
std::string Latin1ToUtf8(std::string_view latin1);

// What a person should see, in UTF-8: bytes that are valid UTF-8 with at least one multi-byte character stand
// for themselves, all others are read as Windows-1252. Control characters, line ends and tabs aside, and
// characters that turn the direction of text are replaced, so that no mail can write over the screen.
std::string DisplayText(std::string_view bytes);
// The same on one line: line ends and tabs become blanks, as every control byte does.
std::string DisplayLine(std::string_view bytes);

bool IsUtf8(std::string_view bytes);
// What a person typed, as our files keep it: ISO-8859-1 where it has every one of the characters, else the
// bytes as they are.
std::string Latin1FromTyped(std::string_view utf8);

// The beginning of a text that fits so many columns of a terminal, no character cut in two. A character that
// may be two columns wide counts as two.
std::string_view FirstColumns(std::string_view utf8, std::size_t columns);

}  // namespace quillbeaker
