// SPDX-License-Identifier: MIT
//
// A Windows program that does nothing: what every program costs. Ends at once; told to "stay" it waits in a
// message loop, with a window that is never shown, until WM_ENDSESSION. Told to "show" it shows its window
// too, and takes the foreground. Under the name help.exe it adds how it was called to help.log beside itself.
#include <windows.h>

#include <cstdio>
#include <cwchar>
#include <string>

namespace {

LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
  if (message == WM_ENDSESSION) {
    PostQuitMessage(0);
    return 0;
  }
  return DefWindowProcW(window, message, wparam, lparam);
}

void LogCall() {
  wchar_t path[1024];
  const std::wstring own(path, GetModuleFileNameW(nullptr, path, 1024));
  if (!own.ends_with(L"\\help.exe")) return;
  std::FILE* const log = _wfopen((own.substr(0, own.size() - 3) + L"log").c_str(), L"ab");
  if (log == nullptr) return;
  std::fwprintf(log, L"%ls\n", GetCommandLineW());
  std::fclose(log);
}

}  // namespace

int WINAPI wWinMain(HINSTANCE instance, HINSTANCE, PWSTR arguments, int) {
  const bool show = std::wcsstr(arguments, L"show") != nullptr;
  LogCall();
  if (!show && std::wcsstr(arguments, L"stay") == nullptr) {
    return 0;
  }
  WNDCLASSW window_class{};
  window_class.lpfnWndProc = Procedure;
  window_class.hInstance = instance;
  window_class.lpszClassName = L"EmptyProgram";
  window_class.hbrBackground = GetSysColorBrush(COLOR_WINDOW);
  RegisterClassW(&window_class);
  const HWND window = CreateWindowExW(0, L"EmptyProgram", L"Another program", show ? WS_OVERLAPPEDWINDOW : 0,
                                      100, 100, 400, 300, nullptr, nullptr, instance, nullptr);
  if (show) {
    ShowWindow(window, SW_SHOW);
    SetForegroundWindow(window);
  }
  MSG message;
  while (GetMessageW(&message, nullptr, 0, 0) > 0) {
    DispatchMessageW(&message);
  }
  return 0;
}
