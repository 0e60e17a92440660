// SPDX-License-Identifier: MIT
#pragma once

// Bitmaps of the resources that hold several pictures side by side.

#include <windows.h>

#include <commctrl.h>

#include "ui/handles.h"

namespace quillbeaker {

using UniqueImageList = UniqueHandle<HIMAGELIST, ImageList_Destroy>;

// Square pictures with transparency, the largest that are made for a screen of that resolution and never
// scaled: for BITMAP_RECYCLE_TOOLBAR, BITMAP_TRAINING_TOOLBAR and BITMAP_LEVELS 32, 48, 64 or 96 pixels, for
// BITMAP_SETTINGS_TREE and BITMAP_RESTORED half of that. A toolbar or tree that gets them does not own them.
// Null when there is no such bitmap.
UniqueImageList LoadPictures(int bitmap, int dpi);
// The same in grey and half transparent, for buttons that cannot be pressed: what the system makes of them by
// itself is a block of one colour in some colour schemes.
UniqueImageList LoadDisabledPictures(int bitmap, int dpi);

}  // namespace quillbeaker
