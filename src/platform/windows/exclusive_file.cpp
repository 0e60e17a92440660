// SPDX-License-Identifier: MIT
#include "platform/exclusive_file.h"

#include <windows.h>

#include <utility>

#include "platform/windows/file_handle.h"
#include "platform/windows/wide.h"

namespace quillbeaker {
namespace {

class WindowsExclusiveFile : public ExclusiveFile {
 public:
  explicit WindowsExclusiveFile(FileHandle file) : file_(std::move(file)) {}

  std::uint64_t Size() override {
    LARGE_INTEGER size;
    return GetFileSizeEx(file_.get(), &size) ? static_cast<std::uint64_t>(size.QuadPart) : 0;
  }

  bool Append(std::string_view bytes) override {
    const LARGE_INTEGER end{};
    if (!SetFilePointerEx(file_.get(), end, nullptr, FILE_END)) return false;
    DWORD written = 0;
    return WriteFile(file_.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) &&
           written == bytes.size();
  }

  std::string ReadAt(std::uint64_t offset, std::size_t capacity) override {
    std::string bytes(capacity, '\0');
    DWORD got = 0;
    if (!Seek(file_, offset) ||
        !ReadFile(file_.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &got, nullptr)) {
      got = 0;
    }
    bytes.resize(got);
    return bytes;
  }

  bool WriteAt(std::uint64_t offset, std::string_view bytes) override {
    return Seek(file_, offset) && WriteAll(file_, bytes);
  }

  bool Truncate(std::uint64_t size) override { return Seek(file_, size) && SetEndOfFile(file_.get()); }

 private:
  FileHandle file_;
};

}  // namespace

std::unique_ptr<ExclusiveFile> ExclusiveFile::Open(const std::string& path) {
  FileHandle file(CreateFileW(WidePath(path).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS,
                              FILE_ATTRIBUTE_NORMAL, nullptr));
  // A name such as "nul" opens a device in every directory.
  if (!file.valid() || GetFileType(file.get()) != FILE_TYPE_DISK) return nullptr;
  return std::make_unique<WindowsExclusiveFile>(std::move(file));
}

}  // namespace quillbeaker
