// SPDX-License-Identifier: MIT
#include "extras/crash_report.h"

#include <algorithm>
#include <charconv>
#include <cstring>

namespace quillbeaker {
namespace {

constexpr std::string_view kReportBegins = "--- Quillbeaker ";
constexpr std::string_view kLineEnd = "\r\n";
constexpr std::size_t kReportsKept = 2;  // beside the new one
constexpr std::size_t kLongestName = 64;
constexpr std::size_t kLongestReport = kLongestCrashFile / 3;

// Writes into memory that was there before, and leaves out what does not fit.
class Writer {
 public:
  explicit Writer(std::span<char> text) : text_(text) {}

  Writer& operator<<(std::string_view piece) noexcept {
    const std::size_t length = std::min(piece.size(), text_.size() - length_);
    if (length > 0) std::memcpy(text_.data() + length_, piece.data(), length);
    length_ += length;
    return *this;
  }
  void Number(std::uint64_t value, int base) noexcept {
    char digits[20];
    char* const end = std::to_chars(digits, digits + sizeof digits, value, base).ptr;
    std::transform(digits, end, digits,
                   [](char digit) { return digit >= 'a' ? static_cast<char>(digit - 'a' + 'A') : digit; });
    *this << std::string_view(digits, static_cast<std::size_t>(end - digits));
  }
  std::size_t length() const { return length_; }

 private:
  std::span<char> text_;
  std::size_t length_ = 0;
};

// Where the report that begins last before `end` begins; npos when there is none. Only a line's beginning
// counts.
std::size_t BeginOfReport(std::string_view file, std::size_t end) noexcept {
  while (end > 0) {
    const std::size_t found = file.rfind(kReportBegins, end - 1);
    if (found == file.npos || found == 0 || file[found - 1] == '\n') {
      return found;
    }
    end = found;
  }
  return file.npos;
}

std::string_view LastReports(std::string_view file, std::size_t most_bytes) noexcept {
  std::size_t begin = file.size();
  for (std::size_t i = 0; i < kReportsKept; ++i) {
    const std::size_t earlier = BeginOfReport(file, begin);
    if (earlier == file.npos || file.size() - earlier > most_bytes) {
      break;
    }
    begin = earlier;
  }
  return file.substr(begin);
}

void WriteReport(Writer& writer, const CrashFacts& facts) noexcept {
  writer << kReportBegins << facts.version << ", " << facts.time << kLineEnd;
  writer << "thread: " << facts.thread << " (";
  writer.Number(facts.thread_id, 10);
  writer << ")" << kLineEnd << "code: 0x";
  writer.Number(facts.code, 16);
  writer << kLineEnd << "frames:" << kLineEnd;
  for (const CrashFrame& frame : facts.frames.first(std::min(facts.frames.size(), kMostCrashFrames))) {
    writer << "  ";
    if (!frame.module.empty()) writer << frame.module.substr(0, kLongestName) << "+";
    writer << "0x";
    writer.Number(frame.offset, 16);
    writer << kLineEnd;
  }
}

}  // namespace

std::size_t WriteCrashFile(std::string_view former, const CrashFacts& facts, std::span<char> text) noexcept {
  Writer writer(text);
  const std::string_view kept = LastReports(former, text.size() - std::min(text.size(), kLongestReport));
  writer << kept;
  if (!kept.empty() && !kept.ends_with('\n')) writer << kLineEnd;
  WriteReport(writer, facts);
  return writer.length();
}

}  // namespace quillbeaker
