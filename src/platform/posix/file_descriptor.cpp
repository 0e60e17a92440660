// SPDX-License-Identifier: MIT
#include "platform/posix/file_descriptor.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace quillbeaker {

FileDescriptor::FileDescriptor(FileDescriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}

FileDescriptor& FileDescriptor::operator=(FileDescriptor&& other) noexcept {
  if (this != &other) {
    Close();
    number_ = std::exchange(other.number_, -1);
  }
  return *this;
}

bool FileDescriptor::Close() {
  if (number_ < 0) return true;
  return close(std::exchange(number_, -1)) == 0;
}

FileDescriptor OpenFile(const char* path, int flags) {
  int number;
  do {
    number = open(path, flags | O_CLOEXEC, 0600);
  } while (number < 0 && errno == EINTR);
  return FileDescriptor(number);
}

bool WriteAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(descriptor, bytes.data(), bytes.size());
    if (written < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

std::ptrdiff_t ReadSome(int descriptor, char* buffer, std::size_t capacity) {
  ssize_t got;
  do {
    got = read(descriptor, buffer, capacity);
  } while (got < 0 && errno == EINTR);
  return got;
}

}  // namespace quillbeaker
