// SPDX-License-Identifier: MIT
#pragma once

// A regular file that is read piece by piece from any place, for files that are too large to be held at once.
// Paths are UTF-8. What is no regular file (a folder, a pipe, a device) is never opened: reading it could
// wait for ever. One thread per object.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace quillbeaker {

class InputFile {
 public:
  // Nothing when the path names no regular file or it cannot be opened. Links are followed.
  static std::optional<InputFile> Open(const std::string& path);
  InputFile(InputFile&& other) noexcept;
  InputFile& operator=(InputFile&& other) noexcept;
  ~InputFile();

  // Bytes of the file when it was opened.
  std::uint64_t size() const { return size_; }
  // Reads from `offset` on until `capacity` bytes are there or the file ends; gives their number, or nothing
  // on failure.
  std::optional<std::size_t> ReadAt(std::uint64_t offset, char* buffer, std::size_t capacity) const;

 private:
  InputFile(std::intptr_t handle, std::uint64_t size) : handle_(handle), size_(size) {}
  void Close();

  static constexpr std::intptr_t kNone = -1;
  std::intptr_t handle_ = kNone;  // the system's descriptor or handle
  std::uint64_t size_ = 0;
};

}  // namespace quillbeaker
