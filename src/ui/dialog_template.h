// SPDX-License-Identifier: MIT
#pragma once

// Templates of dialogs as the system takes them, with the font of this system in place of their own, and the
// same dialogs at another resolution.

#include <windows.h>

#include <vector>

#include "ui/handles.h"
#include "ui/presenter/dialog_font.h"

namespace quillbeaker {

// A template of the resources, which must be a DIALOGEX with a font; empty when there is none.
class DialogTemplate {
 public:
  DialogTemplate(int id, const DialogFont& font);
  // Null for an empty one. Valid as long as this object.
  const DLGTEMPLATE* get() const;

 private:
  std::vector<DWORD> words_;  // the system wants it aligned so
};

// What this system has. Asked once.
const DialogFont& SystemDialogFont();
// For tests: every dialog that is made from now on.
void UseDialogFont(const DialogFont& font);

UniqueFont MakeDialogFont(const DialogFont& font, int dpi);

// The height to give a control that has that place and is to keep its height: that of a combo box is the one
// of its open list, of which the system shows only the closed part.
LONG HeightToSet(HWND control, const RECT& place);

// Moves and sizes every control of a dialog, those of its child dialogs included, from one resolution to
// another and gives them that font.
void RescaleControls(HWND dialog, HFONT font, int from_dpi, int to_dpi);

}  // namespace quillbeaker
