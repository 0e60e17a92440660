// SPDX-License-Identifier: MIT
#include "extras/mbox_file.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>

namespace quillbeaker {
namespace {

constexpr std::string_view kSeparator = "From ";
// Bytes of a line that are looked at. An envelope is a sender (254 bytes at most) and a date.
constexpr std::size_t kMostEnvelope = 1000;

constexpr std::array<std::string_view, 7> kWeekdays = {"Mon", "Tue", "Wed", "Thu", "Fri", "Sat", "Sun"};
constexpr std::array<std::string_view, 12> kMonths = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                      "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

bool IsNumber(std::string_view word, std::size_t least, std::size_t most) {
  return word.size() >= least && word.size() <= most && std::all_of(word.begin(), word.end(), IsDigit);
}

// "H:MM", "HH:MM:SS" and the like.
bool IsTime(std::string_view word) {
  const std::size_t colon = word.find(':');
  return colon != std::string_view::npos && IsNumber(word.substr(0, colon), 1, 2) && word.size() <= 8 &&
         IsNumber(word.substr(colon + 1, 2), 2, 2);
}

// The next word of `rest`, taken off it; empty at its end.
std::string_view TakeWord(std::string_view& rest) {
  constexpr std::string_view kBlanks = " \t\r";
  const std::size_t begin = rest.find_first_not_of(kBlanks);
  if (begin == std::string_view::npos) {
    rest = {};
    return {};
  }
  const std::size_t end = std::min(rest.find_first_of(kBlanks, begin), rest.size());
  const std::string_view word = rest.substr(begin, end - begin);
  rest.remove_prefix(end);
  return word;
}

bool IsOneOf(std::string_view word, std::span<const std::string_view> names) {
  return std::find(names.begin(), names.end(), word) != names.end();
}

// Whether what follows a weekday is the rest of a date as ctime(3) writes it, a time zone in it or not.
bool IsDateBehindWeekday(std::string_view rest) {
  if (!IsOneOf(TakeWord(rest), kMonths)) return false;
  if (!IsNumber(TakeWord(rest), 1, 2)) return false;
  if (!IsTime(TakeWord(rest))) return false;
  constexpr int kMostZoneWords = 3;
  for (int i = 0; i <= kMostZoneWords; ++i) {
    if (IsNumber(TakeWord(rest), 4, 4)) return true;
  }
  return false;
}

// `rest` is a line that begins with "From ", without these bytes. Senders may have blanks in them.
bool HasEnvelopeDate(std::string_view rest) {
  for (std::string_view word = TakeWord(rest); !word.empty(); word = TakeWord(rest)) {
    if (IsOneOf(word, kWeekdays) && IsDateBehindWeekday(rest)) return true;
  }
  return false;
}

bool HasNothingMore(std::string_view rest) {
  const std::string_view word = TakeWord(rest);
  return word.empty() || (word == "-" && TakeWord(rest).empty());
}

bool IsEmptyLine(std::string_view line) {
  return line.empty() || line == "\r";
}

}  // namespace

void MboxSplitter::Feed(std::string_view bytes) {
  while (!bytes.empty()) {
    const std::size_t lf = bytes.find('\n');
    const std::size_t size = std::min(lf, bytes.size());
    const std::string_view piece = bytes.substr(0, size);
    const bool is_whole = lf != std::string_view::npos;
    if (!is_whole || !line_.empty())
      line_ += piece.substr(0, kMostEnvelope - std::min(line_.size(), kMostEnvelope));
    position_ += size + (is_whole ? 1 : 0);
    if (!is_whole) return;
    EndLine(line_.empty() ? piece : std::string_view(line_), position_);
    line_.clear();
    line_offset_ = position_;
    bytes.remove_prefix(size + 1);
  }
}

// `start` is the line without its LF, or its beginning when it is long; `end` is where the next one begins.
void MboxSplitter::EndLine(std::string_view start, std::uint64_t end) {
  start = start.substr(0, kMostEnvelope);
  if (start.starts_with(kSeparator)) {
    const std::string_view rest = start.substr(kSeparator.size());
    if (at_start_ || HasEnvelopeDate(rest) || (after_empty_line_ && HasNothingMore(rest))) {
      EndMail(line_offset_);
      in_mail_ = true;
      mail_offset_ = end;
    }
  }
  at_start_ = false;
  after_empty_line_ = IsEmptyLine(start);
  if (after_empty_line_) empty_line_offset_ = line_offset_;
}

// The empty line before a separator, or before the end of the file, is the mbox's own.
void MboxSplitter::EndMail(std::uint64_t end) {
  if (!in_mail_) return;
  if (after_empty_line_ && empty_line_offset_ >= mail_offset_) end = empty_line_offset_;
  if (end > mail_offset_) take_({mail_offset_, end - mail_offset_});
  in_mail_ = false;
}

void MboxSplitter::Finish() {
  if (line_offset_ < position_) EndLine(line_, position_);
  EndMail(position_);
}

void UndoMboxQuoting(std::string& mail) {
  std::size_t kept = 0;    // bytes already in their place
  std::size_t copied = 0;  // bytes of the old text that they came from
  const auto keep_up_to = [&](std::size_t end) {
    if (kept != copied)
      std::copy(mail.begin() + static_cast<std::ptrdiff_t>(copied),
                mail.begin() + static_cast<std::ptrdiff_t>(end),
                mail.begin() + static_cast<std::ptrdiff_t>(kept));
    kept += end - copied;
    copied = end;
  };
  for (std::size_t line = 0; line < mail.size();) {
    if (mail[line] == '>') {
      const std::size_t word = std::min(mail.find_first_not_of('>', line), mail.size());
      if (std::string_view(mail).substr(word).starts_with(kSeparator)) {
        keep_up_to(line);
        ++copied;
      }
    }
    const std::size_t lf = mail.find('\n', line);
    if (lf == std::string::npos) break;
    line = lf + 1;
  }
  if (copied == 0) return;
  keep_up_to(mail.size());
  mail.resize(kept);
}

}  // namespace quillbeaker
