// SPDX-License-Identifier: MIT
#include "pop3/local/tick_sequence.h"

namespace quillbeaker {

std::uint32_t TickSequence::Next(const Environment& environment) {
  const std::uint32_t now = environment.tick_count();
  last_ = now > last_ ? now : last_ + 1;
  return last_;
}

}  // namespace quillbeaker
