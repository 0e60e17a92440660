// SPDX-License-Identifier: MIT
#pragma once

// The system's calendar fields as ours. For the sources of this folder only.

#include <windows.h>

#include "platform/calendar_time.h"

namespace quillbeaker {

inline CalendarTime CalendarTimeOf(const SYSTEMTIME& time) {
  return {time.wYear, time.wMonth,  time.wDayOfWeek, time.wDay,
          time.wHour, time.wMinute, time.wSecond,    time.wMilliseconds};
}

}  // namespace quillbeaker
