// SPDX-License-Identifier: MIT
#include "pop3/check/restored_mail.h"

#include <algorithm>
#include <string>
#include <utility>

#include "message/line_ends.h"
#include "platform/files.h"
#include "stores/recycle_bin.h"

namespace quillbeaker {
namespace {

constexpr std::size_t kRestoredListArea = 2'000;  // bytes

// Deliberate: a file that the user dropped in may end its lines with LF alone; served like that it would be
// one endless header line to every mail client. The first line decides; a file of ours ends it with CR LF.
std::string FitToSend(std::string text) {
  const std::size_t first = text.find('\n');
  const bool bare = first != std::string::npos && (first == 0 || text[first - 1] != '\r');
  return bare ? WithCrLf(text) : text;
}

}  // namespace

void AddRestoredMail(Program& program, Mailbox& mailbox) {
  const RecycleBin recycle_bin(program);
  const RestoredList restored = recycle_bin.RestoredFor(mailbox.AccountKey(), kRestoredListArea);
  std::uint32_t number = kRestoredNumberBase;
  for (const std::string& name : restored.names) {
    MessageEntry entry;
    entry.fate = Fate::kRestored;
    entry.server_number = ++number;
    entry.client_number = number;
    entry.file_path = restored.directory + name;
    entry.file_missing = !StateOfFile(entry.file_path).exists;
    const std::uint64_t size = FileSize(entry.file_path).value_or(0);
    entry.size = static_cast<std::uint32_t>(std::min<std::uint64_t>(size, UINT32_MAX));
    mailbox.Insert(std::move(entry));
  }
}

std::optional<std::string> ReadRestoredMail(MessageEntry& entry) {
  FileContents contents = ReadContents(entry.file_path);
  entry.file_missing = contents.result.IsMissing();
  entry.file_unreadable = !contents.result && !entry.file_missing;
  if (entry.file_unreadable) return std::nullopt;
  return contents.bytes ? FitToSend(std::move(*contents.bytes)) : std::string();
}

std::string RestoredFileName(const MessageEntry& entry) {
  return entry.file_path.substr(entry.file_path.find_last_of("/\\") + 1);
}

}  // namespace quillbeaker
