// SPDX-License-Identifier: MIT
#pragma once

// Takes a lesson back from the learnt word lists. What becomes of its mail is not decided here
// (stores/last_lesson.h).

#include "config/program.h"
#include "filter/lesson_record.h"

namespace quillbeaker {

// Subtracts what the record of the last lesson says from both lists as they are now, never below 0, and makes
// it the undone record, in one step under the lists' lock. False when nothing has changed. Only under the
// lock of lessons.
[[nodiscard]] bool SubtractLesson(const Program& program, const LessonRecord& record);

// Finishes what a crash has left of a saving of both lists, if there is any. False when it could not be
// finished now.
[[nodiscard]] bool FinishSavingLists(const Program& program);

}  // namespace quillbeaker
