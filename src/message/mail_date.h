// SPDX-License-Identifier: MIT
#pragma once

// The Date field of a mail read leniently into a calendar time in UTC.

#include <string_view>

#include "message/mail_message.h"
#include "platform/calendar_time.h"

namespace quillbeaker {

enum DateResult { kDateRead = 0, kDateAbsent = 1 };

// Absent leaves `out` all zero. A Date field that is unreadable in parts is still kDateRead: fields not
// understood stay 0.
DateResult ReadDate(const MailMessage& message, CalendarTime& out);

// Reads a Date value: numbers as atoi reads them, modulo 65536; two-digit years are 2000 and on.
CalendarTime ParseMailDate(std::string_view value);

}  // namespace quillbeaker
