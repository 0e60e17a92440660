// SPDX-License-Identifier: MIT

#include "stores/last_lesson.h"

#include <memory>
#include <unordered_map>
#include <utility>

#include "filter/learning.h"
#include "filter/lesson_record.h"
#include "filter/unlearning.h"
#include "filter/word_list_journal.h"
#include "platform/file_lock.h"
#include "platform/files.h"

namespace quillbeaker {
namespace {

struct Lesson {
  LessonRecord record;
  std::vector<LearntMail> mails;
};

// Nothing for a damaged one.
std::optional<Lesson> ParseWholeLesson(std::string_view bytes) {
  std::optional<LessonRecord> record = ParseLesson(bytes);
  if (!record) return std::nullopt;
  std::optional<std::vector<LearntMail>> mails = ParseTrainingMails(record->mails);
  if (!mails) return std::nullopt;
  record->mails.clear();
  record->mails.shrink_to_fit();
  return Lesson{*std::move(record), *std::move(mails)};
}

bool EraseIfThere(const std::string& path) {
  const FileResult erased = EraseFile(path);
  return erased || erased.IsMissing();
}

// A record that is due and damaged can never be carried out; it is kept under another name, not repeated.
bool SetAside(const std::string& path) {
  const std::string bad = path + ".bad";
  return EraseIfThere(bad) && RenameFile(path, bad);
}

// Learnt entries that still carry the mark they were learnt with, and files whose entries are gone already.
// Another mark, or none, is a newer wish.
bool RemoveLearnt(TrainingArea& area, const std::vector<LearntMail>& mails) {
  const std::optional<std::vector<TrainingEntry>> entries = area.List();
  if (!entries) return false;
  std::unordered_map<std::string, TrainingMark> learnt;
  for (const LearntMail& mail : mails) learnt.emplace(mail.entry.name, mail.entry.mark);
  std::vector<std::string> names;
  for (const TrainingEntry& entry : *entries) {
    const auto found = learnt.find(entry.name);
    if (found == learnt.end()) continue;
    if (found->second == entry.mark) names.push_back(entry.name);
    learnt.erase(found);
  }
  for (const auto& [name, mark] : learnt) {
    if (const std::string path = area.PathOfMessage(name); !path.empty()) EraseFile(path);
  }
  return names.empty() || area.DeleteMessages(names);
}

// Does `finish` with the lesson of a record that is due, if there is one.
template <typename Finish>
bool FinishRecord(const std::string& path, const Finish& finish) {
  const FileContents file = ReadContents(path);
  if (file.result.IsMissing()) return true;
  if (!file.bytes) return false;
  const std::optional<Lesson> lesson = ParseWholeLesson(*file.bytes);
  return lesson ? finish(*lesson) : SetAside(path);
}

bool AnythingIsDue(const Program& program) {
  return WordListJournalExists(program) || FileExists(program.PathOf(kLessonOpen)) ||
         FileExists(program.PathOf(kLessonUndone));
}

std::unique_ptr<StoreLockGuard> LockLessons(const Program& program) {
  return StoreLock(program.PathOf(kLessonLock)).Acquire();
}

struct ReadLesson {
  UndoneLesson result;
  std::optional<Lesson> lesson;
};

ReadLesson ReadLastLesson(const Program& program) {
  ReadLesson read;
  const FileContents file = ReadContents(program.PathOf(kLastLesson));
  if (file.result.IsMissing()) return read;
  if (file.bytes) read.lesson = ParseWholeLesson(*file.bytes);
  if (!read.lesson) {
    read.result.outcome = UndoOutcome::kDamaged;
    return read;
  }
  read.result.outcome = UndoOutcome::kUndone;
  read.result.lesson = {read.lesson->record.good.messages, read.lesson->record.bad.messages,
                        static_cast<std::uint32_t>(read.lesson->mails.size())};
  return read;
}

}  // namespace

void CloseLesson(const Program& program) {
  const std::string open = program.PathOf(kLessonOpen);
  if (!FileExists(open)) return;
  const std::string last = program.PathOf(kLastLesson);
  if (EraseIfThere(last)) static_cast<void>(RenameFile(open, last));
}

bool FinishLessonUnderLock(Program& program) {
  if (!AnythingIsDue(program)) return true;
  if (!FinishSavingLists(program)) return false;
  TrainingArea area(program);
  const std::string undone = program.PathOf(kLessonUndone);
  const bool put_back = FinishRecord(undone, [&](const Lesson& lesson) {
    return (lesson.mails.empty() || area.PutBack(lesson.mails)) && EraseFile(undone);
  });
  const bool removed = FinishRecord(program.PathOf(kLessonOpen), [&](const Lesson& lesson) {
    if (!RemoveLearnt(area, lesson.mails)) return false;
    CloseLesson(program);
    return true;
  });
  return put_back && removed;
}

bool FinishLesson(Program& program) {
  if (!AnythingIsDue(program)) return true;
  const auto only_lesson = LockLessons(program);
  return FinishLessonUnderLock(program);
}

bool WithLessonsLocked(Program& program, const std::function<bool()>& save) {
  MakeDirectory(program.PathOf("training"));
  const auto only_lesson = LockLessons(program);
  return FinishLessonUnderLock(program) && save();
}

bool LearnAsLesson(Program& program, std::span<const MailMessage* const> messages, LearnKind kind) {
  return WithLessonsLocked(program, [&] {
    LearningBatch batch(program);
    for (const MailMessage* const message : messages) batch.Count(*message, kind);
    return batch.SaveAsLesson();
  });
}

bool LastLessonExists(const Program& program) {
  return FileExists(program.PathOf(kLastLesson)) || FileExists(program.PathOf(kLessonOpen));
}

UndoneLesson LookAtLastLesson(Program& program) {
  if (!FinishLesson(program)) return {UndoOutcome::kNotSaved, {}};
  return ReadLastLesson(program).result;
}

UndoneLesson UndoLastLesson(Program& program) {
  if (!LastLessonExists(program)) return {};
  const auto only_lesson = LockLessons(program);
  if (!FinishLessonUnderLock(program)) return {UndoOutcome::kNotSaved, {}};
  ReadLesson read = ReadLastLesson(program);
  if (read.result.outcome != UndoOutcome::kUndone) return read.result;
  if (!SubtractLesson(program, read.lesson->record)) {
    read.result.outcome = UndoOutcome::kNotSaved;
    return read.result;
  }
  read.lesson.reset();  // its texts are read anew below
  if (!FinishLessonUnderLock(program)) read.result.outcome = UndoOutcome::kNotPutBack;
  return read.result;
}

bool ForgetLastLesson(Program& program) {
  if (!LastLessonExists(program) && !AnythingIsDue(program)) return true;
  const auto only_lesson = LockLessons(program);
  return FinishLessonUnderLock(program) && EraseIfThere(program.PathOf(kLastLesson));
}

}  // namespace quillbeaker
