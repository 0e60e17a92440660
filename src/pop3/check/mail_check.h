// SPDX-License-Identifier: MIT
#pragma once

// The filtering of a mailbox: downloads every new message, judges it, hides the spam and numbers the rest for
// the mail client.

#include <cstdint>

namespace quillbeaker {

class ClientSession;

struct ClientView {
  std::uint32_t count = 0;   // visible messages
  std::uint64_t size = 0;    // bytes of them
  bool cancelled = false;    // the person stopped the downloading during this build
  bool client_gone = false;  // the mail client closed its connection meanwhile
};

// Builds the view once per session; later calls only count. A build that was cut short, by a message that
// cannot be had or by the person, counts as built: what it did not reach stays unnumbered.
ClientView BuildView(ClientSession& session);

}  // namespace quillbeaker
