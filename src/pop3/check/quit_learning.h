// SPDX-License-Identifier: MIT
#pragma once

// What the filter learns from a mail check by itself: friends' mail as good, blocked senders' as spam; all
// other mail goes to the training area, for the user to judge.

#include <span>

#include "config/program.h"
#include "message/mail_message.h"

namespace quillbeaker {

// Nothing happens while learning is off and at levels 0 and 100, which leave the judgement to the sender
// lists. Mail of FilterMaxMessageSize and more is passed over. Word lists and training index are each read
// and written once at most, whatever the number of messages, and are saved on return. What cannot be saved is
// lost: nobody waits for it. Takes the locks of both. True when the training area has more mail now.
bool LearnFromMail(Program& program, std::span<const MailMessage* const> messages);

}  // namespace quillbeaker
