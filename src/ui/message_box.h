// SPDX-License-Identifier: MIT
#pragma once

// The system's message box with the application's title. Any thread.

#include <windows.h>

#include <string>

#include "config/texts.h"

namespace quillbeaker {

// `style` is MessageBox's; gives the id of the button, 0 when there was no memory for a box.
int ShowMessageBox(HWND owner, const std::wstring& text, UINT style);
int ShowMessageBox(HWND owner, Text text, UINT style);

}  // namespace quillbeaker
