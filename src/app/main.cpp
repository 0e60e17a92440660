// SPDX-License-Identifier: MIT
// Quillbeaker.exe: the program in the notification area.
#include <windows.h>

#include <commctrl.h>
#include <ole2.h>

#include <cstdlib>
#include <string>

#include "app/address_book_child.h"
#include "app/app.h"
#include "app/crash_handler.h"
#include "app/crash_recorder.h"
#include "app/single_instance.h"
#include "config/texts.h"
#include "extras/crash_report.h"
#include "platform/connection.h"
#include "platform/environment.h"
#include "ui/resource.h"
#include "ui/wide_text.h"

namespace quillbeaker {
namespace {

constexpr int kExitOtherInstance = 1;
constexpr wchar_t kSetUpAccount[] = L"/setup";  // for an installer
constexpr ULONGLONG kWaitForWindow = 5000;      // milliseconds
constexpr DWORD kLookAgainAfter = 100;

void PrepareSystemLibraries() {
  const INITCOMMONCONTROLSEX controls{sizeof controls, 0xFF};
  InitCommonControlsEx(&controls);
  OleInitialize(nullptr);
}

// Another start may have come so far only that it is the first one, but has no window yet. Null when there is
// none to be found.
HWND FindMainWindow() {
  const std::wstring title = WideText(Text::kTitle);
  const ULONGLONG end = GetTickCount64() + kWaitForWindow;
  for (;;) {
    const HWND window = FindWindowW(title.c_str(), title.c_str());
    if (window != nullptr || GetTickCount64() >= end) {
      return window;
    }
    Sleep(kLookAgainAfter);
  }
}

// The one that runs opens the window. False when there is none to be found.
bool HandOverSetup() {
  const HWND other = FindMainWindow();
  if (other == nullptr) {
    return false;
  }
  DWORD process = 0;
  GetWindowThreadProcessId(other, &process);
  AllowSetForegroundWindow(process);  // this one was started by the person just now
  return PostMessageW(other, WM_COMMAND, COMMAND_ACCOUNT, 0) != FALSE;
}

int Main(HINSTANCE instance, bool sets_up_account) {
  PrepareSystemLibraries();
  SingleInstance single_instance;
  if (!single_instance.is_first()) {
    return sets_up_account && HandOverSetup() ? 0 : kExitOtherInstance;
  }
  StartNetworking();
  // Never destroyed: a question on a thread of its own may still stand when the process ends.
  App* const app = new App;
  app->Init(instance, sets_up_account);
  NameThisThread("windows");
  // Never destroyed: a fault may come at any time.
  auto* const recorder =
      new CrashRecorder(ExecutableDirectory() + std::string(kCrashFileName), EnglishText(Text::kVersion));
  InstallCrashHandler(WideText(Text::kCrashQuestion), WideText(Text::kFatalError),
                      {.release_instance = [&single_instance] { single_instance.Release(); },
                       .write_report = [recorder](std::uint32_t code,
                                                  CONTEXT& context) { (void)recorder->Write(code, context); },
                       .stop_listener = [app] { app->StopListenerAfterCrash(); },
                       .shut_down = [app] { app->ShutDownAfterCrash(); }});
  app->StartListener();
  app->WarnOfReadOnlyDirectory();
  const int exit_code = app->Run();
  if (!app->WaitForListener()) {
    // The listener still works with the program's objects: the process ends under both of them.
    single_instance.Release();
    ExitProcess(static_cast<UINT>(exit_code));
  }
  return exit_code;
}

}  // namespace
}  // namespace quillbeaker

int WINAPI wWinMain(HINSTANCE instance, HINSTANCE, PWSTR arguments, int) {
  if (quillbeaker::IsAddressBookChild(arguments)) return quillbeaker::ReadAddressBook();
  const bool sets_up_account = __argc > 1 && lstrcmpiW(__wargv[1], quillbeaker::kSetUpAccount) == 0;
  return quillbeaker::Main(instance, sets_up_account);
}
