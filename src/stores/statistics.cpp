// SPDX-License-Identifier: MIT

#include "stores/statistics.h"

#include <algorithm>
#include <functional>
#include <limits>
#include <map>
#include <numeric>
#include <string>
#include <string_view>

#include "config/day_number.h"
#include "config/leading_integer.h"

namespace quillbeaker {
namespace {

// Both lists must be of one state of the file, or the mails of one day would count for another.
std::string_view ListOf(const IniDocument& document, const TextKey& key) {
  return document.Find(key.section, key.name).value_or(key.default_value).substr(0, key.capacity - 1);
}

// Takes the text up to the next comma, or to the end, off the list.
std::string_view NextToken(std::string_view& list) {
  const std::size_t comma = list.find(',');
  const std::string_view token = list.substr(0, comma);
  list.remove_prefix(comma == std::string_view::npos ? list.size() : comma + 1);
  return token;
}

// Calls `visit` with day and count of each pair of the file. A day in the future has a great age, since the
// subtraction wraps.
template <typename Visit>
void ForEachStored(const IniDocument& document, Visit visit) {
  std::string_view days = ListOf(document, keys::kStatisticsDays);
  std::string_view mails = ListOf(document, keys::kStatisticsMails);
  while (!days.empty()) {
    const std::uint32_t day = LeadingInteger<std::uint32_t>(NextToken(days));
    const std::uint32_t count = LeadingInteger<std::uint32_t>(NextToken(mails));
    visit(day, count);
  }
}

using CountsByDay = std::map<std::uint32_t, std::uint32_t, std::greater<>>;  // newest first

void WriteNewest(const CountsByDay& counts, IniDocument& document) {
  std::string days;
  std::string mails;
  std::size_t number = 0;
  for (const auto& [day, count] : counts) {
    if (count == 0) continue;
    if (++number > kStatisticDays) break;
    days += std::to_string(day) + ",";
    mails += std::to_string(count) + ",";
  }
  document.Set(sections::kStatistics, keys::kStatisticsDays.name, days);
  document.Set(sections::kStatistics, keys::kStatisticsMails.name, mails);
}

std::uint32_t CappedSum(std::uint32_t a, std::uint32_t b) {
  constexpr std::uint32_t kMost = std::numeric_limits<std::uint32_t>::max();
  return a > kMost - b ? kMost : a + b;
}

std::uint32_t TodayOf(const Program& program) {
  return static_cast<std::uint32_t>(DayNumber(program.environment.utc_time()));
}

}  // namespace

Statistics::Statistics(Program& program) : program_(program) {}

void Statistics::Load() {
  if (loaded_) static_cast<void>(Save());
  unsaved_ = {};
  today_ = TodayOf(program_);
  for (std::size_t slot = 0; slot < kStatisticDays; ++slot) {
    days_[slot] = today_ - static_cast<std::uint32_t>(slot);
  }
  ForEachStored(*program_.configuration.Read(), [this](std::uint32_t day, std::uint32_t count) {
    if (const std::uint32_t age = today_ - day; age < kStatisticDays) counts_[age] = count;
  });
  loaded_ = true;
}

void Statistics::Count(std::uint32_t day) {
  const std::uint32_t age = today_ - day;
  if (age >= kStatisticDays) return;
  ++counts_[age];
  ++unsaved_[age];
}

// Somebody who loaded after the next midnight may have counted for a day that is new to this object. Its
// count stays: of both windows the newest 30 days are kept.
bool Statistics::Save() {
  if (!loaded_) return true;
  CountsByDay counts;
  const bool saved = program_.configuration.Update([&](IniDocument& document) {
    const std::uint32_t now = TodayOf(program_);
    ForEachStored(document, [&](std::uint32_t day, std::uint32_t count) {
      if (today_ - day < kStatisticDays || now - day < kStatisticDays) counts[day] = count;
    });
    for (std::size_t slot = 0; slot < kStatisticDays; ++slot) {
      if (unsaved_[slot] != 0) counts[days_[slot]] = CappedSum(counts[days_[slot]], unsaved_[slot]);
    }
    WriteNewest(counts, document);
  });
  if (!saved) return false;
  unsaved_ = {};
  for (std::size_t slot = 0; slot < kStatisticDays; ++slot) {
    const auto found = counts.find(days_[slot]);
    counts_[slot] = found == counts.end() ? 0 : found->second;
  }
  return true;
}

std::uint32_t Statistics::Highest(std::uint32_t* day) const {
  const auto highest = std::max_element(counts_.begin(), counts_.end());  // the first of equal ones
  if (day != nullptr) {
    *day = *highest == 0 ? today_ : days_[static_cast<std::size_t>(highest - counts_.begin())];
  }
  return *highest;
}

double Statistics::Average() const {
  constexpr double kOneThirtieth = 0.03333333333333333;
  return static_cast<double>(std::accumulate(counts_.begin(), counts_.end(), std::uint64_t{0})) *
         kOneThirtieth;
}

}  // namespace quillbeaker
