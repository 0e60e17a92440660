// SPDX-License-Identifier: MIT
#pragma once

// A disk that is full, as a test can have one without filling it: while an object of this lives, no write of
// this process takes a file beyond a size. Only where the system has such a limit; elsewhere active() is
// false and the test must skip. Print nothing while it lives: the test's own output may be a file too.

#include <cstddef>

#if __has_include(<sys/resource.h>)
#include <sys/resource.h>

#include <csignal>
#endif

namespace quillbeaker::test {

class FullDisk {
 public:
#if __has_include(<sys/resource.h>)
  // `bytes`: the size that no file can grow beyond.
  explicit FullDisk(std::size_t bytes) {
    if (getrlimit(RLIMIT_FSIZE, &old_limit_) != 0) return;
    // Without this the system ends the process instead of failing the write.
    old_handler_ = std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit = old_limit_;
    limit.rlim_cur = bytes;
    active_ = setrlimit(RLIMIT_FSIZE, &limit) == 0;
  }
  ~FullDisk() {
    if (active_) setrlimit(RLIMIT_FSIZE, &old_limit_);
    if (old_handler_ != SIG_ERR) std::signal(SIGXFSZ, old_handler_);
  }
#else
  explicit FullDisk(std::size_t) {}
#endif
  FullDisk(const FullDisk&) = delete;
  FullDisk& operator=(const FullDisk&) = delete;

  bool active() const {
    return active_;
  }

 private:
#if __has_include(<sys/resource.h>)
  rlimit old_limit_{};
  void (*old_handler_)(int) = SIG_ERR;
#endif
  bool active_ = false;
};

}  // namespace quillbeaker::test
