// SPDX-License-Identifier: MIT

#include "stores/training_lesson.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "filter/lesson_record.h"
#include "message/mail_message.h"
#include "platform/file_lock.h"
#include "platform/files.h"
#include "stores/last_lesson.h"

namespace quillbeaker {
namespace {

bool IsLearnt(const TrainingEntry& entry) {
  return entry.mark != TrainingMark::kNone && !entry.name.empty();
}

// Counts the text that the entry names and keeps it for an undo; false when there is none to be read.
bool CountEntry(const TrainingArea& area, LearntMail& mail, LearningBatch& batch) {
  const TrainingEntry& entry = mail.entry;
  const std::string path = area.PathOfMessage(entry.name);
  if (path.empty()) return false;
  mail.text = ReadWholeFile(path);
  if (!mail.text) return false;
  // The file is a decoded text without any header: read as a whole mail, its first lines would count as one.
  MailMessage message;
  message.ParseBodyOnly(std::string(*mail.text));
  if (entry.subject) message.AddField("Subject", *entry.subject);
  batch.Count(message, entry.mark == TrainingMark::kSpam ? LearnKind::kSpam : LearnKind::kGood);
  return true;
}

// What a lesson has read so far.
class LearntMails {
 public:
  explicit LearntMails(TrainingArea& area) : area_(area) {}

  void Count(const TrainingEntry& entry, std::size_t place, LearningBatch& batch, TrainingLesson& lesson) {
    LearntMail mail{entry, std::nullopt, static_cast<std::uint32_t>(place)};
    if (CountEntry(area_, mail, batch)) {
      ++(entry.mark == TrainingMark::kSpam ? lesson.spam : lesson.good);
    } else {
      ++lesson.unreadable;
    }
    names_.push_back(entry.name);
    // What is too large for a record need not be collected any further.
    if (record_.size() < kMostLessonBytes && (mail.text || IsListed(entry.name))) {
      AppendTrainingMail(record_, mail);
    }
  }

  const std::vector<std::string>& names() const { return names_; }
  // The mail for the lesson's record.
  const std::string& record() const { return record_; }

 private:
  // An entry without a text may have been learnt by another lesson since the caller listed it: then it is not
  // this one's to be put back.
  bool IsListed(const std::string& name) {
    if (!listed_) {
      listed_.emplace();
      const std::optional<std::vector<TrainingEntry>> entries = area_.List();
      if (entries) {
        for (const TrainingEntry& entry : *entries) listed_->insert(entry.name);
      }
    }
    return listed_->contains(name);
  }

  TrainingArea& area_;
  std::vector<std::string> names_;
  std::string record_;
  std::optional<std::unordered_set<std::string>> listed_;
};

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
                                     const std::function<void()>& on_counted,
                                     const std::function<bool()>& is_stopped) {
  TrainingLesson lesson;
  lesson.marked = static_cast<std::uint32_t>(std::count_if(entries.begin(), entries.end(), IsLearnt));
  if (lesson.marked == 0) return lesson;

  TrainingArea area(program);
  // Two lessons at once, in two processes perhaps, would count the same messages twice. The second one finds
  // their files gone.
  StoreLock lesson_lock(program.PathOf(kLessonLock));
  std::unique_ptr<StoreLockGuard> only_lesson = lesson_lock.Acquire();
  if (!FinishLessonUnderLock(program)) {
    lesson.lists_saved = lesson.removed = false;
    return lesson;
  }
  LearningBatch batch(program);
  LearntMails learnt(area);
  for (std::size_t place = 0; place < entries.size(); ++place) {
    if (!IsLearnt(entries[place])) continue;
    if (is_stopped && is_stopped()) {
      lesson.stopped = true;
      break;
    }
    learnt.Count(entries[place], place, batch, lesson);
    if (on_counted) on_counted();
  }
  if (learnt.names().empty()) return lesson;
  lesson.lists_saved = batch.SaveAsLesson(learnt.record());
  if (!lesson.lists_saved) {
    lesson.removed = false;
    return lesson;
  }
  lesson.removed = Remove(area, learnt.names());
  CloseLesson(program);
  only_lesson.reset();
  if (!lesson.removed || !on_entry) return lesson;
  std::size_t told = 0;
  for (const TrainingEntry& entry : entries) {
    if (told == learnt.names().size()) break;
    if (!IsLearnt(entry)) continue;
    on_entry(entry);
    ++told;
  }
  return lesson;
}

}  // namespace quillbeaker
