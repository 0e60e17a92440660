// SPDX-License-Identifier: MIT

#include "stores/recycle_index.h"

#include <array>
#include <charconv>
#include <cmath>
#include <optional>

#include "config/day_number.h"
#include "message/decoded_text.h"
#include "message/mail_date.h"
#include "message/mail_sender.h"
#include "stores/index_entries.h"
#include "stores/xml_index.h"

namespace quillbeaker::recycle_index {
namespace {

// Four decimals with a point, whatever the locale.
std::string ProbabilityText(double probability) {
  std::array<char, 400> text{};  // the largest double has 309 digits before the point
  const auto end =
      std::to_chars(text.data(), text.data() + text.size(), probability, std::chars_format::fixed, 4);
  return std::string(text.data(), end.ptr);
}

double ProbabilityOf(std::string_view text) {
  double value = 0;
  const auto end = std::from_chars(text.data(), text.data() + text.size(), value);
  return end.ec == std::errc() && std::isfinite(value) ? value : 0;
}

}  // namespace

// The order of the attributes is part of the file's format.
xmlNode* AppendEntry(xmlNode* root, std::string_view name, const DeletedMessage& deleted,
                     std::string_view account, const CalendarTime& local_time) {
  const MailMessage& message = *deleted.message;
  CalendarTime date;
  if (ReadDate(message, date) == kDateAbsent) date = local_time;
  xmlNode* entry = AddElement(root, kEntry);
  SetAttribute(entry, kName, name);
  SetAttribute(entry, kDate, std::to_string(DayNumber(date)));
  SetAttribute(entry, kTime, TimeText(date));
  if (const auto subject = message.FindField(kHeaderSubject)) {
    SetAttribute(entry, kSubject, DecodeEncodedWord(*subject));
  }
  if (!deleted.spam_words.empty()) SetAttribute(entry, kSpamWords, deleted.spam_words);
  if (deleted.probability > 0) SetAttribute(entry, kProbability, ProbabilityText(deleted.probability));
  if (!account.empty()) SetAttribute(entry, kAccount, account);
  const MailSender sender = SenderOf(message).value_or(MailSender{});
  SetAttribute(entry, kSender, sender.name);
  SetAttribute(entry, kAddress, sender.address);
  SetAttribute(entry, kSize, std::to_string(message.size()));
  return entry;
}

void AppendEntry(xmlNode* root, const RecycleEntry& row) {
  CalendarTime time;
  time.hour = static_cast<decltype(time.hour)>(row.minutes / 60);
  time.minute = static_cast<decltype(time.minute)>(row.minutes % 60);
  xmlNode* entry = AddElement(root, kEntry);
  SetAttribute(entry, kName, row.name);
  SetAttribute(entry, kDate, std::to_string(row.day));
  SetAttribute(entry, kTime, TimeText(time));
  SetAttribute(entry, kSubject, row.subject);
  if (!row.spam_words.empty()) SetAttribute(entry, kSpamWords, row.spam_words);
  if (row.probability > 0) SetAttribute(entry, kProbability, ProbabilityText(row.probability));
  if (!row.account.empty()) SetAttribute(entry, kAccount, row.account);
  SetAttribute(entry, kSender, row.sender);
  SetAttribute(entry, kAddress, row.address);
  SetAttribute(entry, kSize, std::to_string(row.size));
  if (row.restored) SetAttribute(entry, kRestored, "1");
}

std::unordered_set<std::string> NamesIn(xmlNode* root) {
  std::unordered_set<std::string> names;
  ForEachEntry(root, [&](const xmlNode* entry) { names.insert(TextAttribute(entry, kName)); });
  return names;
}

RecycleEntry ReadEntry(const xmlNode* entry) {
  RecycleEntry row;
  const std::optional<std::string> address = Attribute(entry, kAddress);
  row.name = TextAttribute(entry, kName);
  row.sender = TextAttribute(entry, kSender);
  row.address = address.value_or("");
  row.has_address = address.has_value();
  row.subject = TextAttribute(entry, kSubject);
  row.spam_words = TextAttribute(entry, kSpamWords);
  row.account = TextAttribute(entry, kAccount);
  row.restored = IsRestored(entry);
  row.day = DayAttribute(entry, kDate);
  row.minutes = MinutesOf(TextAttribute(entry, kTime));
  row.size = UnsignedAttribute(entry, kSize);
  row.probability = ProbabilityOf(TextAttribute(entry, kProbability));
  return row;
}

bool IsRestored(const xmlNode* entry) {
  return TextAttribute(entry, kRestored).starts_with('1');
}

void ForEachEntry(xmlNode* root, const std::function<void(xmlNode* entry)>& visit) {
  ForEachElement(root, kEntry, visit);
}

void ForEachRecoveredEntry(const XmlDocument& document,
                           const std::function<void(const xmlNode* entry)>& visit) {
  const xmlNode* node = document ? xmlDocGetRootElement(document.get()) : nullptr;
  while (node != nullptr) {
    if (IsElement(node, kEntry)) visit(node);
    // Only an element's children are its own: those of a reference belong to what it refers to.
    if (node->type == XML_ELEMENT_NODE && node->children != nullptr) {
      node = node->children;
      continue;
    }
    while (node != nullptr && node->next == nullptr) {
      node = node->parent != nullptr && node->parent->type == XML_ELEMENT_NODE ? node->parent : nullptr;
    }
    if (node != nullptr) node = node->next;
  }
}

void ForEntriesNamed(xmlNode* root, std::span<const std::string> names,
                     const std::function<void(xmlNode* entry)>& visit) {
  ForElementsNamed(root, kEntry, kName, names, visit);
}

}  // namespace quillbeaker::recycle_index
