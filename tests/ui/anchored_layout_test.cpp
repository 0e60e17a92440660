// SPDX-License-Identifier: MIT
#include "ui/anchored_layout.h"

#include <gtest/gtest.h>

#include "ui/bare_list_window.h"

namespace quillbeaker {
namespace {

class AnchoredLayoutTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(window.CreateModeless(nullptr));
    made = PlaceOf(window.window());
    list = InWindow(BARE_LIST_ROWS);
    count = InWindow(BARE_LIST_COUNT);
    button = InWindow(IDCANCEL);
  }
  static RECT PlaceOf(HWND one) {
    RECT place{};
    GetWindowRect(one, &place);
    return place;
  }
  RECT InWindow(int id) const {
    RECT place = PlaceOf(window.Control(id));
    MapWindowPoints(nullptr, window.window(), reinterpret_cast<POINT*>(&place), 2);
    return place;
  }
  void Size(int width, int height) const {
    SetWindowPos(window.window(), nullptr, 0, 0, width, height, SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
  }
  static void ExpectAt(const RECT& place, LONG left, LONG top, LONG right, LONG bottom) {
    EXPECT_EQ(place.left, left);
    EXPECT_EQ(place.top, top);
    EXPECT_EQ(place.right, right);
    EXPECT_EQ(place.bottom, bottom);
  }

  test::BareListWindow window;
  RECT made{};
  RECT list{};
  RECT count{};
  RECT button{};
};

TEST_F(AnchoredLayoutTest, ControlsFollowTheEdgesTheyAreAnchoredTo) {
  Size(static_cast<int>(made.right - made.left) + 80, static_cast<int>(made.bottom - made.top) + 60);
  ExpectAt(InWindow(BARE_LIST_ROWS), list.left, list.top, list.right + 80, list.bottom + 60);
  ExpectAt(InWindow(BARE_LIST_COUNT), count.left, count.top + 60, count.right, count.bottom + 60);
  ExpectAt(InWindow(IDCANCEL), button.left + 80, button.top + 60, button.right + 80, button.bottom + 60);
  Size(static_cast<int>(made.right - made.left), static_cast<int>(made.bottom - made.top));
  ExpectAt(InWindow(BARE_LIST_ROWS), list.left, list.top, list.right, list.bottom);
}

TEST_F(AnchoredLayoutTest, TheWindowGetsNoSmallerThanItWasMade) {
  Size(20, 20);
  const RECT place = PlaceOf(window.window());
  EXPECT_EQ(place.right - place.left, made.right - made.left);
  EXPECT_EQ(place.bottom - place.top, made.bottom - made.top);
}

TEST_F(AnchoredLayoutTest, FollowsOnAScreenOfAnotherResolutionToo) {
  const int here = static_cast<int>(GetDpiForWindow(window.window()));
  const int there = 2 * here;
  const SIZE twice{2 * (made.right - made.left), 2 * (made.bottom - made.top)};
  const RECT wanted{10, 10, 10 + twice.cx, 10 + twice.cy};
  SendMessageW(window.window(), WM_DPICHANGED, MAKEWPARAM(there, there), reinterpret_cast<LPARAM>(&wanted));
  RECT client{};
  GetClientRect(window.window(), &client);
  const RECT doubled = InWindow(BARE_LIST_ROWS);
  EXPECT_EQ(doubled.left, 2 * list.left);
  EXPECT_EQ(doubled.top, 2 * list.top);
  const RECT moved = InWindow(IDCANCEL);
  EXPECT_EQ(moved.right - moved.left, 2 * (button.right - button.left));
  EXPECT_LE(moved.right, client.right);
  EXPECT_LE(moved.bottom, client.bottom);
  EXPECT_LE(doubled.bottom, moved.top);
  Size(20, 20);
  const RECT place = PlaceOf(window.window());
  EXPECT_EQ(place.right - place.left, twice.cx);
  EXPECT_EQ(place.bottom - place.top, twice.cy);
}

}  // namespace
}  // namespace quillbeaker
