// SPDX-License-Identifier: MIT
#include "ui/settings_page_window.h"

#include <commctrl.h>

#include <utility>

#include "ui/resource.h"

namespace quillbeaker {

SettingsPageWindow::SettingsPageWindow(const SettingsPageRow& row, const SettingsSurroundings& surroundings,
                                       ApplyPage apply)
    : Dialog(row.id),
      row_(row),
      surroundings_(surroundings),
      apply_(std::move(apply)),
      controls_(*this, surroundings.program) {}

bool SettingsPageWindow::OnInit() {
  if (row_.make_list != nullptr) {
    auto page = row_.make_list(surroundings_, controls_);
    list_page_ = page.get();
    controls_.UseList(&list_.emplace(Control(page->Controls().list), *page));
    page_ = std::move(page);
  } else if (row_.make != nullptr) {
    page_ = row_.make(surroundings_, controls_);
  }
  if (page_ != nullptr) page_->Open(surroundings_.program, controls_);
  if (list_page_ != nullptr && list_page_->TakesMail()) {
    drop_target_.reset(
        new MailDropTarget([this](const DroppedMail& dropped) { return TakeMail(dropped.mails); }));
    drop_target_->Register(window());
  }
  return false;  // the focus stays in the tree
}

bool SettingsPageWindow::OnCommand(int id, int notification) {
  if (page_ == nullptr) return false;
  switch (notification) {
    case BN_CLICKED:
      page_->Pressed(id);
      return true;
    case EN_CHANGE:
      page_->Edited(id);
      return true;
    case EN_KILLFOCUS:
      page_->Left(id);
      return true;
    case CBN_SELCHANGE:
      page_->Chosen(id);
      return true;
    default:
      return false;
  }
}

bool SettingsPageWindow::OnNotify(const NMHDR& notice, LRESULT& result) {
  if (page_ == nullptr) return false;
  if (!list_) {
    // A list of pictures: one of them is always chosen.
    if (notice.code != LVN_ITEMCHANGED) return false;
    const auto& change = *reinterpret_cast<const NMLISTVIEW*>(&notice);
    if (((change.uOldState ^ change.uNewState) & LVIS_SELECTED) != 0) {
      page_->Chosen(static_cast<int>(notice.idFrom));
    }
    return true;
  }
  if (list_->Handle(notice, result)) return true;
  if (static_cast<int>(notice.idFrom) != list_page_->Controls().list) return false;
  if (notice.code == LVN_KEYDOWN) TakeListKey(reinterpret_cast<const NMLVKEYDOWN*>(&notice)->wVKey);
  if (notice.code == NM_DBLCLK && reinterpret_cast<const NMITEMACTIVATE*>(&notice)->iItem >= 0) {
    Press(list_page_->Controls().edit);
  }
  return false;
}

bool SettingsPageWindow::TakeMail(const std::vector<std::string>& mails) {
  return list_page_->TakeMail(mails) && PostMessageW(window(), MESSAGE_MAIL_DROPPED, 0, 0);
}

void SettingsPageWindow::OfferWaitingMail() {
  if (mail_waits_ && drop_target_ != nullptr) PostMessageW(window(), MESSAGE_MAIL_DROPPED, 0, 0);
}

void SettingsPageWindow::TakeListKey(WORD key) {
  const ListPageControls& buttons = list_page_->Controls();
  if (key == VK_DELETE) Press(buttons.remove);
  if (key == VK_INSERT) Press(buttons.add);
  if (key == VK_F2) Press(buttons.edit);
}

void SettingsPageWindow::Press(int button) {
  // The buttons follow the selection, whose change may still be on its way.
  list_->TellSelection();
  if (IsWindowEnabled(Control(button))) PostMessageW(window(), WM_COMMAND, static_cast<WPARAM>(button), 0);
}

bool SettingsPageWindow::TakeKey(const MSG& message) {
  if (list_page_ == nullptr || message.message != WM_KEYDOWN || message.wParam != VK_ESCAPE) return false;
  return message.hwnd == Control(list_page_->Controls().search) && list_page_->ClearSearch();
}

void SettingsPageWindow::OnDestroying() {
  drop_target_.reset();
}

bool SettingsPageWindow::OnMessage(UINT message, WPARAM, LPARAM lparam, LRESULT&) {
  if (message == MESSAGE_SELECTION_CHANGED && list_) {
    list_->TellSelection();
    return true;
  }
  if (message == MESSAGE_MAIL_DROPPED && drop_target_ != nullptr) {
    const HWND root = GetAncestor(window(), GA_ROOT);
    mail_waits_ = !IsWindowEnabled(root);
    if (mail_waits_) return true;
    SetForegroundWindow(root);  // the mail program's window is in front
    list_page_->OfferTakenMail();
    return true;
  }
  if (message == MESSAGE_APPLY_SETTINGS && page_ != nullptr) {
    apply_(*page_, reinterpret_cast<const void*>(lparam));
    return true;
  }
  return false;
}

}  // namespace quillbeaker
