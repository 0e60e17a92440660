// SPDX-License-Identifier: MIT
#pragma once

// Work of a window that would hold its thread up: it runs on threads of its own, and what it has to show
// comes back to the window's thread. Made, used and destroyed on that one.

#include <functional>
#include <list>
#include <memory>
#include <thread>

namespace quillbeaker {

class BackgroundWork {
 public:
  using Afterwards = std::function<void()>;

  // `post` runs a task on this thread, from any thread.
  explicit BackgroundWork(std::function<void(std::function<void()> task)> post);
  // Waits for the threads; what they give is dropped.
  ~BackgroundWork();
  BackgroundWork(const BackgroundWork&) = delete;
  BackgroundWork& operator=(const BackgroundWork&) = delete;

  // Runs `work`, which owns what it uses, on a thread, then what it returned on this one, unless this object
  // is gone by then. Without a thread to be had, or without a way back, both run at once.
  void Run(std::function<Afterwards()> work);

 private:
  std::function<void(std::function<void()> task)> post_;
  std::shared_ptr<bool> is_there_ = std::make_shared<bool>(true);  // this thread alone
  std::list<std::jthread> threads_;
};

}  // namespace quillbeaker
