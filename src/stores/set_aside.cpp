// SPDX-License-Identifier: MIT

#include "stores/set_aside.h"

#include "platform/files.h"

namespace quillbeaker {

bool SetAside(const std::string& path) {
  // A directory with more damaged files than this has a trouble that one more file does not tell better.
  constexpr int kMostKept = 1000;
  for (int number = 1; number <= kMostKept; ++number) {
    const std::string kept = path + ".bad" + (number == 1 ? "" : std::to_string(number));
    if (StateOfFile(kept).exists) continue;
    if (RenameFile(path, kept)) return true;
    // Somebody else may have taken the name in between.
    if (!StateOfFile(kept).exists) return false;
  }
  return false;
}

}  // namespace quillbeaker
