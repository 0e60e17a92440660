// SPDX-License-Identifier: MIT

#include "stores/statistics.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <numeric>
#include <string>
#include <string_view>

#include "config/day_number.h"

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

// The leading digits after optional blanks, at most 2^32 - 1; 0 without any. Counts use all 32 bits, which
// the integers of other keys do not.
std::uint32_t NumberOf(std::string_view token) {
  std::size_t at = std::min(token.find_first_not_of(" \t"), token.size());
  std::uint64_t value = 0;
  for (; at < token.size() && token[at] >= '0' && token[at] <= '9'; ++at) {
    value = value * 10 + static_cast<unsigned>(token[at] - '0');
    if (value > std::numeric_limits<std::uint32_t>::max()) return std::numeric_limits<std::uint32_t>::max();
  }
  return static_cast<std::uint32_t>(value);
}

}  // namespace

Statistics::Statistics(Program& program) : program_(program) {}

void Statistics::Load() {
  if (loaded_) Save();
  loaded_ = false;
  today_ = static_cast<std::uint32_t>(DayNumber(program_.environment.utc_time()));
  for (std::size_t slot = 0; slot < kStatisticDays; ++slot) {
    days_[slot] = today_ - static_cast<std::uint32_t>(slot);
  }
  const std::shared_ptr<const IniDocument> document = program_.configuration.Read();
  std::string_view days = ListOf(*document, keys::kStatisticsDays);
  std::string_view mails = ListOf(*document, keys::kStatisticsMails);
  while (!days.empty()) {
    const std::uint32_t day = NumberOf(NextToken(days));
    const std::uint32_t count = NumberOf(NextToken(mails));
    // A day in the future wraps to a great age.
    const std::uint32_t age = today_ - day;
    if (age < kStatisticDays) counts_[age] = count;
  }
  loaded_ = true;
}

void Statistics::Count(std::uint32_t day) {
  const std::uint32_t age = today_ - day;
  if (age < kStatisticDays) ++counts_[age];
}

bool Statistics::Save() {
  if (!loaded_) return true;
  std::string days;
  std::string mails;
  for (std::size_t slot = 0; slot < kStatisticDays; ++slot) {
    if (counts_[slot] == 0) continue;
    days += std::to_string(days_[slot]) + ",";
    mails += std::to_string(counts_[slot]) + ",";
  }
  return program_.configuration.Update([&](IniDocument& document) {
    document.Set(sections::kStatistics, keys::kStatisticsDays.name, days);
    document.Set(sections::kStatistics, keys::kStatisticsMails.name, mails);
  });
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
