// SPDX-License-Identifier: MIT
#pragma once

// A store's file that cannot be used is kept under another name: it can be mended by hand, and nothing that
// was in it is lost. Under the store's lock.

#include <string>

namespace quillbeaker {

// Renames the file to its name with ".bad" after it, or ".bad2", ".bad3", ... when that is taken: no file is
// ever overwritten. False when it could not be renamed; it is then still in its place.
[[nodiscard]] bool SetAside(const std::string& path);

}  // namespace quillbeaker
