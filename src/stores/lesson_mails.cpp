// SPDX-License-Identifier: MIT

// The mail of a lesson as its record holds it: the entries of the training area with their texts.

#include <limits>
#include <utility>

#include "filter/little_endian.h"
#include "stores/last_lesson.h"

namespace quillbeaker {
namespace {

enum Flag : std::uint32_t { kSpam = 1, kHasSubject = 2, kHasText = 4, kAllFlags = 7 };

void AppendText(std::string& out, std::string_view text) {
  AppendLittleEndian32(out, static_cast<std::uint32_t>(text.size()));
  out += text;
}

std::optional<std::string> ReadText(LittleEndianReader& reader) {
  const auto size = reader.Number();
  const auto text = size ? reader.Bytes(*size) : std::nullopt;
  if (!text) return std::nullopt;
  return std::string(*text);
}

bool ReadNumbers(LittleEndianReader& reader, std::uint32_t& flags, LearntMail& mail) {
  const auto read_flags = reader.Number();
  const auto place = reader.Number();
  const auto day = reader.Number();
  const auto minutes = reader.Number();
  const auto size = reader.Number();
  if (!read_flags || !place || !day || !minutes || !size) return false;
  constexpr std::uint32_t kMost = std::numeric_limits<std::int32_t>::max();
  if (*read_flags > kAllFlags || *day > kMost || *minutes > kMost) return false;
  flags = *read_flags;
  mail.place = *place;
  mail.entry.day = static_cast<std::int32_t>(*day);
  mail.entry.minutes = static_cast<int>(*minutes);
  mail.entry.size = *size;
  mail.entry.mark = (flags & kSpam) != 0 ? TrainingMark::kSpam : TrainingMark::kGood;
  return true;
}

bool ReadMail(LittleEndianReader& reader, LearntMail& mail) {
  std::uint32_t flags = 0;
  if (!ReadNumbers(reader, flags, mail)) return false;
  auto name = ReadText(reader);
  auto sender = ReadText(reader);
  auto address = ReadText(reader);
  if (!name || !sender || !address) return false;
  mail.entry.name = *std::move(name);
  mail.entry.sender = *std::move(sender);
  mail.entry.address = *std::move(address);
  if ((flags & kHasSubject) != 0 && !(mail.entry.subject = ReadText(reader))) return false;
  return (flags & kHasText) == 0 || (mail.text = ReadText(reader)).has_value();
}

}  // namespace

void AppendTrainingMail(std::string& out, const LearntMail& mail) {
  const TrainingEntry& entry = mail.entry;
  std::uint32_t flags = 0;
  if (entry.mark == TrainingMark::kSpam) flags |= kSpam;
  if (entry.subject) flags |= kHasSubject;
  if (mail.text) flags |= kHasText;
  AppendLittleEndian32(out, flags);
  AppendLittleEndian32(out, mail.place);
  AppendLittleEndian32(out, static_cast<std::uint32_t>(entry.day));
  AppendLittleEndian32(out, static_cast<std::uint32_t>(entry.minutes));
  AppendLittleEndian32(out, entry.size);
  AppendText(out, entry.name);
  AppendText(out, entry.sender);
  AppendText(out, entry.address);
  if (entry.subject) AppendText(out, *entry.subject);
  if (mail.text) AppendText(out, *mail.text);
}

std::optional<std::vector<LearntMail>> ParseTrainingMails(std::string_view bytes) {
  std::vector<LearntMail> mails;
  LittleEndianReader reader(bytes);
  while (!reader.rest().empty()) {
    if (!ReadMail(reader, mails.emplace_back())) return std::nullopt;
  }
  return mails;
}

}  // namespace quillbeaker
