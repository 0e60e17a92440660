// SPDX-License-Identifier: MIT
#include "ui/presenter/login_problem_memory.h"

#include <string>

namespace quillbeaker {
namespace {

constexpr std::chrono::hours kAgainAfter{1};

// An account holds the server's name too, but not its port.
std::string WhoseLogin(const LoginProblem& problem) {
  return problem.server + '\n' + problem.account;
}

}  // namespace

bool LoginProblemMemory::IsNew(const LoginProblem& problem) {
  const std::string reason =
      std::to_string(static_cast<int>(problem.failure)) + '\n' + WithoutNumbers(problem.detail);
  return told_.IsNew(WhoseLogin(problem), reason, kAgainAfter);
}

void LoginProblemMemory::Forget(const LoginProblem& login) {
  told_.Forget(WhoseLogin(login));
}

}  // namespace quillbeaker
