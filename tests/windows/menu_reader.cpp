// SPDX-License-Identifier: MIT
//
// menu_reader.dll: a menu's items can only be read by the process that made it, so the window driver loads
// this into that process for a moment. It only looks.
#include "menu_reader.h"

extern "C" __declspec(dllexport) DWORD WINAPI ReadMenu(void* argument) {
  auto* const seen = static_cast<MenuSeen*>(argument);
  seen->count = 0;
  constexpr UINT kGetMenu = 0x01E1;  // MN_GETHMENU
  const auto menu = reinterpret_cast<HMENU>(SendMessageW(seen->window, kGetMenu, 0, 0));
  const int count = GetMenuItemCount(menu);
  for (int i = 0; i < count && i < static_cast<int>(sizeof seen->items / sizeof *seen->items); ++i) {
    MenuItemSeen& item = seen->items[i];
    MENUITEMINFOW info{};
    info.cbSize = sizeof info;
    info.fMask = MIIM_ID | MIIM_STATE | MIIM_FTYPE | MIIM_STRING;
    info.dwTypeData = item.text;
    info.cch = sizeof item.text / sizeof *item.text;
    if (!GetMenuItemInfoW(menu, static_cast<UINT>(i), TRUE, &info)) {
      return 0;
    }
    item.id = (info.fType & MFT_SEPARATOR) != 0 ? 0 : info.wID;
    item.state = info.fState;
    item.type = info.fType;
    GetMenuItemRect(nullptr, menu, static_cast<UINT>(i), &item.place);
    seen->count = static_cast<UINT>(i) + 1;
  }
  return seen->count;
}
