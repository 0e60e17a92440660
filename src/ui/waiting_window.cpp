// SPDX-License-Identifier: MIT
#include "ui/waiting_window.h"

namespace quillbeaker {

WaitingWindow::WaitingWindow(HWND owner, int template_id) : Dialog(template_id) {
  if (CreateModeless(owner)) {
    ShowWindow(window(), SW_SHOWNOACTIVATE);
    UpdateWindow(window());
  }
}

}  // namespace quillbeaker
