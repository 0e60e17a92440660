// SPDX-License-Identifier: MIT

#include "stores/store_directory.h"

#include <system_error>

#include "platform/files.h"

namespace quillbeaker {

FileResult CheckStoreDirectory(const std::string& path) {
  if (DirectoryExists(path) || !StateOfFile(path).exists) return {};
  return {path, std::make_error_code(std::errc::not_a_directory)};
}

}  // namespace quillbeaker
