// SPDX-License-Identifier: MIT
#pragma once

// An account check for a face that must not wait: it runs on a thread of its own, and what it has to ask and
// to tell comes back to the face's thread.

#include <functional>
#include <memory>

#include "config/program.h"
#include "extras/account/account_check.h"

namespace quillbeaker {

// Made, used and destroyed on one thread, the face's.
class BackgroundAccountCheck {
 public:
  struct Face {
    // Any thread: the task runs on the face's thread, soon or, at the program's end, never.
    std::function<void(std::function<void()> task)> post;
    // On the face's thread. Neither is called any more once the object is gone; `trust` may still be on the
    // stack then, with a box that it has opened.
    AccountCheck::AskToTrust trust;
    std::function<void(const AccountResult& result)> ended;
  };

  // `program` must outlive the process's threads.
  BackgroundAccountCheck(Program& program, Face face);
  // Cancels a check that runs and waits for its thread, but no longer than a person would notice.
  ~BackgroundAccountCheck();
  BackgroundAccountCheck(const BackgroundAccountCheck&) = delete;
  BackgroundAccountCheck& operator=(const BackgroundAccountCheck&) = delete;

  // Overwrites the password of `account`. False when a check runs already or there is no thread for it.
  [[nodiscard]] bool Start(Account& account);
  // `ended` is called within a moment, unless the check was over before.
  void Cancel();
  bool is_running() const { return run_ != nullptr; }

 private:
  struct Run;
  static void Work(const std::shared_ptr<Run>& run);
  static bool Ask(const std::shared_ptr<Run>& run, const LoginProblem& problem);
  void End(const AccountResult& result);

  Program& program_;
  const Face face_;
  std::shared_ptr<Run> run_;  // null while none runs
};

}  // namespace quillbeaker
