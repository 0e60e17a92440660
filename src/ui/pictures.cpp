// SPDX-License-Identifier: MIT
#include "ui/pictures.h"

#include <utility>

namespace quillbeaker {

namespace {

constexpr struct {
  int from_dpi;
  int number;  // added to that of the bitmap
} kSizes[] = {{288, 3000}, {192, 2000}, {144, 1000}, {0, 0}};

// The strips that have no alpha have this where nothing is drawn.
constexpr COLORREF kMask = RGB(252, 2, 252);

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
  const bool has_alpha = facts.bmBitsPixel == 32;
  const UINT kind = ILC_COLOR32 | static_cast<UINT>(has_alpha ? 0 : ILC_MASK);
  UniqueImageList pictures(
      ImageList_Create(facts.bmHeight, facts.bmHeight, kind, facts.bmWidth / facts.bmHeight, 0));
  if (pictures == nullptr) return nullptr;
  const int first = has_alpha ? ImageList_Add(pictures.get(), strip.get(), nullptr)
                              : ImageList_AddMasked(pictures.get(), strip.get(), kMask);
  return first == 0 ? std::move(pictures) : nullptr;
}

}  // namespace quillbeaker
