// SPDX-License-Identifier: MIT
#include "ui/pictures.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "ui/resource.h"

namespace quillbeaker {
namespace {

using Pixels = std::vector<std::uint32_t>;  // 0xRRGGBB

// One picture of the list, drawn on that colour.
Pixels Drawn(HIMAGELIST pictures, int index, int size, COLORREF ground) {
  const UniqueDeviceContext memory(CreateCompatibleDC(nullptr));
  BITMAPINFO info{};
  info.bmiHeader = {sizeof(BITMAPINFOHEADER), size, -size, 1, 32, BI_RGB, 0, 0, 0, 0, 0};
  void* bits = nullptr;
  const UniqueBitmap bitmap(CreateDIBSection(memory.get(), &info, DIB_RGB_COLORS, &bits, nullptr, 0));
  const Selected selected(memory.get(), bitmap.get());
  const RECT all{0, 0, size, size};
  const UniqueBrush brush(CreateSolidBrush(ground));
  FillRect(memory.get(), &all, brush.get());
  EXPECT_TRUE(ImageList_Draw(pictures, index, memory.get(), 0, 0, ILD_TRANSPARENT));
  GdiFlush();
  const auto* const first = static_cast<const std::uint32_t*>(bits);
  Pixels pixels(first, first + size * size);
  for (std::uint32_t& pixel : pixels) pixel &= 0xFFFFFF;
  return pixels;
}

std::size_t Count(const Pixels& pixels, std::uint32_t colour) {
  return static_cast<std::size_t>(std::count(pixels.begin(), pixels.end(), colour));
}

// Whether every pixel has three equal neighbours in its square of two by two, as in a picture of half the
// size that was stretched.
bool IsStretched(const Pixels& pixels, int size) {
  const auto at = [&](int x, int y) { return pixels[static_cast<std::size_t>(y * size + x)]; };
  for (int y = 0; y + 1 < size; y += 2) {
    for (int x = 0; x + 1 < size; x += 2) {
      if (at(x, y) != at(x + 1, y) || at(x, y) != at(x, y + 1) || at(x, y) != at(x + 1, y + 1)) return false;
    }
  }
  return true;
}

struct Strip {
  int bitmap;
  int pictures;
  int size;  // at 96 dpi
};

constexpr Strip kStrips[] = {{BITMAP_RECYCLE_TOOLBAR, 5, 32},
                             {BITMAP_TRAINING_TOOLBAR, 6, 32},
                             {BITMAP_LEVELS, 5, 32},
                             {BITMAP_SETTINGS_TREE, 10, 16},
                             {BITMAP_RESTORED, 1, 16}};

TEST(Pictures, AreSharpAtEveryResolution) {
  for (const Strip& strip : kStrips) {
    for (const int dpi : {96, 144, 192, 288}) {
      const std::string where = std::to_string(strip.bitmap) + " at " + std::to_string(dpi);
      const UniqueImageList pictures = LoadPictures(strip.bitmap, dpi);
      ASSERT_NE(pictures, nullptr) << where;
      EXPECT_EQ(ImageList_GetImageCount(pictures.get()), strip.pictures) << where;
      int width = 0;
      int height = 0;
      ASSERT_TRUE(ImageList_GetIconSize(pictures.get(), &width, &height));
      const int size = strip.size * dpi / 96;
      EXPECT_EQ(width, size) << where;
      EXPECT_EQ(height, size) << where;
      std::set<Pixels> different;
      for (int i = 0; i < strip.pictures; ++i) {
        const Pixels pixels = Drawn(pictures.get(), i, size, RGB(255, 255, 255));
        const std::size_t ground = Count(pixels, 0xFFFFFF);
        EXPECT_GT(ground, pixels.size() / 20) << where;      // its corners are transparent
        EXPECT_LT(ground, pixels.size() * 9 / 10) << where;  // and something is drawn
        EXPECT_EQ(Count(pixels, 0xFC02FC), 0U) << where;     // nothing of the mask is seen
        EXPECT_FALSE(IsStretched(pixels, size)) << where;
        different.insert(pixels);
      }
      EXPECT_EQ(different.size(), static_cast<std::size_t>(strip.pictures)) << where;
    }
  }
}

TEST(Pictures, BetweenTwoResolutionsTheSmallerIsTaken) {
  int width = 0;
  int height = 0;
  for (const auto& [dpi, size] : {std::pair{120, 32}, {168, 48}, {240, 64}, {480, 96}, {72, 32}}) {
    const UniqueImageList pictures = LoadPictures(BITMAP_TRAINING_TOOLBAR, dpi);
    ASSERT_TRUE(ImageList_GetIconSize(pictures.get(), &width, &height));
    EXPECT_EQ(width, size) << dpi;
  }
}

TEST(Pictures, DisabledOnesAreGreyAndSeenOnEveryGround) {
  for (const int dpi : {96, 192}) {
    const UniqueImageList pictures = LoadDisabledPictures(BITMAP_RECYCLE_TOOLBAR, dpi);
    ASSERT_NE(pictures, nullptr);
    for (const COLORREF ground : {RGB(255, 255, 255), RGB(0, 0, 0)}) {
      const Pixels pixels = Drawn(pictures.get(), 0, 32 * dpi / 96, ground);
      const std::size_t plain = Count(pixels, ground);
      EXPECT_GT(plain, pixels.size() / 5);
      EXPECT_LT(plain, pixels.size() * 9 / 10);
      const auto is_grey = [](std::uint32_t pixel) {
        return (pixel & 0xFF) == (pixel >> 8 & 0xFF) && (pixel & 0xFF) == pixel >> 16;
      };
      EXPECT_TRUE(std::all_of(pixels.begin(), pixels.end(), is_grey)) << dpi;
    }
  }
}

TEST(Pictures, ANumberWithoutBitmapGivesNone) {
  EXPECT_EQ(LoadPictures(31999, 96), nullptr);
  EXPECT_EQ(LoadDisabledPictures(31999, 96), nullptr);
}

}  // namespace
}  // namespace quillbeaker
