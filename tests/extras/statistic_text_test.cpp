// SPDX-License-Identifier: MIT
#include "extras/statistic_text.h"

#include <gtest/gtest.h>

#include "config/day_number.h"

namespace quillbeaker {
namespace {

TEST(StatisticText, WritesADateWithDayMonthAndYear) {
  EXPECT_EQ(StatisticDate(static_cast<std::uint32_t>(DayNumber(2006, 3, 2))), "02.03.2006");
}

TEST(StatisticText, WritesAnAverageWithTwoDigits) {
  EXPECT_EQ(StatisticAverage(5 / 30.0), "0.17");
  EXPECT_EQ(StatisticAverage(0), "0.00");
}

}  // namespace
}  // namespace quillbeaker
