// SPDX-License-Identifier: MIT
// `stats`: how much spam came within the last 30 days.
#include <string>
#include <vector>

#include "config/texts.h"
#include "console/bar_chart.h"
#include "console/commands.h"
#include "console/json_text.h"
#include "extras/statistic_text.h"
#include "platform/console.h"
#include "stores/statistics.h"

namespace quillbeaker {
namespace {

// Oldest day first.
std::vector<DayCount> DaysOf(const Statistics& statistics) {
  std::vector<DayCount> days;
  for (std::size_t slot = kStatisticDays; slot-- > 0;) {
    days.push_back({static_cast<std::int32_t>(statistics.DayOf(slot)), statistics.CountOf(slot)});
  }
  return days;
}

Json JsonOf(const Statistics& statistics) {
  Json days = Json::array();
  for (const DayCount& day : DaysOf(statistics)) {
    days.push_back({{"date", day.day}, {"count", day.count}});
  }
  std::uint32_t day = 0;
  const std::uint32_t highest = statistics.Highest(&day);
  return {{"days", std::move(days)},
          {"highest", {{"date", day}, {"count", highest}}},
          {"average", StatisticAverage(statistics.Average())}};
}

std::string Shown(const Statistics& statistics) {
  std::uint32_t day = 0;
  const std::uint32_t highest = statistics.Highest(&day);
  const std::string chart = DrawBarChart(DaysOf(statistics), StandardOutputColumns());
  std::string text(TextOf(Text::kStatisticAbout));
  text += "\n\n" + chart + (chart.empty() ? "" : "\n");
  text += Format(Text::kStatisticHighest, {std::to_string(highest), StatisticDate(day)}) + "\n";
  text += Format(Text::kStatisticAverage, {StatisticAverage(statistics.Average())}) + "\n";
  return text;
}

}  // namespace

int ShowStatistics(Program& program, const StatsOptions& options) {
  // Never saved: that would write the counts of now over those that a mail check adds in the meantime.
  Statistics statistics(program);
  statistics.Load();
  WriteStandardOutput(options.json ? JsonLine(JsonOf(statistics)) : Shown(statistics));
  return kExitDone;
}

}  // namespace quillbeaker
