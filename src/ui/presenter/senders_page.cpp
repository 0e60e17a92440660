// SPDX-License-Identifier: MIT
#include "ui/presenter/senders_page.h"

#include <algorithm>
#include <set>
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
    : surroundings_(surroundings), view_(view), kind_(kind), lists_(surroundings.program) {}

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
  Sort();
}

void SendersPage::Sort() {
  // The keys once: comparing is what sorting does most.
  std::vector<std::pair<std::string, std::size_t>> order;
  order.reserve(rows_.size());
  for (std::size_t i = 0; i < rows_.size(); ++i) {
    const SenderRecord& row = rows_[i];
    const std::string name = LowerAscii(row.name);
    const std::string address = LowerAscii(row.address);
    order.emplace_back(sorted_by_ == kNameColumn ? name + '\0' + address : address + '\0' + name, i);
  }
  std::sort(order.begin(), order.end(),
            [this](const auto& a, const auto& b) { return is_descending_ ? b < a : a < b; });
  std::vector<SenderRecord> sorted;
  sorted.reserve(rows_.size());
  for (const auto& [key, place] : order) sorted.push_back(std::move(rows_[place]));
  rows_ = std::move(sorted);
}

void SendersPage::ShowRows(const std::vector<std::size_t>& selected) {
  view_.RowsChanged(rows_.size());
  if (!selected.empty()) view_.SelectRows(selected);
  view_.SetText(LISTED_COUNT, Format(Text::kEntryCount, {std::to_string(rows_.size())}));
  SelectionChanged();
}

void SendersPage::SelectionChanged() {
  const std::size_t selected = view_.SelectedRows().size();
  view_.Enable(LISTED_EDIT, selected == 1);
  view_.Enable(LISTED_DELETE, selected > 0);
}

ListPageControls SendersPage::Controls() const {
  return {LISTED_SENDERS, LISTED_SEARCH, LISTED_ADD, LISTED_EDIT, LISTED_DELETE};
}

std::vector<std::string> SendersPage::Columns() const {
  return {std::string(TextOf(Text::kSenderName)), std::string(TextOf(Text::kMailAddress))};
}

std::string SendersPage::RowText(std::size_t row, std::size_t column) const {
  if (row >= rows_.size()) return {};
  return DisplayLine(column == kNameColumn ? rows_[row].name : rows_[row].address);
}

std::vector<SenderRecord> SendersPage::Selected() const {
  std::vector<SenderRecord> senders;
  for (const std::size_t row : view_.SelectedRows()) {
    if (row < rows_.size()) senders.push_back(rows_[row]);
  }
  return senders;
}

std::vector<std::size_t> SendersPage::RowsOf(const std::vector<SenderRecord>& senders) const {
  std::set<std::string> addresses;
  for (const SenderRecord& sender : senders) addresses.insert(LowerAscii(sender.address));
  std::vector<std::size_t> found;
  for (std::size_t row = 0; row < rows_.size() && !addresses.empty(); ++row) {
    if (addresses.contains(LowerAscii(rows_[row].address))) found.push_back(row);
  }
  return found;
}

void SendersPage::SortBy(std::size_t column) {
  is_descending_ = column == sorted_by_ && !is_descending_;
  sorted_by_ = column;
  const std::vector<SenderRecord> selected = Selected();
  Sort();
  ShowRows(RowsOf(selected));
}

void SendersPage::Reload() {
  const std::vector<SenderRecord> selected = Selected();
  ReadRows();
  ShowRows(RowsOf(selected));
}

void SendersPage::Select(const std::string& address) {
  ReadRows();
  SenderRecord wanted;
  wanted.address = SenderKey(address);
  ShowRows(RowsOf({wanted}));
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
  SenderDialog dialog(
      old, /*is_new=*/false, surroundings_.program.configuration.path(),
      [this, &old](const SenderRecord& record) { return lists_.ChangeSender(old.address, record); });
  if (view_.Run(DIALOG_SENDER, dialog)) Select(dialog.record().address);
}

void SendersPage::Delete() {
  const std::vector<std::size_t> rows = view_.SelectedRows();
  const std::vector<SenderRecord> selected = Selected();
  if (selected.empty()) return;
  const std::string question =
      selected.size() == 1 ? Format(Text::kDeleteFromListQuestion, {DisplayLine(selected.front().address)})
                           : Format(Text::kDeleteSeveralQuestion, {std::to_string(selected.size())});
  if (!view_.Ask(question)) return;
  std::vector<IniChange> removals;
  for (const SenderRecord& sender : selected) {
    removals.push_back({std::string(sections::kSenders), sender.address, std::nullopt});
  }
  IniFile& configuration = surroundings_.program.configuration;
  if (!configuration.Write(removals)) {
    view_.Warn(Format(Text::kSettingNotSaved, {DisplayLine(configuration.path())}));
    return;
  }
  ReadRows();
  if (rows_.empty()) {
    ShowRows({});
  } else {
    ShowRows({std::min(rows.front(), rows_.size() - 1)});
  }
}

void SendersPage::Edited(int control) {
  if (control == LISTED_SEARCH) Search();
}

// The first row whose name or address begins with the text, else the first that has it anywhere.
void SendersPage::Search() {
  const std::string text = Latin1FromTyped(view_.TextIn(LISTED_SEARCH));
  if (text.empty()) return;
  auto found = std::find_if(rows_.begin(), rows_.end(), [&text](const SenderRecord& row) {
    return StartsWithIgnoringCase(row.name, text) || StartsWithIgnoringCase(row.address, text);
  });
  if (found == rows_.end()) {
    found = std::find_if(rows_.begin(), rows_.end(), [&text](const SenderRecord& row) {
      return FindIgnoringCase(row.name, text) != std::string::npos ||
             FindIgnoringCase(row.address, text) != std::string::npos;
    });
  }
  if (found == rows_.end()) return;
  view_.SelectRows({static_cast<std::size_t>(found - rows_.begin())});
  SelectionChanged();
}

bool SendersPage::ClearSearch() {
  if (view_.TextIn(LISTED_SEARCH).empty()) return false;
  view_.SetText(LISTED_SEARCH, "");
  return true;
}

}  // namespace quillbeaker
