// SPDX-License-Identifier: MIT
#pragma once

// The daily purge of old messages, which each session's begin looks for.

#include <functional>
#include <string_view>

#include "config/program.h"

namespace quillbeaker {

// Before a mail client is greeted: the daily purge of old messages. `show_status` gets a text while something
// is purged and an empty one after it.
void RunDailyPurges(Program& program, const std::function<void(std::string_view)>& show_status);

}  // namespace quillbeaker
