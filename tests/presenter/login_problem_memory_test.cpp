// SPDX-License-Identifier: MIT
#include "ui/presenter/login_problem_memory.h"

#include <gtest/gtest.h>

#include <string>

namespace quillbeaker {
namespace {

class LoginProblemMemoryTest : public ::testing::Test {
 protected:
  static LoginProblem Problem(LoginFailure failure, std::string detail = {}) {
    LoginProblem problem;
    problem.failure = failure;
    problem.server = "pop.example.org:995";
    problem.account = "ann @ pop.example.org";
    problem.detail = std::move(detail);
    return problem;
  }
  std::chrono::steady_clock::time_point now{std::chrono::hours(100)};
  LoginProblemMemory memory{[this] { return now; }};
};

TEST_F(LoginProblemMemoryTest, TellsOncePerServerAndReason) {
  EXPECT_TRUE(memory.IsNew(Problem(LoginFailure::kTimedOut)));
  EXPECT_FALSE(memory.IsNew(Problem(LoginFailure::kTimedOut)));
  LoginProblem other_server = Problem(LoginFailure::kTimedOut);
  other_server.server = "pop.example.com:110";
  EXPECT_TRUE(memory.IsNew(other_server));
  EXPECT_FALSE(memory.IsNew(Problem(LoginFailure::kTimedOut)));
  EXPECT_TRUE(memory.IsNew(Problem(LoginFailure::kPasswordRefused, "-ERR no")));
  EXPECT_TRUE(memory.IsNew(Problem(LoginFailure::kPasswordRefused, "-ERR locked")));
  EXPECT_TRUE(memory.IsNew(Problem(LoginFailure::kTimedOut)));
  memory.Forget(Problem(LoginFailure::kNone));
  EXPECT_TRUE(memory.IsNew(Problem(LoginFailure::kTimedOut)));
  EXPECT_FALSE(memory.IsNew(other_server));
}

TEST_F(LoginProblemMemoryTest, TellsOfEachAccountOfAServer) {
  LoginProblem bob = Problem(LoginFailure::kPasswordRefused);
  bob.account = "bob @ pop.example.org";
  EXPECT_TRUE(memory.IsNew(Problem(LoginFailure::kPasswordRefused)));
  EXPECT_TRUE(memory.IsNew(bob));
  EXPECT_FALSE(memory.IsNew(Problem(LoginFailure::kPasswordRefused)));
  EXPECT_FALSE(memory.IsNew(bob));
  // A login that works says nothing of the other account.
  memory.Forget(Problem(LoginFailure::kNone));
  EXPECT_FALSE(memory.IsNew(bob));
  EXPECT_TRUE(memory.IsNew(Problem(LoginFailure::kPasswordRefused)));
}

TEST_F(LoginProblemMemoryTest, TellsTheSameAgainAfterAnHour) {
  EXPECT_TRUE(memory.IsNew(Problem(LoginFailure::kTimedOut)));
  for (int minute = 1; minute < 60; ++minute) {
    now += std::chrono::minutes(1);
    EXPECT_FALSE(memory.IsNew(Problem(LoginFailure::kTimedOut))) << minute;
  }
  now += std::chrono::minutes(1);
  EXPECT_TRUE(memory.IsNew(Problem(LoginFailure::kTimedOut)));
  EXPECT_FALSE(memory.IsNew(Problem(LoginFailure::kTimedOut)));
}

TEST_F(LoginProblemMemoryTest, TakesNoNumberInTheServersWordsForANewReason) {
  EXPECT_TRUE(memory.IsNew(Problem(LoginFailure::kPasswordRefused, "-ERR not accepted e4-20020a")));
  EXPECT_FALSE(memory.IsNew(Problem(LoginFailure::kPasswordRefused, "-ERR not accepted f7-1999b")));
  EXPECT_TRUE(memory.IsNew(Problem(LoginFailure::kPasswordRefused, "-ERR account locked f7-1999b")));
}

}  // namespace
}  // namespace quillbeaker
