// SPDX-License-Identifier: MIT
#include "console/bar_chart.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>
#include <limits>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "config/day_number.h"
#include "message/display_text.h"

namespace quillbeaker {
namespace {

constexpr std::size_t kDays = 30;

// 30 days that end on 29 March 2026; the pairs are days back and counts.
std::vector<DayCount> Days(std::initializer_list<std::pair<std::size_t, std::uint32_t>> counts) {
  std::vector<DayCount> days(kDays);
  for (std::size_t i = 0; i < kDays; ++i) {
    days[i].day = DayNumber(2026, 3, 29) - static_cast<std::int32_t>(kDays - 1 - i);
  }
  for (const auto& [back, count] : counts) {
    days[kDays - 1 - back].count = count;
  }
  return days;
}

std::vector<std::string> Lines(std::string_view text) {
  std::vector<std::string> lines;
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    EXPECT_NE(end, text.npos) << "the last line has no end";
    lines.emplace_back(text.substr(0, end));
    text.remove_prefix(std::min(text.size(), end == text.npos ? end : end + 1));
  }
  return lines;
}

// Columns of a line: every character of the chart is one wide.
std::vector<std::string> Cells(std::string_view line) {
  std::vector<std::string> cells;
  for (const char c : line) {
    if ((static_cast<unsigned char>(c) & 0xC0) == 0x80) {
      cells.back() += c;
    } else {
      cells.emplace_back(1, c);
    }
  }
  return cells;
}

std::size_t Widest(const std::string& chart) {
  std::size_t widest = 0;
  for (const std::string& line : Lines(chart)) {
    widest = std::max(widest, Cells(line).size());
  }
  return widest;
}

// How many eighths of a row the bar of a day fills, over all rows; looked up in the column given.
std::size_t Eighths(const std::string& chart, std::size_t column) {
  const std::vector<std::string> blocks{" ", "▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
  std::size_t sum = 0;
  const auto lines = Lines(chart);
  for (std::size_t i = 0; i + 2 < lines.size(); ++i) {
    const auto cells = Cells(lines[i]);
    if (column < cells.size()) {
      const auto block = std::find(blocks.begin(), blocks.end(), cells[column]);
      EXPECT_NE(block, blocks.end()) << cells[column];
      sum += static_cast<std::size_t>(block - blocks.begin());
    }
  }
  return sum;
}

TEST(BarChart, FewSpamsGetARowEach) {
  EXPECT_EQ(DrawBarChart(Days({{0, 3}, {1, 1}, {3, 2}, {29, 1}}), 80),
            "3 ┤                                                          █\n"
            "2 ┤                                                    █     █\n"
            "1 ┤█                                                   █   █ █\n"
            "  └────────┬─────────┬─────────┬─────────┬─────────┬─────────┬\n"
            "         04.03.    09.03.    14.03.    19.03.    24.03.    29.03.\n");
}

TEST(BarChart, ManySpamsShareTenRows) {
  const std::string chart = DrawBarChart(Days({{0, 250}, {1, 125}, {2, 1}}), 80);
  const auto lines = Lines(chart);
  ASSERT_EQ(lines.size(), 12u);
  EXPECT_EQ(lines[0].substr(0, 4), "250 ");
  EXPECT_EQ(lines[1].substr(0, 4), "225 ");
  EXPECT_EQ(lines[9].substr(0, 4), " 25 ");
  EXPECT_EQ(Eighths(chart, 5 + 29 * 2), 80u);
  EXPECT_EQ(Eighths(chart, 5 + 28 * 2), 40u);
}

TEST(BarChart, TenSpamsGetTenRowsAndElevenToo) {
  EXPECT_EQ(Lines(DrawBarChart(Days({{4, 10}}), 80)).size(), 12u);
  const auto lines = Lines(DrawBarChart(Days({{4, 11}}), 80));
  ASSERT_EQ(lines.size(), 12u);
  EXPECT_EQ(lines[9].substr(0, 3), " 1 ");
  EXPECT_EQ(lines[4].substr(0, 3), " 7 ");  // 6.6
}

TEST(BarChart, EveryCountShowsHoweverSmall) {
  const std::string chart = DrawBarChart(Days({{0, 100000}, {7, 1}}), 80);
  EXPECT_EQ(Eighths(chart, 8 + 22 * 2), 1u);
  EXPECT_EQ(Eighths(chart, 8 + 21 * 2), 0u);
}

TEST(BarChart, LargestCountsDoNotOverflow) {
  constexpr std::uint32_t kMost = std::numeric_limits<std::uint32_t>::max();
  const std::string chart = DrawBarChart(Days({{0, kMost}, {1, kMost / 2}}), 80);
  EXPECT_EQ(Lines(chart)[0].substr(0, 11), "4294967295 ");
  EXPECT_EQ(Eighths(chart, 12 + 29 * 2), 80u);
  EXPECT_EQ(Eighths(chart, 12 + 28 * 2), 40u);
  EXPECT_LT(Widest(chart), 80u);
}

TEST(BarChart, NothingToShowIsNoChart) {
  EXPECT_EQ(DrawBarChart(Days({}), 80), "");
  EXPECT_EQ(DrawBarChart({}, 80), "");
}

TEST(BarChart, NarrowTerminalGetsAColumnPerDay) {
  EXPECT_EQ(DrawBarChart(Days({{0, 2}, {1, 1}, {29, 1}}), 34),
            "2 ┤                             █\n"
            "1 ┤█                           ██\n"
            "  └─────────┬─────────┬─────────┬\n"
            "          09.03.    19.03. 29.03.\n");
  EXPECT_EQ(DrawBarChart(Days({{0, 2}}), 0), DrawBarChart(Days({{0, 2}}), 34));
}

TEST(BarChart, FitsEveryWidthAndUsesIt) {
  for (std::size_t columns = 34; columns < 500; ++columns) {
    const std::string chart = DrawBarChart(Days({{0, 9}, {29, 9}}), columns);
    EXPECT_LT(Widest(chart), columns);
    EXPECT_GE(Widest(chart) + 2 * kDays, columns);
  }
}

TEST(BarChart, DatesStandBelowTheirTicksAndDoNotTouch) {
  for (std::size_t columns = 34; columns < 500; ++columns) {
    const auto lines = Lines(DrawBarChart(Days({{0, 1}}), columns));
    const auto axis = Cells(lines[1]);
    const std::string& dates = lines[2];
    std::size_t ticks = 0;
    for (std::size_t i = 0; i < axis.size(); ++i) {
      if (axis[i] == "┬") {
        ++ticks;
        ASSERT_LT(i, dates.size()) << columns;
        EXPECT_NE(dates[i], ' ') << columns;
      }
    }
    std::size_t words = 0;
    for (std::size_t at = dates.find_first_not_of(' '); at != dates.npos;
         at = dates.find_first_not_of(' ', dates.find(' ', at))) {
      ++words;
      EXPECT_EQ(std::min(dates.find(' ', at), dates.size()) - at, 6u) << columns << dates;
    }
    EXPECT_EQ(words, ticks) << columns;
    EXPECT_GE(ticks, 3u) << columns;
    EXPECT_TRUE(dates.ends_with("29.03.")) << columns;
  }
}

TEST(BarChart, IsUtf8WithoutBlanksAtTheEndsOfLines) {
  const std::string chart = DrawBarChart(Days({{0, 3}, {12, 700}}), 120);
  EXPECT_TRUE(IsUtf8(chart));
  for (const std::string& line : Lines(chart)) {
    EXPECT_FALSE(line.ends_with(' ')) << line;
  }
}

}  // namespace
}  // namespace quillbeaker
