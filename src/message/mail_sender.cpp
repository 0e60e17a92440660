// SPDX-License-Identifier: MIT
#include "message/mail_sender.h"

#include "message/decoded_text.h"

namespace quillbeaker {

namespace {

// Cuts `text` at every byte of `separators`; empty pieces do not count. The first piece goes to `first`, each
// later one replaces `last`. Deliberate: sender list entries rely on the last one winning.
void SplitPieces(std::string_view text, std::string_view separators, std::string_view& first,
                 std::string_view& last) {
  bool have_first = false;
  while (true) {
    const std::size_t start = text.find_first_not_of(separators);
    if (start == std::string_view::npos) return;
    text.remove_prefix(start);
    const std::string_view piece = text.substr(0, text.find_first_of(separators));
    text.remove_prefix(piece.size());
    (have_first ? last : first) = piece;
    have_first = true;
  }
}

std::string_view StripQuotes(std::string_view text) {
  constexpr std::string_view kStripped = " \"";
  const std::size_t start = text.find_first_not_of(kStripped);
  if (start == std::string_view::npos) return {};
  return text.substr(start, text.find_last_not_of(kStripped) - start + 1);
}

}  // namespace

MailSender SplitSender(std::string_view from_value) {
  std::string_view name;
  std::string_view address;
  if (from_value.find('<') != std::string_view::npos) {
    SplitPieces(from_value, "<>", name, address);
  } else if (from_value.find('(') != std::string_view::npos) {
    SplitPieces(from_value, "()", address, name);
  }
  if (name.empty()) name = from_value;
  if (address.empty()) address = name;

  // Cut before they are decoded and stripped, as the entries of the sender lists were.
  MailSender sender;
  sender.name = StripQuotes(DecodeEncodedWord(name.substr(0, kMaxSenderName)));
  sender.address = StripQuotes(address.substr(0, kMaxSenderAddress));
  return sender;
}

std::optional<MailSender> SenderOf(const MailMessage& message) {
  const auto from = message.FindField(kHeaderFrom);
  if (!from) return std::nullopt;
  return SplitSender(*from);
}

}  // namespace quillbeaker
