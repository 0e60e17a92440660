// SPDX-License-Identifier: MIT
#include "platform/folder_listing.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <memory>
#include <string_view>

namespace quillbeaker {
namespace {

struct CloseDirectory {
  void operator()(DIR* directory) const { closedir(directory); }
};

FolderEntryKind KindOf(DIR* directory, const dirent& entry) {
  if (entry.d_type == DT_REG) return FolderEntryKind::kFile;
  if (entry.d_type == DT_DIR) return FolderEntryKind::kFolder;
  if (entry.d_type != DT_LNK && entry.d_type != DT_UNKNOWN) return FolderEntryKind::kOther;
  struct stat status;
  if (fstatat(dirfd(directory), entry.d_name, &status, AT_SYMLINK_NOFOLLOW) != 0)
    return FolderEntryKind::kOther;
  if (S_ISDIR(status.st_mode)) return FolderEntryKind::kFolder;
  if (S_ISLNK(status.st_mode) && fstatat(dirfd(directory), entry.d_name, &status, 0) != 0) {
    return FolderEntryKind::kOther;
  }
  return S_ISREG(status.st_mode) ? FolderEntryKind::kFile : FolderEntryKind::kOther;
}

}  // namespace

std::optional<std::vector<FolderEntry>> ListFolder(const std::string& path) {
  const std::unique_ptr<DIR, CloseDirectory> stream(opendir(path.c_str()));
  if (!stream) return std::nullopt;
  std::vector<FolderEntry> entries;
  while (const dirent* entry = readdir(stream.get())) {
    const std::string_view name = entry->d_name;
    if (name == "." || name == "..") continue;
    entries.push_back({std::string(name), KindOf(stream.get(), *entry)});
  }
  std::sort(entries.begin(), entries.end(),
            [](const FolderEntry& a, const FolderEntry& b) { return a.name < b.name; });
  return entries;
}

}  // namespace quillbeaker
