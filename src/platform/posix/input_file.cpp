// SPDX-License-Identifier: MIT
#include "platform/input_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace quillbeaker {

std::optional<InputFile> InputFile::Open(const std::string& path) {
  int number;
  do {
    // Without O_NONBLOCK the opening of a pipe waits for somebody who writes into it.
    number = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  } while (number < 0 && errno == EINTR);
  if (number < 0) return std::nullopt;
  InputFile file(number, 0);
  struct stat status;
  if (fstat(number, &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
  file.size_ = static_cast<std::uint64_t>(status.st_size);
  return file;
}

InputFile::InputFile(InputFile&& other) noexcept
    : handle_(std::exchange(other.handle_, kNone)), size_(other.size_) {}

InputFile& InputFile::operator=(InputFile&& other) noexcept {
  std::swap(handle_, other.handle_);
  std::swap(size_, other.size_);
  return *this;
}

InputFile::~InputFile() {
  Close();
}

void InputFile::Close() {
  if (handle_ != kNone) close(static_cast<int>(std::exchange(handle_, kNone)));
}

std::optional<std::size_t> InputFile::ReadAt(std::uint64_t offset, char* buffer, std::size_t capacity) const {
  std::size_t size = 0;
  while (size < capacity) {
    const ssize_t got =
        pread(static_cast<int>(handle_), buffer + size, capacity - size, static_cast<off_t>(offset + size));
    if (got == 0) break;
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return std::nullopt;
    size += static_cast<std::size_t>(got);
  }
  return size;
}

}  // namespace quillbeaker
