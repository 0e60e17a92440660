// SPDX-License-Identifier: MIT
#include "platform/tls_sessions.h"

#include <algorithm>
#include <utility>

namespace quillbeaker {

TlsSessions::TlsSessions(std::function<Moment()> now) : now_(std::move(now)) {}

void TlsSessions::TrustIs(std::string_view state) {
  const std::lock_guard guard(mutex_);
  if (trust_ == state) return;
  trust_ = state;
  ++era_;
  kept_.clear();
}

std::size_t TlsSessions::size() const {
  const std::lock_guard guard(mutex_);
  return kept_.size();
}

TlsSessions::Claim TlsSessions::Take(TlsSessionKey key) {
  const std::lock_guard guard(mutex_);
  const Moment now = now_();
  // A clock that was set back makes a session's age unknown.
  std::erase_if(kept_, [now](const Kept& kept) {
    return now < kept.certified || now - kept.certified >= kLongestLife;
  });
  Claim claim{std::move(key), nullptr, now, now, era_};
  const auto found =
      std::find_if(kept_.begin(), kept_.end(), [&claim](const Kept& kept) { return kept.key == claim.key; });
  if (found != kept_.end()) {
    claim.session = std::move(found->session);
    claim.certified = found->certified;
    kept_.erase(found);
  }
  return claim;
}

void TlsSessions::Keep(const Claim& claim, std::unique_ptr<TlsSession> session, bool resumed) {
  const std::lock_guard guard(mutex_);
  if (session == nullptr || claim.era != era_) return;
  std::erase_if(kept_, [&claim](const Kept& kept) { return kept.key == claim.key; });
  if (kept_.size() >= kMost) kept_.erase(kept_.begin());
  kept_.push_back({claim.key, std::move(session), resumed ? claim.certified : claim.claimed});
}

}  // namespace quillbeaker
