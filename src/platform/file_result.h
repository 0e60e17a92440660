// SPDX-License-Identifier: MIT
#pragma once

// What became of an operation on a file, and why it failed: a value that tests as bool and carries the path
// and the system's error, so that a person can be told that the disk is full rather than "not saved".

#include <string>
#include <system_error>

namespace quillbeaker {

// Tests true when the operation succeeded.
struct FileResult {
  std::string path;      // UTF-8, of the file or directory that failed; empty on success
  std::error_code code;  // 0 on success

  explicit operator bool() const { return !code; }
  // Whether it failed because there is no such file or directory.
  bool IsMissing() const;
  // For a person, in UTF-8 and one line: "PATH: No space left on device". Where names are bytes, the path's
  // bytes stand as they are. Empty on success.
  std::string Text() const;
};

// The system's own words for an error, UTF-8, one line.
std::string SystemErrorText(const std::error_code& code);

}  // namespace quillbeaker
