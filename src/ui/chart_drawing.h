// SPDX-License-Identifier: MIT
#pragma once

// Draws the chart of the statistics window where its layout says, into any device context.

#include <windows.h>

#include <cstddef>
#include <optional>

#include "ui/handles.h"
#include "ui/presenter/statistics_chart.h"

namespace quillbeaker {

struct ChartColours {
  COLORREF background;
  COLORREF empty;  // the whole area when there is nothing to show
  COLORREF grid;
  COLORREF outline;  // of a bar
  COLORREF bar;
  COLORREF text;
};

// The chart's own; and those that a person who needs high contrast has chosen.
ChartColours OwnChartColours();
ChartColours SystemChartColours();

struct ChartFonts {
  explicit ChartFonts(int dpi);
  UniqueFont scale;
  UniqueFont date;  // turned to the left by 90 degrees
  DateSize date_size;
};

// `chosen`, a place among the layout's bars, gets the mark of the keyboard's focus; `focused` without one
// marks the whole area.
struct ChartFocus {
  bool focused = false;
  std::optional<std::size_t> chosen;
};
void DrawChart(HDC context, const ChartLayout& layout, int dpi, const ChartFonts& fonts,
               const ChartColours& colours, const ChartFocus& focus);

}  // namespace quillbeaker
