// SPDX-License-Identifier: MIT
#include "extras/store_preparation.h"

#include <new>

#include "filter/spam_words.h"
#include "stores/recycle_bin.h"
#include "stores/training_area.h"
#include "stores/unconfirmed_mail.h"

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

// A store that is too large for the memory that there is must not keep the program from starting. It is left
// as it is.
template <typename Step>
void UnlessOutOfMemory(const Step& step) {
  try {
    step();
  } catch (const std::bad_alloc&) {
  }
}

}  // namespace

void PrepareStores(Program& program, const StartUpNotices& notices) {
  RecycleBin recycle_bin(program);
  UnlessOutOfMemory([&] { recycle_bin.TakeInDroppedFiles(notices.taking_in_messages); });
  UnlessOutOfMemory([&] { recycle_bin.RebuildIndex(); });
  UnlessOutOfMemory([&] { recycle_bin.RemoveUnlisted(UnconfirmedMailStore(program).FilesNotDue()); });
  UnlessOutOfMemory([&] { ConvertOldSpamWords(program, notices.spam_words_converted); });
  TrainingArea{program};  // makes its directory
}

}  // namespace quillbeaker
