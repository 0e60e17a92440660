// SPDX-License-Identifier: MIT
#include "console/bar_chart.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>
#include <vector>

#include "config/day_number.h"

namespace quillbeaker {
namespace {

constexpr std::uint64_t kMostRows = 10;
constexpr std::uint64_t kSteps = 8;  // parts of a row that a block can fill
constexpr std::array<std::string_view, kSteps + 1> kBlocks{" ", "▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
constexpr std::string_view kScale = " ┤";
constexpr std::string_view kCorner = " └";
constexpr std::string_view kLine = "─";
constexpr std::string_view kTick = "┬";
constexpr std::size_t kDateSpacing = 10;  // columns from one date to the next: its own 6 and room to move

struct Layout {
  std::uint64_t most = 0;    // the largest count
  std::uint64_t rows = 0;    // one per spam while they are few
  std::size_t margin = 0;    // columns of the scale's numbers
  std::size_t cell = 0;      // columns of a day
  std::size_t bar = 0;       // of them filled; the rest parts it from the next
  std::size_t width = 0;     // columns of all days
  std::size_t space = 0;     // columns that there are for them
  std::size_t day_step = 0;  // every how many days a date is written

  std::size_t Tick(std::size_t day) const { return day * cell + (bar - 1) / 2; }
};

std::string Printed(const char* format, int first, int second) {
  char text[24];
  std::snprintf(text, sizeof text, format, first, second);
  return text;
}

void Append(std::string& text, std::string_view piece, std::size_t times) {
  for (; times > 0; --times) {
    text += piece;
  }
}

void EndLine(std::string& text) {
  text.erase(text.find_last_not_of(' ') + 1);
  text += '\n';
}

Layout LayOut(std::span<const DayCount> days, std::size_t columns) {
  Layout layout;
  for (const DayCount& day : days) {
    layout.most = std::max<std::uint64_t>(layout.most, day.count);
  }
  layout.rows = std::min(layout.most, kMostRows);
  layout.margin = std::to_string(layout.most).size();
  // The last column stays free: in some terminals a line that fills it is followed by an empty one.
  const std::size_t taken = layout.margin + 2 + 1;
  layout.space = columns > taken ? columns - taken : 0;
  layout.cell = std::max<std::size_t>(layout.space / days.size(), 1);
  layout.bar = std::max<std::size_t>(layout.cell - 1, 1);
  layout.width = days.size() * layout.cell - (layout.cell - layout.bar);
  layout.day_step = (kDateSpacing + layout.cell - 1) / layout.cell;
  return layout;
}

// The parts of rows that a count fills.
std::uint64_t HeightOf(std::uint64_t count, const Layout& layout) {
  if (count == 0) {
    return 0;
  }
  return std::max<std::uint64_t>((count * layout.rows * kSteps + layout.most / 2) / layout.most, 1);
}

// Row 1 is the lowest; its number is what a bar counts that fills it.
void AppendRow(std::string& text, std::span<const DayCount> days, const Layout& layout, std::uint64_t row) {
  const std::string number = std::to_string((layout.most * row + layout.rows / 2) / layout.rows);
  text += std::string(layout.margin - number.size(), ' ') + number;
  text += kScale;
  for (const DayCount& day : days) {
    const std::uint64_t below = (row - 1) * kSteps;
    const std::uint64_t height = HeightOf(day.count, layout);
    Append(text, kBlocks[height <= below ? 0 : std::min(height - below, kSteps)], layout.bar);
    Append(text, " ", layout.cell - layout.bar);
  }
  EndLine(text);
}

// The last day is dated, and from there every so many days back.
bool IsDated(std::size_t day, std::size_t days, const Layout& layout) {
  return (days - 1 - day) % layout.day_step == 0;
}

void AppendAxis(std::string& text, std::span<const DayCount> days, const Layout& layout) {
  std::vector<bool> ticks(layout.width);
  for (std::size_t i = 0; i < days.size(); ++i) {
    ticks[layout.Tick(i)] = IsDated(i, days.size(), layout);
  }
  text += std::string(layout.margin, ' ');
  text += kCorner;
  for (const bool tick : ticks) {
    text += tick ? kTick : kLine;
  }
  EndLine(text);
}

void AppendDates(std::string& text, std::span<const DayCount> days, const Layout& layout) {
  std::string line;
  for (std::size_t i = 0; i < days.size(); ++i) {
    if (!IsDated(i, days.size(), layout)) {
      continue;
    }
    const CalendarTime date = DateOfDayNumber(days[i].day);
    const std::string written = Printed("%02i.%02i.", date.day, date.month);
    // In the middle below its tick, but not beyond the chart and its free space.
    const std::size_t wanted = layout.Tick(i) - std::min<std::size_t>(layout.Tick(i), 2);
    const std::size_t widest = std::max(layout.width, layout.space);
    const std::size_t last = widest - std::min(widest, written.size());
    line.resize(std::max(line.size(), std::min(wanted, last)), ' ');
    line += written;
  }
  text += std::string(layout.margin + 2, ' ') + line;
  EndLine(text);
}

}  // namespace

std::string DrawBarChart(std::span<const DayCount> days, std::size_t columns) {
  if (std::all_of(days.begin(), days.end(), [](const DayCount& day) { return day.count == 0; })) {
    return {};
  }
  const Layout layout = LayOut(days, columns);
  std::string text;
  for (std::uint64_t row = layout.rows; row > 0; --row) {
    AppendRow(text, days, layout, row);
  }
  AppendAxis(text, days, layout);
  AppendDates(text, days, layout);
  return text;
}

}  // namespace quillbeaker
