// SPDX-License-Identifier: MIT
// `learn --undo`: the last lesson is taken back, whichever command or window gave it.
#include <string>

#include "config/texts.h"
#include "console/commands.h"
#include "console/json_text.h"
#include "platform/console.h"
#include "stores/last_lesson.h"

namespace quillbeaker {
namespace {

int Fail(Text text) {
  WriteStandardError(std::string(TextOf(text)) + "\n");
  return kExitFailed;
}

bool MayBeUndone(const LessonSummary& lesson, bool yes, Text& why_not) {
  if (yes) return true;
  why_not = Text::kUndoNotConfirmed;
  if (!StandardInputIsTerminal() || !StandardOutputIsTerminal()) return false;
  WriteStandardOutput(
      Format(Text::kUndoQuestion, {std::to_string(lesson.spam), std::to_string(lesson.good)}));
  const auto answer = ReadStandardInputLine();
  why_not = Text::kUndoNothing;
  return answer && (answer->starts_with('y') || answer->starts_with('Y'));
}

void Tell(const LessonSummary& lesson, bool json) {
  if (json) {
    WriteStandardOutput(JsonLine(
        Json{{"good_undone", lesson.good}, {"spam_undone", lesson.spam}, {"mails_back", lesson.mails}}));
    return;
  }
  std::string text = Format(Text::kUndone, {std::to_string(lesson.spam), std::to_string(lesson.good)}) + "\n";
  if (lesson.mails > 0) text += Format(Text::kUndoMailsBack, {std::to_string(lesson.mails)}) + "\n";
  WriteStandardOutput(text);
}

int Explain(UndoOutcome outcome) {
  switch (outcome) {
    case UndoOutcome::kNone:
      return Fail(Text::kUndoNoLesson);
    case UndoOutcome::kDamaged:
      return Fail(Text::kUndoDamaged);
    case UndoOutcome::kNotSaved:
      return Fail(Text::kUndoNotSaved);
    case UndoOutcome::kNotPutBack:
      return Fail(Text::kUndoNotPutBack);
    case UndoOutcome::kUndone:
      break;
  }
  return kExitDone;
}

}  // namespace

int UndoLearning(Program& program, const LearnOptions& options) {
  const UndoneLesson last = LookAtLastLesson(program);
  if (last.outcome != UndoOutcome::kUndone) return Explain(last.outcome);
  Text why_not = Text::kUndoNothing;
  if (!MayBeUndone(last.lesson, options.yes, why_not)) return Fail(why_not);
  const UndoneLesson undone = UndoLastLesson(program);
  if (undone.outcome == UndoOutcome::kUndone) Tell(undone.lesson, options.json);
  return Explain(undone.outcome);
}

}  // namespace quillbeaker
