// SPDX-License-Identifier: MIT
#include "ui/presenter/trouble_notices.h"

#include <utility>

namespace quillbeaker {
namespace {

constexpr std::chrono::hours kAgainAfter{1};
constexpr std::chrono::hours kOnceADay{24};
constexpr std::chrono::seconds kTogether{5};

std::string SubjectOf(const MailTrouble& trouble) {
  const std::string kind = std::to_string(static_cast<int>(trouble.trouble));
  return trouble.trouble == Trouble::kMailNotKept ? kind : kind + '\n' + trouble.account;
}

std::string ReasonOf(const MailTrouble& trouble) {
  switch (trouble.trouble) {
    case Trouble::kMessageRefused:
      return std::to_string(trouble.number) + ' ' + WithoutNumbers(trouble.words);
    case Trouble::kClientGaveUp:
      return std::to_string(trouble.number) + ' ' + std::to_string(trouble.total);
    case Trouble::kDeletionsUnconfirmed:
      return WithoutNumbers(trouble.words);
    case Trouble::kServerGone:
    case Trouble::kMailNotKept:
    case Trouble::kRestoredMailStays:
      break;
  }
  return {};
}

bool IsHighSurrogate(wchar_t unit) {
  return unit >= 0xD800 && unit < 0xDC00;
}

}  // namespace

TroubleNotices::TroubleNotices(NoticeClock clock) : clock_(clock), told_(std::move(clock)) {}

std::optional<std::string> TroubleNotices::Tell(const MailTrouble& trouble) {
  const auto again_after = trouble.trouble == Trouble::kMailNotKept ? kOnceADay : kAgainAfter;
  if (!told_.IsNew(SubjectOf(trouble), ReasonOf(trouble), again_after)) {
    return std::nullopt;
  }
  const auto now = clock_();
  std::erase_if(lines_, [now](const Line& line) { return now - line.told > kTogether; });
  lines_.insert(lines_.begin(), {now, DescribeTrouble(trouble)});
  std::string text;
  for (const Line& line : lines_) {
    text += (text.empty() ? "" : "\n") + line.text;
  }
  return text;
}

std::wstring FitNotice(std::wstring text, std::size_t most) {
  constexpr std::wstring_view kCut = L"...";
  if (text.size() > most) {
    text.resize(most - kCut.size());
    if (!text.empty() && IsHighSurrogate(text.back())) {
      text.pop_back();
    }
    text += kCut;
  }
  return text;
}

}  // namespace quillbeaker
