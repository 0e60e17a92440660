// SPDX-License-Identifier: MIT

#include "stores/recycle_index.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <limits>
#include <optional>
#include <unordered_map>

#include "config/day_number.h"
#include "message/decoded_text.h"
#include "message/mail_date.h"
#include "message/mail_sender.h"
#include "stores/xml_index.h"

namespace quillbeaker::recycle_index {
namespace {

std::string TimeText(const CalendarTime& time) {
  // Deliberate: a mail may claim any hour, but a time of more than five characters would not be shown.
  const unsigned hour = std::min<unsigned>(time.hour, 99);
  const unsigned minute = std::min<unsigned>(time.minute, 99);
  std::array<char, 8> text{};
  std::snprintf(text.data(), text.size(), "%02u:%02u", hour, minute);
  return text.data();
}

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

int TwoDigits(std::string_view text) {
  int value = 0;
  for (const char c : text) {
    if (c < '0' || c > '9') break;
    value = value * 10 + (c - '0');
  }
  return value;
}

int MinutesOf(std::string_view time) {
  return time.size() == 5 ? TwoDigits(time.substr(0, 2)) * 60 + TwoDigits(time.substr(3, 2)) : 0;
}

std::string TextOf(const xmlNode* entry, const char* name) {
  return Attribute(entry, name).value_or("");
}

}  // namespace

// The order of the attributes is part of the file's format.
void AppendEntry(xmlNode* root, std::string_view name, const DeletedMessage& deleted,
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
}

RecycleEntry ReadEntry(const xmlNode* entry) {
  RecycleEntry row;
  const std::optional<std::string> address = Attribute(entry, kAddress);
  row.name = TextOf(entry, kName);
  row.sender = TextOf(entry, kSender);
  row.address = address.value_or("");
  row.has_address = address.has_value();
  row.subject = TextOf(entry, kSubject);
  row.spam_words = TextOf(entry, kSpamWords);
  row.account = TextOf(entry, kAccount);
  row.restored = IsRestored(entry);
  constexpr std::uint32_t kLastDay = std::numeric_limits<std::int32_t>::max();
  row.day = static_cast<std::int32_t>(std::min(UnsignedAttribute(entry, kDate), kLastDay));
  row.minutes = MinutesOf(TextOf(entry, kTime));
  row.size = UnsignedAttribute(entry, kSize);
  row.probability = ProbabilityOf(TextOf(entry, kProbability));
  return row;
}

bool IsRestored(const xmlNode* entry) {
  return TextOf(entry, kRestored).starts_with('1');
}

void ForEachEntry(xmlNode* root, const std::function<void(xmlNode* entry)>& visit) {
  for (xmlNode* node = root->children; node != nullptr;) {
    xmlNode* next = node->next;
    if (IsElement(node, kEntry)) visit(node);
    node = next;
  }
}

void ForEntriesNamed(xmlNode* root, std::span<const std::string> names,
                     const std::function<void(xmlNode* entry)>& visit) {
  std::unordered_map<std::string, std::size_t> wanted;
  for (const std::string& name : names) ++wanted[StorableText(name)];
  ForEachEntry(root, [&](xmlNode* entry) {
    const std::optional<std::string> name = Attribute(entry, kName);
    const auto found = name ? wanted.find(*name) : wanted.end();
    if (found == wanted.end() || found->second == 0) return;
    --found->second;
    visit(entry);
  });
}

}  // namespace quillbeaker::recycle_index
