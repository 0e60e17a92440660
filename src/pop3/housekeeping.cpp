// SPDX-License-Identifier: MIT
#include "pop3/housekeeping.h"

#include "config/texts.h"
#include "filter/spam_words.h"
#include "stores/recycle_bin.h"
#include "stores/training_area.h"

namespace quillbeaker {
namespace {

void ConvertOldSpamWords(Program& program, const std::function<void()>& notice) {
  const bool converted = ConvertSpamPoints(program);
  if (!converted || program.Read(keys::kConvertedSpamPoints096) != 0) {
    return;
  }
  if (notice) {
    notice();
  }
  program.Write(keys::kConvertedSpamPoints096, 1);
}

}  // namespace

void PrepareStores(Program& program, const StartUpNotices& notices) {
  RecycleBin recycle_bin(program);
  recycle_bin.TakeInDroppedFiles(notices.taking_in_messages);
  recycle_bin.RebuildIndex();
  ConvertOldSpamWords(program, notices.spam_words_converted);
  TrainingArea{program};  // makes its directory
}

void RunDailyPurges(Program& program, const std::function<void(std::string_view)>& show_status) {
  show_status(TextOf(Text::kDeletingOldRecycled));
  RecycleBin(program).Purge(program.Read(keys::kRecycleBinMaxDays));
  show_status({});
  show_status(TextOf(Text::kDeletingOldTraining));
  TrainingArea(program).Purge(program.Read(keys::kTrainingAreaMaxDays));
  show_status({});
}

}  // namespace quillbeaker
