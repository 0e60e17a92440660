// SPDX-License-Identifier: MIT
#pragma once

// The system's message box with the application's title. Any thread.

#include <windows.h>

#include <string>

#include "config/program.h"
#include "config/texts.h"

namespace quillbeaker {

// `style` is MessageBox's; gives the id of the button, 0 when there was no memory for a box.
int ShowMessageBox(HWND owner, const std::wstring& text, UINT style);
int ShowMessageBox(HWND owner, Text text, UINT style);
// With the title of `owner` in place of the application's: what a person has to correct there.
int ShowMessageBoxOf(HWND owner, const std::wstring& text, UINT style);
// A setting that could not be written, with the file that it belongs into.
void ShowNotSaved(HWND owner, const Program& program);

}  // namespace quillbeaker
