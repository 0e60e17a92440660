// SPDX-License-Identifier: MIT
#pragma once

// DELE for what is to be deleted on the server. Nothing is deleted there before its QUIT (RFC 1939, section
// 6).

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <unordered_set>

#include "pop3/check/mailbox.h"
#include "pop3/upstream/pop3_client.h"

namespace quillbeaker {

struct DeletionResult {
  std::unordered_set<const MessageEntry*> agreed;  // the server answered "+OK"
  std::uint32_t asked = 0;                         // commands that went out
  std::uint32_t failed = 0;                        // refused, or not answered any more
  std::string refusal;                             // what the server said to the first that it refused
};

// In the order of the entries. `on_each` is called once for each entry, when its answer has come or will not.
// `pipelining`: the server takes several commands ahead.
DeletionResult DeleteOnServer(Pop3Client& client, std::span<const MessageEntry* const> entries,
                              bool pipelining, const std::function<void()>& on_each);

}  // namespace quillbeaker
