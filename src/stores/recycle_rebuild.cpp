// SPDX-License-Identifier: MIT

// An index that was lost is made anew from the message files at start-up.

#include "platform/files.h"
#include "stores/recycle_bin.h"
#include "stores/recycle_index.h"
#include "stores/recycle_index_file.h"

namespace quillbeaker {

// Deliberate: only a missing index is made. One that is damaged or has another root may be somebody's, and
// can be mended by hand, with the spam words, accounts and marks that no rebuild brings back.
bool RecycleBin::RebuildIndex() {
  const auto held = lock_.Acquire();
  // What is there and cannot be read now is no missing index.
  if (StateOfFile(index_path_).exists) return false;
  RecycleIndexFile index;
  index.document = NewXmlDocument(recycle_index::kRoot);
  index.root = RootNamed(index.document, recycle_index::kRoot);
  MailMessage message;
  for (const std::string& name : ListFiles(directory_, ".recycle")) {
    const std::string path = PathOfMessage(name);
    if (path.empty() || message.LoadFromFile(path) != MailMessage::kLoaded) continue;
    recycle_index::AppendEntry(index.root, name, {&message, {}, 0}, {}, program_.environment.local_time());
  }
  return static_cast<bool>(SaveRecycleIndex(index, index_path_, true));
}

}  // namespace quillbeaker
