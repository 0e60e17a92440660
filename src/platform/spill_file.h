// SPDX-License-Identifier: MIT
#pragma once

// Bytes that are too many for memory, in a temporary file that no other program can open and that is gone
// when the object is, or the process, however that ends. Not for bytes that anybody wants to see again. One
// thread at a time.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/file_result.h"

namespace quillbeaker {

class SpillFile {
 public:
  struct Made {
    std::unique_ptr<SpillFile> file;  // null on failure
    FileResult result;
  };
  // In a directory that exists, for the user alone and inherited by no other program. Where the system knows
  // files without a name it has none; elsewhere "session-N.spill", which the system deletes when it is
  // closed. One that a loss of power has left is used again.
  [[nodiscard]] static Made Make(const std::string& directory);
  virtual ~SpillFile() = default;

  struct Appended {
    std::uint64_t offset = 0;  // of the first byte, for ReadAt
    FileResult result;
  };
  // Adds the bytes, all or none. After a failure, a full disk say, what was added before can still be read.
  [[nodiscard]] virtual Appended Append(std::string_view bytes) = 0;
  // All of `size` bytes that were added, or nothing.
  [[nodiscard]] virtual std::optional<std::string> ReadAt(std::uint64_t offset, std::size_t size) = 0;
};

}  // namespace quillbeaker
