// SPDX-License-Identifier: MIT

// Mail that was dropped into the recycle directory: at start-up it gets names of the bin's own.

#include "platform/files.h"
#include "stores/recycle_bin.h"

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

}  // namespace quillbeaker
