// SPDX-License-Identifier: MIT
#include "ui/presenter/background_reading.h"

#include <atomic>
#include <system_error>
#include <thread>
#include <utility>

namespace quillbeaker {

// One mail, shared with its thread and with the task that this posts.
struct BackgroundReading::Run {
  std::atomic<bool> is_cancelled = false;
  // Copies: the thread may outlive the window by a moment.
  std::function<void(std::function<void()> task)> post;
  MailToView mail;
};

BackgroundReading::BackgroundReading(std::function<void(std::function<void()> task)> post,
                                     std::function<void(const ViewedMessage& message)> ended)
    : post_(std::move(post)), ended_(std::move(ended)) {}

bool BackgroundReading::Begin(const MailToView& mail) {
  Cancel();
  run_ = std::make_shared<Run>();
  run_->post = post_;
  run_->mail = mail;
  try {
    std::thread([this, run = run_] {
      auto message = ReadViewedMessage(run->mail, [&run] { return run->is_cancelled.load(); });
      if (!message || run->is_cancelled) return;
      run->post([this, run, shown = std::move(*message)] {
        // The window's thread alone cancels, so this object is still there when it has not.
        if (run->is_cancelled) return;
        run_.reset();
        ended_(shown);
      });
    }).detach();
  } catch (const std::system_error&) {
    run_.reset();
    return false;
  }
  return true;
}

void BackgroundReading::Cancel() {
  if (run_ != nullptr) run_->is_cancelled = true;
  run_.reset();
}

}  // namespace quillbeaker
