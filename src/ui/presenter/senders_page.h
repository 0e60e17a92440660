// SPDX-License-Identifier: MIT
#pragma once

// The pages "Blocked Senders" and "Friends": one page, told apart by its list. Every change is written at
// once; neither OK nor Cancel has anything to do. Knows no window.

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "filter/sender_lists.h"
#include "ui/presenter/list_page.h"

namespace quillbeaker {

class SendersPage : public ListPage {
 public:
  // `kind` is kSenderBlocked or kSenderFriend.
  SendersPage(const SettingsSurroundings& surroundings, ListPageView& view, std::int32_t kind);

  void Load() override;
  void Pressed(int control) override;
  void Edited(int control) override;
  void SelectionChanged() override;
  void Apply(AppliedSettings&) override {}

  std::vector<std::string> Columns() const override;
  std::size_t RowCount() const override { return rows_.size(); }
  std::string RowText(std::size_t row, std::size_t column) const override;
  SortOrder Order() const override { return {sorted_by_, is_descending_}; }
  void SortBy(std::size_t column) override;
  ListPageControls Controls() const override;
  bool ClearSearch() override;
  bool TakesMail() const override { return true; }
  // A mail without a From field is of no use.
  bool TakeMail(const std::vector<std::string>& mails) override;
  // Opens the dialog with the sender of each, one after the other.
  void OfferTakenMail() override;

  // The lists may have changed elsewhere.
  void Reload();
  // Opens the dialog filled with that sender, one whose mail was dropped onto the page.
  void Offer(const SenderRecord& sender);

 private:
  void Edit();
  void Delete();
  void Search();
  void ReadRows();
  void Sort();
  void ShowRows(const std::vector<std::size_t>& selected);
  void Select(const std::string& address);
  std::vector<SenderRecord> Selected() const;
  std::vector<std::size_t> RowsOf(const std::vector<SenderRecord>& senders) const;

  const SettingsSurroundings& surroundings_;
  ListPageView& view_;
  const std::int32_t kind_;
  SenderLists lists_;
  std::vector<SenderRecord> rows_;
  std::size_t sorted_by_ = 0;
  bool is_descending_ = false;
  std::deque<SenderRecord> taken_;  // of mail that was dropped
};

}  // namespace quillbeaker
