// SPDX-License-Identifier: MIT
#include "config/writable_directories.h"

#include "platform/files.h"

namespace quillbeaker {

std::string UnwritableDirectory(const Program& program) {
  for (const char* const name : {"", "recycle", "training"}) {
    const std::string directory = program.PathOf(name);
    std::string path = directory;
    if (!path.empty() && path.back() != kPathSeparator) {
      path += kPathSeparator;
    }
    path += "write-test.tmp";
    if (!WriteWholeFile(path, "", /*flush=*/false)) {
      return directory;
    }
    EraseFile(path);
  }
  return {};
}

}  // namespace quillbeaker
