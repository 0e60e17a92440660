// SPDX-License-Identifier: MIT
#pragma once

// The part of a synthetic unique id that is new each time.

#include <cstdint>

#include "platform/environment.h"

namespace quillbeaker {

// Hands out tick values for synthetic unique ids, none twice, however many are asked for within one tick.
class TickSequence {
 public:
  std::uint32_t Next(const Environment& environment);

 private:
  std::uint32_t last_ = 0;
};

}  // namespace quillbeaker
