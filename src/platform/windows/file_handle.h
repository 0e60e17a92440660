// SPDX-License-Identifier: MIT
#pragma once

// The owner of a file handle, and the few calls that more than one source of this folder makes on it.

#include <cstdint>
#include <string_view>

namespace quillbeaker {

class FileHandle {
 public:
  FileHandle() = default;
  // The system's HANDLE; INVALID_HANDLE_VALUE owns nothing.
  explicit FileHandle(void* handle);
  FileHandle(FileHandle&& other) noexcept;
  FileHandle& operator=(FileHandle&& other) noexcept;
  ~FileHandle() { Close(); }

  bool valid() const { return handle_ != nullptr; }
  void* get() const { return handle_; }
  bool Close();

 private:
  void* handle_ = nullptr;
};

bool WriteAll(const FileHandle& file, std::string_view bytes);
bool Seek(const FileHandle& file, std::uint64_t offset);

}  // namespace quillbeaker
