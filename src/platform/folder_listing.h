// SPDX-License-Identifier: MIT
#pragma once

// What is in a folder that somebody else filled. Unlike ListFiles (files.h), which knows our own folders,
// this tells every name and what it is. Paths are UTF-8.

#include <optional>
#include <string>
#include <vector>

namespace quillbeaker {

enum class FolderEntryKind {
  kFile,    // a regular file, or a link to one
  kFolder,  // a folder itself, no link
  kOther,   // a link to a folder or to nothing, a pipe, a socket, a device
};

struct FolderEntry {
  std::string name;  // bare
  FolderEntryKind kind = FolderEntryKind::kOther;
};

// All entries but "." and "..", in ascending byte order of their names; nothing when the folder cannot be
// read.
[[nodiscard]] std::optional<std::vector<FolderEntry>> ListFolder(const std::string& path);

}  // namespace quillbeaker
