// SPDX-License-Identifier: MIT
#include "message/mail_message.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "message/mail_serialiser.h"
#include "message/mime_parts.h"
#include "platform/files.h"

namespace quillbeaker {

void MailMessage::Clear() {
  parts_.clear();
  added_lines_.clear();
  text_.clear();
  text_.shrink_to_fit();
  size_ = 0;
}

// Many messages are held at once during a mail check, so memory that was reserved while the text was received
// is given back.
void MailMessage::TakeText(std::string text) {
  Clear();
  text_ = std::move(text);
  if (text_.capacity() - text_.size() > text_.size() / 4) text_.shrink_to_fit();
  constexpr std::size_t kLargest = std::numeric_limits<std::uint32_t>::max();
  size_ = static_cast<std::uint32_t>(std::min(text_.size(), kLargest));
}

MailMessage::LoadResult MailMessage::LoadFromFile(const std::string& path) {
  Clear();
  std::optional<std::string> text = ReadWholeFile(path);
  if (!text) return kLoadFailed;
  ParseText(std::move(*text));
  return kLoaded;
}

MailMessage::ParseResult MailMessage::ParseText(std::string text) {
  TakeText(std::move(text));
  ReadParts(text_.data(), text_.data() + text_.size(), parts_);
  return kParsed;
}

// Without a header block the root declares no boundary, so there is no delimiter to look for.
MailMessage::ParseResult MailMessage::ParseBodyOnly(std::string text) {
  TakeText(std::move(text));
  parts_.emplace_back().body = text_;
  return kParsed;
}

std::optional<std::string> MailMessage::Serialise() const {
  if (empty()) return std::nullopt;
  std::string out;
  // Folding adds a little; a tenth is more than mail with ordinary header lines needs.
  out.reserve(text_.size() + text_.size() / 10 + 1);
  AppendSerialised(parts_.front(), out);
  return out;
}

std::optional<std::string_view> MailMessage::FindField(std::string_view name) const {
  if (empty()) return std::nullopt;
  return FindPartField(parts_.front(), name);
}

std::optional<std::string_view> MailMessage::FindField(HeaderKind mask) const {
  if (empty()) return std::nullopt;
  return FindPartField(parts_.front(), mask);
}

void MailMessage::AddField(std::string_view name, std::string_view value) {
  if (empty()) return;
  std::string& line = added_lines_.emplace_front();
  line.reserve(name.size() + 2 + value.size());
  line.append(name).append(": ").append(value);
  parts_.front().fields.Add(line);
}

}  // namespace quillbeaker
