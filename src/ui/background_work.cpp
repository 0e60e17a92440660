// SPDX-License-Identifier: MIT
#include "ui/background_work.h"

#include <system_error>
#include <utility>

namespace quillbeaker {

BackgroundWork::BackgroundWork(std::function<void(std::function<void()> task)> post)
    : post_(std::move(post)) {}

BackgroundWork::~BackgroundWork() {
  *is_there_ = false;
}

void BackgroundWork::Run(std::function<Afterwards()> work) {
  const auto finish = [](const Afterwards& afterwards) {
    if (afterwards) afterwards();
  };
  if (!post_) {
    finish(work());
    return;
  }
  const auto thread = threads_.emplace(threads_.end());
  try {
    *thread = std::jthread([this, post = post_, is_there = is_there_, work, finish, thread] {
      post([this, is_there, finish, thread, afterwards = work()] {
        if (!*is_there) return;
        threads_.erase(thread);
        finish(afterwards);
      });
    });
  } catch (const std::system_error&) {
    threads_.erase(thread);
    finish(work());
  }
}

}  // namespace quillbeaker
