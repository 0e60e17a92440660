// SPDX-License-Identifier: MIT
#include "pop3/check/message_memory.h"

#include <string_view>

namespace quillbeaker {

// A node of the list has two pointers of its own. The root, which every message has, is not worth counting.
std::uint64_t MemoryOf(const MailMessage& message) {
  constexpr std::uint64_t kField = sizeof(std::string_view);
  constexpr std::uint64_t kPart = sizeof(MessagePart) + 2 * sizeof(void*);
  std::uint64_t bytes = message.size();
  for (const MessagePart* part = message.root(); part != nullptr; part = NextPart(part)) {
    bytes += part->fields.size() * kField;
    if (part != message.root()) bytes += kPart;
  }
  return bytes;
}

}  // namespace quillbeaker
