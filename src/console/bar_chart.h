// SPDX-License-Identifier: MIT
#pragma once

// A bar chart of counts per day, in characters. Pure: what it is drawn from comes in, text in UTF-8 goes out.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace quillbeaker {

struct DayCount {
  std::int32_t day = 0;  // DayNumber
  std::uint32_t count = 0;
};

// One bar per day, in the order given and at least one column wide, with a scale beside and dates below. Uses
// as much of `columns` as the days divide it into; of a width that is too small for them it takes what it
// needs. Every count but 0 shows. Lines end in a line feed and hold no blanks at their end. Empty when all
// are 0.
std::string DrawBarChart(std::span<const DayCount> days, std::size_t columns);

}  // namespace quillbeaker
