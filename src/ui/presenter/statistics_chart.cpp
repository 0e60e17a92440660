// SPDX-License-Identifier: MIT
#include "ui/presenter/statistics_chart.h"

#include <algorithm>
#include <cstdio>

#include "config/ascii.h"
#include "config/day_number.h"
#include "config/texts.h"
#include "extras/statistic_text.h"

namespace quillbeaker {
namespace {

// Pixels at 96 dpi.
constexpr int kLeftOfPlot = 20;
constexpr int kLabelLeft = 5;
constexpr int kLabelRise = 6;   // of a label's upper edge above its line
constexpr int kTopMargin = 18;  // half of the label of the top line
constexpr int kDateGap = 4;     // between the axis and a date, and below it
constexpr int kLeastPlot = 10;  // in an area that is too small for anything
constexpr std::uint32_t kMostLevels = 10;

int Scaled(int pixels, int dpi) {
  return (pixels * dpi + 48) / 96;
}

// `whole` times count/maximum, rounded.
int Share(int whole, std::uint64_t count, std::uint64_t maximum) {
  return static_cast<int>((2 * static_cast<std::uint64_t>(whole) * count + maximum) / (2 * maximum));
}

// As a spreadsheet understands it in every language.
std::string IsoDate(std::uint32_t day_number) {
  const CalendarTime date = DateOfDayNumber(static_cast<std::int32_t>(day_number));
  char text[24];
  std::snprintf(text, sizeof text, "%04i-%02i-%02i", date.year, date.month, date.day);
  return text;
}

std::string Rows(const StatisticNumbers& numbers, char separator) {
  std::string text = std::string("date") + separator + "count\r\n";
  for (const StatisticDay& day : numbers.days) {
    text += IsoDate(day.day) + separator + std::to_string(day.count) + "\r\n";
  }
  return text;
}

std::vector<ChartLevel> Levels(std::uint32_t maximum, const ScreenArea& plot, int dpi) {
  const std::uint32_t count = std::min(maximum, kMostLevels);
  const int bottom = plot.corner.y + plot.size.height;
  std::vector<ChartLevel> levels;
  for (std::uint32_t k = 1; k <= count; ++k) {
    const std::uint64_t value = (2 * std::uint64_t{k} * maximum + count) / (2 * std::uint64_t{count});
    const int y = bottom - Share(plot.size.height, k, count);
    levels.push_back({y, std::to_string(value), {Scaled(kLabelLeft, dpi), y - Scaled(kLabelRise, dpi)}});
  }
  return levels;
}

}  // namespace

StatisticNumbers NumbersOf(const Statistics& statistics) {
  StatisticNumbers numbers;
  for (std::size_t slot = 0; slot < kStatisticDays; ++slot) {
    numbers.days[kStatisticDays - 1 - slot] = {statistics.DayOf(slot), statistics.CountOf(slot)};
  }
  numbers.maximum = statistics.Highest(&numbers.maximum_day);
  numbers.average = statistics.Average();
  return numbers;
}

std::string MaximumLine(std::string_view format, const StatisticNumbers& numbers) {
  return FillIn(format, {std::to_string(numbers.maximum), StatisticDate(numbers.maximum_day)});
}

std::string AverageLine(std::string_view format, const StatisticNumbers& numbers) {
  return FillIn(format, {StatisticAverage(numbers.average)});
}

std::string DayText(const StatisticNumbers& numbers, std::optional<std::size_t> day) {
  if (!day || *day >= numbers.days.size()) return std::string(TextOf(Text::kStatisticNoSpam));
  const StatisticDay& one = numbers.days[*day];
  return Format(Text::kStatisticDay, {StatisticDate(one.day), std::to_string(one.count)});
}

std::string CommaSeparated(const StatisticNumbers& numbers) {
  return Rows(numbers, ',');
}

std::string TabSeparated(const StatisticNumbers& numbers) {
  return Rows(numbers, '\t');
}

bool IsPictureFile(std::string_view path, bool picture_was_chosen) {
  if (EndsWithIgnoringCase(path, ".png")) return true;
  return picture_was_chosen && !EndsWithIgnoringCase(path, ".csv");
}

ChartLayout LayOutChart(const StatisticNumbers& numbers, ScreenSize size, int dpi, DateSize date) {
  ChartLayout layout;
  layout.size = size;
  layout.is_empty = numbers.maximum == 0;
  if (layout.is_empty) return layout;

  const int gap = Scaled(kDateGap, dpi);
  const int top = Scaled(kTopMargin, dpi);
  const int left = Scaled(kLeftOfPlot, dpi);
  layout.plot = {{left, top},
                 {std::max(size.width - left, 0),
                  std::max(size.height - top - 2 * gap - date.length, Scaled(kLeastPlot, dpi))}};
  const int bottom = layout.plot.corner.y + layout.plot.size.height;
  for (std::size_t i = 0; i < layout.edges.size(); ++i) {
    layout.edges[i] = left + layout.plot.size.width * static_cast<int>(i) / static_cast<int>(kStatisticDays);
  }
  layout.levels = Levels(numbers.maximum, layout.plot, dpi);
  for (std::size_t day = 0; day < numbers.days.size(); ++day) {
    const std::uint32_t count = numbers.days[day].count;
    if (count == 0) continue;
    // Two pixels show that there is a bar: its outline alone.
    const int height = std::max(Share(layout.plot.size.height, count, numbers.maximum), 1);
    const int from = layout.edges[day];
    const int to = layout.edges[day + 1];
    // Bars of neighbouring days share their outlines, also with the grid and the axis.
    const int right = std::min(to + 1, size.width);
    layout.bars.push_back({day,
                           {{from, bottom - height}, {right - from, height + 1}},
                           StatisticDate(numbers.days[day].day),
                           {(from + to + 1 - date.height) / 2, bottom + gap + date.length}});
  }
  return layout;
}

std::optional<std::size_t> BarAt(const ChartLayout& layout, ScreenPoint place) {
  if (place.y < layout.plot.corner.y || place.y >= layout.size.height) return std::nullopt;
  for (std::size_t i = 0; i < layout.bars.size(); ++i) {
    const std::size_t day = layout.bars[i].day;
    if (place.x >= layout.edges[day] && place.x < layout.edges[day + 1]) return i;
  }
  return std::nullopt;
}

std::optional<std::size_t> StepTo(const StatisticNumbers& numbers, std::optional<std::size_t> now,
                                  ChartStep step) {
  std::vector<std::size_t> days;
  for (std::size_t day = 0; day < numbers.days.size(); ++day) {
    if (numbers.days[day].count != 0) days.push_back(day);
  }
  if (days.empty()) return std::nullopt;
  if (step == ChartStep::kFirst) return days.front();
  if (step == ChartStep::kLast || !now) return days.back();
  if (step == ChartStep::kNewer) {
    const auto newer = std::upper_bound(days.begin(), days.end(), *now);
    return newer == days.end() ? days.back() : *newer;
  }
  const auto not_older = std::lower_bound(days.begin(), days.end(), *now);
  return not_older == days.begin() ? days.front() : *(not_older - 1);
}

}  // namespace quillbeaker
