// SPDX-License-Identifier: MIT
#pragma once

// Which problems of logins a person was told of already.

#include <map>
#include <string>

#include "pop3/login_problem.h"
#include "ui/presenter/login_problem_memory.h"

namespace quillbeaker {

// So that a person is told of a problem once, not at each mail check: per server the last one that was told.
// One thread.
class LoginProblemMemory {
 public:
  // True when the server's problem is another one than the last time. Words with digits in them make none:
  // servers put the time or the session's number into what they say.
  bool IsNew(const LoginProblem& problem);
  // The server works again: its next problem is a new one.
  void Forget(const std::string& server);

 private:
  std::map<std::string, LoginProblem> told_;
};

}  // namespace quillbeaker
