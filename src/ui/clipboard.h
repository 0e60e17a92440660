// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include <string>
#include <string_view>

namespace quillbeaker {

// Puts a text into the system's clipboard. False while another program holds it.
[[nodiscard]] bool CopyToClipboard(HWND owner, const std::wstring& text);
// A text together with a picture (a packed bitmap, as CF_DIB is): who pastes takes what it can use.
[[nodiscard]] bool CopyToClipboard(HWND owner, const std::wstring& text, std::string_view picture);

}  // namespace quillbeaker
