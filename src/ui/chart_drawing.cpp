// SPDX-License-Identifier: MIT
#include "ui/chart_drawing.h"

#include <algorithm>
#include <string>

#include "ui/wide_text.h"

namespace quillbeaker {
namespace {

using UniquePen = UniqueHandle<HPEN, DeleteObject>;

constexpr int kScaleHeight = 12;  // pixels at 96 dpi
constexpr int kDateHeight = 10;
constexpr int kUpwards = 900;  // tenths of a degree

// Smoothed in grey: the colours of ClearType would smear a text that is turned.
UniqueFont MakeFont(int height, int turned, int dpi) {
  return UniqueFont(CreateFontW(MulDiv(height, dpi, 96), 0, turned, turned, FW_NORMAL, FALSE, FALSE, FALSE,
                                DEFAULT_CHARSET, OUT_TT_PRECIS, CLIP_DEFAULT_PRECIS, ANTIALIASED_QUALITY,
                                DEFAULT_PITCH | FF_SWISS, L"Arial"));
}

DateSize SizeOfDate(int dpi) {
  const WindowContext screen(nullptr);
  const UniqueFont font = MakeFont(kDateHeight, 0, dpi);
  const Selected selected(screen.get(), font.get());
  SIZE size{};
  GetTextExtentPoint32W(screen.get(), L"00.00.0000", 10, &size);
  return {static_cast<int>(size.cx), static_cast<int>(size.cy)};
}

RECT RectOf(const ScreenArea& area) {
  return {area.corner.x, area.corner.y, area.corner.x + area.size.width, area.corner.y + area.size.height};
}

void Fill(HDC context, const RECT& area, COLORREF colour) {
  const UniqueBrush brush(CreateSolidBrush(colour));
  FillRect(context, &area, brush.get());
}

void Write(HDC context, HFONT font, ScreenPoint place, const std::string& text) {
  const Selected selected(context, font);
  const std::wstring wide = Wide(text);
  TextOutW(context, place.x, place.y, wide.c_str(), static_cast<int>(wide.size()));
}

void DrawGrid(HDC context, const ChartLayout& layout, HPEN pen) {
  const Selected selected(context, pen);
  const RECT plot = RectOf(layout.plot);
  for (std::size_t day = 0; day < kStatisticDays; ++day) {
    MoveToEx(context, layout.edges[day], plot.top, nullptr);
    LineTo(context, layout.edges[day], plot.bottom);
  }
  for (const ChartLevel& level : layout.levels) {
    MoveToEx(context, plot.left, level.y, nullptr);
    LineTo(context, plot.right, level.y);
  }
}

void DrawBars(HDC context, const ChartLayout& layout, HPEN pen, HBRUSH brush) {
  const Selected selected_pen(context, pen);
  const Selected selected_brush(context, brush);
  for (const ChartBar& bar : layout.bars) {
    const RECT area = RectOf(bar.area);
    Rectangle(context, area.left, area.top, area.right, area.bottom);
  }
}

void DrawFocus(HDC context, const ChartLayout& layout, const ChartColours& colours, const ChartFocus& focus) {
  if (!focus.focused) return;
  RECT area{0, 0, layout.size.width, layout.size.height};
  if (focus.chosen && *focus.chosen < layout.bars.size()) {
    const std::size_t day = layout.bars[*focus.chosen].day;
    area.left = layout.edges[day];
    area.right = std::min<LONG>(layout.edges[day + 1] + 1, area.right);
    area.top = layout.plot.corner.y;
  }
  // The mark is made of both colours.
  SetTextColor(context, colours.text);
  SetBkColor(context, colours.background);
  DrawFocusRect(context, &area);
}

}  // namespace

ChartColours OwnChartColours() {
  return {.background = RGB(255, 255, 255),
          .empty = RGB(192, 192, 192),
          .grid = RGB(224, 224, 224),
          .outline = RGB(50, 200, 255),
          .bar = RGB(170, 220, 255),
          .text = RGB(0, 0, 0)};
}

ChartColours SystemChartColours() {
  return {.background = GetSysColor(COLOR_WINDOW),
          .empty = GetSysColor(COLOR_BTNFACE),
          .grid = GetSysColor(COLOR_GRAYTEXT),
          .outline = GetSysColor(COLOR_WINDOWTEXT),
          .bar = GetSysColor(COLOR_HIGHLIGHT),
          .text = GetSysColor(COLOR_WINDOWTEXT)};
}

ChartFonts::ChartFonts(int dpi)
    : scale(MakeFont(kScaleHeight, 0, dpi)),
      date(MakeFont(kDateHeight, kUpwards, dpi)),
      date_size(SizeOfDate(dpi)) {}

void DrawChart(HDC context, const ChartLayout& layout, int dpi, const ChartFonts& fonts,
               const ChartColours& colours, const ChartFocus& focus) {
  const RECT area{0, 0, layout.size.width, layout.size.height};
  Fill(context, area, layout.is_empty ? colours.empty : colours.background);
  if (!layout.is_empty) {
    const int width = std::max(1, MulDiv(1, dpi, 96));
    const UniquePen grid(CreatePen(PS_SOLID, width, colours.grid));
    const UniquePen outline(CreatePen(PS_INSIDEFRAME, width, colours.outline));
    const UniqueBrush bar(CreateSolidBrush(colours.bar));
    DrawGrid(context, layout, grid.get());
    DrawBars(context, layout, outline.get(), bar.get());
    SetBkMode(context, TRANSPARENT);
    SetTextColor(context, colours.text);
    SetTextAlign(context, TA_LEFT | TA_TOP);
    // Last, since a long number reaches into the plot.
    for (const ChartLevel& level : layout.levels) {
      Write(context, fonts.scale.get(), level.label_corner, level.label);
    }
    for (const ChartBar& one : layout.bars) Write(context, fonts.date.get(), one.date_start, one.date);
  }
  DrawFocus(context, layout, colours, focus);
}

}  // namespace quillbeaker
