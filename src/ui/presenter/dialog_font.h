// SPDX-License-Identifier: MIT
#pragma once

// The font of every window that is made from a template. Knows no window.

#include <string>

namespace quillbeaker {

struct DialogFont {
  std::string face;
  int points = 0;
};

// The system's own font since Windows Vista where the system has it, else the one that every system maps to
// something readable.
DialogFont ChooseDialogFont(bool has_segoe_ui);

}  // namespace quillbeaker
