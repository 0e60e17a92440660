// SPDX-License-Identifier: MIT
#include "platform/posix/calendar.h"

namespace quillbeaker {
namespace {

CalendarTime FieldsOf(const tm& time, long nanoseconds) {
  CalendarTime fields;
  fields.year = static_cast<std::uint16_t>(time.tm_year + 1900);
  fields.month = static_cast<std::uint16_t>(time.tm_mon + 1);
  fields.day_of_week = static_cast<std::uint16_t>(time.tm_wday);
  fields.day = static_cast<std::uint16_t>(time.tm_mday);
  fields.hour = static_cast<std::uint16_t>(time.tm_hour);
  fields.minute = static_cast<std::uint16_t>(time.tm_min);
  // A leap second is shown as the second before it: no reader of these fields knows a 60.
  fields.second = static_cast<std::uint16_t>(time.tm_sec > 59 ? 59 : time.tm_sec);
  fields.milliseconds = static_cast<std::uint16_t>(nanoseconds / 1'000'000);
  return fields;
}

}  // namespace

CalendarTime LocalCalendarTime(const timespec& moment) {
  tm time{};
  localtime_r(&moment.tv_sec, &time);
  return FieldsOf(time, moment.tv_nsec);
}

CalendarTime UtcCalendarTime(const timespec& moment) {
  tm time{};
  gmtime_r(&moment.tv_sec, &time);
  return FieldsOf(time, moment.tv_nsec);
}

}  // namespace quillbeaker
