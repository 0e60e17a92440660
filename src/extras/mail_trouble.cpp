// SPDX-License-Identifier: MIT
#include "extras/mail_trouble.h"

#include "config/texts.h"
#include "message/display_text.h"

namespace quillbeaker {
namespace {

std::string SentenceOf(const MailTrouble& trouble) {
  const std::string account = DisplayLine(trouble.account);
  const std::string number = std::to_string(trouble.number);
  switch (trouble.trouble) {
    case Trouble::kMessageRefused:
      return Format(Text::kMessageRefused, {account, number});
    case Trouble::kServerGone:
      return Format(Text::kServerGone, {account});
    case Trouble::kDeletionsUnconfirmed:
      return Format(Text::kDeletionsUnconfirmed, {account, number});
    case Trouble::kMailNotKept:
      return Format(Text::kMailNotKept, {account, number});
    case Trouble::kRestoredMailStays:
      return Format(Text::kRestoredMailStays, {account, number});
    case Trouble::kClientGaveUp:
      return Format(Text::kClientGaveUp, {account, number, std::to_string(trouble.total)});
  }
  return {};
}

}  // namespace

std::string DescribeTrouble(const MailTrouble& trouble) {
  std::string line = SentenceOf(trouble);
  if (!trouble.words.empty()) {
    line += " (" + DisplayLine(trouble.words) + ")";
  }
  return line;
}

}  // namespace quillbeaker
