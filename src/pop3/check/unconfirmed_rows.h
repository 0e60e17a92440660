// SPDX-License-Identifier: MIT
#pragma once

// The rows of recycle/unconfirmed.xml that belong to the mailbox of one check, held with its entries: what an
// earlier QUIT did for a message, and what this one does.

#include <vector>

#include "config/program.h"
#include "pop3/check/mailbox.h"
#include "stores/unconfirmed_mail.h"

namespace quillbeaker {

class UnconfirmedRows {
 public:
  explicit UnconfirmedRows(Program& program) : store_(program) {}

  // Gives each new entry its row. Only an id that no other message of the listing has tells one message from
  // another. A row whose message is known by its stored id is removed. `whole_listing`: the server named all
  // its messages with their ids, so that a row whose id is missing is removed as well.
  void Load(Mailbox& mailbox, bool whole_listing);

  // The entry's row, made if there is none; null when its id tells it from nothing.
  static UnconfirmedMail* RowOf(MessageEntry& entry);

  // Saves the rows of all entries, flushed. When they could not be, nothing may be done that a row was to
  // tell of.
  [[nodiscard]] FileResult Save(const Mailbox& mailbox);

 private:
  UnconfirmedMailStore store_;
  std::vector<UnconfirmedMail> others_;  // of messages that this listing did not show for certain
  FileResult read_;                      // when the rows were loaded
};

}  // namespace quillbeaker
