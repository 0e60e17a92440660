// SPDX-License-Identifier: MIT
#include "ui/presenter/recycle_bin_list.h"

#include <algorithm>
#include <cstdio>
#include <set>
#include <unordered_set>
#include <utility>

#include "config/ascii.h"
#include "extras/entry_text.h"
#include "message/display_text.h"
#include "message/dot_stuffing.h"
#include "platform/files.h"
#include "ui/presenter/sender_dialog.h"
#include "ui/resource.h"

namespace quillbeaker {
namespace {

enum Column : std::size_t { kSender, kSubject, kDate, kSpamWords, kProbability, kAccount, kSize };

// An index up to this size is listed before the window is shown.
constexpr std::uint64_t kQuicklyListed = 1 << 20;
// So many files are erased before anybody looks for a progress.
constexpr std::size_t kQuicklyDeleted = 500;

// What a cell can show of a text: one attribute of an index may have megabytes.
constexpr std::size_t kMostShown = 512;

std::string Shown(std::string_view bytes) {
  if (bytes.size() > kMostShown) {
    bytes = bytes.substr(0, kMostShown);
    // A UTF-8 character that was cut in two would make the whole text one of another encoding.
    while (!bytes.empty() && (static_cast<unsigned char>(bytes.back()) & 0xC0) == 0x80)
      bytes.remove_suffix(1);
    if (!bytes.empty() && static_cast<unsigned char>(bytes.back()) >= 0xC0) bytes.remove_suffix(1);
  }
  return DisplayLine(bytes);
}

// What every file system takes of a text as a name.
std::string FileNameFrom(std::string_view text) {
  constexpr std::size_t kLongest = 100;
  std::string name(TrimBlanks(text));
  for (char& c : name) {
    const bool is_control = static_cast<unsigned char>(c) < 0x20;
    if (is_control || std::string_view("\\/:*?\"<>|").find(c) != std::string_view::npos) c = '_';
  }
  if (name.size() > kLongest) {
    name.resize(kLongest);
    while (!name.empty() && !IsUtf8(name)) name.pop_back();
  }
  // Windows drops dots at the end, and hides what begins with one elsewhere.
  while (!name.empty() && (name.back() == '.' || name.back() == ' ')) name.pop_back();
  if (!name.empty() && name.front() == '.') name.front() = '_';
  return name.empty() ? "message" : name;
}

std::string Percent(double probability) {
  if (probability == 0) return {};
  char text[400];  // the largest double has 309 digits before the point
  std::snprintf(text, sizeof text, "%.2f %%", probability * 100);
  return text;
}

}  // namespace

RecycleBinList::RecycleBinList(MailListView& view, RecycleBinView& bin_view, Program& program)
    : MailListOf(view),
      bin_view_(bin_view),
      program_(program),
      bin_(std::make_shared<RecycleBin>(program)),
      senders_(program) {}

RecycleBinList::~RecycleBinList() {
  CancelDeletion();
}

void RecycleBinList::Open() {
  ShowEntries({});
  ShowAccounts();
  Reload();
}

void RecycleBinList::Reload() {
  if (FileSize(bin_->index_path()).value_or(0) <= kQuicklyListed) {
    ShowListed(bin_->List());
    return;
  }
  if (listings_++ == 0) view_.ShowState(TextOf(Text::kListBeingRead));
  view_.RunBehind([this, bin = bin_]() -> MailListView::Afterwards {
    auto listed = std::make_shared<std::optional<std::vector<RecycleEntry>>>(bin->List());
    return [this, listed] {
      if (--listings_ == 0) view_.ShowState(TextOf(Text::kStatusReady));
      ShowListed(std::move(*listed));
    };
  });
}

void RecycleBinList::ShowListed(std::optional<std::vector<RecycleEntry>> listed) {
  if (!listed) {
    const IndexTrouble trouble = bin_->TroubleWithIndex();
    if (trouble.is_damaged) view_.ShowState(TextOf(Text::kBinDamaged));
    if (!trouble.why) {
      view_.ShowState(Format(Text::kBinNotRead, {DisplayLine(trouble.why.Text())}));
      return;  // what is shown may still be true
    }
  }
  ShowEntries(listed ? std::move(*listed) : std::vector<RecycleEntry>());
  ShowAccounts();
}

std::vector<std::string> RecycleBinList::Columns() const {
  std::vector<std::string> headings;
  for (const Text text : {Text::kSender, Text::kSubject, Text::kDate, Text::kSpamWords,
                          Text::kProbabilityOfMessage, Text::kMailAccount, Text::kSize}) {
    headings.emplace_back(TextOf(text));
  }
  return headings;
}

std::vector<ColumnLook> RecycleBinList::ColumnLooks() const {
  return {{130}, {180}, {112}, {100}, {115, true}, {85}, {62, true}};
}

std::string RecycleBinList::EntryText(std::size_t entry, std::size_t column) const {
  const RecycleEntry& row = entries_[entry];
  switch (column) {
    case kSender:
      return Shown(row.sender);
    case kSubject:
      return Shown(row.subject);
    case kDate:
      return MailDate(row.day, row.minutes);
    case kSpamWords:
      return row.spam_words.empty() ? SpamWords(row, program_.configuration.Read()) : Shown(row.spam_words);
    case kProbability:
      return Percent(row.probability);
    case kAccount:
      return Shown(row.account);
    case kSize:
      return row.size == 0 ? std::string() : quillbeaker::EntrySize(row.size);
    default:
      return {};
  }
}

// The index does not say why a mail was taken: without words, what the lists say of its sender today has to
// do.
std::string RecycleBinList::SpamWords(const RecycleEntry& entry,
                                      const std::shared_ptr<const IniDocument>& lists) const {
  if (!entry.spam_words.empty()) return Shown(entry.spam_words);
  SenderRecord record;
  const bool is_blocked =
      entry.has_address && senders_.LookUp(entry.address, lists, record) && record.kind == kSenderBlocked;
  return std::string(TextOf(is_blocked ? Text::kOnBlockedSendersList : Text::kLearningFilterMark));
}

bool RecycleBinList::IsNumber(std::size_t column) const {
  return column == kDate || column == kProbability || column == kSize;
}

double RecycleBinList::NumberIn(std::size_t entry, std::size_t column) const {
  constexpr double kMinutesOfADay = 24 * 60;
  const RecycleEntry& row = entries_[entry];
  if (column == kProbability) return row.probability;
  if (column == kSize) return row.size;
  return HasEntryDate(row.day) ? row.day * kMinutesOfADay + row.minutes : 0;
}

std::string RecycleBinList::KeyIn(std::size_t entry, std::size_t column) const {
  return LowerAscii(column == kSpamWords ? SpamWords(entries_[entry], sorted_by_) : EntryText(entry, column));
}

bool RecycleBinList::Has(std::size_t entry, const SearchedText& text) const {
  const RecycleEntry& row = entries_[entry];
  return text.IsIn(row.sender) || text.IsIn(row.address) || text.IsIn(row.subject) || text.IsIn(row.account);
}

bool RecycleBinList::IsShown(std::size_t entry) const {
  return !account_ || entries_[entry].account == *account_;
}

void RecycleBinList::ShowAccounts() {
  std::set<std::string> found;
  for (const RecycleEntry& entry : entries_) found.insert(entry.account);
  // One whose last mail is gone stays chosen: a person may wait for the next.
  if (account_) found.insert(*account_);
  accounts_.assign(found.begin(), found.end());
  std::vector<std::string> texts{std::string(TextOf(Text::kAllAccounts))};
  std::size_t chosen = 0;
  for (const std::string& account : accounts_) {
    if (account_ == account) chosen = texts.size();
    texts.push_back(account.empty() ? std::string(TextOf(Text::kNoAccount)) : Shown(account));
  }
  bin_view_.ShowAccounts(texts, chosen);
}

void RecycleBinList::ChooseAccount(std::size_t place) {
  ShowAgain([&] {
    account_.reset();
    if (place > 0 && place <= accounts_.size()) account_ = accounts_[place - 1];
  });
}

std::optional<MailToView> RecycleBinList::MailOf(std::string_view name) const {
  const auto found = std::find_if(entries_.begin(), entries_.end(),
                                  [name](const RecycleEntry& entry) { return entry.name == name; });
  if (found == entries_.end()) return std::nullopt;
  return MailToView{.path = bin_->PathOfMessage(name),
                    .sender = found->sender,
                    .address = found->address,
                    .subject = found->subject,
                    .date = MailDate(found->day, found->minutes)};
}

bool RecycleBinList::CanRun(int command) const {
  switch (command) {
    case COMMAND_VIEW_MAIL:
    case COMMAND_WHY_TAKEN:
    case COMMAND_SAVE_AS:
    case COMMAND_SELECT_SENDER:
      return FocusedEntry() != kNone;
    case COMMAND_DELETE_MAIL:
      return !IsBusy() && IsAnySelected();
    case COMMAND_EMPTY_BIN:
      return !IsBusy() && !entries_.empty();
    case COMMAND_LOOK_FOR_LOST:
      return !IsBusy();
    default:
      return IsAnySelected();
  }
}

bool RecycleBinList::Run(int command) {
  if (!CanRun(command)) return false;
  switch (command) {
    case COMMAND_VIEW_MAIL:
      View();
      return true;
    case COMMAND_RESTORE_MAIL:
      Restore();
      return true;
    case COMMAND_RESTORE_AND_TRUST:
      RestoreAndTrust();
      return true;
    case COMMAND_WHY_TAKEN:
      bin_view_.Explain(bin_->PathOfMessage(EntryName(FocusedEntry())));
      return true;
    case COMMAND_DELETE_MAIL:
      Delete();
      return true;
    case COMMAND_EMPTY_BIN:
      Empty();
      return true;
    case COMMAND_BLOCK_SENDER:
      AddSenders(kSenderBlocked);
      return true;
    case COMMAND_BEFRIEND_SENDER:
      AddSenders(kSenderFriend);
      return true;
    case COMMAND_RESET_ACCOUNT:
      ResetAccount();
      return true;
    case COMMAND_SAVE_AS:
      SaveAs();
      return true;
    case COMMAND_SELECT_SENDER:
      SelectSender();
      return true;
    case COMMAND_LOOK_FOR_LOST:
      LookForLost();
      return true;
    default:
      return false;
  }
}

void RecycleBinList::TellNotChanged(const FileResult& why) {
  view_.Tell(Format(Text::kBinNotChanged, {DisplayLine(why.Text())}));
}

void RecycleBinList::View() {
  bin_view_.ViewMail(std::string(EntryName(FocusedEntry())));
}

void RecycleBinList::ShowRestored(const std::vector<std::string>& names) {
  const std::unordered_set<std::string_view> wanted(names.begin(), names.end());
  ShowAgain([&] {
    for (RecycleEntry& entry : entries_) entry.restored = entry.restored || wanted.contains(entry.name);
  });
}

void RecycleBinList::Restore() {
  const std::vector<std::string> names = SelectedNames();
  const bool is_one = names.size() == 1;
  if (!view_.AskOptional(is_one ? Text::kRestoreMessageQuestion : Text::kRestoreMessagesQuestion,
                         "RecycleBinRestoreQuestion")) {
    return;
  }
  if (const FileResult marked = bin_->MarkRestored(names, true); !marked) {
    TellNotChanged(marked);
    return;
  }
  ShowRestored(names);
  view_.TellOptional(is_one ? Text::kMessageRestored : Text::kMessagesRestored,
                     "RecycleBinRestoredInformation");
}

void RecycleBinList::RestoreAndTrust() {
  const std::vector<std::string> names = SelectedNames();
  const Trusted trusted = bin_view_.RestoreAndTrust(names);
  if (trusted.is_restored) ShowRestored(names);
  if (trusted.has_changed_senders) ShowSendersAgain();
  if (!trusted.done.empty()) view_.ShowState(trusted.done);
}

void RecycleBinList::Delete() {
  const std::vector<std::string> names = SelectedNames();
  if (view_.AskOptional(names.size() == 1 ? Text::kDeleteMailQuestion : Text::kDeleteMailsQuestion,
                        "RecycleBinDeleteQuestion")) {
    DeleteNames(names);
  }
}

// What a mail check files while the question stands was not there when it was asked, and stays.
void RecycleBinList::Empty() {
  bin_view_.ClearSearch();
  ShowAgain([this] { account_.reset(); });
  Search({});
  ShowAccounts();
  std::vector<std::string> names;
  names.reserve(entries_.size());
  for (const RecycleEntry& entry : entries_) names.push_back(entry.name);
  if (view_.AskOptional(Text::kEmptyBinQuestion, "RecycleBinEmptyQuestion")) DeleteNames(names);
}

void RecycleBinList::DeleteNames(const std::vector<std::string>& names) {
  if (names.size() > kQuicklyDeleted) {
    DeleteBehind(names);
    return;
  }
  if (const FileResult deleted = bin_->DeleteMessages(names); !deleted) {
    TellNotChanged(deleted);
    return;
  }
  RemoveRows(names);
}

void RecycleBinList::DeleteBehind(const std::vector<std::string>& names) {
  deletion_ = std::make_shared<Deletion>();
  deletion_->count = names.size();
  bin_view_.BeginProgress();
  view_.CommandsChanged();
  view_.RunBehind([this, bin = bin_, deletion = deletion_, names]() -> MailListView::Afterwards {
    const FileResult deleted = bin->DeleteWhile(names, [&deletion] {
      if (deletion->is_cancelled) return false;
      ++deletion->done;
      return true;
    });
    return [this, deleted, names] { EndDeletion(deleted, names); };
  });
}

void RecycleBinList::EndDeletion(const FileResult& deleted, const std::vector<std::string>& names) {
  const std::shared_ptr<Deletion> ended = std::exchange(deletion_, nullptr);
  bin_view_.EndProgress();
  view_.ShowState(
      Format(Text::kDeletingMessages, {std::to_string(ended->done), std::to_string(ended->count)}));
  if (deleted && ended->done == ended->count) {
    RemoveRows(names);
    return;
  }
  Reload();
  if (!deleted) TellNotChanged(deleted);
}

void RecycleBinList::CancelDeletion() {
  if (deletion_ != nullptr) deletion_->is_cancelled = true;
}

RecycleBinList::Progress RecycleBinList::DeletionProgress() const {
  return deletion_ == nullptr ? Progress() : Progress{deletion_->done, deletion_->count};
}

SenderRecord RecycleBinList::SenderOfEntry(const RecycleEntry& entry) const {
  SenderRecord sender;
  MailMessage mail;
  const std::string path = bin_->PathOfMessage(entry.name);
  if (path.empty() || mail.LoadFromFile(path) != MailMessage::kLoaded ||
      !SenderRecordOf(program_, mail, sender)) {
    // What the index says, where the file is gone.
    sender.name = entry.sender;
    sender.address = entry.address;
  }
  return sender;
}

void RecycleBinList::AddSenders(std::int32_t kind) {
  std::vector<SenderRecord> senders;
  std::set<std::string> seen;
  for (const std::size_t entry : SelectedEntries()) {
    SenderRecord sender = SenderOfEntry(entries_[entry]);
    sender.kind = kind;
    if (seen.insert(SenderKey(LowerAscii(sender.address))).second) senders.push_back(std::move(sender));
  }
  for (SenderRecord& sender : senders) {
    SenderDialog dialog(std::move(sender), /*is_new=*/true, program_.configuration.path(),
                        [this](const SenderRecord& record) { return senders_.Add(record); });
    view_.RunDialog(DIALOG_SENDER, dialog);
  }
  ShowSendersAgain();
}

void RecycleBinList::ResetAccount() {
  const std::vector<std::string> names = SelectedNames();
  if (const FileResult cleared = bin_->ClearAccount(names); !cleared) {
    TellNotChanged(cleared);
    return;
  }
  const std::unordered_set<std::string_view> wanted(names.begin(), names.end());
  ShowAgain([&] {
    for (RecycleEntry& entry : entries_) {
      if (wanted.contains(entry.name)) entry.account.clear();
    }
  });
  ShowAccounts();
}

void RecycleBinList::SelectSender() {
  const std::string address = entries_[FocusedEntry()].address;
  std::size_t count = 0;
  SelectWhere([&](std::size_t entry) {
    const bool is_same = EqualsIgnoringCase(entries_[entry].address, address);
    if (is_same) ++count;
    return is_same;
  });
  view_.ShowState(Format(Text::kSelectedOfSender, {std::to_string(count)}));
}

void RecycleBinList::SaveAs() {
  const RecycleEntry& entry = entries_[FocusedEntry()];
  const std::string from = bin_->PathOfMessage(entry.name);
  const auto to = bin_view_.AskForFile(FileNameFrom(Shown(entry.subject)) + ".eml");
  if (!to) return;
  view_.RunBehind([this, from, to = *to]() -> MailListView::Afterwards {
    FileContents mail = ReadContents(from);
    FileResult saved = std::move(mail.result);
    if (mail.bytes) saved = WriteWholeFile(to, UnstuffDots(std::move(*mail.bytes)), /*flush=*/false);
    return [this, saved, to] {
      if (saved) {
        view_.ShowState(Format(Text::kMessageSaved, {DisplayLine(to)}));
      } else {
        view_.Tell(Format(Text::kMessageNotSaved, {DisplayLine(saved.Text())}));
      }
    };
  });
}

void RecycleBinList::LookForLost() {
  is_looking_for_lost_ = true;
  view_.ShowState(TextOf(Text::kLookingForLost));
  view_.CommandsChanged();
  view_.RunBehind([this, bin = bin_]() -> MailListView::Afterwards {
    const RepairReport report = bin->Repair();
    return [this, report] { ShowRepaired(report); };
  });
}

void RecycleBinList::ShowRepaired(const RepairReport& report) {
  is_looking_for_lost_ = false;
  view_.CommandsChanged();
  view_.ShowState(TextOf(Text::kStatusReady));
  Reload();
  if (!report.done) {
    view_.Tell(Format(Text::kBinNotRepaired, {DisplayLine(report.done.Text())}));
    return;
  }
  const bool is_any = report.adopted + report.dropped > 0 || report.index_was_damaged;
  view_.ShowState(
      is_any ? Format(Text::kLostFound, {std::to_string(report.adopted), std::to_string(report.dropped)})
             : std::string(TextOf(Text::kNothingLost)));
  if (report.unreadable > 0) {
    view_.Tell(Format(Text::kBinFilesUnreadable, {std::to_string(report.unreadable)}));
  }
}

}  // namespace quillbeaker
