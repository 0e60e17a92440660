// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include <string>

namespace quillbeaker {

// Puts a text into the system's clipboard. False while another program holds it.
[[nodiscard]] bool CopyToClipboard(HWND owner, const std::wstring& text);

}  // namespace quillbeaker
