// SPDX-License-Identifier: MIT
#include "ui/presenter/window_place.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "support/test_program.h"

namespace quillbeaker {
namespace {

constexpr Screen kFirst{{{0, 0}, {1920, 1040}}, 96};
constexpr Screen kLeftOfIt{{{-2560, 0}, {2560, 1400}}, 192};

WindowPlace At(int x, int y) {
  WindowPlace place;
  place.corner = {x, y};
  return place;
}

WindowPlace At(int x, int y, int width, int height, int dpi = 96) {
  WindowPlace place = At(x, y);
  place.size = {width, height};
  place.dpi = dpi;
  return place;
}

ScreenArea Placed(const WindowPlace& place, std::vector<Screen> screens) {
  return PlaceOnScreens(place, {400, 300}, {200, 100}, 96, screens).value_or(ScreenArea{});
}

class WindowPlaceFile : public testing::Test {
 protected:
  WindowPlace Read(const std::string& bytes) {
    EXPECT_TRUE(directory.Put("windows.ini", bytes));
    return ReadWindowPlace(file, "List");
  }
  test::TestDirectory directory;
  IniFile file{directory.PathOf("windows.ini")};
};

TEST_F(WindowPlaceFile, GivesBackWhatWasWritten) {
  WindowPlace place = At(-1200, 80, 640, 480, 144);
  place.columns = {200, 0, 75};
  place.order = SortOrder{2, true};
  ASSERT_TRUE(WriteWindowPlace(file, "List", place));
  ASSERT_TRUE(WriteWindowPlace(file, "Settings", At(7, 8)));
  EXPECT_EQ(ReadWindowPlace(file, "List"), place);
  EXPECT_EQ(ReadWindowPlace(file, "Settings"), At(7, 8));
  EXPECT_EQ(*directory.Get("windows.ini"),
            "[List]\r\nPlace=-1200,80\r\nSize=640,480\r\nColumns=200,0,75\r\nDpi=144\r\nSort=2,1\r\n"
            "[Settings]\r\nPlace=7,8\r\n");
}

TEST_F(WindowPlaceFile, WritesNothingThatIsThereAlready) {
  ASSERT_TRUE(directory.Put("windows.ini", "; by hand\n[list]\nplace = 7, 8 \n"));
  ASSERT_TRUE(WriteWindowPlace(file, "List", At(7, 9)));
  EXPECT_EQ(*directory.Get("windows.ini"), "; by hand\n[list]\nplace = 7,9\n");
  ASSERT_TRUE(WriteWindowPlace(file, "List", WindowPlace{}));
  EXPECT_EQ(*directory.Get("windows.ini"), "; by hand\n[list]\n");
}

TEST_F(WindowPlaceFile, ReadsTheExampleOfThePageOfFormats) {
  std::ifstream in(std::filesystem::path(QUILLBEAKER_FORMATS_PAGE), std::ios::binary);
  const std::string page{std::istreambuf_iterator<char>(in), {}};
  const std::string before = "<!-- example: windows.ini -->\n```\n";
  const std::size_t begin = page.find(before);
  ASSERT_NE(begin, std::string::npos);
  const std::size_t from = begin + before.size();
  WindowPlace place = At(-1200, 80, 960, 720, 144);
  place.columns = {300, 120};
  place.order = SortOrder{1, true};
  const std::string example = page.substr(from, page.find("```", from) - from);
  ASSERT_TRUE(directory.Put("windows.ini", example));
  EXPECT_EQ(ReadWindowPlace(file, "BareList"), place);
  EXPECT_EQ(ReadWindowPlace(file, "Settings"), At(412, 160));
}

TEST_F(WindowPlaceFile, AMissingFileRemembersNothing) {
  EXPECT_EQ(ReadWindowPlace(file, "List"), WindowPlace{});
  EXPECT_EQ(directory.Names(), std::vector<std::string>{});
}

TEST_F(WindowPlaceFile, TakesNoValueThatNoWindowHasHad) {
  for (const char* const lines : {"Place=",
                                  "Place=1",
                                  "Place=1,2,3",
                                  "Place=x,2",
                                  "Place=1,2x",
                                  "Place=99999999999999999999,1",
                                  "Place=32768,0",
                                  "Place=0,-32768",
                                  "Place=,",
                                  "Sort=1",
                                  "Sort=-1,0",
                                  "Sort=65,0",
                                  "Sort=0,-1",
                                  "Size=100,100",
                                  "Columns=10,20",
                                  "Dpi=96\nSize=0,100",
                                  "Dpi=96\nSize=-5,100",
                                  "Dpi=96\nSize=1,99999",
                                  "Dpi=96\nColumns=10,-1",
                                  "Dpi=96\nColumns=10,,20",
                                  "Dpi=96\nColumns=99999",
                                  "Dpi=0\nSize=10,10",
                                  "Dpi=-96\nSize=10,10",
                                  "Dpi=99999\nSize=10,10",
                                  "Dpi=x\nColumns=10,20",
                                  "\0\0\0",
                                  "Place"}) {
    EXPECT_EQ(Read(std::string("[List]\n") + lines), WindowPlace{}) << lines;
  }
  std::string many = "[List]\nDpi=96\nColumns=1";
  for (int i = 0; i < 1000; ++i) many += ",1";
  EXPECT_EQ(Read(many), WindowPlace{});
  std::string noise;
  for (int i = 0; i < 5000; ++i) noise += static_cast<char>(i * 7919 >> 3);
  EXPECT_EQ(Read(noise), WindowPlace{});
}

TEST_F(WindowPlaceFile, OneBadValueSpoilsNoOther) {
  EXPECT_EQ(Read("[List]\nPlace=5,6\nSize=huge\nDpi=never\nSort=1,x\n"), At(5, 6));
  EXPECT_EQ(Read("[List]\nPlace=no\nDpi=96\nColumns=5,6\n").columns, (std::vector<int>{5, 6}));
}

TEST(WindowPlace, OpensWhereItWas) {
  EXPECT_EQ(Placed(At(30, 40, 500, 350), {kFirst}), (ScreenArea{{30, 40}, {500, 350}}));
  EXPECT_EQ(Placed(At(-1000, 40, 500, 350, 192), {kFirst, kLeftOfIt}), (ScreenArea{{-1000, 40}, {500, 350}}));
}

TEST(WindowPlace, AFixedSizeIsThatOfTheWindow) {
  EXPECT_EQ(Placed(At(30, 40), {kFirst}), (ScreenArea{{30, 40}, {400, 300}}));
}

TEST(WindowPlace, ComesBackFromAScreenThatIsGone) {
  EXPECT_EQ(Placed(At(-1000, 40, 500, 350), {kFirst}), (ScreenArea{{0, 40}, {500, 350}}));
  EXPECT_EQ(Placed(At(32767, 32767, 500, 350), {kFirst}), (ScreenArea{{1420, 690}, {500, 350}}));
  EXPECT_EQ(Placed(At(-32767, -32767, 500, 350), {kFirst}), (ScreenArea{{0, 0}, {500, 350}}));
  EXPECT_EQ(Placed(At(1900, 1030), {kFirst}), (ScreenArea{{1520, 740}, {400, 300}}));
}

TEST(WindowPlace, IsNoLargerThanItsScreenAndNoSmallerThanItsLeast) {
  EXPECT_EQ(Placed(At(30, 40, 32767, 32767), {kFirst}), kFirst.work);
  EXPECT_EQ(Placed(At(30, 40, 1, 1), {kFirst}), (ScreenArea{{30, 40}, {200, 100}}));
  const Screen tiny{{{0, 0}, {150, 80}}, 96};
  EXPECT_EQ(Placed(At(30, 40, 1, 1), {tiny}), (ScreenArea{{0, 0}, {200, 100}}));
}

TEST(WindowPlace, KeepsItsSizeInInchesWhereTheResolutionIsAnother) {
  Screen now = kFirst;
  now.dpi = 144;
  EXPECT_EQ(Placed(At(30, 40, 500, 350), {now}), (ScreenArea{{30, 40}, {750, 525}}));
  EXPECT_EQ(Placed(At(30, 40), {now}), (ScreenArea{{30, 40}, {600, 450}}));
  EXPECT_EQ(Placed(At(30, 40, 800, 600, 288), {kFirst}), (ScreenArea{{30, 40}, {267, 200}}));
  WindowPlace columns;
  columns.columns = {100, 31};
  EXPECT_EQ(ColumnsFor(columns, 2, 144), (std::vector<int>{150, 47}));
}

TEST(WindowPlace, NothingKnownLeavesThePlaceToTheSystem) {
  const Screen screens[] = {kFirst};
  WindowPlace place;
  EXPECT_FALSE(PlaceOnScreens(place, {400, 300}, {}, 96, screens));
  EXPECT_FALSE(PlaceOnScreens(At(1, 2), {400, 300}, {}, 96, {}));
}

TEST(WindowPlace, OtherColumnsHaveOtherWidths) {
  WindowPlace place;
  place.columns = {100, 31};
  EXPECT_TRUE(ColumnsFor(place, 3, 96).empty());
}

class Rows : public ListRows {
 public:
  std::vector<std::string> Columns() const override { return {"a", "b"}; }
  std::size_t RowCount() const override { return 0; }
  std::string RowText(std::size_t, std::size_t) const override { return {}; }
  SortOrder Order() const override { return order; }
  void SortBy(std::size_t column) override {
    order = {column, column == order.column && !order.is_descending};
    ++sorted;
  }
  void SelectionChanged() override {}
  SortOrder order;
  int sorted = 0;
};

TEST(WindowPlace, SortsAsItWasSorted) {
  Rows rows;
  SortAs(rows, {0, false});
  EXPECT_EQ(rows.sorted, 0);
  SortAs(rows, {1, true});
  EXPECT_EQ(rows.order, (SortOrder{1, true}));
  SortAs(rows, {2, true});
  EXPECT_EQ(rows.order, (SortOrder{1, true}));
}

}  // namespace
}  // namespace quillbeaker
