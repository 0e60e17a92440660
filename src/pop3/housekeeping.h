// SPDX-License-Identifier: MIT
#pragma once

// The core's share of the program's start and of each session's begin; both faces call it, in their own
// surroundings.

#include <functional>
#include <string_view>

#include "config/program.h"

namespace quillbeaker {

// What start-up has to tell; each may be empty.
struct StartUpNotices {
  std::function<void()> taking_in_messages;    // dropped message files are being added to the recycle bin
  std::function<void()> spam_words_converted;  // shown once in the life of an installation
};

// Makes the directories, takes dropped message files into the recycle bin, rebuilds a missing index, converts
// spam words of the older format. In this order.
void PrepareStores(Program& program, const StartUpNotices& notices);

// Before a mail client is greeted: the daily purge of old messages. `show_status` gets a text while something
// is purged and an empty one after it.
void RunDailyPurges(Program& program, const std::function<void(std::string_view)>& show_status);

}  // namespace quillbeaker
