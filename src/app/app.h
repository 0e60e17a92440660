// SPDX-License-Identifier: MIT
#pragma once

// The Windows program: a hidden main window that owns the tray icon, and everything that hangs on it. One
// object per process, made and used on the UI thread.

#include <windows.h>

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "app/command_table.h"
#include "app/listener_thread.h"
#include "app/mail_check_view.h"
#include "app/progress_bubble.h"
#include "app/session_observer.h"
#include "app/tray_icon.h"
#include "config/program.h"
#include "pop3/login_problem.h"
#include "ui/presenter/login_problem_memory.h"
#include "ui/presenter/trouble_notices.h"
#include "ui/trust_question_box.h"
#include "ui/ui_queue.h"
#include "ui/window_table.h"

namespace quillbeaker {

class App : private MailCheckView {
 public:
  App();
  ~App() override;
  App(const App&) = delete;
  App& operator=(const App&) = delete;

  // Everything up to the tray icon and the stores, in its fixed order; with `sets_up_account` that window
  // opens at the end. False when it was done already or the main window could not be made.
  bool Init(HINSTANCE instance, bool sets_up_account);
  // The port is opened, mail clients are served.
  void StartListener();
  // Tells, once, when mail could not be kept because a directory is read-only. Messages are handled
  // meanwhile.
  void WarnOfReadOnlyDirectory();
  // The message loop; gives the exit code.
  int Run();
  // Waits for the listener's end. False when it did not come in time.
  bool WaitForListener();

  // For the crash handler, any thread.
  void StopListenerAfterCrash();
  void ShutDownAfterCrash();

 private:
  static LRESULT CALLBACK WindowProcedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam);
  LRESULT Handle(HWND window, UINT message, WPARAM wparam, LPARAM lparam);
  bool CreateMainWindow(HINSTANCE instance);
  void PrepareStores();
  void FillCommandTable();

  void OnCommand(int command);
  void OnTrayCallback(UINT mouse_message);
  void OnTimer(UINT_PTR timer);
  void OnSessionBegin();
  void OnSessionEnd();
  void ShutDown();
  void DestroyOtherWindows();

  void ShowServing(bool serving) override;
  void ShowProgress(const ProgressChanges& changes) override;
  void AddDeleted(std::uint32_t count) override;
  void ShowStoreChange(const StoreChange& change) override;
  void ShowLoginResult(const LoginProblem& problem) override;
  void ShowTrouble(const MailTrouble& trouble) override;

  SettingsSurroundings PagesNeed();
  void AskToQuit();
  void OfferAccountSetup();
  void OnNotificationClicked();
  void Notify(const std::string& text);
  void SwitchFilter();
  void AskToDisableFilter();
  void EnableFilter();

  Program program_;
  TrayIcon tray_icon_;
  UiQueue queue_;
  // Of the windows, whose tasks may open boxes: it is not drained while a mail check waits.
  UiQueue window_queue_;
  SessionObserver observer_;
  ListenerThread listener_;
  std::unique_ptr<ProgressBubble> bubble_;
  CommandTable commands_;
  WindowSurroundings window_surroundings_;
  OpenWindows windows_;
  LoginProblemMemory login_problems_;
  TroubleNotices trouble_notices_;
  TrustQuestionBox trust_question_;
  std::vector<int> early_commands_;  // came before the stores were there
  HWND main_window_ = nullptr;
  UINT taskbar_created_ = 0;
  int served_port_ = 0;
  bool is_serving_ = false;
  // Offered by a notification: one that the shell has not shown yet, and the last one that it has shown.
  bool account_setup_waits_ = false;
  bool account_setup_is_offered_ = false;
  bool initialised_ = false;
  std::atomic<bool> crashed_ = false;  // nothing acts any more, the crash question aside
};

// Gives memory that is not needed now back to the system.
void TrimWorkingSet();

}  // namespace quillbeaker
