// SPDX-License-Identifier: MIT
#include "ui/dialog.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "ui/resource.h"
#include "ui/translation.h"

namespace quillbeaker {
namespace {

// Every thread that shows dialogs has a message loop of its own.
thread_local std::vector<HWND> modeless_dialogs;

// The object whose window is being made on this thread. WM_INITDIALOG could carry it, but any program of the
// user may send that message, with an lParam of its own.
thread_local Dialog* being_made = nullptr;

// In the title, and in the taskbar, where a dialog without an owner has a button.
void ShowProgramIcon(HWND window) {
  for (const auto& [kind, metric] : {std::pair{ICON_SMALL, SM_CXSMICON}, std::pair{ICON_BIG, SM_CXICON}}) {
    const int size = GetSystemMetricsForDpi(metric, GetDpiForWindow(window));
    // Shared ones are the system's to destroy.
    const HANDLE icon = LoadImageW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(ICON_PROGRAM), IMAGE_ICON,
                                   size, size, LR_SHARED);
    SendMessageW(window, WM_SETICON, static_cast<WPARAM>(kind), reinterpret_cast<LPARAM>(icon));
  }
}

}  // namespace

Dialog::~Dialog() {
  if (window_ == nullptr) {
    return;
  }
  // What derives from this is gone already: a window that goes still tells of a focus that leaves its
  // controls, and nobody is left to be told.
  const HWND window = window_;
  Forget();
  DestroyWindow(window);
}

void Dialog::Forget() {
  std::erase(modeless_dialogs, window_);
  SetWindowLongPtrW(window_, DWLP_USER, 0);
  window_ = nullptr;
}

INT_PTR Dialog::RunModal(HWND owner) {
  modal_ = true;
  being_made = this;
  const INT_PTR result =
      DialogBoxParamW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(template_id_), owner, Procedure, 0);
  being_made = nullptr;  // when no window was made
  return result;
}

bool Dialog::CreateModeless(HWND owner) {
  modal_ = false;
  being_made = this;
  const HWND made =
      CreateDialogParamW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(template_id_), owner, Procedure, 0);
  being_made = nullptr;
  return made != nullptr;
}

void Dialog::Destroy() {
  if (window_ != nullptr) {
    DestroyWindow(window_);
  }
}

void Dialog::End(INT_PTR result) {
  if (modal_) {
    EndDialog(window_, result);
  } else {
    Destroy();
  }
}

bool Dialog::TakeMessage(MSG& message) {
  // A copy: handling the message may open or close dialogs.
  const std::vector<HWND> dialogs = modeless_dialogs;
  return std::any_of(dialogs.begin(), dialogs.end(),
                     [&message](HWND dialog) { return IsDialogMessageW(dialog, &message) != FALSE; });
}

INT_PTR CALLBACK Dialog::Procedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
  auto* dialog = reinterpret_cast<Dialog*>(GetWindowLongPtrW(window, DWLP_USER));
  if (message == WM_INITDIALOG) {
    if (dialog != nullptr || being_made == nullptr) {
      return FALSE;  // not the system's
    }
    dialog = std::exchange(being_made, nullptr);
    SetWindowLongPtrW(window, DWLP_USER, reinterpret_cast<LONG_PTR>(dialog));
    dialog->window_ = window;
    if (!dialog->modal_) {
      modeless_dialogs.push_back(window);
    }
  }
  return dialog == nullptr ? FALSE : dialog->Handle(message, wparam, lparam);
}

INT_PTR Dialog::Handle(UINT message, WPARAM wparam, LPARAM lparam) {
  switch (message) {
    case WM_INITDIALOG:
      ShowProgramIcon(window_);
      CurrentLanguage().TranslateWindow(window_, template_id_);
      return OnInit() ? TRUE : FALSE;
    case WM_COMMAND:
      return OnCommand(LOWORD(wparam), HIWORD(wparam)) ? TRUE : FALSE;
    case WM_CLOSE:
      OnClose();
      return TRUE;
    case WM_TIMER:
      OnTimer(wparam);
      return TRUE;
    case WM_NCDESTROY:
      Forget();
      OnDestroyed();
      return FALSE;
    default: {
      LRESULT result = 0;
      if (!OnMessage(message, wparam, lparam, result)) {
        return FALSE;
      }
      if (message >= WM_CTLCOLORMSGBOX && message <= WM_CTLCOLORSTATIC) {
        return result;  // these answer with a brush, not through the window
      }
      SetWindowLongPtrW(window_, DWLP_MSGRESULT, result);
      return TRUE;
    }
  }
}

}  // namespace quillbeaker
