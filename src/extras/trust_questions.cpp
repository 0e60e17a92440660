// SPDX-License-Identifier: MIT
#include "extras/trust_questions.h"

#include "config/ascii.h"

namespace quillbeaker {

bool TrustQuestions::Begin(const std::string& server) {
  const std::lock_guard lock(mutex_);
  return asked_.insert(LowerAscii(server)).second;
}

void TrustQuestions::Forget(const std::string& server) {
  const std::lock_guard lock(mutex_);
  asked_.erase(LowerAscii(server));
}

}  // namespace quillbeaker
