// SPDX-License-Identifier: MIT
#include "console/console_observer.h"

#include <system_error>
#include <thread>

#include "config/log_file.h"
#include "config/texts.h"
#include "message/display_text.h"
#include "platform/console.h"
#include "pop3/housekeeping.h"

namespace quillbeaker {
namespace {

// "hh:mm:ss ", as a status line begins.
std::string TimeNow(const Program& program) {
  const std::string line = TimedLine(program.environment.local_time(), 'C', {});
  return line.substr(0, line.find(' ') + 1);
}

std::string Number(std::uint32_t value) {
  return std::to_string(value);
}

std::string OutcomeOf(const CheckSummary& summary) {
  if (!summary.logged_in) {
    return std::string(TextOf(Text::kCheckNotLoggedIn));
  }
  std::string line =
      Format(Text::kCheckCounts, {DisplayLine(summary.account), Number(summary.listed),
                                  Number(summary.downloaded), Number(summary.known), Number(summary.spam)});
  if (summary.finished) {
    line += Format(Text::kCheckDeleted, {Number(summary.deleted)});
  } else {
    line += TextOf(Text::kCheckUnfinished);
  }
  if (summary.unfiled > 0) {
    line += Format(Text::kCheckUnfiled, {Number(summary.unfiled)});
  }
  return line;
}

}  // namespace

ConsoleObserver::ConsoleObserver(Program& program)
    : program_(program), can_ask_(StandardOutputIsTerminal() && StandardInputIsTerminal()) {}

void ConsoleObserver::PortInUse() {
  PrintLine(TextOf(Text::kPortInUse));
}

void ConsoleObserver::SessionBegins() {
  range_ = position_ = 0;
  spam_count_ = 0;
  activity_.clear();
  trouble_.clear();
  RunDailyPurges(program_, [this](std::string_view text) {
    activity_ = text;
    DrawProgress(true);
  });
}

void ConsoleObserver::SessionEnds(const CheckSummary& summary) {
  std::string line = TimeNow(program_) + OutcomeOf(summary);
  if (!trouble_.empty()) {
    line += " " + trouble_;
  }
  PrintLine(line);
}

void ConsoleObserver::WrongUserName() {
  PrintLine(TextOf(Text::kWrongUserName));
}

void ConsoleObserver::ShowTooltip(std::string_view text) {
  activity_ = DisplayLine(text);
  DrawProgress(false);
}

void ConsoleObserver::ShowStatus(std::string_view text) {
  trouble_ = DisplayLine(text);
}

void ConsoleObserver::ShowSpamCount(std::uint32_t count) {
  spam_count_ = count;
  DrawProgress(false);
}

void ConsoleObserver::SetRange(std::uint64_t range) {
  range_ = range;
  position_ = 0;
}

void ConsoleObserver::SetPosition(std::uint64_t position) {
  position_ = position;
  DrawProgress(position_ >= range_);
}

void ConsoleObserver::Advance(std::uint64_t amount) {
  position_ += amount;
  DrawProgress(false);
}

void ConsoleObserver::AskToAbort(std::function<void()> abort) {
  if (!can_ask_) {
    abort();
    return;
  }
  if (question_stands_->exchange(true)) {
    return;
  }
  PrintLine(TextOf(Text::kTimeoutQuestion));
  PrintLine(TextOf(Text::kTimeoutKeys));
  // Where nothing can be typed any more it is as if nobody could be asked.
  const auto ask = [abort, stands = question_stands_] {
    const auto answer = ReadStandardInputLine();
    *stands = false;
    if (!answer || answer->starts_with('a') || answer->starts_with('A')) {
      abort();
    }
  };
  try {
    std::thread(ask).detach();
  } catch (const std::system_error&) {
    *question_stands_ = false;
    abort();
  }
}

void ConsoleObserver::PrintLine(std::string_view text) {
  progress_.Clear();
  WriteStandardOutput(std::string(text) + "\n");
}

void ConsoleObserver::DrawProgress(bool at_once) {
  if (!progress_.IsDue(at_once)) {
    return;
  }
  std::string text;
  if (spam_count_ > 0) {
    text += Format(Text::kSpamMessages, {Number(spam_count_)}) + "  ";
  }
  progress_.Draw(position_, range_, text + activity_);
}

}  // namespace quillbeaker
