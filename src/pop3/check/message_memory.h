// SPDX-License-Identifier: MIT
#pragma once

// What a message costs in memory, for the limits on the mail that is held at once.

#include <cstdint>

#include "message/mail_message.h"

namespace quillbeaker {

// Bytes: the text, and what reading it into fields and parts has cost, which for a mail of nothing but empty
// fields or parts is many times the text.
std::uint64_t MemoryOf(const MailMessage& message);

}  // namespace quillbeaker
