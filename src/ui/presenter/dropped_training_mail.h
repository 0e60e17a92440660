// SPDX-License-Identifier: MIT
#pragma once

// Mail that a person dropped onto the training area: mails by their bytes, and mailbox files by their paths.
// They are counted first, since a mailbox may hold thousands, and then put into the area. Knows no window;
// any thread.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "config/program.h"
#include "extras/mbox_file.h"

namespace quillbeaker {

struct DroppedTrainingMail {
  std::vector<std::string> mails;      // each perhaps cut off at its end
  std::vector<std::string> mailboxes;  // paths of mbox files
  bool IsEmpty() const { return mails.empty() && mailboxes.empty(); }
};

// Whether bytes that were dropped are a mail: they begin with header fields, and From is among them.
bool IsMailWithSender(const std::string& bytes);

// Where the mails of an mbox are.
struct CountedMailbox {
  std::string path;
  std::vector<MboxMail> mails;
};
struct CountedMail {
  std::vector<std::string> mails;
  std::vector<CountedMailbox> mailboxes;
  std::size_t count = 0;
};
// Reads the mailboxes once; `is_stopped` ends that early.
CountedMail CountMail(DroppedTrainingMail dropped, const std::atomic<bool>& is_stopped);

struct TakenIn {
  std::size_t added = 0;
  std::size_t left_out = 0;  // there already, without a text, or unreadable
};
// Puts them into the training area, many with one save of the index.
TakenIn PutIntoTrainingArea(Program& program, const CountedMail& counted,
                            const std::atomic<bool>& is_stopped);

}  // namespace quillbeaker
