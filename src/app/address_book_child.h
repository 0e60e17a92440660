// SPDX-License-Identifier: MIT
#pragma once

// What this program does when it is started to read the system's address book: it loads the address book's
// library, writes the contacts to its standard output and ends. It is no instance of the program: no window,
// no port, no file.

#include <string_view>

namespace quillbeaker {

// Whether the program was started for that.
bool IsAddressBookChild(std::wstring_view arguments);

// Gives the exit code: 0 when the address book was read to its end.
int ReadAddressBook();

}  // namespace quillbeaker
