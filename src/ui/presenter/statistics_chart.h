// SPDX-License-Identifier: MIT
#pragma once

// The chart of the statistics window: where its grid, bars, labels and dates are, what its lines say, which
// bar is under the mouse and which comes next by the keyboard. Knows no window: whoever draws it takes places
// and texts from here.

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "stores/statistics.h"
#include "ui/presenter/screen_area.h"

namespace quillbeaker {

struct StatisticDay {
  std::uint32_t day = 0;  // DayNumber
  std::uint32_t count = 0;
  bool operator==(const StatisticDay&) const = default;
};

struct StatisticNumbers {
  std::array<StatisticDay, kStatisticDays> days{};  // oldest first
  std::uint32_t maximum = 0;
  std::uint32_t maximum_day = 0;  // the newest one with that count, today when there is none
  double average = 0;
  bool operator==(const StatisticNumbers&) const = default;
};

StatisticNumbers NumbersOf(const Statistics& statistics);

// The lines below the chart; `format` is the text of their control.
std::string MaximumLine(std::string_view format, const StatisticNumbers& numbers);
std::string AverageLine(std::string_view format, const StatisticNumbers& numbers);
// What is said of one day, by its place in `days`; of none it is said that there was no spam.
std::string DayText(const StatisticNumbers& numbers, std::optional<std::size_t> day);

// Day and count of all 30 days, a line each below a line of names: for a spreadsheet.
std::string CommaSeparated(const StatisticNumbers& numbers);
std::string TabSeparated(const StatisticNumbers& numbers);

// Whether a file of that name is to get the picture: its ending says so, and one that says nothing leaves it
// to the kind that was chosen with the name.
bool IsPictureFile(std::string_view path, bool picture_was_chosen);

// A line of the scale.
struct ChartLevel {
  int y = 0;
  std::string label;
  ScreenPoint label_corner;  // upper left
};

struct ChartBar {
  std::size_t day = 0;  // its place in `days`
  ScreenArea area;      // its outline included
  std::string date;
  // Where the turned text begins: the corner that was its upper left one before it was turned to the left.
  ScreenPoint date_start;
};

struct ChartLayout {
  ScreenSize size;
  // Neither grid nor bars: the maximum is 0.
  bool is_empty = true;
  ScreenArea plot;                              // its bottom is the axis
  std::array<int, kStatisticDays + 1> edges{};  // left ones of the days, and the right one of the last
  std::vector<ChartLevel> levels;               // from the bottom to the top
  std::vector<ChartBar> bars;                   // of the days with a count, oldest first
};

// Sizes in pixels of a date before it is turned.
struct DateSize {
  int length = 0;
  int height = 0;
};

// The chart in an area of that size, on a screen of that resolution.
ChartLayout LayOutChart(const StatisticNumbers& numbers, ScreenSize size, int dpi, DateSize date);

// The bar whose day is at that place, its place in `bars`. A day without a count has none, and a low bar is
// found anywhere in the column of its day, down to its date.
std::optional<std::size_t> BarAt(const ChartLayout& layout, ScreenPoint place);

// The day that the keyboard chooses next, from the one that is chosen now: days with a count only, by their
// places in `days`. Without one chosen, every key but kFirst begins at the newest.
enum class ChartStep { kOlder, kNewer, kFirst, kLast };
std::optional<std::size_t> StepTo(const StatisticNumbers& numbers, std::optional<std::size_t> now,
                                  ChartStep step);

}  // namespace quillbeaker
