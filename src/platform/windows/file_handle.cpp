// SPDX-License-Identifier: MIT
#include "platform/windows/file_handle.h"

#include <windows.h>

#include <algorithm>
#include <utility>

namespace quillbeaker {

FileHandle::FileHandle(void* handle) : handle_(handle == INVALID_HANDLE_VALUE ? nullptr : handle) {}

FileHandle::FileHandle(FileHandle&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}

FileHandle& FileHandle::operator=(FileHandle&& other) noexcept {
  std::swap(handle_, other.handle_);
  return *this;
}

bool FileHandle::Close() {
  return handle_ == nullptr || CloseHandle(std::exchange(handle_, nullptr)) != 0;
}

bool WriteAll(const FileHandle& file, std::string_view bytes) {
  constexpr std::size_t kMostAtOnce = 1 << 24;
  while (!bytes.empty()) {
    DWORD written = 0;
    const auto size = static_cast<DWORD>(std::min(bytes.size(), kMostAtOnce));
    if (!WriteFile(file.get(), bytes.data(), size, &written, nullptr) || written == 0) return false;
    bytes.remove_prefix(written);
  }
  return true;
}

bool Seek(const FileHandle& file, std::uint64_t offset) {
  LARGE_INTEGER place;
  place.QuadPart = static_cast<LONGLONG>(offset);
  return SetFilePointerEx(file.get(), place, nullptr, FILE_BEGIN) != 0;
}

}  // namespace quillbeaker
