// SPDX-License-Identifier: MIT
#pragma once

// A file that is held open for a while and shared with nobody (where the system can refuse others), for
// appending and trimming. The protocol logs stand on it.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace quillbeaker {

class ExclusiveFile {
 public:
  // Opens the existing regular file for reading and writing, or creates it. Null when neither works, or when
  // another ExclusiveFile has it open.
  static std::unique_ptr<ExclusiveFile> Open(const std::string& path);
  virtual ~ExclusiveFile() = default;

  virtual std::uint64_t Size() = 0;
  // One write call at the end of the file; false when not all bytes were written.
  virtual bool Append(std::string_view bytes) = 0;
  // At most `capacity` bytes from `offset` on; empty at the end of the file and on failure.
  virtual std::string ReadAt(std::uint64_t offset, std::size_t capacity) = 0;
  // Overwrites what stands at `offset`; false when not all bytes were written.
  virtual bool WriteAt(std::uint64_t offset, std::string_view bytes) = 0;
  // Cuts the file at `size`.
  virtual bool Truncate(std::uint64_t size) = 0;
};

}  // namespace quillbeaker
