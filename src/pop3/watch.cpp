// SPDX-License-Identifier: MIT
#include "pop3/watch.h"

#include <utility>

namespace quillbeaker {

Watch::Watch(CheckObserver& observer, std::function<bool()> client_has_gone)
    : observer_(observer), client_has_gone_(std::move(client_has_gone)) {}

Stop Watch::Look() {
  last_look_ = std::chrono::steady_clock::now();
  if (on_look_) on_look_();
  if (program_ends_) return Stop::kProgramEnds;
  if (carrying_through_) return Stop::kNone;
  client_gone_ = client_gone_ || (client_has_gone_ && client_has_gone_());
  if (client_gone_) return Stop::kClientGone;
  return CancelStop();
}

Stop Watch::CancelStop() {
  return !cancel_used_up_ && !carrying_through_ && observer_.IsCancelled() ? Stop::kCancelled : Stop::kNone;
}

Stop Watch::LookNowAndThen() {
  if (std::chrono::steady_clock::now() - last_look_ >= kStep) return Look();
  if (program_ends_) return Stop::kProgramEnds;
  if (carrying_through_) return Stop::kNone;
  return client_gone_ ? Stop::kClientGone : CancelStop();
}

}  // namespace quillbeaker
