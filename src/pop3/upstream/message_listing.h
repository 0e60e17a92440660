// SPDX-License-Identifier: MIT
#pragma once

// The lines of a server's LIST and UIDL replies (RFC 1939), read leniently.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace quillbeaker {

inline constexpr std::size_t kMaxListedMessages = 1'000'000;  // lines
inline constexpr std::uint32_t kMaxServerNumber = 65535;

struct ListedMessage {
  std::uint32_t number = 0;
  std::uint32_t size = 0;  // bytes as the server says; 0 when it says nothing
};

struct ListedUniqueId {
  std::uint32_t number = 0;
  std::string_view unique_id;  // up to 254 bytes, points into the reply
};

// The lines in the order of the reply, those numbered 0 or above 65535 left out. Nothing when the reply holds
// more lines than any mailbox has.
std::optional<std::vector<ListedMessage>> ParseListReply(std::string_view reply);
// Lines without a separator are left out too.
std::optional<std::vector<ListedUniqueId>> ParseUidlReply(std::string_view reply);

}  // namespace quillbeaker
