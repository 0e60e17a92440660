// SPDX-License-Identifier: MIT
#include "ui/place_keeper.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/test_program.h"
#include "ui/bare_list_window.h"

namespace quillbeaker {
namespace {

class PlaceKeeperTest : public testing::Test {
 protected:
  PlaceKeeperTest() { program.Configure("AlphaBlending=0"); }
  ~PlaceKeeperTest() override { windows.CloseAll(); }

  test::BareListWindow& Open() {
    windows.Open(test::kBareListRow, nullptr);
    HandleMessages();
    return *test::BareListWindow::last;
  }
  void Close() {
    windows.CloseAll();
    HandleMessages();
  }
  // For as long as the window manager may take to answer.
  static void HandleMessages() {
    constexpr ULONGLONG kMoment = 60;  // milliseconds
    for (const ULONGLONG end = GetTickCount64() + kMoment; GetTickCount64() < end; Sleep(5)) {
      MSG message;
      while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&message);
    }
  }
  static RECT PlaceOf(const Dialog& dialog) {
    RECT place{};
    GetWindowRect(dialog.window(), &place);
    return place;
  }
  static void MoveTo(const Dialog& dialog, int left, int top, int width, int height) {
    SetWindowPos(dialog.window(), nullptr, left, top, width, height, SWP_NOZORDER | SWP_NOACTIVATE);
    HandleMessages();
  }
  static void ExpectPlace(const RECT& place, int left, int top, int width, int height) {
    EXPECT_EQ(place.left, left);
    EXPECT_EQ(place.top, top);
    EXPECT_EQ(place.right - place.left, width);
    EXPECT_EQ(place.bottom - place.top, height);
  }
  bool HasFile() const { return program.directory.Has("windows.ini"); }
  void Put(const std::string& lines) const {
    ASSERT_TRUE(program.directory.Put("windows.ini", "[BareList]\r\n" + lines));
  }

  test::TestProgram program;
  WindowSurroundings surroundings{.program = program.program(),
                                  .settings = {.program = program.program(),
                                               .starts_with_system = {},
                                               .set_starts_with_system = {},
                                               .ports_in_use = {},
                                               .can_run = {},
                                               .run = {}},
                                  .open_help = {},
                                  .rearm_update_check = {},
                                  .window_closed = {}};
  OpenWindows windows{surroundings};
};

TEST_F(PlaceKeeperTest, OpeningAndClosingChangesNoFile) {
  const std::vector<std::string> before = program.directory.Names();
  for (int i = 0; i < 3; ++i) {
    Open();
    Close();
  }
  EXPECT_EQ(program.directory.Names(), before);
}

TEST_F(PlaceKeeperTest, OpensWhereAndAsLargeAsItWasLeft) {
  MoveTo(Open(), 120, 90, 500, 400);
  Close();
  ASSERT_TRUE(HasFile());
  const auto written = program.directory.Get("windows.ini");
  ExpectPlace(PlaceOf(Open()), 120, 90, 500, 400);
  Close();
  EXPECT_EQ(program.directory.Get("windows.ini"), written);
}

TEST_F(PlaceKeeperTest, KeepsTheWidthsAndTheOrderOfItsList) {
  test::BareListWindow& window = Open();
  ListView_SetColumnWidth(window.control(), 0, 133);
  window.rows.SortBy(1);
  window.rows.SortBy(1);
  Close();
  test::BareListWindow& again = Open();
  EXPECT_EQ(ListView_GetColumnWidth(again.control(), 0), 133);
  EXPECT_EQ(again.rows.order, (SortOrder{1, true}));
}

TEST_F(PlaceKeeperTest, AChangedOrderAloneIsRemembered) {
  Open().rows.SortBy(0);
  Close();
  EXPECT_EQ(Open().rows.order, (SortOrder{0, true}));
}

TEST_F(PlaceKeeperTest, NeverOpensOffTheScreen) {
  Put("Place=30000,-30000\r\nSize=300,200\r\nDpi=96\r\n");
  const RECT place = PlaceOf(Open());
  RECT work{};
  SystemParametersInfoW(SPI_GETWORKAREA, 0, &work, 0);
  RECT both{};
  ASSERT_TRUE(IntersectRect(&both, &place, &work));
  EXPECT_TRUE(EqualRect(&both, &place));
}

TEST_F(PlaceKeeperTest, ADamagedFileIsAsGoodAsNone) {
  const RECT usual = PlaceOf(Open());
  Close();
  for (const char* const lines : {"Place=-,\r\nSize=0,0\r\nDpi=-1\r\nColumns=-7\r\nSort=99,99\r\n",
                                  "Place=10\r\nSize=99999999999,1\r\nDpi=96\r\nColumns=1,2,3\r\n"}) {
    Put(lines);
    test::BareListWindow& window = Open();
    const RECT place = PlaceOf(window);
    EXPECT_TRUE(EqualRect(&place, &usual)) << lines;
    EXPECT_EQ(window.rows.order, SortOrder{});
    EXPECT_GT(ListView_GetColumnWidth(window.control(), 0), 20);
    Close();
    EXPECT_EQ(program.directory.Get("windows.ini"), std::string("[BareList]\r\n") + lines);
  }
}

TEST_F(PlaceKeeperTest, LengthsOfAnotherResolutionAreScaled) {
  Put("Place=100,100\r\nSize=800,600\r\nDpi=192\r\nColumns=300,80\r\n");
  const int dpi = static_cast<int>(GetDpiForSystem());
  test::BareListWindow& window = Open();
  ExpectPlace(PlaceOf(window), 100, 100, MulDiv(800, dpi, 192), MulDiv(600, dpi, 192));
  EXPECT_EQ(ListView_GetColumnWidth(window.control(), 0), MulDiv(300, dpi, 192));
}

TEST_F(PlaceKeeperTest, AFileThatCannotBeWrittenIsNoTrouble) {
  ASSERT_TRUE(program.directory.MakeFolder("windows.ini"));
  MoveTo(Open(), 200, 200, 500, 400);
  Close();
  EXPECT_EQ(test::BareListWindow::last, nullptr);
  EXPECT_TRUE(HasFile());
}

}  // namespace
}  // namespace quillbeaker
