// SPDX-License-Identifier: MIT
// Any bytes as a mail: parsed, decoded, written back, and what was written parsed again.

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "config/ascii.h"
#include "fuzz_support.h"
#include "message/decoded_text.h"
#include "message/mail_date.h"
#include "message/mail_message.h"
#include "message/mail_sender.h"

namespace quillbeaker {
namespace {

void CheckText(const MailMessage& message, std::size_t size) {
  Check(message.size() == size, "size() is the length of the text");
  std::string decoded;
  for (const bool strip : {false, true}) {
    Check(DecodeText(message, strip, decoded) == (size > 0), "every text that is not empty is decoded");
    Check(size == 0 || decoded.size() < size, "the decoded text is shorter than the mail");
  }
  CalendarTime date;
  Check((ReadDate(message, date) == kDateRead) == message.FindField(kHeaderDate).has_value(),
        "a date is read exactly when there is one");
  Check(SenderOf(message).has_value() == message.FindField(kHeaderFrom).has_value(),
        "a sender is found exactly when there is a From field");
}

void CheckSameHeader(const MessagePart& one, const MessagePart& other) {
  Check(one.fields.size() == other.fields.size(), "writing back keeps the number of fields");
  for (std::size_t i = 0; i < one.fields.size(); ++i) {
    Check(one.fields[i].full_name == other.fields[i].full_name, "writing back keeps names");
    Check(one.fields[i].full_value == other.fields[i].full_value, "writing back keeps values");
  }
}

// Mail whose boundaries begin alike, or whose parts stand in another order in the tree than in the text, is
// written in an order in which its delimiter lines can mean something else. All other mail is written back as
// it was read.
bool CanBeReadAlike(const MailMessage& message) {
  const char* position = nullptr;
  std::vector<std::string_view> boundaries;
  for (const MessagePart* part = message.root(); part != nullptr; part = NextPart(part)) {
    if (part->body.data() < position) return false;
    position = part->body.data();
    if (part->has_boundary) boundaries.push_back(part->boundary);
  }
  for (std::size_t i = 0; i < boundaries.size(); ++i) {
    for (std::size_t j = 0; j < boundaries.size(); ++j) {
      if (i != j && StartsWithIgnoringCase(boundaries[i], boundaries[j])) return false;
    }
  }
  return true;
}

void CheckMail(std::string_view text) {
  MailMessage message;
  message.ParseText(std::string(text));
  CheckText(message, text.size());
  const std::optional<std::string> written = message.Serialise();
  Check(written.has_value(), "a parsed mail can be written");

  MailMessage again;
  again.ParseText(*written);
  CheckText(again, written->size());
  CheckSameHeader(*message.root(), *again.root());
  if (!CanBeReadAlike(message)) return;
  const MessagePart* one = message.root();
  const MessagePart* other = again.root();
  while (one != nullptr && other != nullptr) {
    CheckSameHeader(*one, *other);
    Check(one->body == other->body, "writing back keeps bodies");
    one = NextPart(one);
    other = NextPart(other);
  }
  Check(one == other, "writing back keeps the number of parts");
  Check(again.Serialise() == written, "what was written once stays as it is");
}

}  // namespace
}  // namespace quillbeaker

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text = quillbeaker::TextOf(data, size);
  quillbeaker::CheckMail(text);
  quillbeaker::MailMessage body;
  body.ParseBodyOnly(std::string(text));
  quillbeaker::Check(body.Serialise() == text, "a text that is all body stays as it is");
  return 0;
}
