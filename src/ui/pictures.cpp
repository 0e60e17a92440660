// SPDX-License-Identifier: MIT
#include "ui/pictures.h"

namespace quillbeaker {

namespace {

constexpr struct {
  int from_dpi;
  int number;  // added to that of the bitmap
} kSizes[] = {{288, 3000}, {192, 2000}, {144, 1000}, {0, 0}};

UniqueBitmap LoadStrip(int bitmap) {
  return UniqueBitmap(static_cast<HBITMAP>(LoadImageW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(bitmap),
                                                      IMAGE_BITMAP, 0, 0, LR_CREATEDIBSECTION)));
}

}  // namespace

UniqueImageList LoadPictures(int bitmap, int dpi) {
  UniqueBitmap strip;
  for (const auto& size : kSizes) {
    if (strip == nullptr && dpi >= size.from_dpi) strip = LoadStrip(bitmap + size.number);
  }
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
