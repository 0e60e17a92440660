// SPDX-License-Identifier: MIT
#include "ui/learning_window.h"

#include <windows.h>

#include <commctrl.h>

#include <utility>

#include "ui/resource.h"

namespace quillbeaker {
namespace {

constexpr UINT_PTR kTimer = 1;
constexpr UINT kMilliseconds = 30;

}  // namespace

LearningWindow::LearningWindow(HWND owner, std::uint32_t marked, std::shared_ptr<LessonProgress> progress)
    : Dialog(DIALOG_LEARNING), marked_(marked), progress_(std::move(progress)) {
  if (!CreateModeless(owner)) return;
  ShowWindow(window(), SW_SHOW);
  UpdateWindow(window());
}

bool LearningWindow::OnInit() {
  SendMessageW(Control(LEARNING_BAR), PBM_SETRANGE32, 0, static_cast<LPARAM>(marked_));
  SendMessageW(Control(LEARNING_BAR), PBM_SETSTEP, 1, 0);
  SetTimer(window(), kTimer, kMilliseconds, nullptr);
  return true;
}

void LearningWindow::OnTimer(UINT_PTR) {
  SendMessageW(Control(LEARNING_BAR), PBM_SETPOS, progress_->counted.load(), 0);
}

// The dialog goes when the lesson has ended: what was read until now is still to be saved.
bool LearningWindow::OnCommand(int id, int /*notification*/) {
  if (id != IDCANCEL) return false;
  progress_->is_stopped = true;
  EnableWindow(Control(IDCANCEL), FALSE);
  return true;
}

}  // namespace quillbeaker
