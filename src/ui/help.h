// SPDX-License-Identifier: MIT
#pragma once

// Opens the help of a window.

#include <string>
#include <string_view>

namespace quillbeaker {

// Starts help.exe of the program directory; without it nothing happens. `page` is the window's help page. The
// viewer takes no parameters and finds its start page by itself, so the page is not passed on.
void OpenHelp(const std::string& program_directory, std::string_view page);

}  // namespace quillbeaker
