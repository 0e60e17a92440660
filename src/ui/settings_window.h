// SPDX-License-Identifier: MIT
#pragma once

// The settings dialog: the tree of its pages, the page that is shown, OK, Cancel and Help.

#include <windows.h>

#include <commctrl.h>

#include <map>
#include <memory>
#include <string_view>

#include "ui/pictures.h"
#include "ui/presenter/settings_dialog.h"
#include "ui/settings_page_window.h"
#include "ui/window_table.h"

namespace quillbeaker {

class SettingsWindow : public TableWindow, private SettingsDialogView {
 public:
  // `page` is the one to open at, 0 for the one that was shown last.
  SettingsWindow(WindowSurroundings& surroundings, int page);

 private:
  bool OnInit() override;
  bool OnCommand(int id, int notification) override;
  bool OnNotify(const NMHDR& notice, LRESULT& result) override;
  bool OnHelp() override;
  bool OnKey(const MSG& message) override;
  bool OnMessage(UINT message, WPARAM wparam, LPARAM lparam, LRESULT& result) override;
  void OnDpiChanged(int dpi) override;
  void OnClosing() override { is_closing_ = true; }

  void ShowPage(const SettingsPageRow& row) override;
  void SendApply(const bool* address) override;
  void Inform(std::string_view text) override;
  void Warn(std::string_view text) override;
  void RearmUpdateCheck() override;
  void Close() override { End(IDOK); }

  void FillTree();
  void ShowPictures(int dpi);
  SettingsPageWindow* MadePage(const SettingsPageRow& row);

  WindowSurroundings& surroundings_;
  SettingsDialogPresenter presenter_;
  UniqueImageList pictures_;                                  // the tree does not destroy them
  std::map<int, std::unique_ptr<SettingsPageWindow>> pages_;  // those that were shown
  SettingsPageWindow* shown_ = nullptr;
  bool is_closing_ = false;  // the tree takes its items away one by one
};

}  // namespace quillbeaker
