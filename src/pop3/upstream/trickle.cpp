// SPDX-License-Identifier: MIT
#include "pop3/upstream/trickle.h"

namespace quillbeaker {
namespace {

// Bytes are counted in steps of this length, so that a fast reply costs no more than a slow one.
constexpr std::chrono::seconds kStep{1};

}  // namespace

void Trickle::Begin(Moment now) {
  begin_ = now;
  steps_.clear();
  recent_ = 0;
}

void Trickle::Received(std::size_t bytes, Moment now) {
  if (steps_.empty() || now - steps_.back().begin >= kStep) {
    steps_.push_back({now, 0});
    ForgetOld(now);
  }
  steps_.back().bytes += bytes;
  recent_ += bytes;
}

bool Trickle::CountsAsSilence(Moment now) {
  if (now - begin_ < kPatience) return false;
  ForgetOld(now);
  return recent_ < kEnough;
}

void Trickle::ForgetOld(Moment now) {
  while (!steps_.empty() && now - steps_.front().begin > kPatience) {
    recent_ -= steps_.front().bytes;
    steps_.pop_front();
  }
}

}  // namespace quillbeaker
