// SPDX-License-Identifier: MIT
#include "ui/presenter/session_progress.h"

#include <utility>

namespace quillbeaker {
namespace {

constexpr std::chrono::milliseconds kBetweenAnnouncements{50};

}  // namespace

SessionProgress::SessionProgress(std::function<void()> announce, Clock now)
    : announce_(std::move(announce)), now_(std::move(now)) {}

void SessionProgress::Reset() {
  position_ = 0;
  status_.clear();
  last_announced_.reset();
  const std::lock_guard lock(mutex_);
  changes_ = {};
}

void SessionProgress::SetRange(std::uint64_t range) {
  position_ = 0;
  {
    const std::lock_guard lock(mutex_);
    changes_.range = range;
    changes_.position.reset();
  }
  AnnounceNow();
}

void SessionProgress::SetPosition(std::uint64_t position) {
  position_ = position;
  {
    const std::lock_guard lock(mutex_);
    changes_.position = position;
  }
  AnnounceWhenDue();
}

void SessionProgress::Advance(std::uint64_t amount) {
  SetPosition(position_ + amount);
}

void SessionProgress::SetStatus(std::string_view status) {
  if (status == status_) {
    return;
  }
  status_ = status;
  {
    const std::lock_guard lock(mutex_);
    changes_.status = status;
  }
  AnnounceNow();
}

void SessionProgress::SetActivity(std::string_view activity) {
  {
    const std::lock_guard lock(mutex_);
    changes_.activity = activity;
  }
  AnnounceWhenDue();
}

void SessionProgress::SetSpamCount(std::uint32_t count) {
  {
    const std::lock_guard lock(mutex_);
    changes_.spam_count = count;
  }
  AnnounceWhenDue();
}

ProgressChanges SessionProgress::Take() {
  const std::lock_guard lock(mutex_);
  announced_ = false;
  return std::exchange(changes_, {});
}

void SessionProgress::AnnounceWhenDue() {
  if (!last_announced_ || now_() - *last_announced_ >= kBetweenAnnouncements) {
    AnnounceNow();
  }
}

void SessionProgress::AnnounceNow() {
  {
    const std::lock_guard lock(mutex_);
    if (std::exchange(announced_, true)) {
      return;
    }
  }
  last_announced_ = now_();
  announce_();
}

}  // namespace quillbeaker
