// SPDX-License-Identifier: MIT
#include "platform/file_lock.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <utility>

#include "platform/posix/file_descriptor.h"

namespace quillbeaker {
namespace {

// The members end in reverse order: the file's lock first, then the process's.
class Guard : public StoreLockGuard {
 public:
  Guard(std::shared_ptr<std::mutex> mutex, std::unique_lock<std::mutex> in_process, FileDescriptor file)
      : mutex_(std::move(mutex)), in_process_(std::move(in_process)), file_(std::move(file)) {}

 private:
  std::shared_ptr<std::mutex> mutex_;
  std::unique_lock<std::mutex> in_process_;
  FileDescriptor file_;  // flock(2) holds as long as it is open
};

}  // namespace

std::unique_ptr<StoreLockGuard> StoreLock::Acquire() {
  std::unique_lock<std::mutex> in_process(*mutex_);
  FileDescriptor file = OpenFile(path_.c_str(), O_RDWR | O_CREAT);
  // Another user's lock file can perhaps be read, and that is enough for its lock.
  if (!file.valid()) file = OpenFile(path_.c_str(), O_RDONLY);
  if (file.valid()) {
    while (flock(file.get(), LOCK_EX) != 0 && errno == EINTR) {
    }
  }
  return std::make_unique<Guard>(mutex_, std::move(in_process), std::move(file));
}

}  // namespace quillbeaker
