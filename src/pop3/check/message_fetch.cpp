// SPDX-License-Identifier: MIT
#include "pop3/check/message_fetch.h"

#include <utility>

#include "config/ascii.h"
#include "message/display_text.h"

namespace quillbeaker {
namespace {

constexpr std::size_t kMaxShownRefusal = 200;  // bytes

// How much is asked for before it is needed.
struct Window {
  std::size_t most = 1;       // commands under way
  std::size_t refill_at = 0;  // so few under way are too few
  std::uint64_t bytes = 0;    // as listed; one message may be larger
};
// Over a plain connection the next message is asked for when the one before it has arrived.
constexpr Window kOneAhead{1, 0, UINT32_MAX};
constexpr Window kPipelined{16, 8, std::uint64_t{4} * 1024 * 1024};

// Bytes beyond the listed size that a reply may need without memory being moved.
constexpr std::size_t kSlack = 128;

}  // namespace

std::string ShownRefusal(std::string_view status_line) {
  return WithoutControlBytes(status_line.substr(0, kMaxShownRefusal));
}

void MessageFetch::Plan(Mailbox& mailbox) {
  for (const MessageEntry& entry : mailbox) {
    const bool kept =
        entry.unique_id_is_its_own && kept_.Has(mailbox.name(), *entry.unique_id, entry.listed_size);
    if (entry.fate == Fate::kNew && !entry.is_fetched() && !kept) planned_.push_back(&entry);
  }
}

void MessageFetch::DropPlan() {
  planned_.clear();
  requested_.clear();
  bytes_ahead_ = 0;
  client_.Forget();
}

FetchResult MessageFetch::Fetch(const MailboxName& mailbox, MessageEntry& entry) {
  words_.clear();
  if (entry.unique_id_is_its_own && ShareKept(mailbox, entry)) return FetchResult::kFetched;
  if (requested_.empty() || requested_.front() != &entry) {
    const bool planned = !planned_.empty() && planned_.front() == &entry && requested_.empty();
    if (!planned) DropPlan();
    if (!(planned ? RequestAhead() : Request(entry))) return Failed({});
  }
  return Read(entry);
}

bool MessageFetch::ShareKept(const MailboxName& mailbox, MessageEntry& entry) {
  auto message = kept_.Share(mailbox, *entry.unique_id, entry.listed_size);
  if (message == nullptr) return false;
  fetched_.Hold(entry, std::move(message));
  client_.LogMarker('C', "(message kept from an earlier session)");
  return true;
}

bool MessageFetch::Request(const MessageEntry& entry) {
  requested_.push_back(&entry);
  bytes_ahead_ += entry.listed_size;
  return client_.Request("RETR " + std::to_string(entry.server_number), ReplyKind::kMessage,
                         std::size_t{entry.listed_size} + kSlack);
}

bool MessageFetch::RequestAhead() {
  const Window& window = pipelining_ ? kPipelined : kOneAhead;
  if (requested_.size() > window.refill_at || planned_.empty()) return true;
  while (!planned_.empty() && requested_.size() < window.most) {
    const MessageEntry& next = *planned_.front();
    if (!requested_.empty() && bytes_ahead_ + next.listed_size > window.bytes) break;
    planned_.pop_front();
    requested_.push_back(&next);
    bytes_ahead_ += next.listed_size;
    client_.Queue("RETR " + std::to_string(next.server_number), ReplyKind::kMessage,
                  std::size_t{next.listed_size} + kSlack);
  }
  return client_.SendQueued();
}

FetchResult MessageFetch::Read(MessageEntry& entry) {
  Reply reply = client_.Receive([this](std::size_t bytes) {
    if (watch_.observer().IsCancelled()) return false;
    watch_.observer().Advance(bytes);
    return true;
  });
  requested_.pop_front();
  bytes_ahead_ -= entry.listed_size;
  if (!reply.positive()) return Failed(reply);
  // A reply ahead that cannot be sent shows when it is to be read.
  if (watch_.LookNowAndThen() == Stop::kNone) RequestAhead();
  client_.LogMarker('S', reply.status_line);
  client_.LogMarker('C', "(message completely received)");
  if (!fetched_.Hold(entry, std::move(reply.body))) {
    words_ = fetched_.why();
    DropPlan();
    return FetchResult::kNoRoom;
  }
  client_.LogMarker('C', "(message has been parsed)");
  client_.LogNextCommand();
  return FetchResult::kFetched;
}

FetchResult MessageFetch::Failed(const Reply& reply) {
  DropPlan();
  switch (reply.status) {
    case ReplyStatus::kCancelled:
      return FetchResult::kCancelled;
    case ReplyStatus::kStopped:
      return FetchResult::kStopped;
    case ReplyStatus::kLost: {
      const Stop stopped = client_.link().stopped();
      if (stopped == Stop::kCancelled) return FetchResult::kCancelled;
      return stopped == Stop::kNone ? FetchResult::kLost : FetchResult::kStopped;
    }
    case ReplyStatus::kComplete:
    case ReplyStatus::kRefused:
      break;
  }
  words_ = ShownRefusal(reply.status_line);
  client_.LogMarker('S', words_);
  return FetchResult::kRefused;
}

}  // namespace quillbeaker
