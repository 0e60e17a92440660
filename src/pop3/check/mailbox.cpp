// SPDX-License-Identifier: MIT
#include "pop3/check/mailbox.h"

#include <utility>

namespace quillbeaker {

MessageEntry& Mailbox::Insert(MessageEntry entry) {
  entries_.push_front(std::move(entry));
  MessageEntry& inserted = entries_.front();
  by_server_number_[inserted.server_number] = &inserted;
  return inserted;
}

void Mailbox::Clear() {
  entries_.clear();
  by_server_number_.clear();
  numbered_.clear();
  renumbered_ = false;
}

MessageEntry* Mailbox::FindByServerNumber(std::uint32_t number) {
  const auto found = by_server_number_.find(number);
  return found == by_server_number_.end() ? nullptr : found->second;
}

MessageEntry* Mailbox::FindByClientNumber(std::int32_t number) {
  if (number < 1) {
    return nullptr;
  }
  const auto wanted = static_cast<std::uint32_t>(number);
  if (!renumbered_) {
    return FindByServerNumber(wanted);
  }
  return wanted <= numbered_.size() ? numbered_[wanted - 1] : nullptr;
}

void Mailbox::ClearNumbers() {
  for (MessageEntry& entry : entries_) {
    entry.client_number = kUnnumbered;
  }
  numbered_.clear();
  renumbered_ = true;
}

void Mailbox::NumberNext(MessageEntry& entry) {
  numbered_.push_back(&entry);
  entry.client_number = static_cast<std::uint32_t>(numbered_.size());
}

}  // namespace quillbeaker
