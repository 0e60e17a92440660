// SPDX-License-Identifier: MIT
#pragma once

// Fills a mailbox: what the server lists, with ids and with what is known of them, and what was restored.

#include "config/program.h"
#include "pop3/check/mailbox.h"
#include "pop3/upstream/pop3_client.h"

namespace quillbeaker {

struct ListingResult {
  bool listed = false;  // LIST was answered
  bool whole = false;   // LIST and UIDL were, and were read to their ends
  Stop stopped = Stop::kNone;
};

// LIST; UIDL unless UIDChecking is 0, with the store of unique ids brought up to date; the restored messages
// of the account. A listing that is stopped or fails leaves the mailbox empty; UIDL may fail.
ListingResult ListMailbox(Program& program, Pop3Client& client, Mailbox& mailbox);

}  // namespace quillbeaker
