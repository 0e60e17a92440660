// SPDX-License-Identifier: MIT
#include "platform/file_lock.h"

#include <map>
#include <utility>

namespace quillbeaker {
namespace {

// The mutex of every path that some lock of this process names now.
std::shared_ptr<std::mutex> MutexOfPath(const std::string& path) {
  static std::mutex guard;
  static std::map<std::string, std::weak_ptr<std::mutex>> mutexes;
  const std::lock_guard held(guard);
  std::erase_if(mutexes, [](const auto& entry) { return entry.second.expired(); });
  std::weak_ptr<std::mutex>& known = mutexes[path];
  std::shared_ptr<std::mutex> mutex = known.lock();
  if (!mutex) known = mutex = std::make_shared<std::mutex>();
  return mutex;
}

}  // namespace

StoreLock::StoreLock(std::string path) : path_(std::move(path)), mutex_(MutexOfPath(path_)) {}

}  // namespace quillbeaker
