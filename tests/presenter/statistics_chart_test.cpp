// SPDX-License-Identifier: MIT
#include "ui/presenter/statistics_chart.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "config/day_number.h"
#include "platform/files.h"
#include "support/test_program.h"

namespace quillbeaker {
namespace {

constexpr ScreenSize kSize{620, 300};
constexpr DateSize kDate{50, 10};
constexpr char kMaximumFormat[] = "Maximum: %i spam mails (%s)";
constexpr char kAverageFormat[] = "Average: %.2f spam mails/day";

std::uint32_t Today() {
  return static_cast<std::uint32_t>(DayNumber(2006, 3, 2));
}

// Counts by their slots: 0 is today.
StatisticNumbers Loaded(const std::map<std::uint32_t, std::uint32_t>& by_age) {
  test::TestProgram program;
  std::string days;
  std::string mails;
  for (const auto& [age, count] : by_age) {
    days += std::to_string(Today() - age) + ",";
    mails += std::to_string(count) + ",";
  }
  EXPECT_TRUE(program.Configure("", "[STATS]\r\nDays=" + days + "\r\nMails=" + mails + "\r\n"));
  Statistics statistics(program.program());
  statistics.Load();
  return NumbersOf(statistics);
}

ChartLayout LaidOut(const std::map<std::uint32_t, std::uint32_t>& by_age, int dpi = 96,
                    ScreenSize size = kSize) {
  return LayOutChart(Loaded(by_age), size, dpi, {kDate.length * dpi / 96, kDate.height * dpi / 96});
}

std::vector<std::string> Labels(const ChartLayout& layout) {
  std::vector<std::string> labels;
  for (const ChartLevel& level : layout.levels) labels.push_back(level.label);
  return labels;
}

int BottomOf(const ChartLayout& layout) {
  return layout.plot.corner.y + layout.plot.size.height;
}

TEST(StatisticNumbers, HoldsTheThirtyDaysOldestFirst) {
  const StatisticNumbers numbers = Loaded({{0, 3}, {2, 12}, {29, 1}, {30, 99}});
  EXPECT_EQ(numbers.days[29], (StatisticDay{Today(), 3}));
  EXPECT_EQ(numbers.days[28], (StatisticDay{Today() - 1, 0}));
  EXPECT_EQ(numbers.days[27], (StatisticDay{Today() - 2, 12}));
  EXPECT_EQ(numbers.days[0], (StatisticDay{Today() - 29, 1}));
  EXPECT_EQ(numbers.maximum, 12u);
  EXPECT_EQ(numbers.maximum_day, Today() - 2);
}

TEST(StatisticLines, SayMaximumWithItsDayAndAverageOverThirtyDays) {
  const StatisticNumbers numbers = Loaded({{1, 5}});
  EXPECT_EQ(MaximumLine(kMaximumFormat, numbers), "Maximum: 5 spam mails (01.03.2006)");
  EXPECT_EQ(AverageLine(kAverageFormat, numbers), "Average: 0.17 spam mails/day");
}

TEST(StatisticLines, NameTheNewestOfEqualMaxima) {
  EXPECT_EQ(MaximumLine(kMaximumFormat, Loaded({{3, 5}, {8, 5}})), "Maximum: 5 spam mails (27.02.2006)");
}

TEST(StatisticLines, SayZeroAndTodayWithoutSpam) {
  EXPECT_EQ(MaximumLine(kMaximumFormat, Loaded({})), "Maximum: 0 spam mails (02.03.2006)");
  EXPECT_EQ(AverageLine(kAverageFormat, Loaded({})), "Average: 0.00 spam mails/day");
}

TEST(StatisticLines, AreFilledFromAnyTextWithoutPrintf) {
  const StatisticNumbers numbers = Loaded({{0, 5}});
  EXPECT_EQ(MaximumLine("100 %: %i", numbers), "100 %: 5");
  EXPECT_EQ(MaximumLine("no numbers", numbers), "no numbers");
  EXPECT_EQ(MaximumLine("%i (%s) %s%n", numbers), "5 (02.03.2006) %s%n");
  EXPECT_EQ(AverageLine("", numbers), "");
}

TEST(StatisticLines, TellOneDay) {
  const StatisticNumbers numbers = Loaded({{0, 5}});
  EXPECT_EQ(DayText(numbers, 29), "Spam mails on 02.03.2006: 5");
  EXPECT_EQ(DayText(numbers, 28), "Spam mails on 01.03.2006: 0");
  EXPECT_EQ(DayText(numbers, std::nullopt), "No spam mails within the last 30 days.");
  EXPECT_EQ(DayText(numbers, 30), "No spam mails within the last 30 days.");
}

TEST(StatisticRows, HoldEveryDayOfTheThirty) {
  const std::string csv = CommaSeparated(Loaded({{0, 5}, {29, 7}}));
  EXPECT_EQ(csv.substr(0, 44), "date,count\r\n2006-02-01,7\r\n2006-02-02,0\r\n2006");
  EXPECT_EQ(csv.substr(csv.size() - 28), "2006-03-01,0\r\n2006-03-02,5\r\n");
  EXPECT_EQ(std::count(csv.begin(), csv.end(), '\n'), 31);
  std::string tabbed = TabSeparated(Loaded({{0, 5}, {29, 7}}));
  std::replace(tabbed.begin(), tabbed.end(), '\t', ',');
  EXPECT_EQ(tabbed, csv);
}

TEST(StatisticRows, AreThoseOfTheDocumentation) {
  const std::string page = ReadWholeFile(QUILLBEAKER_FORMATS_PAGE).value();
  test::TestProgram program;
  program.clock.utc = {2003, 2, 3, 5, 12, 0, 0, 0};
  ASSERT_TRUE(program.Configure("", "[STATS]\r\nDays=2452676,2452674,\r\nMails=3,12,\r\n"));
  Statistics statistics(program.program());
  statistics.Load();
  std::string rows = CommaSeparated(NumbersOf(statistics));
  std::erase(rows, '\r');
  const std::string shown = rows.substr(0, 11) + rows.substr(rows.size() - 40);
  EXPECT_NE(page.find("<!-- example: statistic.csv -->\n```\n" + shown + "```\n"), page.npos) << shown;
}

TEST(StatisticRows, TheEndingOfTheNameDecidesWhatIsSaved) {
  EXPECT_TRUE(IsPictureFile("C:\\x.PNG", false));
  EXPECT_TRUE(IsPictureFile("C:\\x.png", true));
  EXPECT_FALSE(IsPictureFile("C:\\x.Csv", true));
  EXPECT_FALSE(IsPictureFile("C:\\x.txt", false));
  EXPECT_TRUE(IsPictureFile("C:\\x", true));
}

TEST(StatisticsChart, IsPlainWhenThereIsNoSpam) {
  const ChartLayout layout = LaidOut({});
  EXPECT_TRUE(layout.is_empty);
  EXPECT_TRUE(layout.levels.empty());
  EXPECT_TRUE(layout.bars.empty());
  EXPECT_EQ(BarAt(layout, {300, 100}), std::nullopt);
}

TEST(StatisticsChart, HasAsManyLevelsAsTheMaximumUpToTen) {
  EXPECT_EQ(Labels(LaidOut({{0, 1}})), (std::vector<std::string>{"1"}));
  EXPECT_EQ(Labels(LaidOut({{0, 3}})), (std::vector<std::string>{"1", "2", "3"}));
  EXPECT_EQ(LaidOut({{0, 10}}).levels.size(), 10u);
  EXPECT_EQ(Labels(LaidOut({{0, 250}})),
            (std::vector<std::string>{"25", "50", "75", "100", "125", "150", "175", "200", "225", "250"}));
}

TEST(StatisticsChart, RoundsTheNumbersOfTheScale) {
  EXPECT_EQ(Labels(LaidOut({{0, 11}})),
            (std::vector<std::string>{"1", "2", "3", "4", "6", "7", "8", "9", "10", "11"}));
  EXPECT_EQ(Labels(LaidOut({{0, 4294967295}})).front(), "429496730");
  EXPECT_EQ(Labels(LaidOut({{0, 4294967295}})).back(), "4294967295");
}

TEST(StatisticsChart, SpacesTheLevelsEvenlyUpToTheTop) {
  for (const std::uint32_t maximum : {1u, 3u, 7u, 250u}) {
    const ChartLayout layout = LaidOut({{0, maximum}});
    const int count = static_cast<int>(layout.levels.size());
    EXPECT_EQ(layout.levels.back().y, layout.plot.corner.y);
    for (int k = 1; k <= count; ++k) {
      const double wanted = BottomOf(layout) - layout.plot.size.height * double(k) / count;
      EXPECT_NEAR(layout.levels[static_cast<std::size_t>(k - 1)].y, wanted, 0.51) << maximum;
    }
  }
}

TEST(StatisticsChart, LabelsEachLevelAtItsPlace) {
  for (const ChartLevel& level : LaidOut({{0, 7}}).levels) {
    EXPECT_EQ(level.label_corner, (ScreenPoint{5, level.y - 6}));
    EXPECT_GE(level.label_corner.y, 12);
  }
}

TEST(StatisticsChart, DividesItsWidthLess20IntoThirtyDays) {
  const ChartLayout layout = LaidOut({{0, 3}});
  EXPECT_EQ(layout.plot.corner.x, 20);
  EXPECT_EQ(layout.plot.size.width, 600);
  EXPECT_GE(layout.plot.corner.y, 18);
  for (int day = 0; day <= 30; ++day) EXPECT_EQ(layout.edges[static_cast<std::size_t>(day)], 20 + 20 * day);
}

TEST(StatisticsChart, CoversTheWholeWidthWhenThirtyDoNotDivideIt) {
  const ChartLayout layout = LaidOut({{0, 3}}, 96, {467, 300});
  EXPECT_EQ(layout.edges.back(), 467);
  for (std::size_t day = 0; day < 30; ++day) {
    EXPECT_NEAR(layout.edges[day + 1] - layout.edges[day], 14.9, 1);
  }
}

TEST(StatisticsChart, PutsTheNewestDayRightmost) {
  const ChartLayout layout = LaidOut({{0, 3}, {29, 2}});
  ASSERT_EQ(layout.bars.size(), 2u);
  EXPECT_EQ(layout.bars[0].date, "01.02.2006");
  EXPECT_EQ(layout.bars[0].area.corner.x, 20);
  EXPECT_EQ(layout.bars[1].date, "02.03.2006");
  EXPECT_EQ(layout.bars[1].area.corner.x, 600);
  EXPECT_EQ(layout.bars[1].area.corner.x + layout.bars[1].area.size.width, 620);
}

TEST(StatisticsChart, DrawsABarUpToItsShareOfTheMaximum) {
  const ChartLayout layout = LaidOut({{0, 1000}, {1, 500}, {2, 1}});
  ASSERT_EQ(layout.bars.size(), 3u);
  const auto top = [&](std::size_t bar) { return layout.bars[bar].area.corner.y; };
  EXPECT_EQ(top(2), layout.plot.corner.y);
  EXPECT_NEAR(top(1), layout.plot.corner.y + layout.plot.size.height / 2.0, 1);
  EXPECT_LT(top(0), BottomOf(layout));  // it shows all the same
  for (const ChartBar& bar : layout.bars) {
    EXPECT_EQ(bar.area.corner.y + bar.area.size.height, BottomOf(layout) + 1);
    EXPECT_EQ(bar.area.corner.x, layout.edges[bar.day]);
  }
}

TEST(StatisticsChart, WritesTheDateBelowItsBar) {
  const ChartLayout layout = LaidOut({{0, 3}, {5, 1}});
  for (const ChartBar& bar : layout.bars) {
    // Turned to the left the text rises from its start, its height to the right.
    EXPECT_LE(bar.date_start.y, kSize.height);
    EXPECT_GT(bar.date_start.y - kDate.length, BottomOf(layout));
    EXPECT_GE(bar.date_start.x, layout.edges[bar.day]);
    EXPECT_LE(bar.date_start.x + kDate.height, layout.edges[bar.day + 1]);
  }
}

TEST(StatisticsChart, ScalesItsMarginsWithTheResolution) {
  const ChartLayout layout = LaidOut({{0, 3}}, 192, {1240, 600});
  EXPECT_EQ(layout.plot.corner.x, 40);
  EXPECT_EQ(layout.plot.corner.y, 36);
  EXPECT_EQ(layout.levels[0].label_corner, (ScreenPoint{10, layout.levels[0].y - 12}));
}

TEST(StatisticsChart, StaysSoundInAnAreaThatIsTooSmall) {
  for (const ScreenSize size : {ScreenSize{0, 0}, {5, 5}, {20, 400}, {400, 20}}) {
    const ChartLayout layout = LaidOut({{0, 3}, {7, 4000000000}}, 96, size);
    EXPECT_GE(layout.plot.size.width, 0);
    EXPECT_GT(layout.plot.size.height, 0);
  }
}

TEST(StatisticsChart, FindsABarAnywhereInTheColumnOfItsDay) {
  const ChartLayout layout = LaidOut({{0, 1000}, {29, 1}});
  EXPECT_EQ(BarAt(layout, {20, layout.plot.corner.y}), 0u);
  EXPECT_EQ(BarAt(layout, {39, kSize.height - 1}), 0u);
  EXPECT_EQ(BarAt(layout, {619, 100}), 1u);
  EXPECT_EQ(BarAt(layout, {40, 100}), std::nullopt);  // a day without spam
  EXPECT_EQ(BarAt(layout, {19, 100}), std::nullopt);
  EXPECT_EQ(BarAt(layout, {30, 5}), std::nullopt);
  EXPECT_EQ(BarAt(layout, {30, kSize.height}), std::nullopt);
  EXPECT_EQ(BarAt(layout, {-1, -1}), std::nullopt);
}

TEST(StatisticKeys, WalkFromBarToBar) {
  const StatisticNumbers numbers = Loaded({{0, 1}, {4, 1}, {29, 1}});
  EXPECT_EQ(StepTo(numbers, std::nullopt, ChartStep::kOlder), 29u);
  EXPECT_EQ(StepTo(numbers, std::nullopt, ChartStep::kNewer), 29u);
  EXPECT_EQ(StepTo(numbers, 29, ChartStep::kOlder), 25u);
  EXPECT_EQ(StepTo(numbers, 25, ChartStep::kOlder), 0u);
  EXPECT_EQ(StepTo(numbers, 0, ChartStep::kOlder), 0u);
  EXPECT_EQ(StepTo(numbers, 0, ChartStep::kNewer), 25u);
  EXPECT_EQ(StepTo(numbers, 29, ChartStep::kNewer), 29u);
  EXPECT_EQ(StepTo(numbers, 29, ChartStep::kFirst), 0u);
  EXPECT_EQ(StepTo(numbers, 0, ChartStep::kLast), 29u);
}

TEST(StatisticKeys, GoOnFromADayThatHasNoBarAnyMore) {
  const StatisticNumbers numbers = Loaded({{0, 1}, {9, 1}});
  EXPECT_EQ(StepTo(numbers, 25, ChartStep::kOlder), 20u);
  EXPECT_EQ(StepTo(numbers, 25, ChartStep::kNewer), 29u);
  EXPECT_EQ(StepTo(numbers, 3, ChartStep::kOlder), 20u);
}

TEST(StatisticKeys, FindNothingWithoutBars) {
  EXPECT_EQ(StepTo(Loaded({}), std::nullopt, ChartStep::kLast), std::nullopt);
}

}  // namespace
}  // namespace quillbeaker
