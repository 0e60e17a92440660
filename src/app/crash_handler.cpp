// SPDX-License-Identifier: MIT
#include "app/crash_handler.h"

#include <shellapi.h>

#include <atomic>
#include <exception>
#include <utility>

namespace quillbeaker {
namespace {

constexpr std::size_t kLongestPath = 32768;  // characters, what a long path may have
// Of every thread's stack, for what is done after it has overflowed; the question needs the most of it.
constexpr ULONG kReservedStack = 64 * 1024;  // bytes
constexpr ULONG_PTR kSmallestStack = 4 * kReservedStack;

struct CrashState {
  std::wstring question;
  std::wstring caption;
  std::wstring executable;
  CrashActions actions;
};
// Never destroyed: a fault may come at any time, also while the process ends.
CrashState* state = nullptr;
std::atomic<DWORD> handling_thread = 0;
// What that thread has begun; a fault inside a step comes back and takes the next one.
enum class Step { kNone, kRelease, kReport, kCleanUp, kAsk };
Step begun = Step::kNone;
// Of the first fault. Not on the stack, of which a thread that overflowed it has little left.
std::uint32_t failed_with = 0;
CONTEXT failed_at;

void ReserveStack() {
  ULONG_PTR low = 0;
  ULONG_PTR high = 0;
  GetCurrentThreadStackLimits(&low, &high);
  ULONG bytes = kReservedStack;
  if (high - low < kSmallestStack || !SetThreadStackGuarantee(&bytes)) {
    return;
  }
  // Windows commits a stack as it grows, and stops in time for the guarantee. Wine 8 commits all of it, with
  // a guard page at its very end that the guarantee does not move, so that a thread which meets it is ended
  // without a word. A guard page where the guarantee begins has it raise the exception there. On Windows that
  // page is not committed yet, and the call fails.
  DWORD former = 0;
  VirtualProtect(reinterpret_cast<void*>(low + kReservedStack), 1, PAGE_READWRITE | PAGE_GUARD, &former);
}

// Called by the loader on every thread that begins, also on those that a library starts.
void NTAPI OnThread(void*, DWORD reason, void*) {
  if (reason == DLL_THREAD_ATTACH) ReserveStack();
}
[[gnu::section(".CRT$XLE"), gnu::used]] const PIMAGE_TLS_CALLBACK on_thread = OnThread;

std::wstring ExecutablePath() {
  std::wstring path(kLongestPath, L'\0');
  path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  return path;
}

// An exception in one of these is uncaught as well, instead of ending the process unasked.
void ReleaseInstance() noexcept {
  begun = Step::kRelease;
  state->actions.release_instance();
}
void WriteReport() noexcept {
  begun = Step::kReport;
  state->actions.write_report(failed_with, failed_at);
}
void CleanUp() noexcept {
  begun = Step::kCleanUp;
  state->actions.stop_listener();
  state->actions.shut_down();
}

[[noreturn]] void AskAndEnd() {
  begun = Step::kAsk;
  const int answer = MessageBoxW(nullptr, state->question.c_str(), state->caption.c_str(),
                                 MB_YESNO | MB_ICONEXCLAMATION | MB_SETFOREGROUND);
  if (answer == IDYES) {
    ShellExecuteW(nullptr, nullptr, state->executable.c_str(), nullptr, nullptr, SW_HIDE);
  }
  FatalExit(0);
  TerminateProcess(GetCurrentProcess(), 0);
  std::abort();
}

[[noreturn]] void HandleCrash(std::uint32_t code, const CONTEXT& context) {
  DWORD handler = 0;
  if (handling_thread.compare_exchange_strong(handler, GetCurrentThreadId())) {
    failed_with = code;
    failed_at = context;
  } else if (handler != GetCurrentThreadId()) {
    Sleep(INFINITE);  // the thread that failed first goes on
  } else if (begun == Step::kAsk) {
    TerminateProcess(GetCurrentProcess(), 0);
  }
  if (begun < Step::kRelease) ReleaseInstance();
  if (begun < Step::kReport) WriteReport();
  if (begun < Step::kCleanUp) CleanUp();
  AskAndEnd();
}

LONG WINAPI OnFault(EXCEPTION_POINTERS* fault) {
  HandleCrash(fault->ExceptionRecord->ExceptionCode, *fault->ContextRecord);
}

[[noreturn]] void OnUncaughtException() {
  CONTEXT context;
  RtlCaptureContext(&context);
  HandleCrash(kUncaughtException, context);
}

}  // namespace

void InstallCrashHandler(std::wstring question, std::wstring caption, CrashActions actions) {
  state = new CrashState{std::move(question), std::move(caption), ExecutablePath(), std::move(actions)};
  ReserveStack();
  SetUnhandledExceptionFilter(OnFault);
  std::set_terminate(OnUncaughtException);
}

}  // namespace quillbeaker
