// SPDX-License-Identifier: MIT
#include "extras/entry_text.h"

#include <cstdio>

#include "config/day_number.h"
#include "message/display_text.h"

namespace quillbeaker {
namespace {

constexpr std::size_t kDateWidth = 17;

template <typename... Values>
std::string Printed(const char* format, Values... values) {
  char text[64];
  std::snprintf(text, sizeof text, format, values...);
  return text;
}

}  // namespace

// A mail without a date is kept under the day of the all-zero date, which says nothing to anybody.
bool HasEntryDate(std::int32_t day) {
  return day != 0 && day != DayNumber(0, 0, 0);
}

std::string EntryTime(int minutes) {
  return Printed("%02i:%02i", minutes / 60, minutes % 60);
}

std::string EntryDate(std::int32_t day, int minutes) {
  if (!HasEntryDate(day)) return std::string(kDateWidth, ' ');
  const CalendarTime date = DateOfDayNumber(day);
  return Printed("%02i.%02i.%04i, ", date.day, date.month, date.year) + EntryTime(minutes);
}

std::string EntrySender(std::string_view name, std::string_view address) {
  if (address.empty()) return DisplayLine(name);
  return DisplayLine(name) + " <" + DisplayLine(address) + ">";
}

std::string EntrySize(std::uint32_t bytes) {
  return Printed("%.2f KB", bytes / 1024.0);
}

std::string EntryLine(const std::string& text) {
  std::string line = "     " + text;
  line.erase(line.find_last_not_of(' ') + 1);
  return line + "\n";
}

}  // namespace quillbeaker
