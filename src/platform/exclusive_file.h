// SPDX-License-Identifier: MIT
#pragma once

// A file that is held open for a while and shared with nobody (where the system can refuse others), for appending and
// trimming. The protocol logs stand on it.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace quillbeaker {

class ExclusiveFile {
 public:
  // Opens the existing file for reading and writing, or creates it. Null when neither works.
  static std::unique_ptr<ExclusiveFile> Open(const std::string& path);
  virtual ~ExclusiveFile() = default;

  virtual std::uint64_t Size() = 0;
  // One write call at the end of the file; false when not all bytes were written.
  virtual bool Append(std::string_view bytes) = 0;
  // Everything from `offset` (bytes) to the end; empty on failure.
  virtual std::string ReadFrom(std::uint64_t offset) = 0;
  // Overwrites the file from its start with `bytes` and cuts it there.
  virtual bool Rewrite(std::string_view bytes) = 0;
};

}  // namespace quillbeaker
