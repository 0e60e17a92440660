// SPDX-License-Identifier: MIT
#include "ui/presenter/login_problem_memory.h"

#include <gtest/gtest.h>

#include <string>

namespace quillbeaker {
namespace {

LoginProblem Problem(LoginFailure failure, std::string detail = {}) {
  LoginProblem problem;
  problem.failure = failure;
  problem.server = "pop.example.org:995";
  problem.detail = std::move(detail);
  return problem;
}

TEST(LoginProblemMemory, TellsOncePerServerAndReason) {
  LoginProblemMemory memory;
  EXPECT_TRUE(memory.IsNew(Problem(LoginFailure::kTimedOut)));
  EXPECT_FALSE(memory.IsNew(Problem(LoginFailure::kTimedOut)));
  LoginProblem other_server = Problem(LoginFailure::kTimedOut);
  other_server.server = "pop.example.com:110";
  EXPECT_TRUE(memory.IsNew(other_server));
  EXPECT_FALSE(memory.IsNew(Problem(LoginFailure::kTimedOut)));
  EXPECT_TRUE(memory.IsNew(Problem(LoginFailure::kPasswordRefused, "-ERR no")));
  EXPECT_TRUE(memory.IsNew(Problem(LoginFailure::kPasswordRefused, "-ERR locked")));
  EXPECT_TRUE(memory.IsNew(Problem(LoginFailure::kTimedOut)));
  memory.Forget("pop.example.org:995");
  EXPECT_TRUE(memory.IsNew(Problem(LoginFailure::kTimedOut)));
  EXPECT_FALSE(memory.IsNew(other_server));
}

TEST(LoginProblemMemory, TakesNoNumberInTheServersWordsForANewReason) {
  LoginProblem problem;
  problem.failure = LoginFailure::kPasswordRefused;
  problem.server = "pop.example.org:995";
  problem.detail = "-ERR not accepted e4-20020a";
  LoginProblemMemory memory;
  EXPECT_TRUE(memory.IsNew(problem));
  problem.detail = "-ERR not accepted f7-1999b";
  EXPECT_FALSE(memory.IsNew(problem));
  problem.detail = "-ERR account locked f7-1999b";
  EXPECT_TRUE(memory.IsNew(problem));
}

}  // namespace
}  // namespace quillbeaker
