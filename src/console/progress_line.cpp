// SPDX-License-Identifier: MIT
#include "console/progress_line.h"

#include <algorithm>
#include <string>

#include "message/display_text.h"
#include "platform/console.h"

namespace quillbeaker {
namespace {

constexpr std::size_t kBarWidth = 14;     // columns
constexpr std::size_t kMostColumns = 79;  // columns
constexpr std::size_t kFewestColumns = 20;
constexpr std::chrono::milliseconds kRedrawAfter{50};
constexpr std::string_view kClearLine = "\r\x1b[K";

std::string Bar(std::uint64_t position, std::uint64_t range) {
  const std::uint64_t held = std::min(position, range);
  const auto filled = range == 0 ? 0 : static_cast<std::size_t>(held * kBarWidth / range);
  return "[" + std::string(filled, '#') + std::string(kBarWidth - filled, '.') + "]";
}

// One column stays free: a full line would make some terminals begin the next one, which is never cleared.
std::size_t LineWidth() {
  const std::size_t columns = std::max<std::size_t>(StandardOutputColumns(), kFewestColumns);
  return std::min(columns - 1, kMostColumns);
}

}  // namespace

ProgressLine::ProgressLine() : on_terminal_(StandardOutputIsTerminal()) {}

bool ProgressLine::IsDue(bool at_once) const {
  return on_terminal_ && (at_once || std::chrono::steady_clock::now() - last_drawn_ >= kRedrawAfter);
}

void ProgressLine::Draw(std::uint64_t position, std::uint64_t range, std::string_view text) {
  if (!on_terminal_) {
    return;
  }
  last_drawn_ = std::chrono::steady_clock::now();
  const std::string line = Bar(position, range).append(" ").append(text);
  WriteStandardOutput(std::string(kClearLine).append(FirstColumns(line, LineWidth())));
  shown_ = true;
}

void ProgressLine::Clear() {
  if (shown_) {
    WriteStandardOutput(kClearLine);
    shown_ = false;
  }
}

}  // namespace quillbeaker
