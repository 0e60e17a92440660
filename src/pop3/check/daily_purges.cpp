// SPDX-License-Identifier: MIT
#include "pop3/check/daily_purges.h"

#include "config/texts.h"
#include "stores/recycle_bin.h"
#include "stores/training_area.h"

namespace quillbeaker {
void RunDailyPurges(Program& program, const std::function<void(std::string_view)>& show_status) {
  show_status(TextOf(Text::kDeletingOldRecycled));
  RecycleBin(program).Purge(program.Read(keys::kRecycleBinMaxDays));
  show_status({});
  show_status(TextOf(Text::kDeletingOldTraining));
  TrainingArea(program).Purge(program.Read(keys::kTrainingAreaMaxDays));
  show_status({});
}

}  // namespace quillbeaker
