// SPDX-License-Identifier: MIT
#pragma once

// Senders in a vCard file: version 2.1, 3.0 (RFC 2426) and 4.0 (RFC 6350), several cards in a file, several
// addresses a card.

#include <cstddef>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "extras/senders/found_sender.h"
#include "extras/senders/text_lines.h"

namespace quillbeaker {

// Of one property, its continuation lines included; what is longer (a photo) is read past and dropped.
inline constexpr std::size_t kMaxVCardProperty = std::size_t{8} * 1024;
inline constexpr std::size_t kMaxVCardAddresses = 1000;  // of one card

// By the first line that is not blank, whatever the file is called.
bool IsVCard(std::string_view head);

class VCardSenders : public SenderSource {
 public:
  explicit VCardSenders(std::unique_ptr<TextLines> lines);
  // One for each address of each card, named as the card says: by its FN, else by N, else by ORG, else by the
  // address. A card inside another one (AGENT) is left out. A card that the file cuts off is taken as it is.
  std::optional<FoundSender> Next() override;
  bool failed() const override { return lines_->failed(); }

 private:
  // What a card has told of itself so far.
  struct Card {
    std::string formatted_name;
    std::string name;
    std::string organisation;
    std::vector<std::string> addresses;
  };

  // A property with its continuation lines; false at the end.
  bool NextProperty(std::string& property);
  void Take(std::string_view property);
  void Begin();
  void End();

  std::unique_ptr<TextLines> lines_;
  std::optional<std::string> ahead_;  // a line that was read to see whether it goes on
  std::optional<Card> card_;
  bool old_version_ = false;   // 2.1
  bool agent_begins_ = false;  // the property before was an AGENT whose card follows
  std::size_t inner_cards_ = 0;
  std::deque<FoundSender> found_;
};

}  // namespace quillbeaker
