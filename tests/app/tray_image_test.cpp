// SPDX-License-Identifier: MIT
#include "app/tray_image.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace quillbeaker {
namespace {

constexpr std::uint32_t kRed = 0xC62828;

struct Pixels {
  int width = 0;
  int height = 0;
  std::vector<std::uint32_t> colours;
  std::size_t Count(std::uint32_t colour) const {
    std::size_t count = 0;
    for (const std::uint32_t one : colours) count += (one & 0xFFFFFF) == colour;
    return count;
  }
};

// The icon as it is drawn on a background.
Pixels Drawn(HICON icon, std::uint32_t background) {
  Pixels pixels{GetSystemMetrics(SM_CXSMICON), GetSystemMetrics(SM_CYSMICON), {}};
  BITMAPINFO info{};
  info.bmiHeader.biSize = sizeof info.bmiHeader;
  info.bmiHeader.biWidth = pixels.width;
  info.bmiHeader.biHeight = -pixels.height;
  info.bmiHeader.biPlanes = 1;
  info.bmiHeader.biBitCount = 32;
  void* bits = nullptr;
  const UniqueDeviceContext context(CreateCompatibleDC(nullptr));
  const UniqueBitmap bitmap(CreateDIBSection(context.get(), &info, DIB_RGB_COLORS, &bits, nullptr, 0));
  auto* const first = static_cast<std::uint32_t*>(bits);
  const std::size_t count = static_cast<std::size_t>(pixels.width) * static_cast<std::size_t>(pixels.height);
  std::fill_n(first, count, background);
  {
    const Selected selected(context.get(), bitmap.get());
    DrawIconEx(context.get(), 0, 0, icon, pixels.width, pixels.height, 0, nullptr, DI_NORMAL);
    GdiFlush();
  }
  pixels.colours.assign(first, first + count);
  return pixels;
}

TEST(MakeTrayImage, ZeroIsThePlainIcon) {
  const UniqueIcon image = MakeTrayImage(0);
  const UniqueIcon plain = LoadTrayIcon(101);
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(Drawn(image.get(), 0).colours, Drawn(plain.get(), 0).colours);
  EXPECT_EQ(Drawn(image.get(), 0).Count(kRed), 0U);
}

TEST(MakeTrayImage, EveryNumberHasItsOwnPicture) {
  std::vector<std::vector<std::uint32_t>> pictures;
  for (const unsigned number : {1U, 2U, 7U, 10U, 42U, 99U, 100U}) {
    const UniqueIcon image = MakeTrayImage(number);
    ASSERT_NE(image, nullptr);
    const Pixels pixels = Drawn(image.get(), 0);
    EXPECT_GT(pixels.Count(kRed), 20U) << number;
    EXPECT_GT(pixels.Count(0xFFFFFF), 5U) << number;
    EXPECT_EQ(std::count(pictures.begin(), pictures.end(), pixels.colours), 0) << number;
    pictures.push_back(pixels.colours);
  }
  EXPECT_EQ(Drawn(MakeTrayImage(4000000000U).get(), 0).colours, pictures.back());  // "99+"
}

TEST(MakeTrayImage, TheIconStaysTransparentBesideTheNumber) {
  const UniqueIcon image = MakeTrayImage(3);
  EXPECT_EQ(Drawn(image.get(), 0x123456).colours[0] & 0xFFFFFF, 0x123456U);
  EXPECT_EQ(Drawn(image.get(), 0xFEDCBA).colours[0] & 0xFFFFFF, 0xFEDCBAU);
}

TEST(MakeTrayImage, TheIconBesideTheNumberIsThePlainOne) {
  for (const std::uint32_t background : {0x000000U, 0x808080U, 0xFFFFFFU}) {
    const Pixels plain = Drawn(LoadTrayIcon(101).get(), background);
    const Pixels marked = Drawn(MakeTrayImage(3).get(), background);
    int worst = 0;
    for (std::size_t i = 0; i < plain.colours.size() / 3; ++i) {  // the upper third has no badge
      for (const int shift : {0, 8, 16}) {
        worst = std::max(worst, std::abs(static_cast<int>((plain.colours[i] >> shift) & 0xFF) -
                                         static_cast<int>((marked.colours[i] >> shift) & 0xFF)));
      }
    }
    EXPECT_LE(worst, 4) << background;
  }
}

TEST(MakeTrayImage, NothingServedHasAPictureOfItsOwn) {
  const Pixels pixels = Drawn(MakeTrayImage(0, TrayMark::kNotServing).get(), 0);
  EXPECT_GT(pixels.Count(0xFFC107), 15U);
  EXPECT_GT(pixels.Count(0x161616), 2U);
  EXPECT_EQ(pixels.Count(kRed), 0U);
  // In the place of a number.
  EXPECT_EQ(Drawn(MakeTrayImage(7, TrayMark::kNotServing).get(), 0).colours, pixels.colours);
}

TEST(MakeTrayImage, ADisabledFilterIsSeenBesideEveryNumber) {
  std::vector<std::vector<std::uint32_t>> pictures;
  for (const unsigned number : {0U, 1U, 42U, 100U}) {
    const Pixels marked = Drawn(MakeTrayImage(number, TrayMark::kFilterOff).get(), 0);
    const Pixels usual = Drawn(MakeTrayImage(number).get(), 0);
    std::size_t different = 0;
    for (std::size_t i = 0; i < usual.colours.size(); ++i) different += marked.colours[i] != usual.colours[i];
    EXPECT_GT(different, usual.colours.size() / 4) << number;
    EXPECT_EQ(std::count(pictures.begin(), pictures.end(), marked.colours), 0) << number;
    pictures.push_back(marked.colours);
  }
}

TEST(MakeTrayImage, LeaksNoObject) {
  MakeTrayImage(5);
  const DWORD before = GetGuiResources(GetCurrentProcess(), GR_GDIOBJECTS);
  for (unsigned i = 0; i < 2000; ++i) MakeTrayImage(i);
  EXPECT_LE(GetGuiResources(GetCurrentProcess(), GR_GDIOBJECTS), before + 2);
}

}  // namespace
}  // namespace quillbeaker
