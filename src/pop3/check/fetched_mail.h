// SPDX-License-Identifier: MIT
#pragma once

// Where the mail of one check waits until its QUIT: in memory, and beyond SessionMegabytes in a file that has
// no name and ends with the check. Nobody needs all of it at once.

#include <cstdint>
#include <memory>
#include <string>

#include "config/program.h"
#include "message/mail_message.h"
#include "platform/spill_file.h"
#include "pop3/check/mailbox.h"

namespace quillbeaker {

class FetchedMail {
 public:
  // `program` must outlive the object. `held_elsewhere` counts towards the limit: bytes.
  FetchedMail(const Program& program, std::uint64_t held_elsewhere);

  // Parses the text and gives it to the entry, with its size. False when it has to go to the file and that
  // cannot be written; `why()` then says why.
  [[nodiscard]] bool Hold(MessageEntry& entry, std::string text);
  // The same for a message that is held in memory elsewhere.
  void Hold(MessageEntry& entry, std::shared_ptr<const MailMessage> message);
  // Nobody works on the entry any more: what is in the file as well leaves the memory.
  static void Settle(MessageEntry& entry);
  // The entry's message, read again when it is in the file; null when it was never fetched or cannot be read.
  std::shared_ptr<const MailMessage> MessageOf(const MessageEntry& entry) const;

  const std::string& why() const { return why_; }

 private:
  [[nodiscard]] bool Spill(MessageEntry& entry, const std::string& text);

  const Program& program_;
  std::uint64_t limit_;     // bytes
  std::uint64_t held_ = 0;  // bytes in memory
  std::unique_ptr<SpillFile> file_;
  std::string why_;
};

}  // namespace quillbeaker
