// SPDX-License-Identifier: MIT
#include "extras/account/background_account_check.h"

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>

#include "pop3/scripted_pop3_server.h"
#include "support/test_program.h"

namespace quillbeaker {
namespace {

// The face's thread: the test itself.
class Face {
 public:
  void Post(std::function<void()> task) {
    const std::lock_guard lock(mutex_);
    tasks_.push_back(std::move(task));
    changed_.notify_all();
  }
  // Runs what is posted until `done`; false when that took ten seconds.
  bool RunUntil(const std::function<bool()>& done) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!done()) {
      std::function<void()> task;
      {
        std::unique_lock lock(mutex_);
        if (!changed_.wait_until(lock, end, [this] { return !tasks_.empty(); })) return false;
        task = std::move(tasks_.front());
        tasks_.pop_front();
      }
      task();
    }
    return true;
  }
  bool WaitForATask() {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(10), [this] { return !tasks_.empty(); });
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::function<void()>> tasks_;
};

class BackgroundAccountCheckTest : public testing::Test {
 protected:
  BackgroundAccountCheckTest() {
    check_ = std::make_unique<BackgroundAccountCheck>(
        test_.program(),
        BackgroundAccountCheck::Face{
            .post = [this](std::function<void()> task) { face_.Post(std::move(task)); },
            .trust = [this](const LoginProblem& problem) { return trust_ && trust_(problem); },
            .ended = [this](const AccountResult& result) { result_ = result; }});
  }
  bool Start(int port) {
    Account account{"127.0.0.1", port, "ann", "secret", Security::kPlain};
    const bool started = check_->Start(account);
    EXPECT_TRUE(account.password.empty());
    return started;
  }
  bool RunUntilEnded() {
    return face_.RunUntil([this] { return result_.has_value(); });
  }

  test::TestProgram test_;
  Face face_;
  std::function<bool(const LoginProblem&)> trust_;
  std::optional<AccountResult> result_;
  std::unique_ptr<BackgroundAccountCheck> check_;
};

TEST_F(BackgroundAccountCheckTest, TellsTheResultOnTheFacesThread) {
  ScriptedPop3Server server({"one", "two"});
  for (int i = 0; i < 2; ++i) {  // a second one may follow
    result_.reset();
    ASSERT_TRUE(Start(server.port()));
    EXPECT_TRUE(check_->is_running());
    EXPECT_FALSE(Start(server.port())) << "one at a time";
    ASSERT_TRUE(RunUntilEnded());
    EXPECT_FALSE(check_->is_running());
    EXPECT_EQ(result_->outcome, AccountOutcome::kWorks);
    EXPECT_EQ(result_->messages, 2U);
  }
}

TEST_F(BackgroundAccountCheckTest, EndsSoonAfterCancel) {
  ScriptedPop3Server server({});
  server.Answer("PASS secret", ScriptedPop3Server::kSilence);
  ASSERT_TRUE(Start(server.port()));
  ASSERT_TRUE(server.WaitForCommand("PASS secret"));
  const auto start = std::chrono::steady_clock::now();
  check_->Cancel();
  ASSERT_TRUE(RunUntilEnded());
  EXPECT_EQ(result_->outcome, AccountOutcome::kCancelled);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
}

TEST_F(BackgroundAccountCheckTest, CallsNobodyOnceItIsGone) {
  ScriptedPop3Server server({});
  server.Answer("PASS secret", ScriptedPop3Server::kSilence);
  ASSERT_TRUE(Start(server.port()));
  ASSERT_TRUE(server.WaitForCommand("PASS secret"));
  const auto start = std::chrono::steady_clock::now();
  check_.reset();
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
  ASSERT_TRUE(face_.WaitForATask());
  bool ran = false;
  face_.Post([&ran] { ran = true; });
  ASSERT_TRUE(face_.RunUntil([&ran] { return ran; }));
  EXPECT_FALSE(result_);
}

TEST_F(BackgroundAccountCheckTest, MayBeCancelledWhenNothingRuns) {
  check_->Cancel();
  ScriptedPop3Server server({});
  ASSERT_TRUE(Start(server.port()));
  ASSERT_TRUE(RunUntilEnded());
  EXPECT_EQ(result_->outcome, AccountOutcome::kWorks);
}

}  // namespace
}  // namespace quillbeaker
