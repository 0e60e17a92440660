// SPDX-License-Identifier: MIT
#include "extras/statistic_text.h"

#include <cstdio>

#include "config/day_number.h"

namespace quillbeaker {

std::string StatisticDate(std::uint32_t day_number) {
  const CalendarTime date = DateOfDayNumber(static_cast<std::int32_t>(day_number));
  char text[24];
  std::snprintf(text, sizeof text, "%02i.%02i.%04i", date.day, date.month, date.year);
  return text;
}

std::string StatisticAverage(double average) {
  char text[32];
  std::snprintf(text, sizeof text, "%.2f", average);
  return text;
}

}  // namespace quillbeaker
