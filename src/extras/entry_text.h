// SPDX-License-Identifier: MIT
#pragma once

// What the lists of the recycle bin and of the training area show of a mail, in the terminal and in the
// windows, so that they show it alike. UTF-8, safe for a screen, without line ends.

#include <cstdint>
#include <string>
#include <string_view>

namespace quillbeaker {

// "04.02.2003, 22:15"; blanks of the same width for a mail without a date.
std::string EntryDate(std::int32_t day, int minutes);
bool HasEntryDate(std::int32_t day);
// "22:15"
std::string EntryTime(int minutes);
// "Bob Smith <bob@example.org>", or the name alone; both are ISO-8859-1.
std::string EntrySender(std::string_view name, std::string_view address);
// "1.50 KB"
std::string EntrySize(std::uint32_t bytes);
// A line below the name, without blanks at its end.
std::string EntryLine(const std::string& text);

}  // namespace quillbeaker
