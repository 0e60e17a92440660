// SPDX-License-Identifier: MIT
#pragma once

// A window without buttons that says that something takes a while. It stands as long as the object lives.

#include "ui/dialog.h"

namespace quillbeaker {

class WaitingWindow : public Dialog {
 public:
  // `template_id` is a dialog of texts alone.
  WaitingWindow(HWND owner, int template_id);

 private:
  bool OnCommand(int, int) override { return true; }  // nothing closes it
};

}  // namespace quillbeaker
