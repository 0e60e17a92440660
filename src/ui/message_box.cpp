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

void ShowNotSaved(HWND owner, const Program& program) {
  ShowMessageBox(owner, WideFormat(Text::kSettingNotSaved, {program.configuration.path()}),
                 MB_ICONEXCLAMATION | MB_SETFOREGROUND);
}

}  // namespace quillbeaker
