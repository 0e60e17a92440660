// SPDX-License-Identifier: MIT
#pragma once

// The pages "Blocked Senders" and "Friends": one page, told apart by its list. Every change is written at
// once; neither OK nor Cancel has anything to do. Knows no window.

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "filter/sender_lists.h"
#include "ui/presenter/rows_page.h"

namespace quillbeaker {

class SendersPage : public RowsPage<SenderRecord> {
 public:
  // `kind` is kSenderBlocked or kSenderFriend.
  SendersPage(const SettingsSurroundings& surroundings, ListPageView& view, std::int32_t kind);

  void Load() override;
  void Pressed(int control) override;
  void Apply(AppliedSettings&) override {}

  std::vector<std::string> Columns() const override;
  // An address is longer than most names, and is what tells two senders apart.
  int FirstColumnPercent() const override { return 42; }
  std::string RowText(std::size_t row, std::size_t column) const override;
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
  void SortRows() override;
  std::string KeyOf(const SenderRecord& row) const override;
  std::vector<std::string_view> SearchedTexts(const SenderRecord& row) const override;

  void Edit();
  void Delete();
  void ReadRows();
  void Select(const std::string& address);

  const SettingsSurroundings& surroundings_;
  const std::int32_t kind_;
  SenderLists lists_;
  std::deque<SenderRecord> taken_;  // of mail that was dropped
};

}  // namespace quillbeaker
