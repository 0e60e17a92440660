// SPDX-License-Identifier: MIT
#include "pop3/check/mail_batches.h"

namespace quillbeaker {

std::vector<MailBatch> SplitIntoBatches(std::span<MessageEntry* const> entries) {
  std::vector<MailBatch> batches;
  std::uint64_t bytes = 0;
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const std::uint64_t size = entries[i]->message == nullptr ? entries[i]->size : 0;
    if (batches.empty() || (bytes > 0 && bytes + size > kBatchBytes)) {
      batches.push_back({i, 0});
      bytes = 0;
    }
    ++batches.back().count;
    bytes += size;
  }
  return batches;
}

}  // namespace quillbeaker
