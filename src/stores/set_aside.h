// SPDX-License-Identifier: MIT
#pragma once

// A store's file that cannot be used is kept under another name: it can be mended by hand, and nothing that
// was in it is lost. Under the store's lock.

#include <string>
#include <string_view>

#include "platform/file_result.h"

namespace quillbeaker {

// Renames the file to its name with ".bad" after it, or ".bad2", ".bad3", ... when that is taken: no file is
// ever overwritten. False when it could not be renamed; it is then still in its place.
[[nodiscard]] bool SetAside(const std::string& path);

// Puts a copy of the file, whose bytes these are, under the first such name that is free, for a file that is
// then replaced in one step: at no moment is there none. On return the copy is on the disk. Bytes that are
// kept already, by a process that was ended before it could replace the file, are not kept twice.
[[nodiscard]] FileResult CopyAside(const std::string& path, std::string_view bytes);

}  // namespace quillbeaker
