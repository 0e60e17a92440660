// SPDX-License-Identifier: MIT
#pragma once

// The lines of a server's LIST, UIDL and CAPA replies (RFC 1939, RFC 2449), read leniently. `body` is what
// stands between the status line and the closing line, as ReplyParser gives it.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace quillbeaker {

inline constexpr std::size_t kMaxListedMessages = 1'000'000;  // lines
inline constexpr std::uint32_t kMaxServerNumber = 65535;
inline constexpr std::size_t kMaxUniqueId = 254;  // bytes

struct ListedMessage {
  std::uint32_t number = 0;
  std::uint32_t size = 0;  // bytes as the server says; 0 when it says nothing
};

struct ListedUniqueId {
  std::uint32_t number = 0;    // as the line says, though no message can have it; 0 without one
  std::string_view unique_id;  // up to kMaxUniqueId bytes, points into the body
};

// The lines in the order of the reply, those numbered 0 or above 65535 left out. Nothing when the reply holds
// more lines than any mailbox has.
std::optional<std::vector<ListedMessage>> ParseListReply(std::string_view body);
// Likewise, but only lines without a separator are left out.
std::optional<std::vector<ListedUniqueId>> ParseUidlReply(std::string_view body);
// Whether a capability of that name is among the lines, without regard to case.
bool HasCapability(std::string_view body, std::string_view name);

}  // namespace quillbeaker
