// SPDX-License-Identifier: MIT
#include "pop3/check/deletions.h"

namespace quillbeaker {
namespace {

// Commands under way, and how few of them are too few.
constexpr std::size_t kMostAhead = 16;
constexpr std::size_t kRefillAt = 8;

std::string CommandFor(const MessageEntry& entry) {
  return "DELE " + std::to_string(entry.server_number);
}

}  // namespace

DeletionResult DeleteOnServer(Pop3Client& client, std::span<const MessageEntry* const> entries,
                              bool pipelining, const std::function<void()>& on_each) {
  DeletionResult result;
  std::size_t sent = 0;
  for (std::size_t answered = 0; answered < entries.size(); ++answered) {
    if (!pipelining && client.Request(CommandFor(*entries[answered]), ReplyKind::kStatus)) {
      sent = answered + 1;
    } else if (pipelining && sent - answered <= kRefillAt) {
      std::size_t queued = sent;
      for (; queued < entries.size() && queued - answered < kMostAhead; ++queued) {
        client.Queue(CommandFor(*entries[queued]), ReplyKind::kStatus);
      }
      if (client.SendQueued()) sent = queued;
    }
    Reply reply;
    if (answered < sent) reply = client.Receive();
    if (reply.positive()) {
      result.agreed.insert(entries[answered]);
    } else {
      ++result.failed;
      if (result.refusal.empty()) result.refusal = reply.status_line;
    }
    on_each();
  }
  result.asked = static_cast<std::uint32_t>(sent);
  return result;
}

}  // namespace quillbeaker
