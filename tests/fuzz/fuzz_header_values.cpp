// SPDX-License-Identifier: MIT
// Any bytes as the value of a Date, From or Subject field.

#include <string>

#include "config/day_number.h"
#include "fuzz_support.h"
#include "message/decoded_text.h"
#include "message/mail_date.h"
#include "message/mail_sender.h"
#include "message/mime_parts.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quillbeaker;
  const std::string_view value = TextOf(data, size);

  const CalendarTime date = ParseMailDate(value);
  Check(date.month <= 12 || date.month == DateOfDayNumber(DayNumber(date)).month,
        "a month is one or unknown");
  Check(date.day_of_week <= 6, "a day of the week is one");

  const MailSender sender = SplitSender(value);
  Check(sender.name.size() <= kMaxSenderName, "a name keeps its limit");
  Check(sender.address.size() <= kMaxSenderAddress, "an address keeps its limit");

  Check(DecodeEncodedWord(value).size() <= value.size(), "decoding makes nothing longer");

  if (const auto boundary = BoundaryOf(value)) {
    Check(value.find(*boundary) != std::string_view::npos, "a boundary is a piece of its field");
  }
  return 0;
}
