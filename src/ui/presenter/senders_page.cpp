// SPDX-License-Identifier: MIT
#include "ui/presenter/senders_page.h"

#include <algorithm>
#include <utility>

#include "config/ascii.h"
#include "config/texts.h"
#include "message/display_text.h"
#include "ui/presenter/sender_dialog.h"
#include "ui/resource.h"

namespace quillbeaker {
namespace {

constexpr std::size_t kNameColumn = 0;

}  // namespace

SendersPage::SendersPage(const SettingsSurroundings& surroundings, ListPageView& view, std::int32_t kind)
    : RowsPage(view, {LISTED_SENDERS, LISTED_SEARCH, LISTED_ADD, LISTED_EDIT, LISTED_DELETE}, LISTED_COUNT),
      surroundings_(surroundings),
      kind_(kind),
      lists_(surroundings.program) {}

void SendersPage::Load() {
  view_.Enable(LISTED_IMPORT, surroundings_.import_senders != nullptr);
  ReadRows();
  ShowRows({});
}

void SendersPage::ReadRows() {
  rows_.clear();
  lists_.Enumerate([this](const SenderRecord& record) {
    if (record.kind == kind_) rows_.push_back(record);
  });
  SortRows();
}

void SendersPage::SortRows() {
  // The keys once: comparing is what sorting does most.
  std::vector<std::string> keys;
  keys.reserve(rows_.size());
  for (const SenderRecord& row : rows_) {
    const bool by_name = order_.column == kNameColumn;
    std::string key = LowerAscii(by_name ? row.name : row.address);
    key += '\0';
    key += LowerAscii(by_name ? row.address : row.name);
    keys.push_back(std::move(key));
  }
  SortPlaces([&](std::size_t a, std::size_t b) {
    if (const int compared = keys[a].compare(keys[b]); compared != 0) {
      return (compared < 0) != order_.is_descending;
    }
    return a < b;
  });
}

std::vector<std::string> SendersPage::Columns() const {
  return {std::string(TextOf(Text::kSenderName)), std::string(TextOf(Text::kMailAddress))};
}

std::string SendersPage::RowText(std::size_t row, std::size_t column) const {
  if (row >= rows_.size()) return {};
  return DisplayLine(column == kNameColumn ? rows_[row].name : rows_[row].address);
}

std::string SendersPage::KeyOf(const SenderRecord& row) const {
  return LowerAscii(row.address);
}

std::vector<std::string_view> SendersPage::SearchedTexts(const SenderRecord& row) const {
  return {row.name, row.address};
}

void SendersPage::Reload() {
  ShowAgain([this] { ReadRows(); });
}

void SendersPage::Select(const std::string& address) {
  ReadRows();
  SenderRecord wanted;
  wanted.address = SenderKey(address);
  ShowRows({wanted});
}

void SendersPage::Pressed(int control) {
  switch (control) {
    case LISTED_ADD:
      Offer({});
      break;
    case LISTED_EDIT:
      Edit();
      break;
    case LISTED_DELETE:
      Delete();
      break;
    case LISTED_IMPORT:
      if (surroundings_.import_senders) surroundings_.import_senders(kind_);
      Reload();
      break;
    default:
      break;
  }
}

void SendersPage::Offer(const SenderRecord& sender) {
  SenderRecord shown = sender;
  shown.kind = kind_;
  SenderDialog dialog(std::move(shown), /*is_new=*/true, surroundings_.program.configuration.path(),
                      [this](const SenderRecord& record) { return lists_.Add(record); });
  if (view_.Run(DIALOG_SENDER, dialog)) Select(dialog.record().address);
}

bool SendersPage::TakeMail(const std::vector<std::string>& mails) {
  const std::size_t before = taken_.size();
  for (const std::string& bytes : mails) {
    MailMessage mail;
    mail.ParseText(bytes);
    SenderRecord sender;
    if (SenderRecordOf(surroundings_.program, mail, sender) && !sender.address.empty()) {
      taken_.push_back(std::move(sender));
    }
  }
  return taken_.size() > before;
}

void SendersPage::OfferTakenMail() {
  while (!taken_.empty()) {
    const SenderRecord sender = std::move(taken_.front());
    taken_.pop_front();
    Offer(sender);
  }
}

void SendersPage::Edit() {
  const std::vector<SenderRecord> selected = Selected();
  if (selected.size() != 1) return;
  const SenderRecord& old = selected.front();
  SenderDialog dialog(old, /*is_new=*/false, surroundings_.program.configuration.path(),
                      [this, &old](const SenderRecord& record) {
                        // Another program or window may have moved it to the other list since it was shown:
                        // it is not moved back by who changes its name.
                        const std::int32_t now = lists_.ListOfKey(old.address);
                        if (now != kSenderNone && now != kind_) return SenderChange::kRefused;
                        return lists_.ChangeSender(old.address, record);
                      });
  if (view_.Run(DIALOG_SENDER, dialog)) Select(dialog.record().address);
}

void SendersPage::Delete() {
  const std::vector<std::size_t> rows = view_.SelectedRows();
  const std::vector<SenderRecord> selected = Selected();
  if (selected.empty() || rows.empty()) return;
  if (!AskToDelete(selected.size(), selected.front().address)) return;
  std::vector<std::string> keys;
  for (const SenderRecord& sender : selected) keys.push_back(sender.address);
  if (!lists_.RemoveFromList(kind_, keys)) {
    view_.Tell(Format(Text::kSettingNotSaved, {DisplayLine(surroundings_.program.configuration.path())}));
    return;
  }
  ReadRows();
  ShowRowsAround(rows.front());
}

}  // namespace quillbeaker
