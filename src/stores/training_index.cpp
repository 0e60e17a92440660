// SPDX-License-Identifier: MIT

#include "stores/training_index.h"

#include "config/day_number.h"
#include "message/decoded_text.h"
#include "message/mail_date.h"
#include "message/mail_sender.h"
#include "stores/index_entries.h"
#include "stores/xml_index.h"

namespace quillbeaker::training_index {

// The order of the attributes is part of the file's format.
xmlNode* AppendEntry(xmlNode* root, std::string_view name, const MailMessage& message, std::size_t size) {
  // Deliberate: without a Date field the all-zero date is written as it is, unlike in the recycle bin. Its
  // day number lies far in the future, which keeps the entry out of every purge.
  CalendarTime date;
  ReadDate(message, date);
  const MailSender sender = SenderOf(message).value_or(MailSender{});
  xmlNode* entry = AddElement(root, kEntry);
  SetAttribute(entry, kName, name);
  SetAttribute(entry, kSender, sender.name);
  SetAttribute(entry, kAddress, sender.address);
  if (const auto subject = message.FindField(kHeaderSubject)) {
    SetAttribute(entry, kSubject, DecodeEncodedWord(*subject));
  }
  SetAttribute(entry, kDate, std::to_string(DayNumber(date)));
  SetAttribute(entry, kTime, TimeText(date));
  SetAttribute(entry, kSize, std::to_string(size));
  return entry;
}

xmlNode* AppendEntry(xmlNode* root, const TrainingEntry& row) {
  CalendarTime time;
  time.hour = static_cast<std::uint16_t>(row.minutes / 60);
  time.minute = static_cast<std::uint16_t>(row.minutes % 60);
  xmlNode* entry = AddElement(root, kEntry);
  SetAttribute(entry, kName, row.name);
  SetAttribute(entry, kSender, row.sender);
  SetAttribute(entry, kAddress, row.address);
  if (row.subject) SetAttribute(entry, kSubject, *row.subject);
  SetAttribute(entry, kDate, std::to_string(row.day));
  SetAttribute(entry, kTime, TimeText(time));
  SetAttribute(entry, kSize, std::to_string(row.size));
  WriteMark(entry, row.mark);
  return entry;
}

TrainingEntry ReadEntry(const xmlNode* entry) {
  TrainingEntry row;
  row.name = TextAttribute(entry, kName);
  row.sender = TextAttribute(entry, kSender);
  row.address = TextAttribute(entry, kAddress);
  row.subject = Attribute(entry, kSubject);
  row.day = DayAttribute(entry, kDate);
  row.minutes = MinutesOf(TextAttribute(entry, kTime));
  row.size = UnsignedAttribute(entry, kSize);
  const std::string mark = TextAttribute(entry, kMark);
  if (mark == "1") row.mark = TrainingMark::kSpam;
  if (mark == "0") row.mark = TrainingMark::kGood;
  return row;
}

void WriteMark(xmlNode* entry, TrainingMark mark) {
  if (mark == TrainingMark::kNone) {
    RemoveAttribute(entry, kMark);
  } else {
    SetAttribute(entry, kMark, mark == TrainingMark::kSpam ? "1" : "0");
  }
}

void ForEachEntry(xmlNode* root, const std::function<void(xmlNode* entry)>& visit) {
  ForEachElement(root, kEntry, visit);
}

std::size_t ForEntriesNamed(xmlNode* root, std::span<const std::string> names,
                            const std::function<void(xmlNode* entry)>& visit) {
  return ForElementsNamed(root, kEntry, kName, names, visit);
}

}  // namespace quillbeaker::training_index
