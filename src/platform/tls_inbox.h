// SPDX-License-Identifier: MIT
#pragma once

// What an engine has received and not taken yet. For platform/ and its tests only.

#include <cstddef>
#include <cstring>
#include <string_view>
#include <vector>

#include "platform/tls_engine.h"

namespace quillbeaker {

class TlsInbox {
 public:
  explicit TlsInbox(std::size_t capacity) : bytes_(capacity) {}

  // Receives once, behind what is there. What is left of it moves to the front of the room first, so that
  // only the piece of a record moves. kTimedOut as well when there is no room left.
  IoStatus Fill(TlsWire& wire) {
    if (begin_ > 0) {
      std::memmove(bytes_.data(), bytes_.data() + begin_, size());
      end_ -= begin_;
      begin_ = 0;
    }
    if (end_ == bytes_.size()) return IoStatus::kTimedOut;
    const IoResult received = wire.Receive(bytes_.data() + end_, bytes_.size() - end_);
    if (received.status == IoStatus::kOk) end_ += received.bytes;
    return received.status;
  }

  // Pointers into it hold until the next Fill.
  char* data() { return bytes_.data() + begin_; }
  std::size_t size() const { return end_ - begin_; }
  bool empty() const { return begin_ == end_; }
  bool full() const { return size() == bytes_.size(); }
  void Take(std::size_t count) { begin_ += count; }

 private:
  std::vector<char> bytes_;
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
};

}  // namespace quillbeaker
