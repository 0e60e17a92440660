// SPDX-License-Identifier: MIT
#include "ui/presenter/trust_dialog.h"

#include <algorithm>
#include <optional>
#include <set>
#include <unordered_map>
#include <utility>

#include "config/ascii.h"
#include "config/texts.h"
#include "filter/learning.h"
#include "filter/sender_lists.h"
#include "message/display_text.h"
#include "message/mail_message.h"
#include "stores/last_lesson.h"
#include "ui/presenter/sender_dialog.h"
#include "ui/resource.h"

namespace quillbeaker {
namespace {

// Bits of the key, to be added up.
constexpr std::int32_t kRestores = 1;
constexpr std::int32_t kBefriends = 2;
constexpr std::int32_t kWholeDomain = 4;
constexpr std::int32_t kLearns = 8;

// What goes onto the list for a sender; empty where that would be everybody, or nobody.
std::string KeyFor(std::string_view address, bool whole_domain) {
  const std::string key = SenderKey(whole_domain ? WholeDomain(address) : std::string(address));
  return TrimBlanks(key).empty() || MatchesEverybody(key) ? std::string() : key;
}

// The entry whose key that is, without regard to case.
std::optional<SenderRecord> EntryOf(const SenderLists& lists, std::string_view key) {
  std::optional<SenderRecord> found;
  lists.Enumerate([&](const SenderRecord& entry) {
    if (!found && EqualsIgnoringCase(entry.address, key)) found = entry;
  });
  return found;
}

SenderChange MakeFriend(SenderLists& lists, const SenderRecord& wanted) {
  const std::optional<SenderRecord> entry = EntryOf(lists, wanted.address);
  if (!entry) return lists.Add(wanted);
  if (entry->kind == kSenderFriend) return SenderChange::kDone;
  SenderRecord moved = *entry;
  moved.kind = kSenderFriend;
  return lists.ChangeSender(entry->address, moved);
}

bool IsFriend(const SenderLists& lists, const std::string& address) {
  SenderRecord found;
  return lists.LookUp(address, found) && found.kind == kSenderFriend;
}

// False when the lists could not be saved.
bool Befriend(SenderLists& lists, const RecycleEntry& entry, bool whole_domain, TrustReport& report) {
  const std::string key = KeyFor(entry.address, whole_domain);
  if (key.empty() || IsFriend(lists, entry.address)) return true;
  const SenderRecord wanted{
      .name = entry.sender.empty() ? key : entry.sender, .address = key, .kind = kSenderFriend, .date = {}};
  if (MakeFriend(lists, wanted) != SenderChange::kDone) return false;
  report.senders_changed = true;
  // An exact entry that blocks the sender outranks a friend's pattern above it.
  const std::optional<SenderRecord> own = EntryOf(lists, SenderKey(entry.address));
  if (own && own->kind == kSenderBlocked && lists.Remove(own->address) != SenderChange::kDone) return false;
  ++report.friends;
  return true;
}

void Fail(TrustReport& report, std::string trouble) {
  if (report.trouble.empty()) report.trouble = std::move(trouble);
}

void BefriendAll(Program& program, std::span<const RecycleEntry> entries, bool whole_domain,
                 TrustReport& report) {
  SenderLists lists(program);
  for (const RecycleEntry& entry : entries) {
    if (Befriend(lists, entry, whole_domain, report)) continue;
    Fail(report, std::string(TextOf(Text::kTrustNotSaved)));
    return;
  }
}

void LearnAll(Program& program, const RecycleBin& bin, std::span<const RecycleEntry> entries,
              TrustReport& report) {
  std::size_t counted = 0;
  const bool saved = WithLessonsLocked(program, [&] {
    LearningBatch batch(program);
    for (const RecycleEntry& entry : entries) {
      MailMessage message;
      const std::string path = bin.PathOfMessage(entry.name);
      if (path.empty() || message.LoadFromFile(path) != MailMessage::kLoaded) continue;
      batch.Count(message, LearnKind::kGood);
      ++counted;
    }
    return batch.SaveAsLesson();
  });
  if (saved) {
    report.learnt = counted;
  } else {
    Fail(report, std::string(TextOf(Text::kTrustNotLearnt)));
  }
}

}  // namespace

TrustChoice ReadTrustChoice(const Program& program) {
  const std::int32_t sum = program.Read(keys::kRestoreAndTrust);
  return {(sum & kRestores) != 0, (sum & kBefriends) != 0, (sum & kWholeDomain) != 0, (sum & kLearns) != 0};
}

void WriteTrustChoice(Program& program, const TrustChoice& choice) {
  const std::int32_t sum = (choice.restores ? kRestores : 0) + (choice.befriends ? kBefriends : 0) +
                           (choice.whole_domain ? kWholeDomain : 0) + (choice.learns ? kLearns : 0);
  // What was ticked is not worth a box where the file can not be written.
  if (program.Read(keys::kRestoreAndTrust) != sum) program.Write(keys::kRestoreAndTrust, sum);
}

TrustDialog::TrustDialog(Program& program, std::vector<RecycleEntry> entries)
    : program_(program), entries_(std::move(entries)), choice_(ReadTrustChoice(program)) {
  std::set<std::string> seen;
  for (const RecycleEntry& entry : entries_) {
    if (!entry.address.empty() && seen.insert(LowerAscii(entry.address)).second) {
      addresses_.push_back(entry.address);
    }
  }
}

void TrustDialog::Load(PageView& view) {
  if (entries_.size() == 1) {
    const RecycleEntry& only = entries_.front();
    const std::string address = only.address.empty() ? "" : " <" + DisplayLine(only.address) + ">";
    view.SetText(TRUST_WHAT, DisplayLine(only.sender) + address);
  } else {
    view.SetText(TRUST_WHAT, Format(Text::kTrustSeveral,
                                    {std::to_string(entries_.size()), std::to_string(addresses_.size())}));
  }
  view.SetChecked(TRUST_RESTORE, choice_.restores);
  view.SetChecked(TRUST_SENDER, choice_.befriends && !addresses_.empty());
  view.SetChecked(TRUST_DOMAIN, choice_.whole_domain);
  view.SetChecked(TRUST_LEARN, choice_.learns);
  view.Enable(TRUST_SENDER, !addresses_.empty());
  Update(view);
}

TrustChoice TrustDialog::Chosen(const PageView& view) const {
  return {view.IsChecked(TRUST_RESTORE), view.IsChecked(TRUST_SENDER), view.IsChecked(TRUST_DOMAIN),
          view.IsChecked(TRUST_LEARN)};
}

void TrustDialog::Update(PageView& view) const {
  const TrustChoice chosen = Chosen(view);
  view.Enable(TRUST_DOMAIN, chosen.befriends);
  const bool names_one = chosen.befriends && addresses_.size() == 1;
  const std::string key = names_one ? KeyFor(addresses_.front(), chosen.whole_domain) : std::string();
  view.SetText(TRUST_PATTERN, key.empty() ? key : Format(Text::kTrustPattern, {DisplayLine(key)}));
  view.Enable(BUTTON_OK, chosen.restores || chosen.befriends || chosen.learns);
}

void TrustDialog::Pressed(PageView& view, int) {
  Update(view);
}

bool TrustDialog::Ok(PageView& view) {
  TrustChoice chosen = Chosen(view);
  if (!chosen.restores && !chosen.befriends && !chosen.learns) return false;
  TrustChoice remembered = chosen;
  // Without an address nobody was asked about the sender.
  if (addresses_.empty()) remembered.befriends = choice_.befriends;
  WriteTrustChoice(program_, remembered);
  choice_ = chosen;
  return true;
}

TrustReport RestoreAndTrust(Program& program, std::span<const RecycleEntry> entries,
                            const TrustChoice& choice) {
  TrustReport report;
  RecycleBin bin(program);
  std::vector<std::string> names;
  for (const RecycleEntry& entry : entries) names.push_back(entry.name);
  // Of those that are still there: the mail check or a purge may have taken some.
  const std::vector<RecycleEntry> present = EntriesOf(program, names);
  names.clear();
  for (const RecycleEntry& entry : present) names.push_back(entry.name);
  if (names.empty()) return report;
  if (choice.restores) {
    if (const FileResult restored = bin.MarkRestored(names, true)) {
      report.restored = names.size();
    } else {
      Fail(report, DisplayLine(restored.Text()));
    }
  }
  if (choice.befriends) BefriendAll(program, present, choice.whole_domain, report);
  if (choice.learns) LearnAll(program, bin, present, report);
  return report;
}

std::string LineOf(const TrustReport& report) {
  std::string line = Format(
      Text::kTrustDone,
      {std::to_string(report.restored), std::to_string(report.friends), std::to_string(report.learnt)});
  if (!report.trouble.empty()) line += " " + Format(Text::kTrustNotAll, {report.trouble});
  return line;
}

std::vector<RecycleEntry> EntriesOf(Program& program, std::span<const std::string> names) {
  std::optional<std::vector<RecycleEntry>> all = RecycleBin(program).List();
  std::vector<RecycleEntry> entries;
  if (!all) return entries;
  std::unordered_map<std::string_view, RecycleEntry*> by_name;
  for (RecycleEntry& entry : *all) by_name.try_emplace(entry.name, &entry);
  for (const std::string& name : names) {
    if (const auto found = by_name.find(name); found != by_name.end()) entries.push_back(*found->second);
  }
  return entries;
}

}  // namespace quillbeaker
