// SPDX-License-Identifier: MIT
#pragma once

// What every wait of a mail check is handed: whom to tell, and whether to go on. The mail program may have
// gone, the person may have pressed Cancel, the program may be ending. A wait looks at least every kStep.
// Used on the listener's thread, EndProgram and ProgramEnds aside.

#include <atomic>
#include <chrono>
#include <functional>
#include <utility>

#include "pop3/check_observer.h"

namespace quillbeaker {

enum class Stop {
  kNone,
  kCancelled,
  kClientGone,  // the mail program closed its connection, or its own side of it
  kProgramEnds,
};

class Watch {
 public:
  // The longest step of a wait between two looks.
  static constexpr std::chrono::milliseconds kStep{250};

  // `client_has_gone` looks at the mail program's connection without waiting; it may be empty. `observer`
  // must outlive the watch.
  explicit Watch(CheckObserver& observer, std::function<bool()> client_has_gone = {});
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;

  CheckObserver& observer() { return observer_; }

  // Why to stop, if anything says so. The program's end comes first, then a client that has gone.
  Stop Look();
  // The same where nothing waits: asks the system only when the last look is kStep ago.
  Stop LookNowAndThen();

  // kCancelled when the person has pressed Cancel and no download has used that up, where nothing else
  // counts.
  Stop CancelStop();

  // Called at each look, for what has to happen while the client waits for an answer.
  void OnLook(std::function<void()> action) { on_look_ = std::move(action); }

  // Called before a wait, and before the person is shown or asked anything: what was noted so far is then
  // where nothing can lose it.
  void BeforeWaiting(std::function<void()> action) { before_waiting_ = std::move(action); }
  void AboutToWait() const {
    if (before_waiting_) before_waiting_();
  }

  // A download that Cancel has stopped has used it up: later waits do not stop for it again.
  void UseUpCancel() { cancel_used_up_ = true; }
  // The client's QUIT was received. What it began is carried out, whoever goes or cancels meanwhile; only the
  // program's end still stops a wait.
  void CarryThrough() { carrying_through_ = true; }

  // Any thread.
  void EndProgram() { program_ends_ = true; }
  bool ProgramEnds() const { return program_ends_; }

 private:
  CheckObserver& observer_;
  std::function<bool()> client_has_gone_;
  std::function<void()> on_look_;
  std::function<void()> before_waiting_;
  std::atomic<bool> program_ends_ = false;
  bool cancel_used_up_ = false;
  bool carrying_through_ = false;
  bool client_gone_ = false;  // it does not come back
  std::chrono::steady_clock::time_point last_look_{};
};

}  // namespace quillbeaker
