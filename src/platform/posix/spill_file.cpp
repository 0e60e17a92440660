// SPDX-License-Identifier: MIT
#include "platform/spill_file.h"

#include <unistd.h>

#include <cerrno>
#include <utility>

#include "platform/posix/file_descriptor.h"
#include "platform/posix/unlinked_file.h"

namespace quillbeaker {
namespace {

FileResult Failed(const std::string& directory, int error) {
  return {directory, std::error_code(error, std::system_category())};
}

class PosixSpillFile : public SpillFile {
 public:
  PosixSpillFile(FileDescriptor file, std::string directory)
      : file_(std::move(file)), directory_(std::move(directory)) {}

  Appended Append(std::string_view bytes) override {
    std::uint64_t end = size_;
    while (!bytes.empty()) {
      const ssize_t written = pwrite(file_.get(), bytes.data(), bytes.size(), static_cast<off_t>(end));
      if (written <= 0) {
        if (written < 0 && errno == EINTR) continue;
        const int error = written < 0 ? errno : ENOSPC;
        // A full disk has the beginning back, for files that matter more.
        [[maybe_unused]] const int cut = ftruncate(file_.get(), static_cast<off_t>(size_));
        return {0, Failed(directory_, error)};
      }
      end += static_cast<std::uint64_t>(written);
      bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return {std::exchange(size_, end), {}};
  }

  std::optional<std::string> ReadAt(std::uint64_t offset, std::size_t size) override {
    if (offset > size_ || size > size_ - offset) return std::nullopt;
    std::string bytes(size, '\0');
    std::size_t read = 0;
    while (read < size) {
      const ssize_t got =
          pread(file_.get(), bytes.data() + read, size - read, static_cast<off_t>(offset + read));
      if (got < 0 && errno == EINTR) continue;
      if (got <= 0) return std::nullopt;
      read += static_cast<std::size_t>(got);
    }
    return bytes;
  }

 private:
  FileDescriptor file_;
  std::string directory_;
  std::uint64_t size_ = 0;
};

}  // namespace

SpillFile::Made SpillFile::Make(const std::string& directory) {
  FileDescriptor file = OpenUnlinkedFile(directory);
  if (!file.valid()) return {nullptr, Failed(directory, errno)};
  return {std::make_unique<PosixSpillFile>(std::move(file), directory), {}};
}

}  // namespace quillbeaker
