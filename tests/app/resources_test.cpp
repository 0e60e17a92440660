// SPDX-License-Identifier: MIT
// The pictures are in the program, each under its number and with all its images side by side.
#include <windows.h>

#include <gtest/gtest.h>

#include "ui/handles.h"
#include "ui/resource.h"

namespace quillbeaker {
namespace {

TEST(Resources, EveryIconIsThereInEverySize) {
  for (const int id : {ICON_PROGRAM, ICON_SESSION_0, ICON_SESSION_1, ICON_SESSION_2, ICON_SESSION_3,
                       ICON_MARK_SPAM, ICON_MARK_GOOD}) {
    for (const int size : {16, 20, 24, 32, 48}) {
      const UniqueIcon icon(static_cast<HICON>(
          LoadImageW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(id), IMAGE_ICON, size, size, 0)));
      EXPECT_NE(icon, nullptr) << id << " at " << size;
    }
  }
}

TEST(Resources, EveryBitmapHoldsItsImagesSideBySide) {
  constexpr struct {
    int id;
    int images;
    int size;  // pixels
  } kBitmaps[] = {{BITMAP_RESTORED, 1, 16},           {BITMAP_RECYCLE_TOOLBAR, 5, 32},
                  {BITMAP_TRAINING_TOOLBAR, 6, 32},   {BITMAP_LEVELS, 5, 32},
                  {BITMAP_SETTINGS_TREE, 10, 16},     {BITMAP_LEVELS_150, 5, 48},
                  {BITMAP_LEVELS_200, 5, 64},         {BITMAP_LEVELS_300, 5, 96},
                  {BITMAP_SETTINGS_TREE_150, 10, 24}, {BITMAP_SETTINGS_TREE_200, 10, 32},
                  {BITMAP_SETTINGS_TREE_300, 10, 48}};
  for (const auto& expected : kBitmaps) {
    const UniqueBitmap bitmap(static_cast<HBITMAP>(LoadImageW(
        GetModuleHandleW(nullptr), MAKEINTRESOURCEW(expected.id), IMAGE_BITMAP, 0, 0, LR_CREATEDIBSECTION)));
    ASSERT_NE(bitmap, nullptr) << expected.id;
    BITMAP facts{};
    ASSERT_NE(GetObjectW(bitmap.get(), sizeof facts, &facts), 0);
    EXPECT_EQ(facts.bmWidth, expected.images * expected.size) << expected.id;
    EXPECT_EQ(facts.bmHeight, expected.size) << expected.id;
  }
}

}  // namespace
}  // namespace quillbeaker
