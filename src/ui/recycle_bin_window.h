// SPDX-License-Identifier: MIT
#pragma once

// The recycle bin's window: what it has besides the list of mails.

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ui/mail_list_window.h"
#include "ui/presenter/recycle_bin_list.h"

namespace quillbeaker {

class RecycleBinWindow : public MailListWindow, private RecycleBinView {
 public:
  RecycleBinWindow(WindowSurroundings& surroundings, int argument);
  ~RecycleBinWindow() override;

 private:
  class ProgressWindow;

  bool OnInit() override;
  bool OnCommand(int id, int notification) override;
  std::span<const Anchor> Anchors() const override;
  MailList& Mails() override { return mails_; }
  UniqueImageList RowPictures(int dpi) override;
  void OnClosing() override;

  // RecycleBinView
  void ShowAccounts(const std::vector<std::string>& texts, std::size_t chosen) override;
  void ClearSearch() override;
  bool CanViewMail() const override { return false; }  // there is no viewer yet
  void ViewMail(const std::string& name) override;
  std::optional<std::string> AskForFile(const std::string& proposed) override;
  void BeginProgress() override;
  void EndProgress() override;

  RecycleBinList mails_;
  std::unique_ptr<ProgressWindow> progress_;  // while a deletion runs
  StoreChanges::Subscription changes_;
};

}  // namespace quillbeaker
