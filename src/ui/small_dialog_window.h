// SPDX-License-Identifier: MIT
#pragma once

// The window of a small modal dialog with a presenter, as they open from a page with a list.

#include "config/program.h"
#include "ui/dialog.h"
#include "ui/page_controls.h"
#include "ui/presenter/list_page.h"

namespace quillbeaker {

class SmallDialogWindow : public Dialog {
 public:
  // Both must outlive this object. RunModal gives IDOK when the presenter's Ok closed it.
  SmallDialogWindow(int template_id, SmallDialog& presenter, const Program& program);

 private:
  bool OnInit() override;
  bool OnCommand(int id, int notification) override;

  SmallDialog& presenter_;
  const Program& program_;
  PageControls controls_;
};

}  // namespace quillbeaker
