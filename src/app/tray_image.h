// SPDX-License-Identifier: MIT
#pragma once

// The tray icon's picture: the plain icon, or its grey form, with the number of deleted messages or a mark on
// it.

#include "ui/handles.h"

namespace quillbeaker {

// Width and height, in pixels, of an icon in the notification area at the resolution of its screen.
int TrayIconSize();
// What else the picture tells.
enum class TrayMark {
  kNone,
  kNotServing,  // an exclamation mark in the place of the number
  kFilterOff,   // grey, and crossed out
};
// In that size. 0 without a mark gives the plain icon; from 100 on "99+" is shown.
UniqueIcon MakeTrayImage(unsigned deleted_count, TrayMark mark = TrayMark::kNone);
// An icon of the resources, in that size as well.
UniqueIcon LoadTrayIcon(int icon_id);

}  // namespace quillbeaker
