// SPDX-License-Identifier: MIT
#pragma once

// What the recycle bin's window shows and decides. The store is asked by names; none of its locks is held
// while a question stands, and what a mail check has done meanwhile stays done. Knows no window.

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "config/program.h"
#include "filter/sender_lists.h"
#include "stores/recycle_bin.h"
#include "ui/presenter/mail_list.h"

namespace quillbeaker {

// What "Restore and trust" has done.
struct Trusted {
  bool is_restored = false;  // all of them that are still there
  bool has_changed_senders = false;
  std::string done;  // a line for the status line; empty after Cancel
};

// What the bin's window has besides the list.
class RecycleBinView {
 public:
  virtual ~RecycleBinView() = default;
  // The accounts to choose from, "all of them" first, and which of them is chosen.
  virtual void ShowAccounts(const std::vector<std::string>& texts, std::size_t chosen) = 0;
  // Empties the search field.
  virtual void ClearSearch() = 0;
  // Opens the viewer.
  virtual void ViewMail(const std::string& name) = 0;
  // Runs the dialog that restores mail and trusts its senders.
  virtual Trusted RestoreAndTrust(const std::vector<std::string>& names) = 0;
  // Runs the window that explains why the mail of that file was taken.
  virtual void Explain(const std::string& path) = 0;
  // Where to save a file of that name; nothing after Cancel.
  virtual std::optional<std::string> AskForFile(const std::string& proposed) = 0;
  // Stands until EndProgress: a deletion that a person can cancel (CancelDeletion), and that is asked how far
  // it has come (DeletionProgress).
  virtual void BeginProgress() = 0;
  virtual void EndProgress() = 0;
};

class RecycleBinList : public MailListOf<RecycleEntry> {
 public:
  // All must outlive this object.
  RecycleBinList(MailListView& view, RecycleBinView& bin_view, Program& program);
  // Cancels a deletion that is under way.
  ~RecycleBinList() override;

  void Open() override;
  bool Run(int command) override;
  bool CanRun(int command) const override;
  std::vector<std::string> Columns() const override;
  std::vector<ColumnLook> ColumnLooks() const override;
  std::optional<MailToView> MailOf(std::string_view name) const override;

  // The index has changed: lists it anew.
  void Reload();
  // Shows the mails of one account only, by its place in what ShowAccounts was given.
  void ChooseAccount(std::size_t place);
  // The deletion that is under way ends with what is deleted by now.
  void CancelDeletion();
  struct Progress {
    std::size_t done = 0;
    std::size_t count = 0;
  };
  Progress DeletionProgress() const;
  // The selected mails were restored by another dialog.
  void ShowRestored(const std::vector<std::string>& names);
  // The lists of senders have changed.
  void ShowSendersAgain() { ShowAgain(); }

 protected:
  std::string EntryText(std::size_t entry, std::size_t column) const override;
  int EntryPicture(std::size_t entry) const override { return entries_[entry].restored ? 0 : -1; }
  bool IsNumber(std::size_t column) const override;
  double NumberIn(std::size_t entry, std::size_t column) const override;
  void SortBegins() override { sorted_by_ = program_.configuration.Read(); }
  std::string KeyIn(std::size_t entry, std::size_t column) const override;
  bool Has(std::size_t entry, const SearchedText& text) const override;
  bool IsShown(std::size_t entry) const override;

 private:
  void View();
  void Restore();
  void RestoreAndTrust();
  void Delete();
  void Empty();
  void AddSenders(std::int32_t kind);
  void ResetAccount();
  void SaveAs();
  void SelectSender();
  void LookForLost();

  SenderRecord SenderOfEntry(const RecycleEntry& entry) const;
  void DeleteNames(const std::vector<std::string>& names);
  void DeleteBehind(const std::vector<std::string>& names);
  void EndDeletion(const FileResult& deleted, const std::vector<std::string>& names);
  void ShowRepaired(const RepairReport& report);
  bool IsBusy() const { return deletion_ != nullptr || is_looking_for_lost_; }
  void ShowListed(std::optional<std::vector<RecycleEntry>> listed);
  void ShowAccounts();
  void TellNotChanged(const FileResult& why);
  std::string SpamWords(const RecycleEntry& entry, const std::shared_ptr<const IniDocument>& lists) const;

  // Shared with the thread that deletes.
  struct Deletion {
    std::atomic<bool> is_cancelled = false;
    std::atomic<std::size_t> done = 0;
    std::size_t count = 0;
  };

  RecycleBinView& bin_view_;
  Program& program_;
  // Shared with the threads that work for the list.
  const std::shared_ptr<RecycleBin> bin_;
  SenderLists senders_;
  std::shared_ptr<const IniDocument> sorted_by_;  // the lists of senders as the last sort found them
  std::vector<std::string> accounts_;             // those to choose from, but for "all"
  std::optional<std::string> account_;            // the chosen one; none: all
  std::shared_ptr<Deletion> deletion_;            // under way; null without one
  bool is_looking_for_lost_ = false;
  int listings_ = 0;  // that are under way
};

}  // namespace quillbeaker
