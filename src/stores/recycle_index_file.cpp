// SPDX-License-Identifier: MIT

#include "stores/recycle_index_file.h"

#include <optional>
#include <utility>

#include "platform/files.h"
#include "stores/recycle_index.h"

namespace quillbeaker {

RecycleIndexFile ReadRecycleIndex(const std::string& path) {
  using enum RecycleIndexFile::State;
  RecycleIndexFile index;
  FileContents contents = ReadContents(path);
  if (!contents.bytes) {
    index.state = contents.result.IsMissing() ? kMissing : kUnreadable;
    index.why = std::move(contents.result);
    return index;
  }
  index.bytes = std::move(*contents.bytes);
  XmlDocument document = ParseXml(index.bytes);
  if (document == nullptr) {
    index.state = kDamaged;
    return index;
  }
  index.root = RootNamed(document, recycle_index::kRoot);
  index.state = index.root != nullptr ? kReadable : kForeign;
  if (index.root != nullptr) index.document = std::move(document);
  return index;
}

FileResult SaveRecycleIndex(RecycleIndexFile& index, const std::string& path, bool formatted) {
  std::optional<std::string> bytes = DumpXml(index.document, formatted);
  if (!bytes) return {path, std::make_error_code(std::errc::illegal_byte_sequence)};
  if (*bytes == index.bytes) return {};
  FileResult saved = ReplaceWholeFile(path, *bytes);
  if (saved) index.bytes = std::move(*bytes);
  return saved;
}

}  // namespace quillbeaker
