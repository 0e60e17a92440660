// SPDX-License-Identifier: MIT
#pragma once

// The system's moments as calendar fields. For the sources of this folder only.

#include <ctime>

#include "platform/calendar_time.h"

namespace quillbeaker {

CalendarTime LocalCalendarTime(const timespec& moment);
CalendarTime UtcCalendarTime(const timespec& moment);

}  // namespace quillbeaker
