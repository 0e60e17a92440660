// SPDX-License-Identifier: MIT
//
// Installs the program's crash handler and then fails, in the way that its argument names: "exception"
// (nobody catches it), "exception-in-thread", "fault", "jump" (to what is no code), "overflow" of the stack,
// "overflow-in-thread", or one of
// "exception-in-clean-up", "fault-in-clean-up" and "fault-in-report", where the handler's own work fails as
// well. "held-locks" is a fault while another thread holds the locks of the heap and of the loader for ever:
// nobody can be asked then, but there is a report. What the handler does first is told by files beside the
// program, crash.txt among them.
#include <windows.h>

#include <winternl.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <thread>

#include "app/crash_handler.h"
#include "app/crash_recorder.h"
#include "platform/environment.h"

extern "C" NTSYSAPI NTSTATUS NTAPI LdrLockLoaderLock(ULONG flags, ULONG* result, ULONG_PTR* cookie);

namespace {

void Note(const wchar_t* name) {
  std::wstring path(32768, L'\0');
  path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  std::ofstream(std::filesystem::path(path).parent_path() / name).put('x');
}

[[noreturn]] void Fail() {
  throw std::runtime_error("nobody catches this");
}

[[gnu::noinline]] void WriteToNowhere() {
  volatile int* volatile nowhere = nullptr;
  *nowhere = 1;
}

[[gnu::noinline]] int JumpToNoCode() {
  int (*volatile nowhere)() = nullptr;
  return nowhere() + 1;  // so that it is a call, which returns here
}

// A kilobyte per call: many calls use up any stack.
[[gnu::noinline]] int Recurse(int calls) {
  volatile char used[1024];
  used[0] = static_cast<char>(calls);
  return calls == 0 ? 0 : Recurse(calls - 1) + used[0];
}
constexpr int kTooDeep = 1 << 30;

// On a thread of its own: what it holds is held when this returns, and never let go.
void HoldLocks() {
  const HANDLE held = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  std::thread([held] {
    ULONG_PTR cookie = 0;
    LdrLockLoaderLock(0, nullptr, &cookie);
    HeapLock(GetProcessHeap());
    SetEvent(held);
    Sleep(INFINITE);
  }).detach();
  WaitForSingleObject(held, INFINITE);
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
  const std::string report = quillbeaker::ExecutableDirectory() + "crash.txt";
  quillbeaker::CrashRecorder recorder(report, "0.1");
  quillbeaker::NameThisThread("main");
  const auto write_report = [&](std::uint32_t code, CONTEXT& context) {
    if (how == L"fault-in-report") WriteToNowhere();
    if (!recorder.Write(code, context)) Note(L"no-report");
  };
  quillbeaker::InstallCrashHandler(L"Start it again?", L"Fatal error",
                                   {.release_instance =
                                        [&how] {
                                          if (how != L"held-locks") Note(L"released");
                                        },
                                    .write_report = write_report,
                                    .stop_listener = stop,
                                    .shut_down = [] { Note(L"shut_down"); }});
  if (how == L"exception-in-thread") std::thread(Fail).join();
  if (how == L"overflow") Recurse(kTooDeep);
  if (how == L"overflow-in-thread") std::thread(Recurse, kTooDeep).join();
  if (how.starts_with(L"fault")) WriteToNowhere();
  if (how == L"held-locks") {
    HoldLocks();
    WriteToNowhere();
  }
  if (how == L"jump") JumpToNoCode();
  Fail();
}
