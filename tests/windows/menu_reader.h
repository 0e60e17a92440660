// SPDX-License-Identifier: MIT
#pragma once

// What menu_reader.dll is handed and fills in, inside the program that shows the menu. Plain data of fixed
// size: it is copied from one process to another as bytes.

#include <windows.h>

struct MenuItemSeen {
  UINT id;     // 0 for a separator
  UINT state;  // MFS_ flags
  UINT type;   // MFT_ flags
  RECT place;  // on the screen
  wchar_t text[128];
};

struct MenuSeen {
  HWND window;  // the menu's own window
  UINT count;   // of the items that follow, 0 when there was no menu to read
  MenuItemSeen items[40];
};
