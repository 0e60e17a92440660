// SPDX-License-Identifier: MIT
#pragma once

// Reads mails for the viewer on a thread of its own, one at a time. Knows no window.

#include <functional>
#include <memory>

#include "ui/presenter/viewed_message.h"

namespace quillbeaker {

// Made, used and destroyed on one thread, the window's.
class BackgroundReading {
 public:
  // `post` may be called on any thread and runs its task on the window's, soon or, at the program's end,
  // never. `ended` is called there.
  BackgroundReading(std::function<void(std::function<void()> task)> post,
                    std::function<void(const ViewedMessage& message)> ended);
  ~BackgroundReading() { Cancel(); }
  BackgroundReading(const BackgroundReading&) = delete;
  BackgroundReading& operator=(const BackgroundReading&) = delete;

  // Cancels what is being read. False when there is no thread for it.
  [[nodiscard]] bool Begin(const MailToView& mail);
  // `ended` is not called any more. The thread ends soon, and nobody waits for it.
  void Cancel();

 private:
  struct Run;

  const std::function<void(std::function<void()> task)> post_;
  const std::function<void(const ViewedMessage& message)> ended_;
  std::shared_ptr<Run> run_;  // null while nothing is read
};

}  // namespace quillbeaker
