// SPDX-License-Identifier: MIT
#include "ui/message_box.h"

#include "ui/wide_text.h"

namespace quillbeaker {

int ShowMessageBox(HWND owner, const std::wstring& text, UINT style) {
  return MessageBoxW(owner, text.c_str(), WideText(Text::kTitle).c_str(), style);
}

int ShowMessageBox(HWND owner, Text text, UINT style) {
  return ShowMessageBox(owner, WideText(text), style);
}

int ShowMessageBoxOf(HWND owner, const std::wstring& text, UINT style) {
  std::wstring title(static_cast<std::size_t>(GetWindowTextLengthW(owner)) + 1, L'\0');
  title.resize(static_cast<std::size_t>(GetWindowTextW(owner, title.data(), static_cast<int>(title.size()))));
  return MessageBoxW(owner, text.c_str(), title.c_str(), style);
}

void ShowNotSaved(HWND owner, const Program& program) {
  ShowMessageBox(owner, WideFormat(Text::kSettingNotSaved, {program.configuration.path()}),
                 MB_ICONEXCLAMATION | MB_SETFOREGROUND);
}

}  // namespace quillbeaker
