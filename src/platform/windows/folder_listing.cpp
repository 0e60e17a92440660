// SPDX-License-Identifier: MIT
#include "platform/folder_listing.h"

#include <windows.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include "platform/files.h"
#include "platform/windows/wide.h"

namespace quillbeaker {
namespace {

// A reparse point may be a link, or a file that the system keeps elsewhere and brings when it is read.
FolderEntryKind KindOf(DWORD attributes) {
  const bool is_folder = (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
  if (!is_folder) return FolderEntryKind::kFile;
  return (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 ? FolderEntryKind::kOther
                                                          : FolderEntryKind::kFolder;
}

}  // namespace

std::optional<std::vector<FolderEntry>> ListFolder(const std::string& path) {
  std::string pattern = path;
  if (!pattern.ends_with('\\') && !pattern.ends_with('/')) pattern += kPathSeparator;
  WIN32_FIND_DATAW found;
  const HANDLE search = FindFirstFileW(WidePath(pattern + '*').c_str(), &found);
  if (search == INVALID_HANDLE_VALUE) return std::nullopt;
  std::vector<FolderEntry> entries;
  do {
    std::string name = Utf8FromWide(found.cFileName);
    if (name != "." && name != "..") entries.push_back({std::move(name), KindOf(found.dwFileAttributes)});
  } while (FindNextFileW(search, &found));
  FindClose(search);
  std::sort(entries.begin(), entries.end(),
            [](const FolderEntry& a, const FolderEntry& b) { return a.name < b.name; });
  return entries;
}

}  // namespace quillbeaker
