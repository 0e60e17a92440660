// SPDX-License-Identifier: MIT
#pragma once

// What went wrong in a mail check without the mail program hearing of it, in words: for the console's lines
// and for the notifications of the Windows program. Failed logins have their own (pop3/login_problem.h).

#include <cstdint>
#include <string>

namespace quillbeaker {

// One for each call of CheckObserver that tells of trouble.
enum class Trouble {
  kMessageRefused,
  kServerGone,
  kDeletionsUnconfirmed,
  kMailNotKept,
  kRestoredMailStays,
  kClientGaveUp,
};

struct MailTrouble {
  Trouble trouble = Trouble::kServerGone;
  std::string account{};     // "user @ server", the bytes that the client sent
  std::uint32_t number = 0;  // of the message; else how many of them
  std::uint32_t total = 0;   // of kClientGaveUp: of how many
  std::string words{};       // UTF-8, one line: the server's words, or path and reason; may be empty
};

// One line for the person, UTF-8 in the chosen language, the words in parentheses at its end.
std::string DescribeTrouble(const MailTrouble& trouble);

}  // namespace quillbeaker
