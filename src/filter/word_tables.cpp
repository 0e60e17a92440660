// SPDX-License-Identifier: MIT
#include "filter/word_tables.h"

#include <algorithm>
#include <cstdint>
#include <limits>

#include "filter/tokeniser.h"
#include "filter/word_list_journal.h"
#include "platform/file_lock.h"
#include "platform/files.h"

namespace quillbeaker {

namespace {

// Bytes for each of the two lists, which share the configured kilobytes. 0 is no limit, and so is a negative
// setting.
std::uint32_t BudgetOfEachList(const Program& program) {
  const std::int64_t bytes = std::int64_t{program.Read(keys::kTrainingAreaMaxMemory)} * 512;
  return static_cast<std::uint32_t>(
      std::clamp<std::int64_t>(bytes, 0, std::numeric_limits<std::uint32_t>::max()));
}

// What tells whether somebody saved the lists while they were loaded.
struct ListStates {
  bool half_saved = false;
  FileState good;
  FileState bad;
  bool operator==(const ListStates&) const = default;
};

ListStates StatesOfLists(const Program& program) {
  return {WordListJournalExists(program), StateOfFile(program.PathOf(kGoodWordList)),
          StateOfFile(program.PathOf(kBadWordList))};
}

}  // namespace

bool WordTables::Load(const Program& program, bool load_spam_words) {
  const std::uint32_t budget = BudgetOfEachList(program);
  bad.byte_budget = budget;
  good.byte_budget = budget;
  spam_words.clear();
  if (load_spam_words) spam_words = ReadSpamWords(program);
  const ListStates before = StatesOfLists(program);
  if (!before.half_saved) {
    const bool loaded = LoadLists(program);
    if (StatesOfLists(program) == before) return loaded;
  }
  StoreLock lock(program.PathOf(kWordListLock));
  const auto held = lock.Acquire();
  // What cannot be finished now is finished by a later load; until then the filter judges by what there is.
  static_cast<void>(RecoverWordLists(program));
  return LoadLists(program);
}

bool WordTables::LoadLists(const Program& program) {
  const bool bad_loaded = bad.Load(program.PathOf(kBadWordList));
  const bool good_loaded = good.Load(program.PathOf(kGoodWordList));
  return bad_loaded && good_loaded;
}

bool WordTables::Save() const {
  const bool good_saved = good.Save();
  const bool bad_saved = bad.Save();
  return good_saved && bad_saved;
}

void WordTables::Count(const MailMessage& message, LearnKind kind) {
  CountMessage(message, kind == LearnKind::kSpam ? bad : good);
}

}  // namespace quillbeaker
