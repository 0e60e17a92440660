// SPDX-License-Identifier: MIT
#include "ui/presenter/training_list.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "config/texts.h"
#include "extras/entry_text.h"
#include "filter/known_messages.h"
#include "filter/sender_lists.h"
#include "message/display_text.h"
#include "platform/files.h"
#include "ui/presenter/sender_dialog.h"
#include "ui/resource.h"

namespace quillbeaker {
namespace {

enum Column : std::size_t { kMark, kSender, kSubject, kDate, kSize, kColumns };

constexpr std::string_view kDeleteKey = "TrainingDeleteQuestion";
constexpr std::string_view kLearntKey = "TrainingAreaHasLearned";

// Of the pictures beside the rows.
constexpr int kSpamPicture = 0;
constexpr int kGoodPicture = 1;

// A larger index is read on a thread of its own: the window shall not wait for it.
constexpr std::uint64_t kMostReadAtOnce = std::uint64_t{1} << 20;

constexpr std::size_t kMostTakenInUnasked = 50;

bool IsMarked(const TrainingEntry& entry) {
  return entry.mark != TrainingMark::kNone && !entry.name.empty();
}

std::optional<std::vector<TrainingEntry>> ListArea(Program& program) {
  // What cannot be finished now is finished later; the area is shown as it is until then.
  static_cast<void>(FinishLesson(program));
  return TrainingArea(program).List();
}

struct Lesson {
  TrainingLesson result;
  std::vector<std::string> learnt;
};

Lesson GiveLesson(Program& program, const std::vector<TrainingEntry>& entries, LessonProgress& progress) {
  Lesson lesson;
  lesson.result = LearnFromTrainingArea(
      program, entries, [&](const TrainingEntry& entry) { lesson.learnt.push_back(entry.name); },
      [&] { ++progress.counted; }, [&] { return progress.is_stopped.load(); });
  return lesson;
}

std::string TextOfKnowledge(const KnownMessages& known) {
  std::string text = Format(Text::kFilterKnows, {std::to_string(known.good), std::to_string(known.spam)});
  if (IsTooLittle(known)) {
    text += " " + Format(Text::kFilterKnowsTooLittle, {std::to_string(kFewKnownMessages)});
  } else if (IsUneven(known)) {
    text.append(" ").append(TextOf(Text::kFilterKnowsUneven));
  }
  return text;
}

Text TroubleOf(UndoOutcome outcome) {
  switch (outcome) {
    case UndoOutcome::kNone:
      return Text::kUndoNoLesson;
    case UndoOutcome::kDamaged:
      return Text::kUndoDamaged;
    case UndoOutcome::kNotPutBack:
      return Text::kUndoNotPutBack;
    case UndoOutcome::kNotSaved:
    case UndoOutcome::kUndone:
      break;
  }
  return Text::kUndoNotSaved;
}

}  // namespace

TrainingList::TrainingList(Program& program, MailListView& list, TrainingView& view)
    : MailListOf(list), program_(program), window_(view) {}

TrainingList::~TrainingList() {
  Stop();
}

std::vector<std::string> TrainingList::Columns() const {
  return {"", std::string(TextOf(Text::kSender)), std::string(TextOf(Text::kSubject)),
          std::string(TextOf(Text::kDate)), std::string(TextOf(Text::kSize))};
}

std::vector<ColumnLook> TrainingList::ColumnLooks() const {
  return {{20}, {170}, {305}, {115}, {75, true}};
}

std::string TrainingList::EntryText(std::size_t entry, std::size_t column) const {
  const TrainingEntry& mail = entries_[entry];
  switch (column) {
    case kSender:
      return EntrySender(mail.sender.empty() ? mail.address : mail.sender, "");
    case kSubject:
      return DisplayLine(mail.subject.value_or(""));
    case kDate:
      return MailDate(mail.day, mail.minutes);
    case kSize:
      return quillbeaker::EntrySize(mail.size);
    default:
      return {};
  }
}

int TrainingList::EntryPicture(std::size_t entry) const {
  switch (entries_[entry].mark) {
    case TrainingMark::kSpam:
      return kSpamPicture;
    case TrainingMark::kGood:
      return kGoodPicture;
    case TrainingMark::kNone:
      break;
  }
  return -1;
}

bool TrainingList::IsNumber(std::size_t column) const {
  return column == kMark || column == kDate || column == kSize;
}

double TrainingList::NumberIn(std::size_t entry, std::size_t column) const {
  const TrainingEntry& mail = entries_[entry];
  if (column == kMark) return static_cast<double>(mail.mark);
  if (column == kSize) return mail.size;
  // A mail without a date counts as the newest, as its day number has it.
  constexpr double kMinutesOfADay = 24 * 60;
  return mail.day * kMinutesOfADay + mail.minutes;
}

// A large index is read behind the window, which is empty until then.
void TrainingList::Open() {
  ShowKnowledge();
  const std::uint64_t size = FileSize(TrainingArea(program_).index_path()).value_or(0);
  Load(size > kMostReadAtOnce);
}

void TrainingList::Reload() {
  Load(true);
}

void TrainingList::Load(bool is_behind) {
  const auto show = [this](std::optional<std::vector<TrainingEntry>> entries, std::uint64_t changes) {
    if (changes != changes_) {
      Load(true);
    } else if (entries) {
      ShowEntries(*std::move(entries));
      window_.RowsAreOthers();
    } else {
      view_.Tell(TextOf(Text::kTrainingUnreadable));
    }
  };
  if (!is_behind) {
    show(ListArea(program_), changes_);
    return;
  }
  view_.RunBehind([&program = program_, show, changes = changes_] {
    auto entries = std::make_shared<std::optional<std::vector<TrainingEntry>>>(ListArea(program));
    return [show, changes, entries] { show(std::move(*entries), changes); };
  });
}

void TrainingList::ShowKnowledge() const {
  window_.ShowKnowledge(TextOfKnowledge(ReadKnownMessages(program_)));
}

bool TrainingList::IsAnyMarked() const {
  return std::any_of(entries_.begin(), entries_.end(), IsMarked);
}

bool TrainingList::CanRun(int command) const {
  switch (command) {
    case COMMAND_LEARN:
      return IsAnyMarked() && !lesson_;
    case COMMAND_UNDO_LEARNING:
      return LastLessonExists(program_) && !lesson_;
    case COMMAND_VIEW_MAIL:
    case COMMAND_WHY_TAKEN:
      return FocusedEntry() != kNone;
    default:
      return IsAnySelected();
  }
}

bool TrainingList::Run(int command) {
  switch (command) {
    case COMMAND_VIEW_MAIL:
      View();
      return true;
    case COMMAND_WHY_TAKEN:
      Explain();
      return true;
    case COMMAND_DELETE_MAIL:
      Delete();
      return true;
    case COMMAND_MARK_SPAM:
      Mark(TrainingMark::kSpam);
      return true;
    case COMMAND_MARK_GOOD:
      Mark(TrainingMark::kGood);
      return true;
    case COMMAND_BLOCK_SENDER:
      AddSenders(kSenderBlocked);
      return true;
    case COMMAND_BEFRIEND_SENDER:
      AddSenders(kSenderFriend);
      return true;
    case COMMAND_LEARN:
      Learn({});
      return true;
    case COMMAND_UNDO_LEARNING:
      UndoLearning();
      return true;
    default:
      return false;
  }
}

// Deliberate: where all of the selection has the mark already, it loses it.
void TrainingList::Mark(TrainingMark mark) {
  const std::vector<std::size_t> selected = SelectedEntries();
  if (selected.empty()) return;
  const bool all_have_it = std::all_of(selected.begin(), selected.end(),
                                       [&](std::size_t entry) { return entries_[entry].mark == mark; });
  const TrainingMark wanted = all_have_it ? TrainingMark::kNone : mark;
  const std::vector<std::string> names = SelectedNames();
  const FileResult saved = TrainingArea(program_).SetMark(names, wanted);
  if (!saved) {
    view_.Tell(TextOf(Text::kNotSaved));
    Reload();
    return;
  }
  ++changes_;
  ShowAgain([&] {
    for (const std::size_t entry : selected) entries_[entry].mark = wanted;
  });
}

void TrainingList::Learn(const std::function<void()>& afterwards) {
  const auto marked = static_cast<std::uint32_t>(std::count_if(entries_.begin(), entries_.end(), IsMarked));
  if (marked == 0 || lesson_) {
    if (afterwards) afterwards();
    return;
  }
  lesson_ = std::make_shared<LessonProgress>();
  view_.ShowState(TextOf(Text::kStatusLearning));
  window_.BeginLearning(marked, lesson_);
  view_.RunBehind([this, &program = program_, entries = entries_, progress = lesson_, afterwards] {
    auto lesson = std::make_shared<Lesson>(GiveLesson(program, entries, *progress));
    return [this, lesson, afterwards] {
      HasLearnt(lesson->result, lesson->learnt);
      if (afterwards) afterwards();
    };
  });
}

void TrainingList::HasLearnt(const TrainingLesson& lesson, const std::vector<std::string>& names) {
  lesson_.reset();
  window_.EndLearning();
  TakeRowsAway(names);
  view_.ShowState(TextOf(Text::kStatusReady));
  ShowKnowledge();
  if (!lesson.lists_saved) {
    view_.Tell(TextOf(Text::kNotLearned));
  } else if (!lesson.removed) {
    view_.Tell(TextOf(Text::kLearnedNotRemoved));
  } else if (!lesson.stopped || lesson.good + lesson.spam > 0) {
    view_.TellOptional(Text::kHasLearned, kLearntKey);
  }
}

// The window is the same before and after each box, but rows may have left it while one stood.
void TrainingList::Delete() {
  const std::vector<std::string> names = SelectedNames();
  if (names.empty()) return;
  const Text question = names.size() == 1 ? Text::kDeleteMailQuestion : Text::kDeleteMailsQuestion;
  if (!view_.AskOptional(question, kDeleteKey)) return;
  view_.RunBehind([this, &program = program_, names] {
    const bool deleted = static_cast<bool>(TrainingArea(program).DeleteMessages(names));
    return [this, names, deleted] {
      // What a purge has deleted meanwhile needs no word.
      if (deleted) TakeRowsAway(names);
      if (!deleted) Reload();
    };
  });
}

void TrainingList::TakeRowsAway(const std::vector<std::string>& names) {
  ++changes_;
  RemoveRows(names);
  window_.RowsAreOthers();
}

// One dialog after the other; a sender of several mails is offered once, and Cancel ends it.
void TrainingList::AddSenders(std::int32_t kind) {
  std::vector<SenderRecord> senders;
  for (const std::size_t entry : SelectedEntries()) {
    const TrainingEntry& mail = entries_[entry];
    const bool is_known = std::any_of(senders.begin(), senders.end(),
                                      [&](const SenderRecord& one) { return one.address == mail.address; });
    if (mail.address.empty() || is_known) continue;
    SenderRecord sender;
    sender.kind = kind;
    sender.name = mail.sender;
    sender.address = mail.address;
    senders.push_back(std::move(sender));
  }
  SenderLists lists(program_);
  for (SenderRecord& sender : senders) {
    SenderDialog dialog(std::move(sender), /*is_new=*/true, program_.configuration.path(),
                        [&lists](const SenderRecord& record) { return lists.Add(record); });
    if (!view_.RunDialog(DIALOG_SENDER, dialog)) return;
  }
}

void TrainingList::UndoLearning() {
  if (lesson_) return;
  const UndoneLesson last = LookAtLastLesson(program_);
  if (last.outcome != UndoOutcome::kUndone) {
    view_.Tell(TextOf(TroubleOf(last.outcome)));
    return;
  }
  if (!view_.Ask(Format(Text::kUndoLearningQuestion,
                        {std::to_string(last.lesson.spam), std::to_string(last.lesson.good)}))) {
    return;
  }
  view_.RunBehind([this, &program = program_] {
    const UndoneLesson undone = UndoLastLesson(program);
    return [this, undone] { HasUndone(undone); };
  });
}

void TrainingList::HasUndone(const UndoneLesson& undone) {
  ++changes_;
  ShowKnowledge();
  Reload();
  if (undone.outcome != UndoOutcome::kUndone) {
    view_.Tell(TextOf(TroubleOf(undone.outcome)));
    return;
  }
  view_.ShowState(
      Format(Text::kUndone, {std::to_string(undone.lesson.spam), std::to_string(undone.lesson.good)}));
}

void TrainingList::View() const {
  const std::size_t focused = FocusedEntry();
  if (focused != kNone) window_.ViewMail(entries_[focused].name);
}

void TrainingList::Explain() const {
  const std::size_t focused = FocusedEntry();
  if (focused == kNone) return;
  const TrainingEntry& mail = entries_[focused];
  const std::string path = TrainingArea(program_).PathOfMessage(mail.name);
  window_.ExplainMail(
      {.path = path, .stored_subject = mail.subject.value_or(""), .stored_sender = mail.address});
}

std::optional<MailToView> TrainingList::MailOf(std::string_view name) const {
  const auto found = std::find_if(entries_.begin(), entries_.end(),
                                  [name](const TrainingEntry& entry) { return entry.name == name; });
  if (found == entries_.end()) return std::nullopt;
  return MailToView{.path = TrainingArea(program_).PathOfMessage(name),
                    .is_stored_text = true,
                    .sender = found->sender,
                    .address = found->address,
                    .subject = found->subject.value_or(""),
                    .date = MailDate(found->day, found->minutes)};
}

// Deliberate: the window closes whatever is answered, and after a lesson whatever became of it.
void TrainingList::Close() {
  if (lesson_) return;
  if (!IsAnyMarked() || !view_.Ask(TextOf(Text::kLearnQuestion))) {
    window_.CloseWindow();
    return;
  }
  Learn([this] { window_.CloseWindow(); });
}

void TrainingList::Stop() {
  *is_stopped_ = true;
  if (lesson_) lesson_->is_stopped = true;
}

bool TrainingList::Accept(DroppedTrainingMail dropped) {
  std::erase_if(dropped.mails, [](const std::string& mail) { return !IsMailWithSender(mail); });
  if (dropped.IsEmpty()) return false;
  dropped_.push_back(std::move(dropped));
  return true;
}

void TrainingList::TakeDropped() {
  while (!dropped_.empty()) {
    DroppedTrainingMail dropped = std::move(dropped_.front());
    dropped_.pop_front();
    view_.ShowState(TextOf(Text::kTakingInMail));
    view_.RunBehind([this, stopped = is_stopped_,
                     dropped = std::make_shared<DroppedTrainingMail>(std::move(dropped))]() mutable {
      auto counted = std::make_shared<CountedMail>(CountMail(std::move(*dropped), *stopped));
      return [this, counted] { TakeCounted(counted); };
    });
  }
}

void TrainingList::TakeCounted(const std::shared_ptr<CountedMail>& counted) {
  const bool is_wanted = counted->count <= kMostTakenInUnasked ||
                         view_.Ask(Format(Text::kTakeInQuestion, {std::to_string(counted->count)}));
  if (!is_wanted) {
    view_.ShowState(TextOf(Text::kStatusReady));
    return;
  }
  view_.RunBehind([this, &program = program_, stopped = is_stopped_, counted] {
    const TakenIn taken = PutIntoTrainingArea(program, *counted, *stopped);
    return [this, taken] {
      view_.ShowState(Format(Text::kTakenIn, {std::to_string(taken.added), std::to_string(taken.left_out)}));
      Reload();
    };
  });
}

}  // namespace quillbeaker
