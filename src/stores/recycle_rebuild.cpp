// SPDX-License-Identifier: MIT

// What start-up does for the recycle bin: mail that was dropped into its directory, and an index that was
// lost.

#include "platform/files.h"
#include "stores/recycle_bin.h"
#include "stores/recycle_index.h"

namespace quillbeaker {

void RecycleBin::TakeInDroppedFiles(const std::function<void()>& on_first) {
  // One pass over one listing: a file that cannot be moved is met once and does not hold up the start.
  const std::vector<std::string> dropped = ListFiles(directory_, ".eml");
  if (dropped.empty()) return;
  if (on_first) on_first();
  const auto held = lock_.Acquire();
  for (const std::string& name : dropped) {
    const std::optional<CalendarTime> written = LastWriteTime(directory_ + name);
    if (written) RenameFile(directory_ + name, directory_ + NewName(*written));
  }
}

bool RecycleBin::RebuildIndex() {
  const auto held = lock_.Acquire();
  if (FileExists(index_path_)) return false;
  const XmlDocument index = NewXmlDocument(recycle_index::kRoot);
  xmlNode* root = RootNamed(index, recycle_index::kRoot);
  MailMessage message;
  for (const std::string& name : ListFiles(directory_, ".recycle")) {
    const std::string path = PathOfMessage(name);
    if (path.empty() || message.LoadFromFile(path) != MailMessage::kLoaded) continue;
    recycle_index::AppendEntry(root, name, {&message, {}, 0}, {}, program_.environment.local_time());
  }
  return SaveXmlFile(index, index_path_, true);
}

}  // namespace quillbeaker
