// SPDX-License-Identifier: MIT
#pragma once

// What start-up does to the stores; both faces call it, in their own surroundings.

#include <functional>

#include "config/program.h"

namespace quillbeaker {

// What start-up has to tell; each may be empty.
struct StartUpNotices {
  std::function<void()> taking_in_messages;    // dropped message files are being added to the recycle bin
  std::function<void()> spam_words_converted;  // shown once in the life of an installation
};

// Makes the directories, takes dropped message files into the recycle bin, rebuilds a missing or damaged
// index, erases message files that a filing left when it was cut off, converts spam words of the older
// format. In this order. A step that memory does not suffice for is left out.
void PrepareStores(Program& program, const StartUpNotices& notices);

}  // namespace quillbeaker
