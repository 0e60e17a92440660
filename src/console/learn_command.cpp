// SPDX-License-Identifier: MIT
// `learn`: bulk learning from mail that the person names, with a word before anything doubtful is saved.
#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "config/texts.h"
#include "console/commands.h"
#include "console/json_text.h"
#include "console/learn_report.h"
#include "console/mail_folders.h"
#include "console/progress_line.h"
#include "filter/bulk_learning.h"
#include "platform/console.h"
#include "stores/last_lesson.h"

namespace quillbeaker {
namespace {

void PrintError(std::string_view text) {
  WriteStandardError(std::string(text) + "\n");
}

LearningManner MannerOf(const LearnOptions& options) {
  if (options.keen) return LearningManner::kKeen;
  return options.plain ? LearningManner::kPlain : LearningManner::kCareful;
}

// False, and said so, when a path names nothing: with half of the mail missing by a slip of the finger the
// filter would become worse than it was.
bool TakeMail(const LearnOptions& options, MailFolders& mails) {
  const auto add = [&mails](const std::vector<std::string>& paths, LearnKind kind) {
    for (const std::string& path : paths) {
      if (mails.Add(path, kind)) continue;
      PrintError(Format(Text::kLearnNoSuchPath, {DisplayLine(path)}));
      return false;
    }
    return true;
  };
  const bool taken = add(options.good, LearnKind::kGood) && add(options.spam, LearnKind::kSpam);
  mails.FinishAdding();
  return taken;
}

// Whether it may be saved: there is nothing to warn of, or the person knows.
bool MayBeSaved(const LearningSizes& sizes, bool yes) {
  const std::string warnings = LinesOfWarnings(sizes);
  WriteStandardError(warnings);
  if (warnings.empty() || yes) return true;
  if (!StandardInputIsTerminal() || !StandardOutputIsTerminal()) {
    PrintError(TextOf(Text::kLearnNotConfirmed));
    return false;
  }
  WriteStandardOutput(TextOf(Text::kLearnAllTheSame));
  const auto answer = ReadStandardInputLine();
  if (answer && (answer->starts_with('y') || answer->starts_with('Y'))) return true;
  PrintError(TextOf(Text::kLearnNothingLearnt));
  return false;
}

std::string Duration(double seconds) {
  const auto whole = static_cast<std::uint64_t>(seconds + 0.5);
  if (whole < 60) return Format(Text::kLearnSeconds, {std::to_string(whole)});
  return Format(Text::kLearnMinutes, {std::to_string(whole / 60), std::to_string(whole % 60)});
}

std::string ProgressText(std::uint64_t done, std::uint64_t of, double seconds) {
  const double rate = seconds > 0 ? static_cast<double>(done) / seconds : 0;
  std::string text = Format(Text::kLearnProgress, {std::to_string(done), std::to_string(of),
                                                   std::to_string(static_cast<std::uint64_t>(rate))});
  // The first moments say nothing of the rest.
  constexpr double kTellsFrom = 0.5;
  if (seconds >= kTellsFrom && done > 0 && done < of) {
    text += Format(Text::kLearnTimeLeft, {Duration(static_cast<double>(of - done) / rate)});
  }
  return text;
}

// Counts the mails until they are at their end or somebody presses Ctrl+C.
void RunWithProgress(BulkLearning& learning, ProgressLine& line) {
  // Shared with the thread that waits for Ctrl+C, which ends with the process only.
  const auto ended = std::make_shared<std::atomic<bool>>(false);
  OnInterrupt([ended] { *ended = true; });
  const auto start = std::chrono::steady_clock::now();
  learning.Run([&](std::uint64_t done, std::uint64_t of) {
    if (line.IsDue(done == of)) {
      const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
      line.Draw(done, of, ProgressText(done, of, elapsed.count()));
    }
    return !*ended;
  });
  line.Clear();
}

// In its turn among the lessons: what is left of an earlier one is finished first.
bool SaveLesson(Program& program, BulkLearning& learning) {
  return WithLessonsLocked(program, [&] { return learning.Save(); });
}

}  // namespace

int Learn(Program& program, const LearnOptions& options) {
  if (options.undo) return UndoLearning(program, options);
  ProgressLine line;
  MailFolders mails([&line](std::size_t found) {
    if (line.IsDue(false)) line.Draw(0, 0, Format(Text::kLearnLooking, {std::to_string(found)}));
  });
  const bool taken = TakeMail(options, mails);
  line.Clear();
  if (!taken) return kExitFailed;
  if (mails.size() == 0) {
    WriteStandardError(LinesOfMailLeftOut(mails));
    PrintError(TextOf(Text::kLearnNoMail));
    return kExitFailed;
  }
  BulkLearning learning(program, mails, MannerOf(options));
  if (!MayBeSaved(learning.sizes(), options.yes)) return kExitFailed;
  RunWithProgress(learning, line);
  if (!SaveLesson(program, learning)) {
    PrintError(TextOf(Text::kLearnNotSaved));
    return kExitFailed;
  }
  const BulkReport& report = learning.report();
  // Ended early, there may be too little mail of a kind, which nobody was asked about.
  if (report.interrupted) WriteStandardError(LinesOfWarnings(SizesLearnt(report)));
  WriteStandardOutput(options.json ? JsonLine(JsonOfLearning(report, mails))
                                   : LinesOfLearning(report, mails, program));
  return kExitDone;
}

}  // namespace quillbeaker
