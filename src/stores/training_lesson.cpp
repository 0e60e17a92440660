// SPDX-License-Identifier: MIT

#include "stores/training_lesson.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "message/mail_message.h"
#include "platform/file_lock.h"
#include "platform/files.h"

namespace quillbeaker {
namespace {

bool IsLearnt(const TrainingEntry& entry) {
  return entry.mark != TrainingMark::kNone && !entry.name.empty();
}

// In the program directory. Held over a whole lesson: two at once, in two processes perhaps, would count the
// same messages twice. The second one finds their files gone.
constexpr std::string_view kLessonLock = "training/lesson.lock";

// Counts the text that the entry names; false when there is none to be read.
bool CountEntry(const TrainingArea& area, const TrainingEntry& entry, LearningBatch& batch) {
  const std::string path = area.PathOfMessage(entry.name);
  if (path.empty()) return false;
  std::optional<std::string> text = ReadWholeFile(path);
  if (!text) return false;
  // The file is a decoded text without any header: read as a whole mail, its first lines would count as one.
  MailMessage message;
  message.ParseBodyOnly(std::move(*text));
  if (entry.subject) message.AddField("Subject", *entry.subject);
  batch.Count(message, entry.mark == TrainingMark::kSpam ? LearnKind::kSpam : LearnKind::kGood);
  return true;
}

// True when entries of these names are gone, whoever removed them.
bool Remove(TrainingArea& area, const std::vector<std::string>& names) {
  if (area.DeleteMessages(names)) return true;
  const std::optional<std::vector<TrainingEntry>> rest = area.List();
  if (!rest) return false;
  const std::unordered_set<std::string> wanted(names.begin(), names.end());
  return std::none_of(rest->begin(), rest->end(),
                      [&](const TrainingEntry& entry) { return wanted.contains(entry.name); });
}

}  // namespace

TrainingLesson LearnFromTrainingArea(Program& program, std::span<const TrainingEntry> entries,
                                     const std::function<void(const TrainingEntry&)>& on_entry,
                                     const std::function<void()>& on_counted) {
  TrainingLesson lesson;
  std::vector<std::string> names;
  for (const TrainingEntry& entry : entries) {
    if (IsLearnt(entry)) names.push_back(entry.name);
  }
  lesson.marked = static_cast<std::uint32_t>(names.size());
  if (names.empty()) return lesson;

  TrainingArea area(program);
  StoreLock lesson_lock(program.PathOf(kLessonLock));
  std::unique_ptr<StoreLockGuard> only_lesson = lesson_lock.Acquire();
  LearningBatch batch(program);
  for (const TrainingEntry& entry : entries) {
    if (!IsLearnt(entry)) continue;
    if (!CountEntry(area, entry, batch)) {
      ++lesson.unreadable;
    } else {
      ++(entry.mark == TrainingMark::kSpam ? lesson.spam : lesson.good);
    }
    if (on_counted) on_counted();
  }
  lesson.lists_saved = batch.Save();
  if (!lesson.lists_saved) {
    lesson.removed = false;
    return lesson;
  }
  lesson.removed = Remove(area, names);
  only_lesson.reset();
  if (!lesson.removed || !on_entry) return lesson;
  for (const TrainingEntry& entry : entries) {
    if (IsLearnt(entry)) on_entry(entry);
  }
  return lesson;
}

}  // namespace quillbeaker
