// SPDX-License-Identifier: MIT
#pragma once

// What another program hands over when mail is dragged out of it: a list of file names with sizes
// (FILEGROUPDESCRIPTORA or -W), or one of paths (DROPFILES), as the shell's documentation lays them out. The
// bytes come from another process and are trusted in nothing. Knows no system.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quillbeaker {

// Of one drop; each of them may open a dialog.
inline constexpr std::size_t kMostDroppedFiles = 100;
// Of one file: its sender is looked for in no more than this.
inline constexpr std::size_t kMostDroppedBytes = std::size_t{1024} * 1024;

struct DroppedFile {
  std::string name;                   // UTF-8 from the wide form, else bytes
  std::optional<std::uint64_t> size;  // as it is announced
};

enum class DescriptorForm { kBytes, kWide };

// The first kMostDroppedFiles; nothing when the bytes hold fewer descriptors than they announce, or none.
// Bytes behind the last one are the padding of the memory that they came in.
std::optional<std::vector<DroppedFile>> ReadFileGroupDescriptor(std::string_view bytes, DescriptorForm form);

// How much of a content of `held` bytes belongs to the file, kMostDroppedBytes at most: memory is handed over
// in blocks that are larger than what is in them. Programs announce 0 for what they have not counted. Nothing
// when fewer bytes are there than were announced.
std::optional<std::size_t> SizeOfContent(const DroppedFile& file, std::size_t held);

// The paths of CF_HDROP, which is a DROPFILES.
struct DroppedPaths {
  DescriptorForm form = DescriptorForm::kBytes;  // that of the bytes; wide ones are UTF-8 here
  std::vector<std::string> paths;                // kMostDroppedFiles at most
};
// Without paths when there are none inside the bytes.
DroppedPaths ReadDroppedPaths(std::string_view bytes);

// Whether a file of that name may be dropped as a mail: "*.eml" in any case.
bool IsMailFile(std::string_view path);
// Whether it may be one that holds many mails: "*.mbox" in any case.
bool IsMailboxFile(std::string_view path);

}  // namespace quillbeaker
