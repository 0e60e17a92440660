// SPDX-License-Identifier: MIT
#include "extras/senders/sender_file.h"

#include <cstdint>
#include <optional>
#include <utility>

#include "extras/senders/vcard_senders.h"
#include "platform/input_file.h"

namespace quillbeaker {

SenderFile OpenSenderText(TextLines::Read read, CsvSenders::ChooseColumns choose) {
  auto lines = std::make_unique<TextLines>(std::move(read));
  if (IsVCard(lines->head())) {
    return {SenderFileKind::kVCard, std::make_unique<VCardSenders>(std::move(lines))};
  }
  if (lines->is_binary()) return {SenderFileKind::kNoText, nullptr};
  return {SenderFileKind::kText, std::make_unique<CsvSenders>(std::move(lines), std::move(choose))};
}

SenderFile OpenSenderFile(const std::string& path, CsvSenders::ChooseColumns choose) {
  std::optional<InputFile> opened = InputFile::Open(path);
  if (!opened) return {};
  const auto file = std::make_shared<InputFile>(std::move(*opened));
  const auto read = [file, at = std::uint64_t{0}](char* buffer, std::size_t capacity) mutable {
    const std::optional<std::size_t> count = file->ReadAt(at, buffer, capacity);
    at += count.value_or(0);
    return count;
  };
  return OpenSenderText(read, std::move(choose));
}

}  // namespace quillbeaker
