// SPDX-License-Identifier: MIT
#pragma once

// The last lesson that a person gave the filter, and taking it back: what it added to the word lists is
// subtracted from them, and mail that it took out of the training area returns there with its marks. Learning
// by a mail check is no lesson and leaves the record alone. Killed at any moment, what is found by whoever
// calls FinishLesson, or any other function here, is all of a lesson or an undo, or nothing of it. Any
// thread, but none of these may be called during a lesson's callbacks.

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "config/program.h"
#include "filter/word_tables.h"
#include "message/mail_message.h"
#include "stores/training_area.h"

namespace quillbeaker {

// Carries out what a crash has left of a lesson or an undo. Cheap when there is nothing of the kind. False
// when it cannot be carried out now (a full disk). Call it before the training area is shown.
bool FinishLesson(Program& program);

// Gives what `save` gives, called while no other lesson can begin and nothing of an earlier one is due; false
// without calling it when that cannot be finished.
[[nodiscard]] bool WithLessonsLocked(Program& program, const std::function<bool()>& save);

// Counts the messages as a lesson without training mail.
[[nodiscard]] bool LearnAsLesson(Program& program, std::span<const MailMessage* const> messages,
                                 LearnKind kind);

// What an undo would take back.
struct LessonSummary {
  std::uint32_t good = 0;  // messages as they were counted: bulk learning may count one several times
  std::uint32_t spam = 0;
  std::uint32_t mails = 0;  // that return to the training area
};

enum class UndoOutcome {
  kUndone,
  kNone,        // there is no lesson to be undone
  kDamaged,     // its record cannot be read
  kNotSaved,    // the lists could not be saved: nothing has changed
  kNotPutBack,  // the lists are without the lesson; the mail returns with the next FinishLesson
};

struct UndoneLesson {
  UndoOutcome outcome = UndoOutcome::kNone;
  LessonSummary lesson;
};

// Whether there is a record, of whatever quality; for a menu.
bool LastLessonExists(const Program& program);
// What the question before an undo says; the outcome is kUndone where it can be undone.
UndoneLesson LookAtLastLesson(Program& program);
// Once: the record is gone afterwards.
UndoneLesson UndoLastLesson(Program& program);
// Ends what can be undone, for whoever replaces the word lists by others. False when a record is still there.
bool ForgetLastLesson(Program& program);

// For training_lesson.cpp, which holds the lock of lessons: FinishLesson, and the last step of a lesson whose
// mail has left the area or stays in it.
bool FinishLessonUnderLock(Program& program);
void CloseLesson(const Program& program);

// The mail of a record as its file holds it, one behind the other. ParseTrainingMails gives nothing for bytes
// that are damaged.
void AppendTrainingMail(std::string& out, const LearntMail& mail);
std::optional<std::vector<LearntMail>> ParseTrainingMails(std::string_view bytes);

}  // namespace quillbeaker
