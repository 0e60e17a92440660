// SPDX-License-Identifier: MIT
#pragma once

// Work for the UI thread from other threads. What it carries stays in this process: the message that wakes
// the UI thread carries nothing, so another program that sends it only makes the queue run what waits anyway.

#include <windows.h>

#include <atomic>
#include <deque>
#include <functional>
#include <mutex>

namespace quillbeaker {

class UiQueue {
 public:
  UiQueue() = default;
  ~UiQueue();
  UiQueue(const UiQueue&) = delete;
  UiQueue& operator=(const UiQueue&) = delete;

  // UI thread, once, before anything is posted: makes the message-only window that gets the wake-ups. False
  // when the system gives none.
  [[nodiscard]] bool Open();

  // Any thread: `task` runs on the UI thread, in the order of posting, whenever that takes messages, inside
  // the loop of a modal box too. Returns at once. What has not run when the program ends is dropped.
  void Post(std::function<void()> task);

  // UI thread: runs everything that waits, now. A task may open a modal box: what is posted meanwhile runs
  // while the box stands.
  void Drain();

  // Any thread: nothing runs any more.
  void Close() { closed_ = true; }

 private:
  static LRESULT CALLBACK WindowProcedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam);
  std::function<void()> TakeFirst();

  HWND window_ = nullptr;
  std::atomic<bool> closed_ = false;
  std::mutex mutex_;  // guards the rest
  std::deque<std::function<void()>> tasks_;
  bool woken_ = false;  // a wake-up is on its way
};

}  // namespace quillbeaker
