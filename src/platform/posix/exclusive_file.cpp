// SPDX-License-Identifier: MIT
#include "platform/exclusive_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "platform/posix/file_descriptor.h"

namespace quillbeaker {
namespace {

// Without O_NONBLOCK a FIFO of that name would hold the session up until somebody reads it.
constexpr int kWaitFree = O_NONBLOCK;

class PosixExclusiveFile : public ExclusiveFile {
 public:
  explicit PosixExclusiveFile(FileDescriptor file) : file_(std::move(file)) {}

  std::uint64_t Size() override {
    struct stat status;
    return fstat(file_.get(), &status) == 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
  }

  bool Append(std::string_view bytes) override {
    return write(file_.get(), bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
  }

  std::string ReadAt(std::uint64_t offset, std::size_t capacity) override {
    std::string bytes(capacity, '\0');
    ssize_t got;
    do {
      got = pread(file_.get(), bytes.data(), bytes.size(), static_cast<off_t>(offset));
    } while (got < 0 && errno == EINTR);
    bytes.resize(got < 0 ? 0 : static_cast<std::size_t>(got));
    return bytes;
  }

  bool WriteAt(std::uint64_t offset, std::string_view bytes) override {
    // pwrite on a descriptor with O_APPEND would append too.
    if (fcntl(file_.get(), F_SETFL, kWaitFree) != 0) return false;
    const bool written =
        lseek(file_.get(), static_cast<off_t>(offset), SEEK_SET) >= 0 && WriteAll(file_.get(), bytes);
    return fcntl(file_.get(), F_SETFL, kWaitFree | O_APPEND) == 0 && written;
  }

  bool Truncate(std::uint64_t size) override { return ftruncate(file_.get(), static_cast<off_t>(size)) == 0; }

 private:
  FileDescriptor file_;
};

}  // namespace

std::unique_ptr<ExclusiveFile> ExclusiveFile::Open(const std::string& path) {
  FileDescriptor file = OpenFile(path.c_str(), O_RDWR | O_CREAT | O_APPEND | kWaitFree);
  struct stat status;
  if (!file.valid() || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) return nullptr;
  // The system refuses nobody by itself; this keeps at least a second log of ours out.
  if (flock(file.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) return nullptr;
  return std::make_unique<PosixExclusiveFile>(std::move(file));
}

}  // namespace quillbeaker
