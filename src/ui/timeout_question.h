// SPDX-License-Identifier: MIT
#pragma once

// "The server has not answered ...": asked on a thread of its own, so that neither the mail check nor the
// windows wait for the answer. One question at a time, and always the one of the session that waits now.

#include <cstdint>
#include <functional>
#include <memory>

#include "pop3/check_observer.h"

namespace quillbeaker {

class TimeoutQuestion {
 public:
  TimeoutQuestion();

  // A question that still stands belongs to a session that is over: it stays on the screen without effect
  // until the new session has one of its own. Same thread as Ask.
  void BeginSession() { ++session_; }

  // Asks and returns at once. "Abort" calls the latest `abort`, on the question's thread; every other way to
  // close it waits on. A question of this session about the same server and account stays as it is, any other
  // is closed. The thread may outlive this object.
  void Ask(const AskedServer& server, std::function<void()> abort);

 private:
  struct Question;
  struct Standing;

  std::uint32_t session_ = 0;
  std::shared_ptr<Standing> standing_;  // the threads of questions hold it, too
};

}  // namespace quillbeaker
