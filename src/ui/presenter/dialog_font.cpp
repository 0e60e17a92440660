// SPDX-License-Identifier: MIT
#include "ui/presenter/dialog_font.h"

namespace quillbeaker {

DialogFont ChooseDialogFont(bool has_segoe_ui) {
  return has_segoe_ui ? DialogFont{"Segoe UI", 9} : DialogFont{"MS Shell Dlg 2", 8};
}

}  // namespace quillbeaker
