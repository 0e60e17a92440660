// SPDX-License-Identifier: MIT
#include "ui/pictures.h"

namespace quillbeaker {

UniqueImageList LoadPictures(int bitmap) {
  const UniqueBitmap strip(static_cast<HBITMAP>(LoadImageW(
      GetModuleHandleW(nullptr), MAKEINTRESOURCEW(bitmap), IMAGE_BITMAP, 0, 0, LR_CREATEDIBSECTION)));
  BITMAP facts{};
  if (strip == nullptr || GetObjectW(strip.get(), sizeof facts, &facts) == 0 || facts.bmHeight <= 0) {
    return nullptr;
  }
  UniqueImageList pictures(
      ImageList_Create(facts.bmHeight, facts.bmHeight, ILC_COLOR32, facts.bmWidth / facts.bmHeight, 0));
  if (pictures != nullptr) ImageList_Add(pictures.get(), strip.get(), nullptr);
  return pictures;
}

}  // namespace quillbeaker
