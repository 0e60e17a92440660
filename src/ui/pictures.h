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
// BITMAP_SETTINGS_TREE half of that. A toolbar or tree that gets them does not own them. Null when there is
// no such bitmap.
UniqueImageList LoadPictures(int bitmap, int dpi);

}  // namespace quillbeaker
