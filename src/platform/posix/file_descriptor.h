// SPDX-License-Identifier: MIT
#pragma once

// The owner of a file descriptor, and the loops that system calls on files need: interrupted calls are
// repeated, partial writes continued. For the sources of this folder only.

#include <cstddef>
#include <string_view>

namespace quillbeaker {

class FileDescriptor {
 public:
  FileDescriptor() = default;
  explicit FileDescriptor(int number) : number_(number) {}
  FileDescriptor(FileDescriptor&& other) noexcept;
  FileDescriptor& operator=(FileDescriptor&& other) noexcept;
  ~FileDescriptor() { Close(); }

  bool valid() const { return number_ >= 0; }
  int get() const { return number_; }
  // False when the system reports a late write error.
  bool Close();

 private:
  int number_ = -1;
};

// open(2) with O_CLOEXEC; new files are for the user alone.
FileDescriptor OpenFile(const char* path, int flags);
bool WriteAll(int descriptor, std::string_view bytes);
// At most `capacity` bytes; 0 at the end, -1 on failure.
std::ptrdiff_t ReadSome(int descriptor, char* buffer, std::size_t capacity);

}  // namespace quillbeaker
