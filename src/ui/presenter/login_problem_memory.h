// SPDX-License-Identifier: MIT
#pragma once

// Which problems of logins a person was told of already.

#include "pop3/login_problem.h"
#include "ui/presenter/told_memory.h"

namespace quillbeaker {

// So that a person is told of a problem once an hour, not at each mail check: per server and account the last
// one that was told. One thread.
class LoginProblemMemory {
 public:
  explicit LoginProblemMemory(NoticeClock clock = std::chrono::steady_clock::now) : told_(std::move(clock)) {}

  // True when the account's problem at that server is another one than the last time, or an hour has passed
  // since it was told. Words with digits in them make no other problem of it.
  bool IsNew(const LoginProblem& problem);
  // The login of this server and account works again: its next problem is a new one.
  void Forget(const LoginProblem& login);

 private:
  ToldMemory told_;
};

}  // namespace quillbeaker
