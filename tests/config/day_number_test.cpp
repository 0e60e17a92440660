// SPDX-License-Identifier: MIT
#include "config/day_number.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

namespace quillbeaker {
namespace {

bool IsLeap(int year) {
  return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

int DaysInMonth(int year, int month) {
  constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return kDays[month - 1] + (month == 2 && IsLeap(year) ? 1 : 0);
}

TEST(DayNumber, KnownDates) {
  EXPECT_EQ(DayNumber(2000, 1, 1), 2451545);
  EXPECT_EQ(DayNumber(1970, 1, 1), 2440588);
  EXPECT_EQ(DayNumber(2003, 2, 5), 2452676);
  EXPECT_EQ(DayNumber(2024, 2, 29), 2460370);
  EXPECT_EQ(DayNumber(2025, 12, 31), 2461041);
}

TEST(DayNumber, OfAnUnreadableDateIsTheOneOfASixteenBitYear) {
  // Month 0 counts as month 12 of the year before 0, which is 65535:
  // 0 + (153*12 - 457)/5 + 365*65535 + 16383 - 655 + 163 + 1721119.
  EXPECT_EQ(DayNumber(0, 0, 0), 25657560);
  EXPECT_EQ(DayNumber(CalendarTime{}), 25657560);
  // A partial date: 1 January of year 0 is month 13 of year 65535.
  EXPECT_EQ(DayNumber(0, 1, 1), 25657592);
}

TEST(DayNumber, TakesTheDateOfACalendarTimeAndIgnoresItsClock) {
  CalendarTime time;
  time.year = 2003;
  time.month = 2;
  time.day = 5;
  time.hour = 23;
  time.minute = 59;
  time.second = 59;
  time.milliseconds = 999;
  time.day_of_week = 6;
  EXPECT_EQ(DayNumber(time), 2452676);
}

TEST(DayNumber, CountsEveryDayFrom1900To2100AndBack) {
  std::int32_t expected = 2415021;  // 1 January 1900
  for (int year = 1900; year <= 2100; ++year) {
    for (int month = 1; month <= 12; ++month) {
      for (int day = 1; day <= DaysInMonth(year, month); ++day, ++expected) {
        ASSERT_EQ(DayNumber(static_cast<std::uint16_t>(year), static_cast<std::uint16_t>(month),
                            static_cast<std::uint16_t>(day)),
                  expected)
            << year << '-' << month << '-' << day;
        const CalendarTime date = DateOfDayNumber(expected);
        ASSERT_EQ(date.year, year) << expected;
        ASSERT_EQ(date.month, month) << expected;
        ASSERT_EQ(date.day, day) << expected;
      }
    }
  }
  // 201 years of 365 days and 49 leap days (1904 to 2096; 1900 and 2100 have none).
  EXPECT_EQ(expected, 2415021 + 201 * 365 + 49);
}

TEST(DayNumber, InverseSetsNothingButTheDate) {
  CalendarTime expected;
  expected.year = 2024;
  expected.month = 2;
  expected.day = 29;
  EXPECT_EQ(DateOfDayNumber(2460370), expected);
}

TEST(DayNumber, InverseOfTheUnreadableDateIsTheSameDayOfTheYear65535) {
  // Day 0 of December is 30 November.
  const CalendarTime date = DateOfDayNumber(25657560);
  EXPECT_EQ(date.year, 65535);
  EXPECT_EQ(date.month, 11);
  EXPECT_EQ(date.day, 30);
  EXPECT_EQ(DayNumber(date), 25657560);
}

TEST(DayNumber, InverseGivesADateForAnyNumberAtAll) {
  constexpr std::int32_t kNumbers[] = {std::numeric_limits<std::int32_t>::min(),
                                       std::numeric_limits<std::int32_t>::min() + 1,
                                       -1000000,
                                       -1,
                                       0,
                                       1,
                                       1721119,
                                       1721120,
                                       25657560,
                                       99999999,
                                       std::numeric_limits<std::int32_t>::max() - 1,
                                       std::numeric_limits<std::int32_t>::max()};
  for (const std::int32_t number : kNumbers) {
    const CalendarTime date = DateOfDayNumber(number);
    EXPECT_GE(date.month, 1) << number;
    EXPECT_LE(date.month, 12) << number;
    EXPECT_GE(date.day, 1) << number;
    EXPECT_LE(date.day, 31) << number;
  }
}

TEST(DayNumber, OfAnyFieldsAtAllDoesNotOverflow) {
  // (153*65535 - 457)/5 + 365*65535 + 65535 + 16383 - 655 + 163 + 1721119
  EXPECT_EQ(DayNumber(65535, 65535, 65535), 27728099);
}

}  // namespace
}  // namespace quillbeaker
