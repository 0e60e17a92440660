// SPDX-License-Identifier: MIT
#pragma once

// How many messages the learnt word lists were made from: read from the first bytes of their files, so that a
// window can tell it at once however large the lists are.

#include <cstdint>

#include "config/program.h"

namespace quillbeaker {

struct KnownMessages {
  std::uint32_t good = 0;
  std::uint32_t spam = 0;
};

inline constexpr std::uint32_t kFewKnownMessages = 20;   // below, a list knows nothing reliable
inline constexpr std::uint32_t kMostKnownImbalance = 4;  // times as many messages as the other list

// 0 for a list that is missing or cannot be read.
KnownMessages ReadKnownMessages(const Program& program);

// Whether one of the lists is too small to judge by.
bool IsTooLittle(const KnownMessages& known);
// Whether one outweighs the other.
bool IsUneven(const KnownMessages& known);

}  // namespace quillbeaker
