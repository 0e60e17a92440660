// SPDX-License-Identifier: MIT
#include "extras/dropped_files.h"

#include <algorithm>

#include "config/ascii.h"

namespace quillbeaker {
namespace {

// FILEDESCRIPTOR: flags, class, size, point, attributes, three times, size of the file, name.
constexpr std::size_t kFlagsAt = 0;
constexpr std::size_t kSizeHighAt = 64;
constexpr std::size_t kSizeLowAt = 68;
constexpr std::size_t kNameAt = 72;
constexpr std::size_t kNameCharacters = 260;
constexpr std::uint32_t kHasSize = 0x40;  // FD_FILESIZE

std::uint32_t NumberAt(std::string_view bytes, std::size_t at) {
  std::uint32_t number = 0;
  for (std::size_t i = 4; i-- > 0;) number = number << 8 | static_cast<unsigned char>(bytes[at + i]);
  return number;
}

void AppendUtf8(std::string& utf8, std::uint32_t character) {
  if (character < 0x80) {
    utf8.push_back(static_cast<char>(character));
    return;
  }
  const int more = character < 0x800 ? 1 : character < 0x10000 ? 2 : 3;
  constexpr std::uint32_t kFirst[] = {0, 0xC0, 0xE0, 0xF0};
  utf8.push_back(static_cast<char>(kFirst[more] | character >> 6 * more));
  for (int i = more - 1; i >= 0; --i) utf8.push_back(static_cast<char>(0x80 | (character >> 6 * i & 0x3F)));
}

// Up to the first NUL; halves of a pair without the other become the replacement character.
std::string WideName(std::string_view bytes) {
  constexpr std::uint32_t kReplacement = 0xFFFD;
  const auto unit = [bytes](std::size_t i) {
    return i < bytes.size() / 2
               ? static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[2 * i]) |
                                            static_cast<unsigned char>(bytes[2 * i + 1]) << 8)
               : 0U;
  };
  std::string name;
  for (std::size_t i = 0; unit(i) != 0; ++i) {
    const std::uint32_t first = unit(i);
    const std::uint32_t second = unit(i + 1);
    if (first < 0xD800 || first > 0xDFFF) {
      AppendUtf8(name, first);
    } else if (first < 0xDC00 && second >= 0xDC00 && second <= 0xDFFF) {
      AppendUtf8(name, 0x10000 + ((first - 0xD800) << 10) + (second - 0xDC00));
      ++i;
    } else {
      AppendUtf8(name, kReplacement);
    }
  }
  return name;
}

}  // namespace

std::optional<std::vector<DroppedFile>> ReadFileGroupDescriptor(std::string_view bytes, DescriptorForm form) {
  const bool wide = form == DescriptorForm::kWide;
  const std::size_t name_size = wide ? 2 * kNameCharacters : kNameCharacters;
  const std::size_t descriptor_size = kNameAt + name_size;
  if (bytes.size() < 4) return std::nullopt;
  const std::size_t count = NumberAt(bytes, 0);
  if (count == 0 || (bytes.size() - 4) / descriptor_size < count) return std::nullopt;
  std::vector<DroppedFile> files;
  for (std::size_t i = 0; i < std::min(count, kMostDroppedFiles); ++i) {
    const std::string_view descriptor = bytes.substr(4 + i * descriptor_size, descriptor_size);
    const std::string_view name = descriptor.substr(kNameAt);
    DroppedFile file;
    file.name = wide ? WideName(name) : std::string(name.substr(0, name.find('\0')));
    if ((NumberAt(descriptor, kFlagsAt) & kHasSize) != 0) {
      file.size = std::uint64_t{NumberAt(descriptor, kSizeHighAt)} << 32 | NumberAt(descriptor, kSizeLowAt);
    }
    files.push_back(std::move(file));
  }
  return files;
}

std::optional<std::size_t> SizeOfContent(const DroppedFile& file, std::size_t held) {
  const std::uint64_t announced = file.size.value_or(0);
  if (announced > held) return std::nullopt;
  const std::size_t size = announced > 0 ? static_cast<std::size_t>(announced) : held;
  return std::min(size, kMostDroppedBytes);
}

DroppedPaths ReadDroppedPaths(std::string_view bytes) {
  constexpr std::size_t kPathsAtAt = 0;
  constexpr std::size_t kIsWideAt = 16;
  constexpr std::size_t kHeaderSize = 20;
  DroppedPaths read;
  if (bytes.size() < kHeaderSize) return read;
  if (NumberAt(bytes, kIsWideAt) != 0) read.form = DescriptorForm::kWide;
  const std::size_t unit = read.form == DescriptorForm::kWide ? 2 : 1;
  bytes.remove_prefix(std::min<std::size_t>(NumberAt(bytes, kPathsAtAt), bytes.size()));
  while (read.paths.size() < kMostDroppedFiles) {
    std::size_t end = 0;  // of the path, its NUL
    while (end + unit <= bytes.size() && bytes.substr(end, unit).find_first_not_of('\0') != bytes.npos) {
      end += unit;
    }
    // The list ends with an empty path; one without its NUL is cut off.
    if (end == 0 || end + unit > bytes.size()) break;
    const std::string_view path = bytes.substr(0, end);
    read.paths.push_back(unit == 2 ? WideName(path) : std::string(path));
    bytes.remove_prefix(end + unit);
  }
  return read;
}

bool IsMailFile(std::string_view path) {
  return EndsWithIgnoringCase(path, ".eml");
}

bool IsMailboxFile(std::string_view path) {
  return EndsWithIgnoringCase(path, ".mbox");
}

}  // namespace quillbeaker
