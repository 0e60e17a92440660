// SPDX-License-Identifier: MIT
#pragma once

// The training area's window: recent mail, the marks that a person gives it, and what is done with them.
// Every change goes to the store by the names of the mails. Knows no window; one thread, that of the window,
// but for the work that it hands to MailListView::RunBehind.

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "config/program.h"
#include "stores/last_lesson.h"
#include "stores/training_area.h"
#include "stores/training_lesson.h"
#include "ui/presenter/dropped_training_mail.h"
#include "ui/presenter/mail_list.h"
#include "ui/presenter/mail_to_explain.h"
#include "ui/presenter/viewed_mails.h"

namespace quillbeaker {

// How far a lesson on another thread has come, and whether a person wants it to end.
struct LessonProgress {
  std::atomic<std::uint32_t> counted = 0;
  std::atomic<bool> is_stopped = false;
};

// What the training area asks of its window beyond a list.
class TrainingView {
 public:
  virtual ~TrainingView() = default;
  // The dialog with the progress bar, from 0 to `marked`, shows what `progress` says until EndLearning; its
  // Cancel stops the lesson. The window takes nothing else meanwhile.
  virtual void BeginLearning(std::uint32_t marked, std::shared_ptr<LessonProgress> progress) = 0;
  virtual void EndLearning() = 0;
  // What the filter knows, with a warning.
  virtual void ShowKnowledge(std::string_view text) = 0;
  virtual void ViewMail(std::string_view name) = 0;
  virtual void ExplainMail(const MailToExplain& mail) = 0;
  // The rows or their order are others.
  virtual void RowsAreOthers() = 0;
  // The window closes, whatever is marked.
  virtual void CloseWindow() = 0;
};

class TrainingList : public MailListOf<TrainingEntry> {
 public:
  // All must outlive this object; `list` and `view` are one window.
  TrainingList(Program& program, MailListView& list, TrainingView& view);
  ~TrainingList() override;

  // MailList
  void Open() override;
  bool Run(int command) override;
  bool CanRun(int command) const override;
  std::vector<std::string> Columns() const override;
  std::vector<ColumnLook> ColumnLooks() const override;

  // A person closes the window: asks about marked mail, and calls CloseWindow in any case.
  void Close();
  // The window is being taken down: a lesson ends as soon as it can.
  void Stop();

  // Takes what was dropped for later (TakeDropped): whoever dropped it waits. False when there is no mail in
  // it.
  bool Accept(DroppedTrainingMail dropped);
  void TakeDropped();

  // The area has other mail now.
  void Reload();

  // ViewedMails
  std::optional<MailToView> MailOf(std::string_view name) const override;

 protected:
  std::string EntryText(std::size_t entry, std::size_t column) const override;
  int EntryPicture(std::size_t entry) const override;
  bool IsNumber(std::size_t column) const override;
  double NumberIn(std::size_t entry, std::size_t column) const override;

 private:
  void Mark(TrainingMark mark);
  void Learn(const std::function<void()>& afterwards);
  void HasLearnt(const TrainingLesson& lesson, const std::vector<std::string>& names);
  void Delete();
  void AddSenders(std::int32_t kind);
  void UndoLearning();
  void HasUndone(const UndoneLesson& undone);
  void View() const;
  void Explain() const;
  void TakeCounted(const std::shared_ptr<CountedMail>& counted);
  void TakeRowsAway(const std::vector<std::string>& names);
  void Load(bool is_behind);
  void ShowKnowledge() const;
  bool IsAnyMarked() const;

  Program& program_;
  TrainingView& window_;
  std::shared_ptr<LessonProgress> lesson_;  // null while none goes on
  std::deque<DroppedTrainingMail> dropped_;
  // Shared with work that may outlive this object.
  std::shared_ptr<std::atomic<bool>> is_stopped_ = std::make_shared<std::atomic<bool>>(false);
  std::uint64_t changes_ = 0;  // of entries_ by a person: a list read before one of them is stale
};

}  // namespace quillbeaker
