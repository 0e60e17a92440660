// SPDX-License-Identifier: MIT
#pragma once

// A file that a person chose to import senders from: recognised by its content, whatever it is called.

#include <memory>
#include <string>

#include "extras/senders/csv_senders.h"
#include "extras/senders/found_sender.h"

namespace quillbeaker {

enum class SenderFileKind {
  kUnreadable,  // no file, or one that cannot be opened
  kNoText,      // neither text nor vCard
  kText,
  kVCard,
};

struct SenderFile {
  SenderFileKind kind = SenderFileKind::kUnreadable;
  std::unique_ptr<SenderSource> source;  // of the last two
};

// `path` is UTF-8. `choose` is asked for the columns of a text file.
SenderFile OpenSenderFile(const std::string& path, CsvSenders::ChooseColumns choose);
// The same of bytes that `read` gives.
SenderFile OpenSenderText(TextLines::Read read, CsvSenders::ChooseColumns choose);

}  // namespace quillbeaker
