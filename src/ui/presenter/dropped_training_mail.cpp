// SPDX-License-Identifier: MIT
#include "ui/presenter/dropped_training_mail.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include "message/line_ends.h"
#include "message/mail_message.h"
#include "message/mail_sender.h"
#include "platform/input_file.h"
#include "stores/training_area.h"

namespace quillbeaker {
namespace {

constexpr std::size_t kPiece = std::size_t{1} << 18;
// Of one mail, as of a mail that is dropped by itself: text stands at its beginning, attachments teach
// nothing.
constexpr std::size_t kMostBytesOfAMail = std::size_t{1} << 20;
// What is put into the area with one save of its index.
constexpr std::size_t kMostMailsAtOnce = 1000;
constexpr std::size_t kMostBytesAtOnce = std::size_t{1} << 25;

std::unique_ptr<MailMessage> Parsed(std::string_view bytes) {
  auto message = std::make_unique<MailMessage>();
  message->ParseText(WithCrLf(bytes));
  return message;
}

std::vector<MboxMail> MailsOfMbox(const std::string& path, const std::atomic<bool>& is_stopped) {
  std::vector<MboxMail> mails;
  const std::optional<InputFile> file = InputFile::Open(path);
  if (!file) return mails;
  MboxSplitter splitter([&mails](const MboxMail& mail) { mails.push_back(mail); });
  std::vector<char> buffer(kPiece);
  std::uint64_t offset = 0;
  while (!is_stopped) {
    const auto got = file->ReadAt(offset, buffer.data(), buffer.size());
    if (!got || *got == 0) break;
    splitter.Feed({buffer.data(), *got});
    offset += *got;
  }
  splitter.Finish();
  return mails;
}

// Messages that go into the area with the next save.
class Batch {
 public:
  explicit Batch(Program& program) : area_(program) {}

  void Add(std::unique_ptr<MailMessage> message, std::size_t bytes) {
    messages_.push_back(std::move(message));
    bytes_ += bytes;
    if (messages_.size() >= kMostMailsAtOnce || bytes_ >= kMostBytesAtOnce) Save();
  }
  void LeaveOut() { ++taken_.left_out; }
  TakenIn Finish() {
    Save();
    return taken_;
  }

 private:
  void Save() {
    if (messages_.empty()) return;
    std::vector<const MailMessage*> pointers;
    pointers.reserve(messages_.size());
    for (const auto& message : messages_) pointers.push_back(message.get());
    const std::vector<bool> added = area_.Add(pointers);
    const auto count = static_cast<std::size_t>(std::count(added.begin(), added.end(), true));
    taken_.added += count;
    taken_.left_out += added.size() - count;
    messages_.clear();
    bytes_ = 0;
  }

  TrainingArea area_;
  std::vector<std::unique_ptr<MailMessage>> messages_;
  std::size_t bytes_ = 0;
  TakenIn taken_;
};

void TakeInMailbox(const CountedMailbox& mailbox, Batch& batch, const std::atomic<bool>& is_stopped) {
  const std::optional<InputFile> file = InputFile::Open(mailbox.path);
  std::string bytes;
  for (const MboxMail& mail : mailbox.mails) {
    if (is_stopped) return;
    bytes.resize(static_cast<std::size_t>(std::min<std::uint64_t>(mail.length, kMostBytesOfAMail)));
    if (!file || file->ReadAt(mail.offset, bytes.data(), bytes.size()) != bytes.size()) {
      batch.LeaveOut();
      continue;
    }
    UndoMboxQuoting(bytes);
    batch.Add(Parsed(bytes), bytes.size());
  }
}

}  // namespace

bool IsMailWithSender(const std::string& bytes) {
  return SenderOf(*Parsed(bytes)).has_value();
}

CountedMail CountMail(DroppedTrainingMail dropped, const std::atomic<bool>& is_stopped) {
  CountedMail counted;
  counted.mails = std::move(dropped.mails);
  counted.count = counted.mails.size();
  for (std::string& path : dropped.mailboxes) {
    std::vector<MboxMail> mails = MailsOfMbox(path, is_stopped);
    counted.count += mails.size();
    counted.mailboxes.push_back({std::move(path), std::move(mails)});
  }
  return counted;
}

TakenIn PutIntoTrainingArea(Program& program, const CountedMail& counted,
                            const std::atomic<bool>& is_stopped) {
  Batch batch(program);
  for (const std::string& mail : counted.mails) {
    if (is_stopped) break;
    batch.Add(Parsed(mail), mail.size());
  }
  for (const CountedMailbox& mailbox : counted.mailboxes) TakeInMailbox(mailbox, batch, is_stopped);
  return batch.Finish();
}

}  // namespace quillbeaker
