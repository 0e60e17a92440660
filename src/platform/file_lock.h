// SPDX-License-Identifier: MIT
#pragma once

// One lock per store, within the process and between processes: whoever holds it may load, change and save.

#include <memory>
#include <mutex>
#include <string>

namespace quillbeaker {

// Taken from one StoreLock; releases on destruction.
class StoreLockGuard {
 public:
  virtual ~StoreLockGuard() = default;
};

// A process mutex with a lock file beside the store. Not recursive.
class StoreLock {
 public:
  // `path` names the lock file (UTF-8). It is created when the lock is first taken, never deleted, and holds nothing.
  explicit StoreLock(std::string path);

  // Waits until nobody else holds it. Where the lock file cannot be made (read-only directory) the process mutex
  // alone is taken. Never null.
  [[nodiscard]] std::unique_ptr<StoreLockGuard> Acquire();

 private:
  std::string path_;
  std::mutex mutex_;
};

}  // namespace quillbeaker
