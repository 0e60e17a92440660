// SPDX-License-Identifier: MIT
#include "platform/input_file.h"

#include <windows.h>

#include <algorithm>
#include <utility>

#include "platform/windows/wide.h"

namespace quillbeaker {
namespace {

HANDLE HandleOf(std::intptr_t handle) {
  return reinterpret_cast<HANDLE>(handle);
}

}  // namespace

std::optional<InputFile> InputFile::Open(const std::string& path) {
  constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  const HANDLE handle = CreateFileW(WidePath(path).c_str(), GENERIC_READ, kShareAll, nullptr, OPEN_EXISTING,
                                    FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
  if (handle == INVALID_HANDLE_VALUE) return std::nullopt;
  InputFile file(reinterpret_cast<std::intptr_t>(handle), 0);
  LARGE_INTEGER size;
  if (GetFileType(handle) != FILE_TYPE_DISK || !GetFileSizeEx(handle, &size)) return std::nullopt;
  file.size_ = static_cast<std::uint64_t>(size.QuadPart);
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
  if (handle_ != kNone) CloseHandle(HandleOf(std::exchange(handle_, kNone)));
}

std::optional<std::size_t> InputFile::ReadAt(std::uint64_t offset, char* buffer, std::size_t capacity) const {
  constexpr std::size_t kMostAtOnce = 1 << 24;
  std::size_t size = 0;
  while (size < capacity) {
    OVERLAPPED place{};
    const std::uint64_t from = offset + size;
    place.Offset = static_cast<DWORD>(from);
    place.OffsetHigh = static_cast<DWORD>(from >> 32);
    DWORD got = 0;
    const auto wanted = static_cast<DWORD>(std::min(capacity - size, kMostAtOnce));
    if (!ReadFile(HandleOf(handle_), buffer + size, wanted, &got, &place)) {
      if (GetLastError() == ERROR_HANDLE_EOF) break;
      return std::nullopt;
    }
    if (got == 0) break;
    size += got;
  }
  return size;
}

}  // namespace quillbeaker
