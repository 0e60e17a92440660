// SPDX-License-Identifier: MIT

#include "stores/set_aside.h"

#include <system_error>

#include "platform/files.h"

namespace quillbeaker {
namespace {

// A directory with more damaged files than this has a trouble that one more file does not tell better.
constexpr int kMostKept = 1000;

std::string NameOfKept(const std::string& path, int number) {
  return path + ".bad" + (number == 1 ? "" : std::to_string(number));
}

}  // namespace

bool SetAside(const std::string& path) {
  for (int number = 1; number <= kMostKept; ++number) {
    const std::string kept = NameOfKept(path, number);
    if (StateOfFile(kept).exists) continue;
    if (RenameFile(path, kept)) return true;
    // Somebody else may have taken the name in between.
    if (!StateOfFile(kept).exists) return false;
  }
  return false;
}

FileResult CopyAside(const std::string& path, std::string_view bytes) {
  for (int number = 1; number <= kMostKept; ++number) {
    const std::string kept = NameOfKept(path, number);
    if (StateOfFile(kept).exists) {
      if (FileSize(kept) == bytes.size() && ReadWholeFile(kept) == bytes) return {};
      continue;
    }
    if (FileResult copied = ReplaceWholeFile(kept, bytes); !copied) return copied;
    return FlushDirectory(path.substr(0, path.find_last_of("/\\") + 1));
  }
  return {path, std::make_error_code(std::errc::file_exists)};
}

}  // namespace quillbeaker
