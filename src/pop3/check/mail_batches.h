// SPDX-License-Identifier: MIT
#pragma once

// Walks over many mails of which not all may be in memory at once.

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "pop3/check/mailbox.h"

namespace quillbeaker {

// Bytes of mail that are brought back into memory together.
inline constexpr std::uint64_t kBatchBytes = std::uint64_t{64} * 1024 * 1024;

// Splits the entries, in their order, so that what a batch has to read from the spill file stays within
// kBatchBytes; one larger mail is a batch of its own. A batch is [first, first + count).
struct MailBatch {
  std::size_t first = 0;
  std::size_t count = 0;
};
std::vector<MailBatch> SplitIntoBatches(std::span<MessageEntry* const> entries);

}  // namespace quillbeaker
