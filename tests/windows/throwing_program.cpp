// SPDX-License-Identifier: MIT
//
// Installs the program's crash handler and then fails, in the way that its argument names: "exception"
// (nobody catches it), "exception-in-thread", "fault", or one of "exception-in-clean-up" and
// "fault-in-clean-up", where the handler's own work fails as well. What the handler does first is told by
// files beside the program.
#include <windows.h>

#include <filesystem>
#include <fstream>
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

void WriteToNowhere() {
  volatile int* volatile nowhere = nullptr;
  *nowhere = 1;
}

}  // namespace

int WINAPI wWinMain(HINSTANCE, HINSTANCE, PWSTR arguments, int) {
  if (*arguments == L'\0') {
    Note(L"restarted");  // the crash handler starts it without arguments
    return 0;
  }
  const std::wstring how = arguments;
  const auto stop = [&how] {
    Note(L"stopped");
    if (how == L"exception-in-clean-up") Fail();
    if (how == L"fault-in-clean-up") WriteToNowhere();
  };
  quillbeaker::InstallCrashHandler(L"Start it again?", L"Fatal error",
                                   {.release_instance = [] { Note(L"released"); },
                                    .stop_listener = stop,
                                    .shut_down = [] { Note(L"shut_down"); }});
  if (how == L"exception-in-thread") std::thread(Fail).join();
  if (how.starts_with(L"fault")) WriteToNowhere();
  Fail();
}
