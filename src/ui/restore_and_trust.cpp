// SPDX-License-Identifier: MIT
#include "ui/restore_and_trust.h"

#include <utility>
#include <vector>

#include "ui/presenter/trust_dialog.h"
#include "ui/resource.h"
#include "ui/small_dialog_window.h"

namespace quillbeaker {

RestoredAndTrusted RestoreAndTrust(HWND owner, Program& program, std::span<const std::string> names) {
  RestoredAndTrusted result;
  std::vector<RecycleEntry> entries = EntriesOf(program, names);
  if (entries.empty()) return result;
  TrustDialog dialog(program, entries);
  if (SmallDialogWindow(DIALOG_TRUST, dialog, program).RunModal(owner) != IDOK) return result;
  const TrustReport report = RestoreAndTrust(program, entries, dialog.choice());
  result.restored = report.restored > 0;
  result.senders_changed = report.senders_changed;
  result.done = LineOf(report);
  return result;
}

}  // namespace quillbeaker
