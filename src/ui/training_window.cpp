// SPDX-License-Identifier: MIT
#include "ui/training_window.h"

#include <commctrl.h>

#include <utility>

#include "ui/presenter/anchors.h"
#include "ui/resource.h"
#include "ui/why_window.h"
#include "ui/wide_text.h"

namespace quillbeaker {
namespace {

constexpr ToolButton kButtons[] = {
    {COMMAND_VIEW_MAIL, Text::kViewMessage}, {COMMAND_DELETE_MAIL, Text::kDelete},
    {COMMAND_MARK_GOOD, Text::kNonSpam},     {COMMAND_MARK_SPAM, Text::kSpam},
    {COMMAND_LEARN, Text::kLearn},           {COMMAND_TOOLBAR_HELP, Text::kHelp},
};

constexpr ListKey kKeys[] = {
    {VK_RETURN, COMMAND_VIEW_MAIL},
    {VK_DELETE, COMMAND_DELETE_MAIL},
    {'S', COMMAND_MARK_SPAM},
    {'N', COMMAND_MARK_GOOD},
};

constexpr MailListLook kLook{
    .toolbar = TRAINING_TOOLBAR,
    .list = TRAINING_LIST,
    .status = TRAINING_STATUS,
    .menu = MENU_TRAINING_MAIL,
    .tool_bitmap = BITMAP_TRAINING_TOOLBAR,
    .buttons = kButtons,
    .keys = kKeys,
};

constexpr Anchor kAnchors[] = {
    {TRAINING_TOOLBAR, kLeftEdge | kTopEdge | kRightEdge},
    {TRAINING_LIST, kAllEdges},
    {TRAINING_KNOWLEDGE, kLeftEdge | kRightEdge | kBottomEdge},
    {TRAINING_STATUS, kLeftEdge | kRightEdge | kBottomEdge},
};

constexpr ACCEL kAccelerators[] = {{FVIRTKEY | FCONTROL, 'I', COMMAND_WHY_TAKEN}};

// A drop while a box stands over the window waits for its end.
constexpr UINT_PTR kDropTimer = 1;
constexpr UINT kDropMilliseconds = 200;

}  // namespace

TrainingWindow::TrainingWindow(WindowSurroundings& surroundings, int /*argument*/)
    : MailListWindow(DIALOG_TRAINING_AREA, kLook, surroundings),
      mails_(surroundings.program, *this, *this),
      viewer_(surroundings, mails_) {}

std::span<const Anchor> TrainingWindow::Anchors() const {
  return kAnchors;
}

std::span<const ACCEL> TrainingWindow::Accelerators() const {
  return kAccelerators;
}

// In the order of the numbers that the presenter gives.
UniqueImageList TrainingWindow::RowPictures(int dpi) {
  const int size = GetSystemMetricsForDpi(SM_CXSMICON, static_cast<UINT>(dpi));
  UniqueImageList pictures(ImageList_Create(size, size, ILC_COLOR32 | ILC_MASK, 2, 0));
  if (pictures == nullptr) return pictures;
  for (const int icon : {ICON_MARK_SPAM, ICON_MARK_GOOD}) {
    const UniqueIcon loaded(static_cast<HICON>(LoadImageW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(icon),
                                                          IMAGE_ICON, size, size, LR_DEFAULTCOLOR)));
    ImageList_ReplaceIcon(pictures.get(), -1, loaded.get());
  }
  return pictures;
}

bool TrainingWindow::OnInit() {
  const bool may_set_focus = MailListWindow::OnInit();
  drop_target_.reset(new MailDropTarget(
      [this](DroppedMail dropped) {
        return AcceptDrop({std::move(dropped.mails), std::move(dropped.mailboxes)});
      },
      DropKinds::kMailboxesToo));
  drop_target_->Register(window());
  changes_ = surroundings().store_changes.Subscribe(Store::kTrainingArea,
                                                    [this](const StoreChange&) { mails_.Reload(); });
  return may_set_focus;
}

bool TrainingWindow::OnCommand(int id, int notification) {
  if (id == IDCANCEL && notification <= 1) {
    mails_.Close();
    return true;
  }
  return MailListWindow::OnCommand(id, notification);
}

bool TrainingWindow::AcceptDrop(DroppedTrainingMail dropped) {
  return mails_.Accept(std::move(dropped)) && PostMessageW(window(), MESSAGE_MAIL_DROPPED, 0, 0);
}

bool TrainingWindow::OnMessage(UINT message, WPARAM wparam, LPARAM lparam, LRESULT& result) {
  if (message != MESSAGE_MAIL_DROPPED) return MailListWindow::OnMessage(message, wparam, lparam, result);
  if (!IsWindowEnabled(window())) {
    SetTimer(window(), kDropTimer, kDropMilliseconds, nullptr);
    return true;
  }
  SetForegroundWindow(window());  // the mail program's window is in front
  mails_.TakeDropped();
  return true;
}

void TrainingWindow::OnTimer(UINT_PTR timer) {
  if (timer != kDropTimer) return;
  KillTimer(window(), kDropTimer);
  PostMessageW(window(), MESSAGE_MAIL_DROPPED, 0, 0);
}

void TrainingWindow::OnClosing() {
  changes_.reset();
  drop_target_.reset();
  mails_.Stop();
  MailListWindow::OnClosing();
}

void TrainingWindow::OnDestroyed() {
  learning_.reset();
  MailListWindow::OnDestroyed();
}

void TrainingWindow::BeginLearning(std::uint32_t marked, std::shared_ptr<LessonProgress> progress) {
  learning_ = std::make_unique<LearningWindow>(window(), marked, std::move(progress));
  EnableWindow(window(), FALSE);
}

// Enabled before the dialog goes: else the system would activate a window of another program.
void TrainingWindow::EndLearning() {
  EnableWindow(window(), TRUE);
  if (learning_ == nullptr) return;
  learning_->Destroy();
  Dialog::DeleteLater(std::move(learning_));
}

void TrainingWindow::ShowKnowledge(std::string_view text) {
  SetWindowTextW(Control(TRAINING_KNOWLEDGE), Wide(text).c_str());
}

void TrainingWindow::ViewMail(std::string_view name) {
  viewer_.Show(window(), name);
}

void TrainingWindow::ExplainMail(const MailToExplain& mail) {
  ShowWhy(window(), surroundings(), mail);
}

void TrainingWindow::RowsAreOthers() {
  viewer_.RowsChanged();
}

void TrainingWindow::CloseWindow() {
  End(IDCANCEL);
}

}  // namespace quillbeaker
