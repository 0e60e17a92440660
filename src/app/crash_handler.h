// SPDX-License-Identifier: MIT
#pragma once

// The last chance: an unhandled fault, or an exception that nobody caught, on any thread. The program is shut
// down as far as that is possible and the person is asked whether it shall start again.

#include <windows.h>

#include <cstdint>
#include <functional>
#include <string>

namespace quillbeaker {

// The exception code of a C++ exception, as GCC raises it: what is told when nobody caught one, and when the
// program ended itself by std::terminate.
inline constexpr std::uint32_t kUncaughtException = 0x20474343;

// On the thread that failed, in this order. A fault in one of the first two goes on to the next; a fault
// later goes on to the question.
struct CrashActions {
  // Makes room for a new instance. Whatever thread it runs on.
  std::function<void()> release_instance;
  // Keeps evidence: the exception's code, and what the thread was doing.
  std::function<void(std::uint32_t, CONTEXT&)> write_report;
  std::function<void()> stop_listener;
  // Removes the tray icon and closes the sockets; windows belong to another thread perhaps and are left
  // alone.
  std::function<void()> shut_down;
};

// Takes effect for the whole process, a stack overflow included: the calling thread, and every thread that
// begins later or began since the process did, keeps some of its stack for it. `question` and `caption` are
// kept, so that nothing has to be loaded when it is too late for that.
void InstallCrashHandler(std::wstring question, std::wstring caption, CrashActions actions);

}  // namespace quillbeaker
