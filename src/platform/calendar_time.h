// SPDX-License-Identifier: MIT
#pragma once

// A calendar date and time as fields, the shape in which dates of mails, of files and of the clock travel
// through the program. It knows no time zone: who makes one says whether it is local time or UTC.

#include <cstdint>

namespace quillbeaker {

// All fields are 16 bits wide because dates from mail wrap at that width (year 70000 is 4464).
struct CalendarTime {
  std::uint16_t year = 0;
  std::uint16_t month = 0;        // 1 to 12; 0 when it was not understood
  std::uint16_t day_of_week = 0;  // 0 is Sunday
  std::uint16_t day = 0;
  std::uint16_t hour = 0;
  std::uint16_t minute = 0;
  std::uint16_t second = 0;
  std::uint16_t milliseconds = 0;

  bool operator==(const CalendarTime&) const = default;
};

}  // namespace quillbeaker
