// SPDX-License-Identifier: MIT
#include "pop3/check/daily_purges.h"

#include <string>
#include <utility>
#include <vector>

#include "config/texts.h"
#include "stores/recycle_bin.h"
#include "stores/training_area.h"

namespace quillbeaker {
namespace {

void TellRemoved(CheckObserver& observer, Store store, std::vector<std::string> names) {
  if (!names.empty()) observer.StoreChanged({.store = store, .added = {}, .removed = std::move(names)});
}

}  // namespace

void RunDailyPurges(Program& program, CheckObserver& observer) {
  observer.ShowStatus(TextOf(Text::kDeletingOldRecycled));
  TellRemoved(observer, Store::kRecycleBin,
              RecycleBin(program).Purge(program.Read(keys::kRecycleBinMaxDays)));
  observer.ShowStatus({});
  observer.ShowStatus(TextOf(Text::kDeletingOldTraining));
  TellRemoved(observer, Store::kTrainingArea,
              TrainingArea(program).Purge(program.Read(keys::kTrainingAreaMaxDays)));
  observer.ShowStatus({});
}

}  // namespace quillbeaker
