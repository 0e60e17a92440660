// SPDX-License-Identifier: MIT
#include "config/day_number.h"

namespace quillbeaker {

std::int32_t DayNumber(std::uint16_t year, std::uint16_t month, std::uint16_t day) {
  std::int32_t m = month;
  std::uint16_t wrapped_year = year;
  if (m < 3) {
    // Deliberate: the year wraps at 16 bits here. Mails without a readable date are stored under the number
    // that the all-zero date gets this way, and their age (far in the future) keeps them out of every purge.
    m += 12;
    wrapped_year = static_cast<std::uint16_t>(wrapped_year - 1);
  }
  const std::int32_t y = wrapped_year;
  return day + (153 * m - 457) / 5 + 365 * y + y / 4 - y / 100 + y / 400 + 1721119;
}

std::int32_t DayNumber(const CalendarTime& date) {
  return DayNumber(date.year, date.month, date.day);
}

CalendarTime DateOfDayNumber(std::int32_t day_number) {
  // Counted from 1 March of the year 0, in cycles of 400 years: the leap day is then the last day of a year.
  constexpr std::int64_t kDaysOfCycle = 146097;
  const std::int64_t days = std::int64_t{day_number} - 1721120;
  const std::int64_t cycle = (days >= 0 ? days : days - (kDaysOfCycle - 1)) / kDaysOfCycle;
  const std::int64_t day_of_cycle = days - cycle * kDaysOfCycle;
  const std::int64_t year_of_cycle =
      (day_of_cycle - day_of_cycle / 1460 + day_of_cycle / 36524 - day_of_cycle / 146096) / 365;
  const std::int64_t day_of_year =
      day_of_cycle - (365 * year_of_cycle + year_of_cycle / 4 - year_of_cycle / 100);
  const std::int64_t month_from_march = (5 * day_of_year + 2) / 153;
  const std::int64_t month = month_from_march < 10 ? month_from_march + 3 : month_from_march - 9;
  const std::int64_t year = cycle * 400 + year_of_cycle + (month < 3 ? 1 : 0);

  CalendarTime date;
  date.year = static_cast<std::uint16_t>(year);
  date.month = static_cast<std::uint16_t>(month);
  date.day = static_cast<std::uint16_t>(day_of_year - (153 * month_from_march + 2) / 5 + 1);
  return date;
}

}  // namespace quillbeaker
