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
std::atomic<DWORD> handling_thread = 0;
bool asking = false;  // of that thread

std::wstring ExecutablePath() {
  std::wstring path(kLongestPath, L'\0');
  path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  return path;
}

// An exception in here is uncaught as well, instead of ending the process unasked.
void CleanUp() noexcept {
  state->actions.release_instance();
  state->actions.stop_listener();
  state->actions.shut_down();
}

[[noreturn]] void AskAndEnd() {
  asking = true;
  const int answer = MessageBoxW(nullptr, state->question.c_str(), state->caption.c_str(),
                                 MB_YESNO | MB_ICONEXCLAMATION | MB_SETFOREGROUND);
  if (answer == IDYES) {
    ShellExecuteW(nullptr, nullptr, state->executable.c_str(), nullptr, nullptr, SW_HIDE);
  }
  FatalExit(0);
  TerminateProcess(GetCurrentProcess(), 0);
  std::abort();
}

[[noreturn]] void HandleCrash() {
  DWORD handler = 0;
  if (handling_thread.compare_exchange_strong(handler, GetCurrentThreadId())) {
    CleanUp();
  } else if (handler != GetCurrentThreadId()) {
    Sleep(INFINITE);  // the thread that failed first goes on
  } else if (asking) {
    TerminateProcess(GetCurrentProcess(), 0);
  }
  // A fault while cleaning up comes here too: the rest of it is left undone, but the person is asked.
  AskAndEnd();
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
