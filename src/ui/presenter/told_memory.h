// SPDX-License-Identifier: MIT
#pragma once

// What a person was told, and when: so that the same thing is told again only after a while, not at each mail
// check.

#include <chrono>
#include <functional>
#include <map>
#include <string>

namespace quillbeaker {

// Handed in, so that a test need not wait. It never goes back.
using NoticeClock = std::function<std::chrono::steady_clock::time_point()>;

// One thread.
class ToldMemory {
 public:
  explicit ToldMemory(NoticeClock clock) : clock_(std::move(clock)) {}

  // True when `what` is to be told about `about` now: it is something else than the last time, or that was
  // `again_after` ago. It counts as told then.
  bool IsNew(const std::string& about, const std::string& what, std::chrono::seconds again_after);
  // The next one about that is new.
  void Forget(const std::string& about) { told_.erase(about); }

 private:
  struct Told {
    std::string what;
    std::chrono::steady_clock::time_point until;
  };
  NoticeClock clock_;
  std::map<std::string, Told> told_;
};

// Without the words that have a digit in them: servers put the time or the session's number into what they
// say, and that makes no other reason of it.
std::string WithoutNumbers(std::string_view text);

}  // namespace quillbeaker
