// SPDX-License-Identifier: MIT
#pragma once

// Tells a reply that drips from one that is merely slow. A byte now and then keeps every time-out away and
// could hold up all other accounts for days.

#include <chrono>
#include <cstddef>
#include <deque>

namespace quillbeaker {

class Trickle {
 public:
  using Moment = std::chrono::steady_clock::time_point;

  // For so long a reply may be as slow as it likes, and so far back its bytes are counted.
  static constexpr std::chrono::minutes kPatience{5};
  static constexpr std::size_t kEnough = 4096;  // bytes within kPatience

  // A reply begins, or waiting for it begins anew.
  void Begin(Moment now);
  void Received(std::size_t bytes, Moment now);
  // True when the reply has lasted kPatience and brought less than kEnough bytes within the last kPatience.
  bool CountsAsSilence(Moment now);

 private:
  struct Step {
    Moment begin;
    std::size_t bytes = 0;
  };
  void ForgetOld(Moment now);

  Moment begin_{};
  std::deque<Step> steps_;  // oldest first; each gathers what came within a second or so
  std::size_t recent_ = 0;  // bytes of all steps
};

}  // namespace quillbeaker
