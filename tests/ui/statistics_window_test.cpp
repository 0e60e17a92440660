// SPDX-License-Identifier: MIT
#include "ui/statistics_window.h"

#include <windows.h>

#include <commctrl.h>
#include <gtest/gtest.h>
#include <ole2.h>

#include <algorithm>
#include <string>
#include <vector>

#include "config/day_number.h"
#include "support/test_program.h"
#include "ui/handles.h"
#include "ui/resource.h"
#include "ui/wide_text.h"
#include "ui/window_table.h"
#include "windows/message_loop.h"

namespace quillbeaker {
namespace {

using test::HandleMessages;

constexpr COLORREF kGrid = RGB(224, 224, 224);
constexpr COLORREF kOutline = RGB(50, 200, 255);
constexpr COLORREF kBar = RGB(170, 220, 255);
constexpr COLORREF kWhite = RGB(255, 255, 255);
constexpr COLORREF kLightGrey = RGB(192, 192, 192);

// What a chart looked like, from the upper left.
class Pixels {
 public:
  explicit Pixels(HWND chart) {
    RECT area{};
    GetClientRect(chart, &area);
    width_ = static_cast<int>(area.right);
    height_ = static_cast<int>(area.bottom);
    const WindowContext seen(chart);
    for (int y = 0; y < height_; ++y) {
      for (int x = 0; x < width_; ++x) colours_.push_back(GetPixel(seen.get(), x, y));
    }
  }
  int width() const { return width_; }
  int height() const { return height_; }
  COLORREF At(int x, int y) const { return colours_[static_cast<std::size_t>(y * width_ + x)]; }
  std::size_t Count(COLORREF colour) const {
    return static_cast<std::size_t>(std::count(colours_.begin(), colours_.end(), colour));
  }
  std::size_t size() const { return colours_.size(); }
  // The columns that have that colour somewhere, from the first to the last.
  std::pair<int, int> Columns(COLORREF colour) const {
    std::pair<int, int> columns{width_, -1};
    for (std::size_t i = 0; i < colours_.size(); ++i) {
      if (colours_[i] != colour) continue;
      const int x = static_cast<int>(i) % width_;
      columns = {std::min(columns.first, x), std::max(columns.second, x)};
    }
    return columns;
  }
  bool operator==(const Pixels&) const = default;

 private:
  int width_ = 0;
  int height_ = 0;
  std::vector<COLORREF> colours_;
};

class StatisticsWindowTest : public testing::Test {
 protected:
  StatisticsWindowTest() { OleInitialize(nullptr); }
  ~StatisticsWindowTest() override {
    windows.CloseAll();
    OleUninitialize();
  }

  // Counts from today back.
  void Configure(const std::vector<int>& counts) {
    const auto today = static_cast<int>(DayNumber(2006, 3, 2));
    std::string days;
    std::string mails;
    for (std::size_t age = 0; age < counts.size(); ++age) {
      if (counts[age] == 0) continue;
      days += std::to_string(today - static_cast<int>(age)) + ",";
      mails += std::to_string(counts[age]) + ",";
    }
    ASSERT_TRUE(
        program.Configure("AlphaBlending=0", "[STATS]\r\nDays=" + days + "\r\nMails=" + mails + "\r\n"));
  }
  void Open() {
    ASSERT_TRUE(windows.OpenCommand(COMMAND_STATISTICS, nullptr));
    window = windows.WindowOf(COMMAND_STATISTICS);
    ASSERT_NE(window, nullptr);
    chart = GetDlgItem(window, STATISTICS_CHART);
    ASSERT_NE(chart, nullptr);
    Settle();
  }
  // The window manager answers the making of a window a moment later.
  static void Settle() {
    for (const ULONGLONG end = GetTickCount64() + 150; GetTickCount64() < end; Sleep(5)) HandleMessages();
  }
  void Repaint() const {
    RedrawWindow(chart, nullptr, nullptr, RDW_INVALIDATE | RDW_ERASE | RDW_UPDATENOW);
    HandleMessages();
  }
  std::string TextOfControl(int id) const {
    wchar_t text[256]{};
    GetDlgItemTextW(window, id, text, 256);
    return Utf8(text);
  }
  // The tip that is shown; null without one.
  static HWND TipWindow() {
    HWND shown = nullptr;
    EnumThreadWindows(
        GetCurrentThreadId(),
        [](HWND one, LPARAM result) -> BOOL {
          wchar_t name[32]{};
          GetClassNameW(one, name, 32);
          if (lstrcmpiW(name, TOOLTIPS_CLASSW) != 0 || !IsWindowVisible(one)) return TRUE;
          *reinterpret_cast<HWND*>(result) = one;
          return FALSE;
        },
        reinterpret_cast<LPARAM>(&shown));
    return shown;
  }
  static std::string Tip() {
    wchar_t text[256]{};
    if (const HWND tip = TipWindow()) GetWindowTextW(tip, text, 256);
    return Utf8(text);
  }
  void Press(WPARAM key) const { SendMessageW(chart, WM_KEYDOWN, key, 0); }

