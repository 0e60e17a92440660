// SPDX-License-Identifier: MIT
#pragma once

// The recycle bin's window: what it has besides the list of mails.

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ui/mail_list_window.h"
#include "ui/presenter/recycle_bin_list.h"
#include "ui/view_message_window.h"

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

  void ShowRows(std::size_t count, const ListPlace& place) override;

  // RecycleBinView
  void ShowAccounts(const std::vector<std::string>& texts, std::size_t chosen) override;
  void ClearSearch() override;
  void ViewMail(const std::string& name) override;
  Trusted RestoreAndTrust(const std::vector<std::string>& names) override;
  void Explain(const std::string& path) override;
  std::optional<std::string> AskForFile(const std::string& proposed) override;
  void BeginProgress() override;
  void EndProgress() override;

  RecycleBinList mails_;
  MessageViewer viewer_;
  std::unique_ptr<ProgressWindow> progress_;  // while a deletion runs
  StoreChanges::Subscription changes_;
};

}  // namespace quillbeaker
