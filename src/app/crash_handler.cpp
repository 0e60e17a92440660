// SPDX-License-Identifier: MIT
#include "app/crash_handler.h"

#include <windows.h>

#include <shellapi.h>

#include <atomic>
#include <exception>
#include <utility>

namespace quillbeaker {
namespace {

constexpr std::size_t kLongestPath = 32768;  // characters, what a long path may have

struct CrashState {
  std::wstring question;
  std::wstring caption;
  std::wstring executable;
  CrashActions actions;
};
// Never destroyed: a fault may come at any time, also while the process ends.
CrashState* state = nullptr;
std::atomic<bool> handling = false;

std::wstring ExecutablePath() {
  std::wstring path(kLongestPath, L'\0');
  path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  return path;
}

[[noreturn]] void HandleCrash() {
  if (handling.exchange(true)) {
    // A second thread, or a fault in this very function: the first one goes on.
    Sleep(INFINITE);
  }
  state->actions.release_instance();
  state->actions.stop_listener();
  state->actions.shut_down();
  const int answer = MessageBoxW(nullptr, state->question.c_str(), state->caption.c_str(),
                                 MB_YESNO | MB_ICONEXCLAMATION | MB_SETFOREGROUND);
  if (answer == IDYES) {
    ShellExecuteW(nullptr, nullptr, state->executable.c_str(), nullptr, nullptr, SW_HIDE);
  }
  FatalExit(0);
  TerminateProcess(GetCurrentProcess(), 0);
  std::abort();
}

LONG WINAPI OnFault(EXCEPTION_POINTERS*) {
  HandleCrash();
}

[[noreturn]] void OnUncaughtException() {
  HandleCrash();
}

}  // namespace

void InstallCrashHandler(std::wstring question, std::wstring caption, CrashActions actions) {
  state = new CrashState{std::move(question), std::move(caption), ExecutablePath(), std::move(actions)};
  SetUnhandledExceptionFilter(OnFault);
  std::set_terminate(OnUncaughtException);
}

}  // namespace quillbeaker
