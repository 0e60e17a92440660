// SPDX-License-Identifier: MIT
#include "pop3/check/unconfirmed_rows.h"

#include <optional>
#include <unordered_map>
#include <utility>

namespace quillbeaker {

void UnconfirmedRows::Load(Mailbox& mailbox, bool whole_listing) {
  others_.clear();
  std::optional<std::vector<UnconfirmedMail>> rows = store_.Rows(mailbox.name());
  if (!rows) read_ = store_.WhyUnreadable();
  if (!rows || rows->empty()) return;
  std::unordered_map<std::string, MessageEntry*> entries;
  std::unordered_map<std::string, bool> listed;  // whether a row may still be needed
  for (MessageEntry& entry : mailbox) {
    if (!entry.unique_id) continue;
    // An id that was stored needs no row: its mail is known again without one.
    listed[*entry.unique_id] = !entry.unique_id_is_its_own || entry.fate != Fate::kKnown;
    if (entry.unique_id_is_its_own && entry.fate == Fate::kNew) entries[*entry.unique_id] = &entry;
  }
  bool changed = false;
  for (UnconfirmedMail& row : *rows) {
    if (const auto entry = entries.find(row.unique_id); entry != entries.end()) {
      entry->second->unconfirmed = std::move(row);
      continue;
    }
    const auto shown = listed.find(row.unique_id);
    if (shown != listed.end() ? shown->second : !whole_listing) {
      others_.push_back(std::move(row));
    } else {
      changed = true;
    }
  }
  // Should it fail, the rows that are too many go with the next listing.
  if (changed) static_cast<void>(Save(mailbox));
}

UnconfirmedMail* UnconfirmedRows::RowOf(MessageEntry& entry) {
  if (!entry.unique_id_is_its_own) return nullptr;
  if (!entry.unconfirmed) entry.unconfirmed = UnconfirmedMail{.unique_id = *entry.unique_id};
  return &*entry.unconfirmed;
}

FileResult UnconfirmedRows::Save(const Mailbox& mailbox) {
  if (!read_) return read_;
  std::vector<UnconfirmedMail> rows = others_;
  for (const MessageEntry& entry : mailbox) {
    if (entry.unconfirmed) rows.push_back(*entry.unconfirmed);
  }
  return store_.Replace(mailbox.name(), rows);
}

}  // namespace quillbeaker
