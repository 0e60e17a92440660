// SPDX-License-Identifier: MIT
#pragma once

// Bitmaps of the resources that hold several pictures side by side.

#include <windows.h>

#include <commctrl.h>

#include "ui/handles.h"

namespace quillbeaker {

using UniqueImageList = UniqueHandle<HIMAGELIST, ImageList_Destroy>;

// Square pictures with transparency, the largest that are made for a screen of that resolution. Null when
// there is no such bitmap.
UniqueImageList LoadPictures(int bitmap, int dpi);

}  // namespace quillbeaker
