// SPDX-License-Identifier: MIT
#pragma once

// Files without a name. For the sources of this folder only.

#include <string>

#include "platform/posix/file_descriptor.h"

namespace quillbeaker {

// An empty file in the directory, for reading and writing and for the user alone; not valid on failure, which
// errno tells.
FileDescriptor OpenUnlinkedFile(const std::string& directory);
// The same where the system or the file system knows no files without a name: one that loses its name at
// once.
FileDescriptor OpenAndUnlinkFile(const std::string& directory);

}  // namespace quillbeaker
