// SPDX-License-Identifier: MIT
#pragma once

// "The server has not answered ...": asked on a thread of its own, so that neither the mail check nor the
// windows wait for the answer. One question at a time.

#include <atomic>
#include <functional>
#include <memory>

namespace quillbeaker {

class TimeoutQuestion {
 public:
  // Asks and returns at once; with a question standing already nothing happens. "Abort" calls `abort`, on the
  // question's thread; every other way to close it waits on. The thread may outlive this object.
  void Ask(std::function<void()> abort);

 private:
  std::shared_ptr<std::atomic<bool>> stands_ = std::make_shared<std::atomic<bool>>(false);
};

}  // namespace quillbeaker
