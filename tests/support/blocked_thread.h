// SPDX-License-Identifier: MIT
#pragma once

// Tells when a thread sleeps in the call that a test wants to see woken, or kept waiting. Where the system
// tells nobody whether a thread sleeps, a time is waited in which it will. Not for production code.

#include <atomic>
#include <chrono>
#include <fstream>
#include <string>
#include <thread>

#if __has_include(<sys/syscall.h>)
#include <sys/syscall.h>
#include <unistd.h>
#endif

namespace quillbeaker::test {

// Polls until `condition` is true; false when that takes longer than half a minute.
template <typename Condition>
bool Eventually(Condition condition) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

class BlockedThread {
 public:
  // On the thread that is about to make the call.
  void Enters() {
#if __has_include(<sys/syscall.h>)
    number_ = syscall(SYS_gettid);
#else
    number_ = 1;
#endif
  }

  // On another: returns when the thread sleeps; false when it never does.
  bool WaitUntilAsleep() const {
#if __has_include(<sys/syscall.h>)
    // A mutex or a page may be waited for on the way to the call: only a sleep that lasts is taken for it.
    int seen = 0;
    return Eventually([&] { return (seen = Sleeps() ? seen + 1 : 0) == 5; });
#else
    const bool entered = Eventually([&] { return number_ != 0; });
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    return entered;
#endif
  }

 private:
  bool Sleeps() const {
    // "number (name) S ...", where the name may hold brackets too.
    std::ifstream status("/proc/self/task/" + std::to_string(number_) + "/stat");
    std::string text;
    std::getline(status, text);
    const std::size_t name_end = text.rfind(')');
    return name_end != std::string::npos && text.compare(name_end, 3, ") S") == 0;
  }

  std::atomic<long> number_{0};
};

}  // namespace quillbeaker::test
