// SPDX-License-Identifier: MIT
#pragma once

// The blocked senders that Outlook Express keeps in the registry of the current user.

#include <memory>

#include "extras/senders/found_sender.h"

namespace quillbeaker {

// Of every identity and every version. Keys that cannot be opened and values that are no text are skipped.
std::unique_ptr<SenderSource> BlockedSendersOfRegistry();

}  // namespace quillbeaker
