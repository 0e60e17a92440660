// SPDX-License-Identifier: MIT
#pragma once

// One page of the settings dialog: a child window made from the page's template. Moves data between its
// controls and the page's presenter.

#include <windows.h>

#include <functional>
#include <memory>
#include <optional>

#include "ui/dialog.h"
#include "ui/mail_drop_target.h"
#include "ui/page_controls.h"
#include "ui/presenter/settings_dialog.h"
#include "ui/virtual_list.h"

namespace quillbeaker {

class SettingsPageWindow : public Dialog {
 public:
  // Handed the page and the address that came with the message to apply.
  using ApplyPage = std::function<void(SettingsPage& page, const void* address)>;

  // `row` and `surroundings` must outlive this object.
  SettingsPageWindow(const SettingsPageRow& row, const SettingsSurroundings& surroundings, ApplyPage apply);

  // A key for one of its controls, before Tab, Enter and Esc take effect; true when it was used up.
  bool TakeKey(const MSG& message);
  // The settings dialog was moved to a screen of that resolution; only that one is told by the system.
  void OnDpiChanged(int dpi) override { controls_.OnDpiChanged(dpi); }
  // No box stands over the settings dialog any more: mail that was dropped meanwhile has its turn.
  void OfferWaitingMail();

 private:
  bool OnInit() override;
  bool OnCommand(int id, int notification) override;
  bool OnNotify(const NMHDR& notice, LRESULT& result) override;
  bool OnMessage(UINT message, WPARAM wparam, LPARAM lparam, LRESULT& result) override;
  void OnClose() override {}
  void OnDestroying() override;

  // Mail was dropped; false when the page has no use for it.
  bool TakeMail(const std::vector<std::string>& mails);
  void TakeListKey(WORD key);
  // As if the person had pressed that button.
  void Press(int button);

  const SettingsPageRow& row_;
  const SettingsSurroundings& surroundings_;
  const ApplyPage apply_;
  PageControls controls_;
  std::optional<VirtualList> list_;
  ListPage* list_page_ = nullptr;  // the same as page_ when that has a list
  UniqueMailDropTarget drop_target_;
  bool mail_waits_ = false;             // for the box over the settings dialog to close
  std::unique_ptr<SettingsPage> page_;  // null for a page of texts alone
};

}  // namespace quillbeaker
