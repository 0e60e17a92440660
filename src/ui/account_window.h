// SPDX-License-Identifier: MIT
#pragma once

// The window that sets up a mail account. Moves data between its controls and its presenter, and runs the
// test on a thread of its own.

#include <windows.h>

#include <string>

#include "extras/account/background_account_check.h"
#include "ui/page_controls.h"
#include "ui/presenter/account_window.h"
#include "ui/window_table.h"

namespace quillbeaker {

class AccountWindow : public TableWindow {
 public:
  AccountWindow(WindowSurroundings& surroundings, int argument);

 private:
  bool OnInit() override;
  bool OnCommand(int id, int notification) override;
  void OnClosing() override;
  void OnDestroyed() override;

  AccountSurroundings PresenterNeeds();
  // Leaves nothing of it in the field or on the way from there.
  std::string TakePassword();

  WindowSurroundings& surroundings_;
  PageControls controls_;
  BackgroundAccountCheck check_;
  AccountPresenter presenter_;
};

}  // namespace quillbeaker
