// SPDX-License-Identifier: MIT
#include "platform/spill_file.h"

#include <windows.h>

#include <algorithm>
#include <utility>

#include "platform/windows/file_handle.h"
#include "platform/windows/wide.h"

namespace quillbeaker {
namespace {

// As many programs may share a directory.
constexpr int kMostNames = 16;

FileResult Failed(const std::string& path, DWORD error) {
  const DWORD known = error != ERROR_SUCCESS ? error : static_cast<DWORD>(ERROR_DISK_FULL);
  return {path, std::error_code(static_cast<int>(known), std::system_category())};
}

class WindowsSpillFile : public SpillFile {
 public:
  WindowsSpillFile(FileHandle file, std::string path) : file_(std::move(file)), path_(std::move(path)) {}

  Appended Append(std::string_view bytes) override {
    SetLastError(ERROR_SUCCESS);
    if (!Seek(file_, size_) || !WriteAll(file_, bytes)) {
      const DWORD error = GetLastError();
      // A full disk has the beginning back, for files that matter more.
      if (Seek(file_, size_)) SetEndOfFile(file_.get());
      return {0, Failed(path_, error)};
    }
    return {std::exchange(size_, size_ + bytes.size()), {}};
  }

  std::optional<std::string> ReadAt(std::uint64_t offset, std::size_t size) override {
    constexpr std::size_t kMostAtOnce = 1 << 24;
    if (offset > size_ || size > size_ - offset || !Seek(file_, offset)) return std::nullopt;
    std::string bytes(size, '\0');
    std::size_t read = 0;
    while (read < size) {
      DWORD got = 0;
      const auto wanted = static_cast<DWORD>(std::min(size - read, kMostAtOnce));
      if (!ReadFile(file_.get(), bytes.data() + read, wanted, &got, nullptr) || got == 0) return std::nullopt;
      read += got;
    }
    return bytes;
  }

 private:
  FileHandle file_;
  std::string path_;
  std::uint64_t size_ = 0;
};

}  // namespace

SpillFile::Made SpillFile::Make(const std::string& directory) {
  const std::string separator = directory.ends_with('\\') || directory.ends_with('/') ? "" : "\\";
  FileResult result;
  for (int number = 1; number <= kMostNames; ++number) {
    std::string path = directory + separator + "session-" + std::to_string(number) + ".spill";
    FileHandle file(CreateFileW(WidePath(path).c_str(), GENERIC_READ | GENERIC_WRITE | DELETE, 0, nullptr,
                                CREATE_ALWAYS, FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE,
                                nullptr));
    if (file.valid()) return {std::make_unique<WindowsSpillFile>(std::move(file), std::move(path)), {}};
    const DWORD error = GetLastError();
    result = Failed(path, error);
    // Another program holds that name, or its file is just being deleted.
    if (error != ERROR_SHARING_VIOLATION && error != ERROR_ACCESS_DENIED) break;
  }
  return {nullptr, result};
}

}  // namespace quillbeaker
