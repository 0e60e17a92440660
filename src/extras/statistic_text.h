// SPDX-License-Identifier: MIT
#pragma once

// How the numbers of the statistic are written, in the console and in the window alike.

#include <cstdint>
#include <string>

namespace quillbeaker {

// Day, month and year: "02.03.2006".
std::string StatisticDate(std::uint32_t day_number);
// With two digits after a point: "0.17".
std::string StatisticAverage(double average);

}  // namespace quillbeaker
