// SPDX-License-Identifier: MIT
#include "platform/file_lock.h"

#include <windows.h>

#include <utility>

#include "platform/windows/file_handle.h"
#include "platform/windows/wide.h"

namespace quillbeaker {
namespace {

// The members end in reverse order: the file's lock first, then the process's.
class Guard : public StoreLockGuard {
 public:
  Guard(std::shared_ptr<std::mutex> mutex, std::unique_lock<std::mutex> in_process, FileHandle file)
      : mutex_(std::move(mutex)), in_process_(std::move(in_process)), file_(std::move(file)) {}
  ~Guard() override {
    if (!file_.valid()) return;
    // Closing would release it too, but only when the system gets round to it.
    OVERLAPPED place{};
    UnlockFileEx(file_.get(), 0, 1, 0, &place);
  }

 private:
  std::shared_ptr<std::mutex> mutex_;
  std::unique_lock<std::mutex> in_process_;
  FileHandle file_;
};

}  // namespace

std::unique_ptr<StoreLockGuard> StoreLock::Acquire() {
  std::unique_lock<std::mutex> in_process(*mutex_);
  FileHandle file(CreateFileW(WidePath(path_).c_str(), GENERIC_READ | GENERIC_WRITE,
                              FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_ALWAYS,
                              FILE_ATTRIBUTE_NORMAL, nullptr));
  if (file.valid()) {
    OVERLAPPED place{};
    if (!LockFileEx(file.get(), LOCKFILE_EXCLUSIVE_LOCK, 0, 1, 0, &place)) file.Close();
  }
  return std::make_unique<Guard>(mutex_, std::move(in_process), std::move(file));
}

}  // namespace quillbeaker
