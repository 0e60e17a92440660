// SPDX-License-Identifier: MIT
#pragma once

// The recycle bin's index as a file: read, told apart from what is no index of ours, and saved. For
// recycle_bin's own sources, which hold the store's lock meanwhile.

#include <string>

#include "platform/file_result.h"
#include "stores/xml_index.h"

namespace quillbeaker {

struct RecycleIndexFile {
  enum class State {
    kReadable,
    kMissing,
    kForeign,     // it parses, and its root is another
    kDamaged,     // it does not parse, or carries a DTD
    kUnreadable,  // it is there, and the system does not give its bytes
  };

  State state = State::kMissing;
  XmlDocument document;     // when readable
  xmlNode* root = nullptr;  // of the document
  std::string bytes;        // of the file as it stands
  FileResult why;           // of a file that could not be read

  // Whether it is there and cannot be used, but may be another time.
  bool IsUnusable() const { return state == State::kUnreadable || state == State::kDamaged; }
};

[[nodiscard]] RecycleIndexFile ReadRecycleIndex(const std::string& path);

// Replaces the file by the document, unless it holds these very bytes already. Deliberate: without
// indentation, however it was read; only a rebuild indents. Who compares or reads the file by its bytes finds
// it as it always was.
[[nodiscard]] FileResult SaveRecycleIndex(RecycleIndexFile& index, const std::string& path,
                                          bool formatted = false);

}  // namespace quillbeaker
