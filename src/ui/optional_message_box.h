// SPDX-License-Identifier: MIT
#pragma once

// A message box that can be silenced for good: questions and notices with "Don't show this message again".

#include <windows.h>

#include <string>
#include <string_view>

#include "config/program.h"
#include "config/texts.h"

namespace quillbeaker {

// `style` is a system message box's: buttons (OK, OK and Cancel, Yes and No) and icon. Gives the id of the
// button that was pressed, or `suppressed_answer` when `key` says that the box is silenced. 0, which is no
// button, when the program ended over the question: nobody has answered it. Deliberate: the close box gives
// the suppressed answer too, also where that is Yes, and keeps nothing.
int ShowOptionalBox(Program& program, HWND owner, const std::wstring& text, UINT style, std::string_view key,
                    int suppressed_answer);
int ShowOptionalBox(Program& program, HWND owner, Text text, UINT style, std::string_view key,
                    int suppressed_answer);

}  // namespace quillbeaker
