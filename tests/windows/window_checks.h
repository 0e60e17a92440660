// SPDX-License-Identifier: MIT
#pragma once

// What holds for every window, whatever it is for. Each gives one line for each fault.

#include <windows.h>

#include <string>
#include <vector>

namespace quillbeaker::test {

using Faults = std::vector<std::string>;

// A control outside of its window, two that cover each other, a text without room.
Faults FaultsOfLayout(HWND window);
// Tab goes from left to right and from top to bottom.
Faults FaultsOfTabOrder(HWND window);
// No letter is underlined twice.
Faults FaultsOfMnemonics(HWND window);
// A screen reader has a name to say for whatever the keyboard reaches.
Faults FaultsOfNames(HWND window);

// Fields, lists, trees and texts lie on the system's colours as they are now. Buttons and headings have those
// of the theme, which the system changes itself.
Faults FaultsOfColours(HWND window);
// What the screen shows of a window, as a bitmap file.
bool SavePicture(HWND window, const std::wstring& path);

}  // namespace quillbeaker::test
