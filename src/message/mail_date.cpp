// SPDX-License-Identifier: MIT
#include "message/mail_date.h"

#include <array>
#include <cstddef>
#include <cstdint>

#include "config/ascii.h"
#include "config/day_number.h"

namespace quillbeaker {

namespace {

constexpr std::array<std::string_view, 7> kWeekdays = {"SUN", "MON", "TUE", "WED", "THU", "FRI", "SAT"};
constexpr std::array<std::string_view, 12> kMonths = {"JAN", "FEB", "MAR", "APR", "MAY", "JUN",
                                                      "JUL", "AUG", "SEP", "OCT", "NOV", "DEC"};

struct NamedZone {
  std::string_view name;
  int hours;  // to add for UTC
};
constexpr std::array<NamedZone, 12> kZones = {{{"EST", 5},
                                               {"EDT", 4},
                                               {"CST", 6},
                                               {"CDT", 5},
                                               {"MST", 7},
                                               {"MDT", 6},
                                               {"PST", 8},
                                               {"PDT", 7},
                                               {"A", 1},
                                               {"M", 12},
                                               {"N", -1},
                                               {"Y", -12}}};

// A decimal number of any length: its value modulo 65536 and, since that hides its size, whether it is below
// 100.
struct Number {
  std::uint16_t wrapped = 0;
  bool below_100 = true;
};

bool IsSpace(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}
bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

// As atoi reads: white space, a sign, digits up to anything else; 0 without digits.
Number ReadNumber(std::string_view text) {
  std::size_t at = 0;
  while (at < text.size() && IsSpace(text[at])) ++at;
  const bool is_negative = at < text.size() && text[at] == '-';
  if (at < text.size() && (text[at] == '-' || text[at] == '+')) ++at;
  std::uint32_t value = 0;
  Number number;
  for (; at < text.size() && IsDigit(text[at]); ++at) {
    value = value * 10 + static_cast<std::uint32_t>(text[at] - '0');
    if (value >= 100 && !is_negative) number.below_100 = false;
    value &= 0xFFFF;
  }
  number.wrapped = static_cast<std::uint16_t>(is_negative ? 0 - value : value);
  return number;
}

std::uint16_t ReadField(std::string_view text) {
  return ReadNumber(text).wrapped;
}

// At most `count` bytes of `text` from `start`, empty behind its end.
std::string_view Slice(std::string_view text, std::size_t start, std::size_t count) {
  return start < text.size() ? text.substr(start, count) : std::string_view();
}

// Place of the name that the first three letters of `token` are, or the table's size.
template <std::size_t kCount>
std::size_t PlaceOf(std::string_view token, const std::array<std::string_view, kCount>& names) {
  std::size_t place = 0;
  while (place < kCount && !EqualsIgnoringCase(token.substr(0, 3), names[place])) ++place;
  return place;
}

std::string_view NextToken(std::string_view& rest) {
  constexpr std::string_view kSeparators = " ,";
  const std::size_t start = rest.find_first_not_of(kSeparators);
  if (start == std::string_view::npos) return {};
  rest.remove_prefix(start);
  const std::string_view token = rest.substr(0, rest.find_first_of(kSeparators));
  rest.remove_prefix(token.size());
  return token;
}

// Deliberate: a year of two digits is always one of this century, so "99" is 2099; RFC 5322 (section 4.3)
// would make it 1999, but the day numbers in files that are kept stand on this.
void ReadYear(std::string_view token, CalendarTime& time) {
  const Number year = ReadNumber(token);
  time.year = static_cast<std::uint16_t>(year.wrapped + (year.below_100 ? 2000 : 0));
}

// Deliberate: by position, not by separator, so that "9:05:00" is 9:05 and has no seconds.
void ReadTime(std::string_view token, CalendarTime& time) {
  time.hour = ReadField(Slice(token, 0, 2));
  time.minute = ReadField(Slice(token, 3, 2));
  if (Slice(token, 5, 1) == ":") time.second = ReadField(Slice(token, 6, 2));
}

// What is to be added to the local time: hours and minutes, both with their sign.
struct Offset {
  int hours = 0;
  int minutes = 0;
};

Offset ReadZone(std::string_view token) {
  for (const NamedZone& zone : kZones) {
    if (token == zone.name) return {zone.hours, 0};
  }
  if (token.front() != '-' && token.front() != '+') return {};
  const int sign = token.front() == '-' ? 1 : -1;
  return {sign * static_cast<std::int16_t>(ReadField(Slice(token, 1, 2))),
          sign * static_cast<std::int16_t>(ReadField(Slice(token, 3, 2)))};
}

void MoveDate(CalendarTime& time, std::int32_t days) {
  const CalendarTime moved = DateOfDayNumber(DayNumber(time) + days);
  time.year = moved.year;
  time.month = moved.month;
  time.day = moved.day;
}

// Deliberate: minutes only carry into the hour and stay as they were read, and the hour wraps by one day at
// most.
void ConvertToUtc(const Offset& offset, CalendarTime& time) {
  const int minute = time.minute + offset.minutes;
  int hour = time.hour + offset.hours;
  if (minute >= 60) ++hour;
  if (minute < 0) --hour;
  if (hour >= 24) {
    hour -= 24;
    MoveDate(time, 1);
  } else if (hour < 0) {
    hour += 24;
    MoveDate(time, -1);
  }
  time.hour = static_cast<std::uint16_t>(hour);
}

}  // namespace

// Day, month, year, time, zone, whatever they look like; a weekday may stand before the day.
CalendarTime ParseMailDate(std::string_view value) {
  CalendarTime time;
  std::string_view token = NextToken(value);
  for (std::size_t weekday; (weekday = PlaceOf(token, kWeekdays)) < kWeekdays.size();
       token = NextToken(value)) {
    time.day_of_week = static_cast<std::uint16_t>(weekday);
  }
  if (token.empty()) return time;
  time.day = ReadField(token);

  token = NextToken(value);
  if (token.empty()) return time;
  const std::size_t month = PlaceOf(token, kMonths);
  if (month < kMonths.size()) time.month = static_cast<std::uint16_t>(month + 1);

  token = NextToken(value);
  if (token.empty()) return time;
  ReadYear(token, time);

  token = NextToken(value);
  if (token.empty()) return time;
  ReadTime(token, time);

  token = NextToken(value);
  if (!token.empty()) ConvertToUtc(ReadZone(token), time);
  return time;
}

DateResult ReadDate(const MailMessage& message, CalendarTime& out) {
  out = {};
  const auto value = message.FindField(kHeaderDate);
  if (!value) return kDateAbsent;
  out = ParseMailDate(*value);
  return kDateRead;
}

}  // namespace quillbeaker
