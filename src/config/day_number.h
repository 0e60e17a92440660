// SPDX-License-Identifier: MIT
#pragma once

// Julian day numbers of calendar dates: every stored date, every "last done on" key and every age test uses
// them.

#include <cstdint>

#include "platform/calendar_time.h"

namespace quillbeaker {

// Day number of a date; 1 January 2000 is 2451545. The year is 16 bits wide also after January and February
// were counted as months of the year before, so that the all-zero date of an unreadable mail date is
// 25657560.
std::int32_t DayNumber(std::uint16_t year, std::uint16_t month, std::uint16_t day);
std::int32_t DayNumber(const CalendarTime& date);

// The inverse: year, month and day of a day number, other fields 0. Total: any value gives a date.
CalendarTime DateOfDayNumber(std::int32_t day_number);

}  // namespace quillbeaker
