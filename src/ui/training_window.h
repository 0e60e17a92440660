// SPDX-License-Identifier: MIT
#pragma once

// The window of the training area: a list of mails with marks, what the filter knows below it, and the dialog
// with the progress of a lesson. Mail may be dropped onto it.

#include <windows.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string_view>

#include "ui/learning_window.h"
#include "ui/mail_drop_target.h"
#include "ui/mail_list_window.h"
#include "ui/presenter/training_list.h"
#include "ui/store_changes.h"
#include "ui/view_message_window.h"

namespace quillbeaker {

class TrainingWindow : public MailListWindow, private TrainingView {
 public:
  TrainingWindow(WindowSurroundings& surroundings, int argument);

 private:
  MailList& Mails() override { return mails_; }
  UniqueImageList RowPictures(int dpi) override;
  std::span<const Anchor> Anchors() const override;
  std::span<const ACCEL> Accelerators() const override;
  bool OnInit() override;
  bool OnCommand(int id, int notification) override;
  bool OnMessage(UINT message, WPARAM wparam, LPARAM lparam, LRESULT& result) override;
  void OnTimer(UINT_PTR timer) override;
  void OnClosing() override;
  void OnDestroyed() override;

  // TrainingView
  void BeginLearning(std::uint32_t marked, std::shared_ptr<LessonProgress> progress) override;
  void EndLearning() override;
  void ShowKnowledge(std::string_view text) override;
  void ViewMail(std::string_view name) override;
  void ExplainMail(const MailToExplain& mail) override;
  void RowsAreOthers() override;
  void CloseWindow() override;

  bool AcceptDrop(DroppedTrainingMail dropped);

  TrainingList mails_;
  MessageViewer viewer_;
  std::unique_ptr<LearningWindow> learning_;
  UniqueMailDropTarget drop_target_;
  StoreChanges::Subscription changes_;
};

}  // namespace quillbeaker
