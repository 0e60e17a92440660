// SPDX-License-Identifier: MIT
#include "extras/senders/text_lines.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "message/utf8.h"

namespace quillbeaker {
namespace {

constexpr std::size_t kPiece = std::size_t{64} * 1024;
constexpr std::size_t kLookedAt = 4096;  // for control bytes
// Of bytes that are no text a ninth are control bytes by chance alone; a text has hardly any.
constexpr std::size_t kTextBytesPerControl = 20;
constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";
constexpr std::uint32_t kReplacement = 0xFFFD;

bool IsHighSurrogate(std::uint32_t unit) {
  return unit >= 0xD800 && unit < 0xDC00;
}
bool IsLowSurrogate(std::uint32_t unit) {
  return unit >= 0xDC00 && unit < 0xE000;
}

bool IsControl(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte < 0x20 && (byte < '\t' || byte > '\r');
}

bool LooksBinary(std::string_view text) {
  const std::string_view head = text.substr(0, kLookedAt);
  const auto controls = static_cast<std::size_t>(std::count_if(head.begin(), head.end(), IsControl));
  return controls > 2 && controls * kTextBytesPerControl > head.size();
}

// Without a character at its end that was cut in two.
void TrimPartialCharacter(std::string& utf8) {
  std::size_t begin = utf8.size();
  while (begin > 0 && utf8.size() - begin < 3 && (static_cast<unsigned char>(utf8[begin - 1]) & 0xC0) == 0x80)
    --begin;
  if (begin == 0) return;
  const auto lead = static_cast<unsigned char>(utf8[begin - 1]);
  const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC0 ? 2 : 1;
  if (utf8.size() - (begin - 1) < length) utf8.resize(begin - 1);
}

}  // namespace

TextLines::TextLines(Read read) : read_(std::move(read)) {
  ReadPiece();
  DetectEncoding();
  if (encoding_ == Encoding::kBytes) {
    text_ = raw_;
  } else {
    AppendUtf16(raw_, ended_);
  }
  binary_ = LooksBinary(text_);
}

void TextLines::ReadPiece() {
  raw_.resize(kPiece);
  const std::optional<std::size_t> count = read_(raw_.data(), kPiece);
  failed_ = !count;
  raw_.resize(std::min(count.value_or(0), kPiece));
  ended_ = raw_.size() < kPiece;
}

// Deliberate: UTF-16 without a byte order mark is known by two letters of ASCII at the beginning; nothing
// else has a NUL at every other place.
void TextLines::DetectEncoding() {
  const std::string_view head = raw_;
  const auto nul_at = [head](std::size_t i) { return i < head.size() && head[i] == '\0'; };
  const auto letter_at = [head](std::size_t i) { return i < head.size() && head[i] != '\0'; };
  if (head.starts_with(kUtf8Mark)) {
    raw_.erase(0, kUtf8Mark.size());
  } else if (head.starts_with("\xFF\xFE")) {
    encoding_ = Encoding::kUtf16LittleEndian;
    raw_.erase(0, 2);
  } else if (head.starts_with("\xFE\xFF")) {
    encoding_ = Encoding::kUtf16BigEndian;
    raw_.erase(0, 2);
  } else if (letter_at(0) && nul_at(1) && letter_at(2) && nul_at(3)) {
    encoding_ = Encoding::kUtf16LittleEndian;
  } else if (nul_at(0) && letter_at(1) && nul_at(2) && letter_at(3)) {
    encoding_ = Encoding::kUtf16BigEndian;
  }
}

void TextLines::AppendUtf16(std::string_view bytes, bool last) {
  carry_ += bytes;
  const auto unit_at = [this](std::size_t i) -> std::uint32_t {
    const auto first = static_cast<unsigned char>(carry_[i]);
    const auto second = static_cast<unsigned char>(carry_[i + 1]);
    return encoding_ == Encoding::kUtf16LittleEndian ? static_cast<std::uint32_t>(first | (second << 8))
                                                     : static_cast<std::uint32_t>((first << 8) | second);
  };
  std::size_t i = 0;
  while (i + 2 <= carry_.size()) {
    const std::uint32_t unit = unit_at(i);
    if (IsHighSurrogate(unit) && i + 4 > carry_.size() && !last) break;
    i += 2;
    if (IsHighSurrogate(unit) && i + 2 <= carry_.size() && IsLowSurrogate(unit_at(i))) {
      AppendUtf8(text_, 0x10000 + ((unit - 0xD800) << 10) + (unit_at(i) - 0xDC00));
      i += 2;
    } else {
      AppendUtf8(text_, IsHighSurrogate(unit) || IsLowSurrogate(unit) ? kReplacement : unit);
    }
  }
  carry_.erase(0, i);
}

bool TextLines::Fill() {
  if (ended_) return false;
  ReadPiece();
  text_.clear();
  at_ = 0;
  if (encoding_ == Encoding::kBytes) {
    text_ = raw_;
  } else {
    AppendUtf16(raw_, ended_);
  }
  return !text_.empty() || Fill();
}

bool TextLines::Next(std::string& line, std::size_t longest) {
  line.clear();
  if (at_ == text_.size() && !Fill()) return false;
  bool cut = false;
  for (;;) {
    const std::string_view rest = std::string_view(text_).substr(at_);
    const std::size_t end = rest.find('\n');
    const std::string_view piece = rest.substr(0, end);
    const std::size_t room = longest - line.size();
    line += piece.substr(0, room);
    cut = cut || piece.size() > room;
    at_ += end == std::string_view::npos ? rest.size() : end + 1;
    if (end != std::string_view::npos) break;
    if (Fill()) continue;
    if (failed_) return false;
    break;
  }
  if (cut && was_utf16()) TrimPartialCharacter(line);
  return true;
}

}  // namespace quillbeaker
