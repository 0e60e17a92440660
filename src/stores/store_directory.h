// SPDX-License-Identifier: MIT
#pragma once

// Whether a store can have files in its directory at all.

#include <string>

#include "platform/file_result.h"

namespace quillbeaker {

// Fails when something else than a directory has that name: the system calls every file in it missing then,
// and a store must not take what it cannot see for empty. A missing directory is none of that.
[[nodiscard]] FileResult CheckStoreDirectory(const std::string& path);

}  // namespace quillbeaker
