// SPDX-License-Identifier: MIT
#pragma once

// Works windows of this very process: the test opens one on its own thread, as the program would, and a
// script on a second thread presses its buttons. What a script sees it keeps; the test judges it afterwards.
// Every wait ends.

#include <windows.h>

#include <functional>
#include <string>
#include <thread>

namespace quillbeaker::test {

inline constexpr int kWindowLimit = 10000;  // milliseconds

inline bool WaitFor(const std::function<bool()>& condition, int milliseconds = kWindowLimit) {
  const ULONGLONG end = GetTickCount64() + static_cast<ULONGLONG>(milliseconds);
  while (!condition()) {
    if (GetTickCount64() > end) return false;
    Sleep(5);
  }
  return true;
}

// The visible dialog or message box of a thread, null when there is none.
inline HWND DialogOfThread(DWORD thread) {
  HWND found = nullptr;
  EnumThreadWindows(
      thread,
      [](HWND window, LPARAM result) -> BOOL {
        wchar_t name[16];
        GetClassNameW(window, name, 16);
        if (std::wstring(name) == L"#32770" && IsWindowVisible(window)) {
          *reinterpret_cast<HWND*>(result) = window;
          return FALSE;
        }
        return TRUE;
      },
      reinterpret_cast<LPARAM>(&found));
  return found;
}

inline std::wstring TextOfControl(HWND dialog, int id) {
  wchar_t text[4096];
  return std::wstring(text, GetDlgItemTextW(dialog, id, text, 4096));
}

// Where a control stands in its dialog's client area.
inline RECT PlaceOfControl(HWND dialog, int id) {
  RECT place{};
  GetWindowRect(GetDlgItem(dialog, id), &place);
  MapWindowPoints(nullptr, dialog, reinterpret_cast<POINT*>(&place), 2);
  return place;
}

inline void Press(HWND dialog, int id) {
  PostMessageW(GetDlgItem(dialog, id), BM_CLICK, 0, 0);
}

inline HWND FocusOf(DWORD thread) {
  GUITHREADINFO info{};
  info.cbSize = sizeof info;
  GetGUIThreadInfo(thread, &info);
  return info.hwndFocus;
}

// A key for whichever control has the focus.
inline void PressKey(DWORD thread, WPARAM key) {
  PostMessageW(FocusOf(thread), WM_KEYDOWN, key, 0);
}

struct Shown {
  bool appeared = false;  // a window was there for the script
  bool ended = true;      // the script ended it, nobody had to
  int answer = 0;
};

// Calls `show` here; once a dialog of this thread is visible `script` gets it, on another thread. A dialog
// that stands when the script is long over is closed by force.
inline Shown ShowAndWork(const std::function<int()>& show, const std::function<void(HWND)>& script,
                         int appears_within = kWindowLimit) {
  Shown shown;
  bool over = false;
  const DWORD thread = GetCurrentThreadId();
  std::thread worker([&] {
    HWND dialog = nullptr;
    WaitFor([&] { return over || (dialog = DialogOfThread(thread)) != nullptr; }, appears_within);
    if (dialog == nullptr) return;
    shown.appeared = true;
    script(dialog);
    if (!WaitFor([&] { return !IsWindow(dialog); })) {
      shown.ended = false;
      PostMessageW(dialog, WM_CLOSE, 0, 0);
      PostMessageW(dialog, WM_COMMAND, IDOK, 0);
      PostMessageW(dialog, WM_COMMAND, IDCANCEL, 0);
    }
  });
  shown.answer = show();
  over = true;
  worker.join();
  return shown;
}

}  // namespace quillbeaker::test
