// SPDX-License-Identifier: MIT
#pragma once

// The mails in the data of a drag: asked of another process, which may answer what it likes.

#include <windows.h>

#include <ole2.h>

#include <string>
#include <vector>

namespace quillbeaker {

// What a window takes: mails alone, or mailbox files (*.mbox) too.
enum class DropKinds { kMails, kMailboxesToo };

struct DroppedMail {
  std::vector<std::string> mails;      // the beginning of each (kMostDroppedBytes)
  std::vector<std::string> mailboxes;  // paths: such a file may be larger than what can be held
};

// Whether there are mails in it, by its formats, and of files by their names.
bool OffersMail(IDataObject& data, DropKinds kinds);

// What cannot be read is left out.
DroppedMail MailsOf(IDataObject& data, DropKinds kinds);

}  // namespace quillbeaker
