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

UniqueBitmap LoadStripFor(int bitmap, int dpi) {
  UniqueBitmap strip;
  for (const auto& size : kSizes) {
    if (strip == nullptr && dpi >= size.from_dpi) strip = LoadStrip(bitmap + size.number);
  }
  return strip;
}

// Neither black nor white, so that it is seen on a ground of either.
BYTE GreyOf(const RGBQUAD& pixel) {
  constexpr int kDarkest = 80;
  const int luminance = (pixel.rgbRed * 30 + pixel.rgbGreen * 59 + pixel.rgbBlue * 11) / 100;
  return static_cast<BYTE>(kDarkest + luminance / 2);
}

// A strip of 32 bits with straight alpha, whatever the one it is made from has.
UniqueBitmap Greyed(HBITMAP strip, const BITMAP& facts) {
  constexpr int kPercentSeen = 60;
  BITMAPINFO info{};
  info.bmiHeader = {sizeof(BITMAPINFOHEADER), facts.bmWidth, facts.bmHeight, 1, 32, BI_RGB, 0, 0, 0, 0, 0};
  void* bits = nullptr;
  UniqueBitmap grey(CreateDIBSection(nullptr, &info, DIB_RGB_COLORS, &bits, nullptr, 0));
  const WindowContext screen(nullptr);
  if (grey == nullptr || GetDIBits(screen.get(), strip, 0, static_cast<UINT>(facts.bmHeight), bits, &info,
                                   DIB_RGB_COLORS) == 0) {
    return nullptr;
  }
  const bool has_alpha = facts.bmBitsPixel == 32;
  auto* const pixels = static_cast<RGBQUAD*>(bits);
  for (LONG i = 0; i < facts.bmWidth * facts.bmHeight; ++i) {
    RGBQUAD& pixel = pixels[i];
    const bool is_mask = RGB(pixel.rgbRed, pixel.rgbGreen, pixel.rgbBlue) == kMask;
    const int alpha = has_alpha ? pixel.rgbReserved : is_mask ? 0 : 255;
    const BYTE level = GreyOf(pixel);
    pixel = {level, level, level, static_cast<BYTE>(alpha * kPercentSeen / 100)};
  }
  return grey;
}

UniqueImageList PicturesOf(HBITMAP strip) {
  BITMAP facts{};
  if (strip == nullptr || GetObjectW(strip, sizeof facts, &facts) == 0 || facts.bmHeight <= 0) {
    return nullptr;
  }
  const bool has_alpha = facts.bmBitsPixel == 32;
  const UINT kind = ILC_COLOR32 | static_cast<UINT>(has_alpha ? 0 : ILC_MASK);
  UniqueImageList pictures(
      ImageList_Create(facts.bmHeight, facts.bmHeight, kind, facts.bmWidth / facts.bmHeight, 0));
  if (pictures == nullptr) return nullptr;
  const int first = has_alpha ? ImageList_Add(pictures.get(), strip, nullptr)
                              : ImageList_AddMasked(pictures.get(), strip, kMask);
  return first == 0 ? std::move(pictures) : nullptr;
}

}  // namespace

UniqueImageList LoadPictures(int bitmap, int dpi) {
  return PicturesOf(LoadStripFor(bitmap, dpi).get());
}

UniqueImageList LoadDisabledPictures(int bitmap, int dpi) {
  const UniqueBitmap strip = LoadStripFor(bitmap, dpi);
  BITMAP facts{};
  if (strip == nullptr || GetObjectW(strip.get(), sizeof facts, &facts) == 0) return nullptr;
  return PicturesOf(Greyed(strip.get(), facts).get());
}

}  // namespace quillbeaker
