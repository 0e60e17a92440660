// SPDX-License-Identifier: MIT
//
// Installs the program's crash handler and then fails, in the way that its argument names: "exception" (nobody
// catches it) or "exception-in-thread". What the handler does first is told by files beside the program.
#include <windows.h>

#include <cwchar>
#include <fstream>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <thread>

#include "app/crash_handler.h"

namespace {

void Note(const wchar_t* name) {
  std::wstring path(32768, L'\0');
  path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  std::ofstream(std::filesystem::path(path).parent_path() / name).put('x');
}

[[noreturn]] void Fail() {
  throw std::runtime_error("nobody catches this");
}

}  // namespace

int WINAPI wWinMain(HINSTANCE, HINSTANCE, PWSTR arguments, int) {
  if (*arguments == L'\0') {
    Note(L"restarted");  // the crash handler starts it without arguments
    return 0;
  }
  quillbeaker::InstallCrashHandler(L"Start it again?", L"Fatal error",
                                   {.release_instance = [] { Note(L"released"); },
                                    .stop_listener = [] { Note(L"stopped"); },
                                    .shut_down = [] { Note(L"shut_down"); }});
  if (std::wcscmp(arguments, L"exception-in-thread") == 0) {
    std::thread(Fail).join();
  }
  Fail();
}
