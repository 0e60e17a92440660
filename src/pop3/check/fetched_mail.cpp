// SPDX-License-Identifier: MIT
#include "pop3/check/fetched_mail.h"

#include <algorithm>
#include <utility>

#include "pop3/check/message_memory.h"

namespace quillbeaker {
namespace {

std::uint64_t SessionLimit(const Program& program) {
  return static_cast<std::uint64_t>(std::max(program.Read(keys::kSessionMegabytes), 0)) * 1024 * 1024;
}

}  // namespace

FetchedMail::FetchedMail(const Program& program, std::uint64_t held_elsewhere)
    : program_(program), limit_(SessionLimit(program)) {
  limit_ -= std::min(limit_, held_elsewhere);
}

bool FetchedMail::Hold(MessageEntry& entry, std::string text) {
  if (text.size() > limit_ - std::min(limit_, held_) && !Spill(entry, text)) {
    return false;
  }
  auto message = std::make_shared<MailMessage>();
  if (!text.empty()) message->ParseText(std::move(text));
  if (!entry.spilled_offset) held_ += MemoryOf(*message);
  entry.size = message->size();
  entry.message = std::move(message);
  return true;
}

void FetchedMail::Hold(MessageEntry& entry, std::shared_ptr<const MailMessage> message) {
  entry.size = message->size();
  entry.message = std::move(message);
}

bool FetchedMail::Spill(MessageEntry& entry, const std::string& text) {
  if (file_ == nullptr) {
    SpillFile::Made made = SpillFile::Make(program_.environment.program_directory);
    why_ = made.result.Text();
    file_ = std::move(made.file);
  }
  if (file_ == nullptr) return false;
  const SpillFile::Appended appended = file_->Append(text);
  why_ = appended.result.Text();
  if (!appended.result) return false;
  entry.spilled_offset = appended.offset;
  return true;
}

void FetchedMail::Settle(MessageEntry& entry) {
  if (entry.spilled_offset) entry.message = nullptr;
}

std::shared_ptr<const MailMessage> FetchedMail::MessageOf(const MessageEntry& entry) const {
  if (entry.message != nullptr || !entry.spilled_offset || file_ == nullptr) return entry.message;
  auto text = file_->ReadAt(*entry.spilled_offset, entry.size);
  if (!text) return nullptr;
  auto message = std::make_shared<MailMessage>();
  message->ParseText(std::move(*text));
  return message;
}

}  // namespace quillbeaker
