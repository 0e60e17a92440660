// SPDX-License-Identifier: MIT
#include "extras/account/background_account_check.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

#include "config/secret_masking.h"

namespace quillbeaker {
namespace {

constexpr std::chrono::milliseconds kLongestWait{500};

}  // namespace

// One check, shared with its thread and with the tasks that this has posted.
struct BackgroundAccountCheck::Run {
  Run(Program& program, const Face& own_face, BackgroundAccountCheck& its_owner)
      : check(program), face(own_face), owner(&its_owner) {}

  bool IsCancelled() {
    const std::lock_guard lock(mutex);
    return cancelled;
  }

  AccountCheck check;
  const Face face;
  Account account;

  BackgroundAccountCheck* owner;  // null once it is gone; the face's thread alone

  std::mutex mutex;  // guards the rest
  std::condition_variable changed;
  std::optional<bool> answer;  // to the question about a certificate
  bool cancelled = false;
  bool ended = false;  // the thread does nothing any more
};

BackgroundAccountCheck::BackgroundAccountCheck(Program& program, Face face)
    : program_(program), face_(std::move(face)) {}

BackgroundAccountCheck::~BackgroundAccountCheck() {
  if (run_ == nullptr) return;
  run_->owner = nullptr;
  Cancel();
  std::unique_lock lock(run_->mutex);
  run_->changed.wait_for(lock, kLongestWait, [this] { return run_->ended; });
}

bool BackgroundAccountCheck::Start(Account& account) {
  bool started = false;
  if (run_ == nullptr) {
    run_ = std::make_shared<Run>(program_, face_, *this);
    run_->account = account;
    try {
      // Not joined: the look-up of a name can take longer than anybody waits for the program's end.
      std::thread([run = run_] { Work(run); }).detach();
      started = true;
    } catch (const std::system_error&) {
      WipeSecret(run_->account.password);
      run_.reset();
    }
  }
  WipeSecret(account.password);
  return started;
}

void BackgroundAccountCheck::Cancel() {
  if (run_ == nullptr) return;
  run_->check.Cancel();
  const std::lock_guard lock(run_->mutex);
  run_->cancelled = true;
  run_->changed.notify_all();
}

void BackgroundAccountCheck::Work(const std::shared_ptr<Run>& run) {
  AccountResult result = run->check.Run(std::move(run->account),
                                        [&run](const LoginProblem& problem) { return Ask(run, problem); });
  WipeSecret(run->account.password);  // a short text is copied when it is moved
  run->face.post([run, result = std::move(result)] {
    if (run->owner != nullptr) run->owner->End(result);
  });
  const std::lock_guard lock(run->mutex);
  run->ended = true;
  run->changed.notify_all();
}

bool BackgroundAccountCheck::Ask(const std::shared_ptr<Run>& run, const LoginProblem& problem) {
  {
    const std::lock_guard lock(run->mutex);
    run->answer.reset();
  }
  run->face.post([run, problem] {
    if (run->owner == nullptr || run->IsCancelled()) return;  // nobody waits for an answer
    const bool trusted = run->face.trust(problem);
    const std::lock_guard lock(run->mutex);
    run->answer = trusted;
    run->changed.notify_all();
  });
  std::unique_lock lock(run->mutex);
  run->changed.wait(lock, [&run] { return run->answer || run->cancelled; });
  return run->answer.value_or(false) && !run->cancelled;
}

void BackgroundAccountCheck::End(const AccountResult& result) {
  run_.reset();
  face_.ended(result);
}

}  // namespace quillbeaker