  test::TestProgram program;
  std::vector<std::string> helped;
  WindowSurroundings surroundings{.program = program.program(),
                                  .settings = {.program = program.program(),
                                               .starts_with_system = {},
                                               .set_starts_with_system = {},
                                               .ports_in_use = {},
                                               .can_run = {},
                                               .run = {}},
                                  .open_help = [this](std::string_view page) { helped.emplace_back(page); },
                                  .rearm_update_check = {},
                                  .window_closed = {}};
  OpenWindows windows{surroundings};
  HWND window = nullptr;
  HWND chart = nullptr;
};

TEST_F(StatisticsWindowTest, IsAPlainGreyAreaWithoutSpam) {
  Configure({});
  Open();
  const Pixels pixels(chart);
  EXPECT_EQ(pixels.Count(kLightGrey), pixels.size());
  EXPECT_EQ(TextOfControl(STATISTICS_MAXIMUM), "Maximum: 0 spam mails (02.03.2006)");
  EXPECT_EQ(TextOfControl(STATISTICS_AVERAGE), "Average: 0.00 spam mails/day");
  EXPECT_EQ(TextOfControl(STATISTICS_CHART), "No spam mails within the last 30 days.");
}

TEST_F(StatisticsWindowTest, DrawsGridAndBarsInTheirColours) {
  Configure({5, 0, 2});
  Open();
  const Pixels pixels(chart);
  for (const COLORREF colour : {kGrid, kOutline, kBar, kWhite})
    EXPECT_GT(pixels.Count(colour), 50u) << colour;
  EXPECT_EQ(pixels.Count(kLightGrey), 0u);
  EXPECT_EQ(TextOfControl(STATISTICS_MAXIMUM), "Maximum: 5 spam mails (02.03.2006)");
  EXPECT_EQ(TextOfControl(STATISTICS_AVERAGE), "Average: 0.23 spam mails/day");
}

TEST_F(StatisticsWindowTest, DrawsTodayRightmostAndTheOldestDayLeftmost) {
  Configure({5});
  Open();
  {
    const Pixels pixels(chart);
    const auto [first, last] = pixels.Columns(kBar);
    EXPECT_GT(first, pixels.width() * 28 / 30);
    EXPECT_GE(last, pixels.width() - 4);
  }
  std::vector<int> counts(30);
  counts[29] = 5;
  Configure(counts);
  Repaint();
  const Pixels pixels(chart);
  const auto [first, last] = pixels.Columns(kBar);
  EXPECT_LE(first, 22 * static_cast<int>(GetDpiForWindow(chart)) / 96);
  EXPECT_LT(last, pixels.width() * 3 / 30);
}

TEST_F(StatisticsWindowTest, WritesTheDateBelowItsBarAlone) {
  std::vector<int> counts(30);
  counts[15] = 4;
  Configure(counts);
  Open();
  const Pixels pixels(chart);
  const auto [first, last] = pixels.Columns(kBar);
  int top = pixels.height();
  int bottom = 0;
  for (int y = 0; y < pixels.height(); ++y) {
    // The text is smoothed, so not every pixel of it is black.
    for (int x = first - 3; x <= last + 3; ++x) {
      const COLORREF colour = pixels.At(x, y);
      if (GetRValue(colour) < 128 && GetBValue(colour) < 128) {
        top = std::min(top, y);
        bottom = std::max(bottom, y);
      }
    }
  }
  EXPECT_GT(top, pixels.height() / 2);
  EXPECT_GT(bottom - top, 2 * (last - first)) << "the date is not turned";
  EXPECT_LT(bottom, pixels.height() - 1) << "the date is cut off";
}

TEST_F(StatisticsWindowTest, ARepaintShowsTheCountsOfNowAndWritesNothing) {
  Configure({5});
  Open();
  const std::string before = program.directory.Get("Quillbeaker.ini").value();
  const Pixels first(chart);
  for (int i = 0; i < 5; ++i) Repaint();
  EXPECT_TRUE(Pixels(chart) == first);
  EXPECT_EQ(program.directory.Get("Quillbeaker.ini"), before);

  // Lists that saving would write in another form.
  const std::string today = std::to_string(DayNumber(2006, 3, 2));
  ASSERT_TRUE(
      program.Configure("AlphaBlending=0", "[STATS]\r\nDays=" + today + "," + today + "\r\nMails=1,8\r\n"));
  const std::string changed = program.directory.Get("Quillbeaker.ini").value();
  Repaint();
  EXPECT_EQ(TextOfControl(STATISTICS_MAXIMUM), "Maximum: 8 spam mails (02.03.2006)");
  windows.CloseAll();
  EXPECT_EQ(program.directory.Get("Quillbeaker.ini"), changed);
}

TEST_F(StatisticsWindowTest, ShowsWhatAMailCheckCountsWhileItIsOpen) {
  Configure({5});
  Open();
  const Pixels before(chart);
  Configure({5, 9});
  surroundings.store_changes.Tell({.store = Store::kStatistics, .added = {}, .removed = {}});
  Settle();
  EXPECT_EQ(TextOfControl(STATISTICS_MAXIMUM), "Maximum: 9 spam mails (01.03.2006)");
  EXPECT_FALSE(Pixels(chart) == before);
  windows.CloseAll();
  surroundings.store_changes.Tell({.store = Store::kStatistics, .added = {}, .removed = {}});
}

TEST_F(StatisticsWindowTest, DrawsOverItselfWithoutErasing) {
  Configure({5, 3});
  Open();
  const Pixels before(chart);
  {
    const WindowContext context(chart);
    EXPECT_NE(SendMessageW(chart, WM_ERASEBKGND, reinterpret_cast<WPARAM>(context.get()), 0), 0);
  }
  SetWindowTextW(chart, L"a text that the system would draw");
  EXPECT_TRUE(Pixels(chart) == before);
}

TEST_F(StatisticsWindowTest, OpensOnItsDefaultButton) {
  Configure({5});
  Open();
  EXPECT_EQ(GetFocus(), GetDlgItem(window, IDCANCEL));
  EXPECT_EQ(LOWORD(SendMessageW(window, DM_GETDEFID, 0, 0)), IDCANCEL);
  wchar_t kind[32]{};
  GetClassNameW(chart, kind, 32);
  EXPECT_STREQ(kind, L"Static");
}

TEST_F(StatisticsWindowTest, ArrowKeysWalkTheBarsAndNameThem) {
  Configure({5, 0, 0, 2, 7});
  Open();
  EXPECT_EQ(TextOfControl(STATISTICS_CHART), "Spam Mail Statistic");
  const Pixels without_focus(chart);
  SetFocus(chart);
  EXPECT_EQ(TextOfControl(STATISTICS_CHART), "Spam mails on 02.03.2006: 5");
  EXPECT_EQ(Tip(), "Spam mails on 02.03.2006: 5");
  Press(VK_LEFT);
  EXPECT_EQ(TextOfControl(STATISTICS_CHART), "Spam mails on 27.02.2006: 2");
  Press(VK_HOME);
  EXPECT_EQ(TextOfControl(STATISTICS_CHART), "Spam mails on 26.02.2006: 7");
  EXPECT_EQ(Tip(), "Spam mails on 26.02.2006: 7");
  Press(VK_RIGHT);
  EXPECT_EQ(TextOfControl(STATISTICS_CHART), "Spam mails on 27.02.2006: 2");
  Repaint();
  EXPECT_FALSE(Pixels(chart) == without_focus) << "the focus does not show";
  EXPECT_NE(SendMessageW(chart, WM_GETDLGCODE, 0, 0) & DLGC_WANTARROWS, 0);
  SetFocus(GetDlgItem(window, IDCANCEL));
  Repaint();
  EXPECT_TRUE(Pixels(chart) == without_focus);
  EXPECT_EQ(Tip(), "");
}

TEST_F(StatisticsWindowTest, TheTipOfTheKeyboardIsAtItsBarWhereverTheMouseIs) {
  Configure({5, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 5});
  Open();
  RECT area{};
  GetClientRect(chart, &area);
  SendMessageW(chart, WM_MOUSEMOVE, 0, MAKELPARAM(area.right * 16 / 30, area.bottom - 10));
  SetFocus(chart);
  RECT shown{};
  GetWindowRect(TipWindow(), &shown);
  MapWindowPoints(nullptr, chart, reinterpret_cast<POINT*>(&shown), 2);
  EXPECT_LT(shown.top, area.bottom / 2);
  EXPECT_LE(shown.right, area.right);
  EXPECT_GT(shown.right, area.right * 27 / 30);
}

TEST_F(StatisticsWindowTest, TheMouseOverABarShowsItsDay) {
  Configure({5});
  Open();
  RECT area{};
  GetClientRect(chart, &area);
  SendMessageW(chart, WM_MOUSEMOVE, 0, MAKELPARAM(area.right - 5, area.bottom / 2));
  EXPECT_EQ(Tip(), "Spam mails on 02.03.2006: 5");
  SendMessageW(chart, WM_MOUSEMOVE, 0, MAKELPARAM(area.right / 2, area.bottom / 2));
  EXPECT_EQ(Tip(), "");
  SendMessageW(chart, WM_MOUSEMOVE, 0, MAKELPARAM(area.right - 5, area.bottom / 2));
  SendMessageW(chart, WM_MOUSELEAVE, 0, 0);
  EXPECT_EQ(Tip(), "");
}

TEST_F(StatisticsWindowTest, CopiesThePictureAndTheNumbers) {
  Configure({5});
  Open();
  SendMessageW(window, WM_COMMAND, STATISTICS_COPY, 0);
  ASSERT_TRUE(OpenClipboard(nullptr));
  std::string text;
  if (const HGLOBAL memory = GetClipboardData(CF_UNICODETEXT)) {
    text = Utf8(static_cast<const wchar_t*>(GlobalLock(memory)));
    GlobalUnlock(memory);
  }
  SIZE size{};
  if (const HGLOBAL memory = GetClipboardData(CF_DIB)) {
    const auto* const header = static_cast<const BITMAPINFOHEADER*>(GlobalLock(memory));
    size = {header->biWidth, header->biHeight};
    GlobalUnlock(memory);
  }
  CloseClipboard();
  EXPECT_EQ(text.substr(0, 12), "date\tcount\r\n");
  EXPECT_NE(text.find("2006-03-02\t5\r\n"), std::string::npos);
  RECT area{};
  GetClientRect(chart, &area);
  EXPECT_EQ(size.cx, area.right);
  EXPECT_EQ(size.cy, area.bottom);
}

TEST_F(StatisticsWindowTest, TheChartFollowsTheSizeOfTheWindow) {
  Configure({5});
  Open();
  RECT place{};
  GetWindowRect(window, &place);
  RECT before{};
  GetClientRect(chart, &before);
  SetWindowPos(window, nullptr, 0, 0, place.right - place.left + 90, place.bottom - place.top + 60,
               SWP_NOMOVE | SWP_NOZORDER);
  Settle();
  RECT after{};
  GetClientRect(chart, &after);
  EXPECT_EQ(after.right, before.right + 90);
  EXPECT_EQ(after.bottom, before.bottom + 60);
  EXPECT_GE(Pixels(chart).Columns(kBar).second, after.right - 4);
}

TEST(ChartDrawing, TakesTheColoursOfTheSystemForHighContrast) {
  constexpr int kColours[] = {COLOR_WINDOW, COLOR_WINDOWTEXT, COLOR_HIGHLIGHT, COLOR_BTNFACE};
  constexpr COLORREF kContrast[] = {RGB(0, 0, 0), RGB(255, 255, 0), RGB(0, 128, 0), RGB(16, 0, 32)};
  COLORREF former[4]{};
  for (int i = 0; i < 4; ++i) former[i] = GetSysColor(kColours[i]);
  SetSysColors(4, kColours, kContrast);
  StatisticNumbers numbers;
  numbers.maximum = numbers.days[29].count = 3;
  const ChartFonts fonts(96);
  DrawnPicture picture(400, 200);
  ASSERT_NE(picture.context(), nullptr);
  DrawChart(picture.context(), LayOutChart(numbers, {400, 200}, 96, fonts.date_size), 96, fonts,
            SystemChartColours(), {});
  EXPECT_EQ(GetPixel(picture.context(), 300, 19), kContrast[0]);
  EXPECT_EQ(GetPixel(picture.context(), 393, 60), kContrast[2]);
  numbers = {};
  DrawChart(picture.context(), LayOutChart(numbers, {400, 200}, 96, fonts.date_size), 96, fonts,
            SystemChartColours(), {});
  EXPECT_EQ(GetPixel(picture.context(), 200, 100), kContrast[3]);
  SetSysColors(4, kColours, former);
}

TEST(DrawnPicture, IsAPngFileOfItsSize) {
  OleInitialize(nullptr);
  {
    const DrawnPicture picture(301, 99);
    ASSERT_NE(picture.context(), nullptr);
    const auto png = picture.Png();
    ASSERT_TRUE(png);
    ASSERT_GT(png->size(), 24u);
    EXPECT_EQ(png->substr(0, 8), "\x89PNG\r\n\x1a\n");
    EXPECT_EQ(png->substr(16, 8), std::string("\0\0\x01\x2d\0\0\0\x63", 8));
    EXPECT_EQ(png->substr(png->size() - 8, 4), "IEND");
  }
  OleUninitialize();
}

}  // namespace
}  // namespace quillbeaker
