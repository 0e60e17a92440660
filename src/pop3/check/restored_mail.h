// SPDX-License-Identifier: MIT
#pragma once

// Messages that the user restored from the recycle bin: the next check of their account delivers them, before
// the server's.

#include <optional>
#include <string>

#include "config/program.h"
#include "pop3/check/mailbox.h"

namespace quillbeaker {

// Puts the account's restored messages at the head of the mailbox, numbered from 65537.
void AddRestoredMail(Program& program, Mailbox& mailbox);

// The text of the entry's message, fit to be sent; nothing, and the entry says so, when its file is there and
// cannot be read. One whose file is gone is empty: one lost file must not hold up all mail.
std::optional<std::string> ReadRestoredMail(MessageEntry& entry);

// The bare name of a restored entry's file, by which the recycle bin knows it.
std::string RestoredFileName(const MessageEntry& entry);

}  // namespace quillbeaker
