// SPDX-License-Identifier: MIT
#pragma once

// Which troubles of mail checks become a notification of the tray icon, with which text, and how often. Knows
// no window.

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "extras/mail_trouble.h"
#include "ui/presenter/told_memory.h"

namespace quillbeaker {

// One thread.
class TroubleNotices {
 public:
  explicit TroubleNotices(NoticeClock clock = std::chrono::steady_clock::now);

  // The text to show now, UTF-8; nothing when the person knows already. Mail that could not be kept is told
  // once a day, whatever account it was for: one disk is full for all of them. Everything else is told once
  // an hour per account, earlier when it is another message, another reason, or more that is ready.
  // A notification takes the place of the one before, and a session may end with several troubles: what was
  // told a few seconds ago follows it, line by line, so that what is cut off at the end was seen already.
  std::optional<std::string> Tell(const MailTrouble& trouble);

 private:
  struct Line {
    std::chrono::steady_clock::time_point told;
    std::string text;
  };
  NoticeClock clock_;
  ToldMemory told_;
  std::vector<Line> lines_;  // the last one first
};

// At most `most` UTF-16 units, which is what the shell counts in; a longer text ends in "..." there, no
// character cut in two.
std::wstring FitNotice(std::wstring text, std::size_t most);

}  // namespace quillbeaker
