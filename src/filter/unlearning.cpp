// SPDX-License-Identifier: MIT
#include "filter/unlearning.h"

#include "filter/word_list_journal.h"
#include "filter/word_tables.h"
#include "platform/file_lock.h"
#include "platform/files.h"

namespace quillbeaker {

namespace {

bool IsEmpty(const LearntWords& learnt) {
  return learnt.messages == 0 && learnt.words.empty();
}

// The list without the lesson's words, as its file's bytes. No budget holds: it gets smaller, and what the
// budget of today would refuse must not be lost.
std::optional<std::string> WithoutLesson(const std::string& path, const LearntWords& lesson) {
  WordCountTable list;
  if (!list.Load(path)) return std::nullopt;
  list.Subtract(lesson.words, lesson.messages);
  return list.Serialise();
}

}  // namespace

bool SubtractLesson(const Program& program, const LessonRecord& record) {
  StoreLock lock(program.PathOf(kWordListLock));
  const auto held = lock.Acquire();
  if (!RecoverWordLists(program)) return false;
  if (IsEmpty(record.good) && IsEmpty(record.bad)) {
    return static_cast<bool>(RenameFile(program.PathOf(kLastLesson), program.PathOf(kLessonUndone)));
  }
  const auto good = WithoutLesson(program.PathOf(kGoodWordList), record.good);
  const auto bad = WithoutLesson(program.PathOf(kBadWordList), record.bad);
  return good && bad && SaveBothWordLists(program, *good, *bad, RecordStep::kUndo);
}

bool FinishSavingLists(const Program& program) {
  if (!WordListJournalExists(program)) return true;
  StoreLock lock(program.PathOf(kWordListLock));
  const auto held = lock.Acquire();
  return RecoverWordLists(program);
}

}  // namespace quillbeaker
