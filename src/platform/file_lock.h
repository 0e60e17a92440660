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

// A process mutex with a lock file beside the store. Not recursive. All objects of one path share the mutex,
// so that they exclude each other also where the lock file cannot be made.
class StoreLock {
 public:
  // `path` names the lock file (UTF-8). It is created when the lock is first taken, never deleted, and holds
  // nothing. Objects that shall exclude each other without the file must name it alike.
  explicit StoreLock(std::string path);

  // Waits until nobody else holds it. Where the lock file cannot be made (read-only directory) the process
  // mutex alone is taken. Never null. The guard may outlive this object.
  [[nodiscard]] std::unique_ptr<StoreLockGuard> Acquire();

 private:
  std::string path_;
  std::shared_ptr<std::mutex> mutex_;
};

}  // namespace quillbeaker
