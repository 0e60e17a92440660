// SPDX-License-Identifier: MIT
#pragma once

// The daily purge of old messages, which each session's begin looks for.

#include "config/program.h"
#include "pop3/check_observer.h"

namespace quillbeaker {

// Before a mail client is greeted: the daily purge of old messages. The observer is shown a text while
// something is purged and an empty one after it, and told what has gone.
void RunDailyPurges(Program& program, CheckObserver& observer);

}  // namespace quillbeaker
