// SPDX-License-Identifier: MIT
#pragma once

// One learning step of its own, for tests of what comes before or after it.

#include "filter/learning.h"

namespace quillbeaker {

inline bool LearnMessage(Program& program, const MailMessage& message, LearnKind kind) {
  LearningBatch batch(program);
  batch.Count(message, kind);
  return batch.Save();
}

}  // namespace quillbeaker
