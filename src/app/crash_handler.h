// SPDX-License-Identifier: MIT
#pragma once

// The last chance: an unhandled fault, or an exception that nobody caught, on any thread. The program is shut
// down as far as that is possible and the person is asked whether it shall start again.

#include <functional>
#include <string>

namespace quillbeaker {

struct CrashActions {
  // Makes room for a new instance. Whatever thread it runs on.
  std::function<void()> release_instance;
  std::function<void()> stop_listener;
  // Removes the tray icon and closes the sockets; windows belong to another thread perhaps and are left
  // alone.
  std::function<void()> shut_down;
};

// Takes effect for the whole process. `question` and `caption` are kept, so that nothing has to be loaded
// when it is too late for that.
void InstallCrashHandler(std::wstring question, std::wstring caption, CrashActions actions);

}  // namespace quillbeaker
