// SPDX-License-Identifier: MIT
#pragma once

// "Restore and trust...": one dialog that gives mail of the recycle bin back and sees to it that the next one
// comes through.

#include <windows.h>

#include <span>
#include <string>

#include "config/program.h"

namespace quillbeaker {

struct RestoredAndTrusted {
  bool restored = false;         // the bin's index has the mails as restored now
  bool senders_changed = false;  // the lists of senders have changed
  std::string done;              // in one line (UTF-8) for the status line; empty after Cancel
};

// Asks and does. `names` are those of the bin's mails. No lock is held while it asks; names that are gone
// meanwhile are skipped. UI thread.
RestoredAndTrusted RestoreAndTrust(HWND owner, Program& program, std::span<const std::string> names);

}  // namespace quillbeaker
