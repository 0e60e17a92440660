// SPDX-License-Identifier: MIT
#include "extras/senders/found_sender.h"

#include "config/ascii.h"

namespace quillbeaker {
namespace {

bool Fits(std::string_view text) {
  return !text.empty() && text.size() <= kMaxFoundText;
}

}  // namespace

FoundSender SenderOfBlockedValue(std::string_view value) {
  FoundSender found{std::string(value), std::string(value)};
  if (value.find('@') == std::string_view::npos) {
    found.address.insert(0, "*@");
  } else if (value.starts_with('@')) {
    found.address.insert(0, "*");
  }
  return found;
}

std::optional<FoundSender> BlockedValues::Next() {
  const std::optional<std::string> value = next_();
  if (!value) return std::nullopt;
  // An empty value names nobody, and "*@" would be everybody.
  return value->empty() ? FoundSender{} : SenderOfBlockedValue(*value);
}

std::optional<FoundSender> FitToOffer(const FoundSender& found) {
  FoundSender fit{std::string(TrimBlanks(WithoutControlBytes(found.name))),
                  std::string(TrimBlanks(WithoutControlBytes(found.address)))};
  if (!Fits(fit.name) || !Fits(fit.address)) return std::nullopt;
  return fit;
}

}  // namespace quillbeaker
