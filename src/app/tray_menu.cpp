// SPDX-License-Identifier: MIT
#include "app/tray_menu.h"

#include "filter/filter_settings.h"
#include "ui/handles.h"
#include "ui/resource.h"
#include "ui/translation.h"

namespace quillbeaker {
namespace {

void GreyCommandsWithoutWindow(HMENU menu, const CommandTable& commands) {
  for (int i = 0; i < GetMenuItemCount(menu); ++i) {
    const UINT command = GetMenuItemID(menu, i);
    // Separators have the id 0.
    if (command != 0 && !commands.Has(static_cast<int>(command))) {
      EnableMenuItem(menu, static_cast<UINT>(i), MF_BYPOSITION | MF_GRAYED);
    }
  }
}

}  // namespace

bool TrainingAreaIsInUse(const Program& program) {
  return ReadFilterSettings(program).LearningIsOn();
}

void ShowTrayMenu(HWND main_window, const Program& program, const CommandTable& commands) {
  const UniqueMenu bar(LoadMenuW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(MENU_TRAY)));
  const HMENU menu = GetSubMenu(bar.get(), 0);
  if (menu == nullptr) {
    return;
  }
  if (program.Read(keys::kEnable) == 0) {
    CheckMenuItem(menu, COMMAND_SWITCH_FILTER, MF_BYCOMMAND | MF_CHECKED);
  }
  GreyCommandsWithoutWindow(menu, commands);
  if (!TrainingAreaIsInUse(program)) {
    EnableMenuItem(menu, COMMAND_TRAINING_AREA, MF_BYCOMMAND | MF_GRAYED);
  }
  CurrentLanguage().TranslateMenu(bar.get(), MENU_TRAY);
  POINT mouse{};
  GetCursorPos(&mouse);
  // Without the foreground the menu would not close by a click elsewhere; without the message after it, it
  // would close at once the next time.
  SetForegroundWindow(main_window);
  TrackPopupMenu(menu, TPM_RIGHTALIGN | TPM_RIGHTBUTTON, mouse.x, mouse.y, 0, main_window, nullptr);
  PostMessageW(main_window, WM_NULL, 0, 0);
}

}  // namespace quillbeaker
