// SPDX-License-Identifier: MIT
// `training`: the training area from the terminal.
#include <algorithm>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "config/texts.h"
#include "console/commands.h"
#include "console/failure_text.h"
#include "console/json_text.h"
#include "console/progress_line.h"
#include "extras/entry_text.h"
#include "platform/console.h"
#include "platform/files.h"
#include "stores/last_lesson.h"
#include "stores/training_area.h"
#include "stores/training_lesson.h"

namespace quillbeaker {
namespace {

using Entries = std::vector<TrainingEntry>;
using Names = std::vector<std::string>;

int Fail(const std::string& text) {
  WriteStandardError(text + "\n");
  return kExitFailed;
}

int Fail(Text text) {
  return Fail(std::string(TextOf(text)));
}

int Fail(Text text, const FileResult& why) {
  return Fail(WithReason(text, why));
}

int FailNoSuchMessage(const std::string& name) {
  return Fail(Format(Text::kNoSuchTrainingMessage, {DisplayLine(name)}));
}

// What the options of `mark` and the JSON call it.
const char* NameOf(TrainingMark mark) {
  switch (mark) {
    case TrainingMark::kSpam:
      return "spam";
    case TrainingMark::kGood:
      return "good";
    case TrainingMark::kNone:
      break;
  }
  return "none";
}

std::string_view WordFor(TrainingMark mark) {
  switch (mark) {
    case TrainingMark::kSpam:
      return TextOf(Text::kMarkedSpam);
    case TrainingMark::kGood:
      return TextOf(Text::kMarkedGood);
    case TrainingMark::kNone:
      break;
  }
  return TextOf(Text::kMarkedNone);
}

std::string DateOf(const TrainingEntry& entry) {
  return HasEntryDate(entry.day) ? EntryDate(entry.day, entry.minutes) : std::string();
}

Json JsonOf(const TrainingEntry& entry) {
  return {{"name", JsonBytes(entry.name)},
          {"mark", NameOf(entry.mark)},
          {"date", HasEntryDate(entry.day) ? Json(entry.day) : Json()},
          {"time", HasEntryDate(entry.day) ? Json(EntryTime(entry.minutes)) : Json()},
          {"subject", entry.subject ? JsonBytes(*entry.subject) : Json()},
          {"sender", JsonBytes(entry.sender)},
          {"address", JsonBytes(entry.address)},
          {"size", entry.size}};
}

std::string LineOf(const TrainingEntry& entry) {
  return std::string(WordFor(entry.mark)) + " " + DisplayLine(entry.name) + "  " + EntrySize(entry.size) +
         "\n" +
         EntryLine(EntryDate(entry.day, entry.minutes) + "  " + EntrySender(entry.sender, entry.address)) +
         EntryLine(DisplayLine(entry.subject.value_or("")));
}

int List(TrainingArea& area, bool json) {
  const auto entries = area.List();
  if (!entries) {
    return Fail(Text::kTrainingUnreadable, area.TroubleWithIndex());
  }
  Json array = Json::array();
  std::string text;
  for (const TrainingEntry& entry : *entries) {
    if (json) {
      array.push_back(JsonOf(entry));
    } else {
      text += LineOf(entry);
    }
  }
  WriteStandardOutput(json ? JsonLine(array) : text);
  return kExitDone;
}

// Of entries of one name the first is meant.
const TrainingEntry* Find(const Entries& entries, const std::string& name) {
  const auto found =
      std::find_if(entries.begin(), entries.end(), [&](const TrainingEntry& e) { return e.name == name; });
  return found == entries.end() ? nullptr : &*found;
}

std::string HeadLine(Text what, const std::string& value) {
  return value.empty() ? std::string() : std::string(TextOf(what)) + ": " + value + "\n";
}

int View(TrainingArea& area, const Names& names) {
  const auto entries = area.List();
  if (!entries) {
    return Fail(Text::kTrainingUnreadable, area.TroubleWithIndex());
  }
  for (const std::string& name : names) {
    const TrainingEntry* entry = Find(*entries, name);
    const std::string path = area.PathOfMessage(name);
    const auto stored = entry && !path.empty() ? ReadWholeFile(path) : std::nullopt;
    if (!stored) {
      return FailNoSuchMessage(name);
    }
    std::string text = HeadLine(Text::kSender, EntrySender(entry->sender, entry->address)) +
                       HeadLine(Text::kSubject, DisplayLine(entry->subject.value_or(""))) +
                       HeadLine(Text::kDate, DateOf(*entry));
    // Most texts begin with the empty line that ended the mail's header.
    if (!stored->starts_with('\r') && !stored->starts_with('\n')) {
      text += "\n";
    }
    WriteStandardOutput(text + DisplayText(*stored) + "\n");
  }
  return kExitDone;
}

// Every name must be in the index before anything is done to one of them; what stands there as it should is
// no failure. `is_done` is asked with the entry, or none when there is none of the name.
int Change(TrainingArea& area, const Names& names, const std::function<bool(const TrainingEntry*)>& is_done,
           const std::function<FileResult()>& change) {
  const auto all_done = [&](const std::optional<Entries>& entries) {
    return entries && std::all_of(names.begin(), names.end(),
                                  [&](const std::string& name) { return is_done(Find(*entries, name)); });
  };
  const auto entries = area.List();
  if (!entries) {
    return Fail(Text::kTrainingUnreadable, area.TroubleWithIndex());
  }
  for (const std::string& name : names) {
    if (!Find(*entries, name)) {
      return FailNoSuchMessage(name);
    }
  }
  // A mail check's purge, or another terminal, may have been faster: then there is nothing to save.
  if (all_done(entries)) return kExitDone;
  const FileResult changed = change();
  return changed || all_done(area.List()) ? kExitDone : Fail(Text::kNotSaved, changed);
}

int Mark(TrainingArea& area, const TrainingOptions& options) {
  return Change(
      area, options.names, [&](const TrainingEntry* entry) { return entry && entry->mark == options.mark; },
      [&] { return area.SetMark(options.names, options.mark); });
}

int Delete(TrainingArea& area, const Names& names) {
  return Change(
      area, names, [](const TrainingEntry* entry) { return entry == nullptr; },
      [&] { return area.DeleteMessages(names); });
}

int TellLesson(const TrainingLesson& lesson) {
  if (!lesson.lists_saved) {
    return Fail(Text::kNotLearned);
  }
  std::string text =
      Format(Text::kLearnedFrom, {std::to_string(lesson.spam), std::to_string(lesson.good)}) + "\n";
  if (lesson.unreadable > 0) {
    text += Format(Text::kLearnedUnreadable, {std::to_string(lesson.unreadable)}) + "\n";
  }
  if (!lesson.removed) {
    WriteStandardOutput(text);
    return Fail(Text::kLearnedNotRemoved);
  }
  WriteStandardOutput(text.append(TextOf(Text::kHasLearned)) + "\n");
  return kExitDone;
}

int Learn(Program& program, TrainingArea& area) {
  const auto entries = area.List();
  if (!entries) {
    return Fail(Text::kTrainingUnreadable, area.TroubleWithIndex());
  }
  const auto marked = static_cast<std::uint64_t>(std::count_if(
      entries->begin(), entries->end(),
      [](const TrainingEntry& entry) { return entry.mark != TrainingMark::kNone && !entry.name.empty(); }));
  if (marked == 0) {
    WriteStandardOutput(std::string(TextOf(Text::kNothingMarked)) + "\n");
    return kExitDone;
  }
  ProgressLine progress;
  std::uint64_t position = 0;
  const auto draw = [&](bool at_once) {
    if (progress.IsDue(at_once)) {
      progress.Draw(position, marked, TextOf(Text::kStatusLearning));
    }
  };
  draw(true);
  const TrainingLesson lesson = LearnFromTrainingArea(program, *entries, {}, [&] {
    ++position;
    draw(position == marked);
  });
  progress.Clear();
  return TellLesson(lesson);
}

}  // namespace

int ManageTraining(Program& program, const TrainingOptions& options) {
  TrainingArea area(program);
  // What cannot be finished now is finished later; the area is shown as it is until then.
  static_cast<void>(FinishLesson(program));
  switch (options.action) {
    case TrainingOptions::Action::kList:
      return List(area, options.json);
    case TrainingOptions::Action::kView:
      return View(area, options.names);
    case TrainingOptions::Action::kMark:
      return Mark(area, options);
    case TrainingOptions::Action::kDelete:
      return Delete(area, options.names);
    case TrainingOptions::Action::kLearn:
      return Learn(program, area);
  }
  return kExitWrongUsage;
}

}  // namespace quillbeaker
