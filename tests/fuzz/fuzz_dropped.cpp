// SPDX-License-Identifier: MIT
// Any bytes as a file group descriptor of either form, and as a list of dropped files.

#include "extras/dropped_files.h"
#include "fuzz_support.h"
#include "message/display_text.h"

namespace quillbeaker {
namespace {

void Read(std::string_view bytes, DescriptorForm form) {
  const auto files = ReadFileGroupDescriptor(bytes, form);
  if (!files) return;
  Check(!files->empty() && files->size() <= kMostDroppedFiles, "the number of files is bounded");
  Check(files->size() * 332 < bytes.size(), "every file has a descriptor");
  for (const DroppedFile& file : *files) {
    Check(file.name.find('\0') == std::string::npos, "a name ends at its NUL");
    Check(form == DescriptorForm::kBytes || IsUtf8(file.name), "a wide name is UTF-8");
    const auto size = SizeOfContent(file, bytes.size());
    Check(!size || *size <= bytes.size(), "no more is read than there is");
    IsMailFile(file.name);
  }
}

}  // namespace
}  // namespace quillbeaker

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quillbeaker;
  const std::string bytes(TextOf(data, size));
  Read(bytes, DescriptorForm::kBytes);
  Read(bytes, DescriptorForm::kWide);
  const DroppedPaths paths = ReadDroppedPaths(bytes);
  Check(paths.paths.size() <= kMostDroppedFiles, "the number of paths is bounded");
  for (const std::string& path : paths.paths) {
    Check(!path.empty() && path.size() < 2 * bytes.size(), "a path is in the bytes");
    Check(paths.form == DescriptorForm::kBytes || IsUtf8(path), "a wide path is UTF-8");
  }
  return 0;
}
