// SPDX-License-Identifier: MIT
#include "app/progress_bubble.h"

#include <gtest/gtest.h>

#include <atomic>

namespace quillbeaker {
namespace {

// What the bubble draws at a place of its title, away from icon and text.
COLORREF TitleColour(const ProgressBubble& bubble) {
  const HDC screen = GetDC(nullptr);
  const UniqueDeviceContext context(CreateCompatibleDC(screen));
  const UniqueBitmap bitmap(CreateCompatibleBitmap(screen, 300, 200));
  ReleaseDC(nullptr, screen);
  const Selected selected(context.get(), bitmap.get());
  SendMessageW(bubble.window(), WM_PRINTCLIENT, reinterpret_cast<WPARAM>(context.get()), PRF_CLIENT);
  return GetPixel(context.get(), 40, 3);
}

TEST(ProgressBubble, TakesTheSystemsColoursWhereContrastIsToBeHigh) {
  std::atomic<bool> cancelled = false;
  ProgressBubble bubble(nullptr, cancelled);
  bubble.Show();
  ASSERT_NE(bubble.window(), nullptr);
  EXPECT_EQ(TitleColour(bubble), RGB(0x1F, 0x4E, 0x79));
  bubble.UseHighContrast(true);
  EXPECT_EQ(TitleColour(bubble), GetSysColor(COLOR_HIGHLIGHT));
  bubble.UseHighContrast(false);
  EXPECT_EQ(TitleColour(bubble), RGB(0x1F, 0x4E, 0x79));
}

}  // namespace
}  // namespace quillbeaker
