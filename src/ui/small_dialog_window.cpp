// SPDX-License-Identifier: MIT
#include "ui/small_dialog_window.h"

#include "ui/fade_in.h"
#include "ui/wide_text.h"

namespace quillbeaker {

SmallDialogWindow::SmallDialogWindow(int template_id, SmallDialog& presenter, const Program& program)
    : Dialog(template_id), presenter_(presenter), program_(program), controls_(*this, program) {}

bool SmallDialogWindow::OnInit() {
  if (const std::string caption = presenter_.Caption(); !caption.empty()) {
    SetWindowTextW(window(), Wide(caption).c_str());
  }
  presenter_.Load(controls_);
  FadeIn(window(), program_);
  return !IsChild(window(), GetFocus());
}

bool SmallDialogWindow::OnCommand(int id, int notification) {
  if (notification == EN_CHANGE) {
    presenter_.Edited(controls_, id);
    return true;
  }
  if (notification != BN_CLICKED) return false;
  if (id == IDCANCEL) {
    End(IDCANCEL);
  } else if (id != IDOK) {
    presenter_.Pressed(controls_, id);
    if (presenter_.IsAnswered()) End(IDOK);
  } else if (presenter_.Ok(controls_)) {
    End(IDOK);
  }
  return true;
}

}  // namespace quillbeaker
