// SPDX-License-Identifier: MIT
#include "pop3/check/mail_check.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "config/day_number.h"
#include "config/texts.h"
#include "filter/filter_settings.h"
#include "message/display_text.h"
#include "message/mail_date.h"
#include "pop3/check/daily_purges.h"
#include "pop3/check/listing.h"
#include "pop3/check/mail_batches.h"
#include "pop3/check/quit_learning.h"
#include "pop3/check/restored_mail.h"
#include "stores/statistics.h"
#include "stores/unique_id_store.h"

namespace quillbeaker {

MailCheck::MailCheck(Program& program, Watch& watch, KeptMail& kept, int own_port,
                     std::shared_ptr<TlsSessions> tls_sessions)
    : program_(program),
      watch_(watch),
      observer_(watch.observer()),
      kept_(kept),
      own_port_(own_port),
      client_(program, watch, std::move(tls_sessions)) {
  Reset();
}

void MailCheck::Begin() {
  RunDailyPurges(program_, observer_);
}

// Log in.

bool MailCheck::LogIn(const Account& account) {
  End();
  Reset();
  LoginResult result =
      quillbeaker::LogIn(program_, client_, account, program_.Read(keys::kTimeout), own_port_);
  summary_.login_problem = std::move(result.problem);
  if (!result.logged_in) {
    return false;
  }
  mailbox_.SetName({account.server, result.port, account.user});
  summary_.logged_in = true;
  summary_.account = mailbox_.AccountKey();
  pipelining_ = result.pipelining;
  fetch_->SetPipelining(pipelining_);
  return true;
}

// Deliberate: a second PASS keeps nothing of the first, neither its mailbox nor its view.
void MailCheck::Reset() {
  mailbox_ = Mailbox();
  fetched_ = std::make_unique<FetchedMail>(program_, kept_.bytes());
  fetch_ = std::make_unique<MessageFetch>(client_, watch_, *fetched_, kept_);
  unconfirmed_ = std::make_unique<UnconfirmedRows>(program_);
  summary_ = {};
  listed_ = view_built_ = view_answered_ = false;
  stopped_ = Stop::kNone;
  build_stopped_ = Stop::kNone;
  filter_off_shown_ = false;
  filing_ = nullptr;
  deletions_ = {};
  quit_said_ = false;
  new_count_ = new_index_ = 0;
  downloaded_ = 0;
}

// List.

bool MailCheck::HasMessages() {
  if (!listed_ && client_.is_open()) {
    listed_ = true;
    const ListingResult listing = ListMailbox(program_, client_, mailbox_);
    stopped_ = listing.stopped;
    if (!listing.listed && client_.link().state() == ServerLink::State::kLost) {
      observer_.ServerGone(summary_.account);
    }
    unconfirmed_->Load(mailbox_, listing.whole);
  }
  return !mailbox_.empty();
}

// Fetch, judge, number.

ClientView MailCheck::BuildView() {
  if (view_built_) {
    return CountVisible();
  }
  HasMessages();
  view_built_ = true;
  build_stopped_ = stopped_;
  CountNew();
  mailbox_.ClearNumbers();
  fetch_->Plan(mailbox_);
  for (MessageEntry& entry : mailbox_) {
    if (!Visit(entry)) break;
  }
  fetch_->DropPlan();
  filter_ = nullptr;
  if (build_stopped_ == Stop::kCancelled) watch_.UseUpCancel();
  ClientView view = CountVisible();
  view.stopped = build_stopped_;
  return view;
}

void MailCheck::CountNew() {
  std::uint64_t new_size = 0;
  for (const MessageEntry& entry : mailbox_) {
    if (entry.fate == Fate::kKnown) continue;
    ++new_count_;
    new_size += entry.size;
  }
  summary_.listed = static_cast<std::uint32_t>(mailbox_.size());
  observer_.SetRange(new_size);
}

ClientView MailCheck::CountVisible() const {
  ClientView view;
  for (const MessageEntry& entry : mailbox_) {
    if (!entry.is_visible()) continue;
    ++view.count;
    view.size += entry.size;
  }
  return view;
}

bool MailCheck::Visit(MessageEntry& entry) {
  if (entry.fate == Fate::kKnown) {
    ++summary_.known;
    mailbox_.NumberNext(entry);
    return true;
  }
  // Deliberate: a mail client gives up after a minute or two; going on for nobody would keep the next one
  // waiting. One that has closed only its own side counts as gone too.
  build_stopped_ = watch_.LookNowAndThen();
  if (build_stopped_ == Stop::kClientGone || build_stopped_ == Stop::kProgramEnds) {
    return false;
  }
  ++new_index_;
  watch_.AboutToWait();
  observer_.ShowTooltip(
      Format(Text::kReceivingMessage,
             {std::to_string(new_index_), std::to_string(entry.size / 1024), std::to_string(new_count_)}));
  if (build_stopped_ != Stop::kNone) {
    return false;
  }
  const FilterSettings settings = ReadFilterSettings(program_);
  ShowWhetherFilterIsOn(settings.FilterIsOn());
  return FetchNew(entry, settings);
}

void MailCheck::ShowWhetherFilterIsOn(bool on) {
  if (!on) {
    observer_.ShowStatus(TextOf(Text::kFilterDisabled));
  } else if (filter_off_shown_) {
    observer_.ShowStatus({});
  }
  filter_off_shown_ = !on;
}

bool MailCheck::FetchNew(MessageEntry& entry, const FilterSettings& settings) {
  if (entry.is_restored()) {
    if (Fetch(entry)) mailbox_.NumberNext(entry);
  } else {
    const FetchResult result = entry.is_fetched() ? FetchResult::kFetched : FetchFromServer(entry);
    if (result != FetchResult::kFetched) {
      build_stopped_ = result == FetchResult::kCancelled ? Stop::kCancelled
                       : result == FetchResult::kStopped ? client_.link().stopped()
                                                         : Stop::kNone;
      return false;
    }
    const std::shared_ptr<const MailMessage> message = MessageOf(entry);
    if (message == nullptr) {
      return false;
    }
    Judge(entry, *message, settings);
    FetchedMail::Settle(entry);
  }
  downloaded_ += entry.size;
  observer_.SetPosition(downloaded_);
  return true;
}

void MailCheck::Judge(MessageEntry& entry, const MailMessage& message, const FilterSettings& settings) {
  if (filter_ == nullptr) filter_ = std::make_unique<MailFilter>(program_);
  Judgement judgement = filter_->Judge(settings, message, entry.delete_on_server);
  entry.fate = judgement.spam ? Fate::kSpam : Fate::kGood;
  entry.judgement_words = std::move(judgement.words);
  entry.spam_probability = judgement.probability;
  ++summary_.downloaded;
  if (!judgement.spam) {
    mailbox_.NumberNext(entry);
    return;
  }
  entry.client_number = kHiddenFromClient;
  entry.delete_on_server = true;
  observer_.ShowSpamCount(++summary_.spam);
}

bool MailCheck::Fetch(MessageEntry& entry) {
  if (entry.is_fetched()) {
    return true;
  }
  if (entry.is_restored() ? !FetchFromBin(entry) : FetchFromServer(entry) != FetchResult::kFetched) {
    return false;
  }
  FetchedMail::Settle(entry);
  return true;
}

bool MailCheck::FetchFromBin(MessageEntry& entry) {
  std::optional<std::string> text = ReadRestoredMail(entry);
  if (!text) return false;
  if (!fetched_->Hold(entry, std::move(*text))) {
    client_.LogMarker('C', "(message could not be kept: " + fetched_->why() + ")");
    return false;
  }
  client_.LogMarker('C', "(message completely restored from recycle bin)");
  return true;
}

FetchResult MailCheck::FetchFromServer(MessageEntry& entry) {
  const FetchResult result = fetch_->Fetch(mailbox_.name(), entry);
  const std::string words = DisplayLine(fetch_->words());
  switch (result) {
    case FetchResult::kFetched:
    case FetchResult::kCancelled:
    case FetchResult::kStopped:
      return result;
    case FetchResult::kRefused:
      observer_.MessageRefused(summary_.account, entry.server_number, words);
      break;
    case FetchResult::kLost:
      if (client_.link().state() == ServerLink::State::kLost) observer_.ServerGone(summary_.account);
      break;
    case FetchResult::kNoRoom:
      client_.LogMarker('C', "(message could not be kept: " + words + ")");
      break;
  }
  observer_.ShowStatus(Format(Text::kMessageNotDelivered, {std::to_string(entry.server_number), words}));
  return result;
}

std::shared_ptr<const MailMessage> MailCheck::MessageOf(const MessageEntry& entry) const {
  return fetched_->MessageOf(entry);
}

void MailCheck::Noop() {
  if (client_.Request("NOOP", ReplyKind::kStatus)) client_.Receive();
}

void MailCheck::KeepAlive() {
  const std::int32_t seconds = program_.Read(keys::kKeepAliveSeconds);
  if (listed_ && seconds > 0) client_.KeepAlive(std::chrono::seconds(seconds));
}

// QUIT: file, learn, delete, remember, quit upstream, answer.

void MailCheck::Quit(const std::function<void()>& answer) {
  watch_.CarryThrough();
  fetch_->DropPlan();
  observer_.SetRange(mailbox_.size());
  observer_.SetPosition(0);
  observer_.ShowTooltip(TextOf(Text::kClosingConnection));
  filing_ = std::make_unique<SpamFiling>(program_, mailbox_, *fetched_, *unconfirmed_);
  filing_->Run([this] { watch_.LookNowAndThen(); });
  if (!filing_->filed().empty()) {
    observer_.StoreChanged({.store = Store::kRecycleBin, .added = filing_->filed(), .removed = {}});
  }
  Learn();
  const bool deletes = MarkDeletionsDue();
  CarryOutDeletions();
  RemoveDelivered();
  StoreUniqueIds();
  if (!deletes) SaveRows();
  CountSpam();
  kept_.Forget(mailbox_.name());
  quit_said_ = client_.SendQuit();
  summary_.finished = true;
  summary_.unfiled = filing_->unfiled();
  answer();
  observer_.AddDeleted(summary_.deleted);
}

// From what this session's view build fetched and judged, whoever settled it and whether or not the client
// deletes it. Never from mail that was known or restored: that was learnt before. Spam that stays on the
// server will be met again.
void MailCheck::Learn() {
  if (!ReadFilterSettings(program_).LearningIsOn()) return;
  std::vector<MessageEntry*> lessons;
  for (MessageEntry& entry : mailbox_) {
    const bool learnt = entry.unconfirmed && entry.unconfirmed->learnt;
    if (entry.is_judged() && !learnt && !filing_->IsUnfiled(entry)) lessons.push_back(&entry);
  }
  bool any_kept = false;
  for (const MailBatch& batch : SplitIntoBatches(lessons)) {
    std::vector<std::shared_ptr<const MailMessage>> held;
    std::vector<const MailMessage*> messages;
    for (std::size_t i = batch.first; i < batch.first + batch.count; ++i) {
      held.push_back(MessageOf(*lessons[i]));
      if (held.back() != nullptr) messages.push_back(held.back().get());
    }
    if (LearnFromMail(program_, messages)) any_kept = true;
  }
  if (any_kept) observer_.StoreChanged({.store = Store::kTrainingArea, .added = {}, .removed = {}});
  for (MessageEntry* const entry : lessons) {
    if (UnconfirmedMail* const row = UnconfirmedRows::RowOf(*entry)) row->learnt = true;
  }
}

// Flushed before the first deletion goes out: from then on a mail may be gone whose file nothing else tells
// of. Where nothing is deleted the rows can wait until the ids are stored, after which hardly one is left.
bool MailCheck::MarkDeletionsDue() {
  bool deletes = false;
  for (MessageEntry& entry : mailbox_) {
    if (!entry.delete_on_server || entry.is_restored() || filing_->IsUnfiled(entry)) continue;
    deletes = true;
    if (entry.unconfirmed) entry.unconfirmed->deletion_due = true;
  }
  if (!deletes) return false;
  if (FileResult saved = unconfirmed_->Save(mailbox_); !saved) filing_->KeepRowsOnServer(saved);
  return true;
}

void MailCheck::CarryOutDeletions() {
  std::vector<const MessageEntry*> due;
  for (const MessageEntry& entry : mailbox_) {
    if (entry.delete_on_server && !entry.is_restored() && !filing_->IsUnfiled(entry)) {
      due.push_back(&entry);
    } else {
      observer_.Advance(1);
    }
  }
  deletions_ = DeleteOnServer(client_, due, pipelining_, [this] { observer_.Advance(1); });
}

// Restored messages that the client retrieved or deleted leave the recycle bin, entry first, file after it.
// Of one whose file was missing only the entry leaves: the file may have been away for a moment.
void MailCheck::RemoveDelivered() {
  std::vector<std::string> delivered;
  std::vector<std::string> without_file;
  for (const MessageEntry& entry : mailbox_) {
    if (!entry.is_restored() || !entry.done || entry.file_unreadable) continue;
    (entry.file_missing ? without_file : delivered).push_back(RestoredFileName(entry));
  }
  RecycleBin recycle_bin(program_);
  const auto take_out = [&](const std::vector<std::string>& names, auto operation) {
    if (names.empty()) return;
    if ((recycle_bin.*operation)(names)) {
      observer_.StoreChanged({.store = Store::kRecycleBin, .added = {}, .removed = names});
    } else {
      restored_staying_ += names.size();
    }
  };
  take_out(delivered, &RecycleBin::DeleteMessages);
  take_out(without_file, &RecycleBin::RemoveEntries);
}

// Of messages that were neither known nor fetched nothing is stored: they would never be judged.
bool MailCheck::StaysOnServer(const MessageEntry& entry) const {
  return entry.unique_id && !entry.delete_on_server && (entry.fate == Fate::kKnown || entry.is_fetched());
}

void MailCheck::StoreUniqueIds() {
  if (program_.Read(keys::kUidChecking) == 0) return;
  const auto store = UniqueIdStore::Open(program_);
  if (store == nullptr) return;
  for (const MessageEntry& entry : mailbox_) {
    if (StaysOnServer(entry)) store->Add(*entry.unique_id);
  }
  if (!store->PurgeAndClose()) return;
  for (MessageEntry& entry : mailbox_) {
    if (StaysOnServer(entry)) entry.unconfirmed.reset();
  }
}

// Deliberate: the day is that of the mail's own Date field; mail without one is in no day's count.
void MailCheck::CountSpam() {
  const std::vector<const MessageEntry*> spam = NoteAsCounted();
  Statistics statistics(program_);
  statistics.Load();
  for (const MessageEntry* const entry : spam) {
    const std::shared_ptr<const MailMessage> message = MessageOf(*entry);
    CalendarTime date;
    if (message != nullptr && ReadDate(*message, date) == kDateRead) {
      statistics.Count(static_cast<std::uint32_t>(DayNumber(date)));
    }
  }
  // Whoever shows the statistic loads it anew; a check that fails here has still removed its spam.
  static_cast<void>(statistics.Save());
  if (!spam.empty()) observer_.StoreChanged({.store = Store::kStatistics, .added = {}, .removed = {}});
  summary_.deleted = static_cast<std::uint32_t>(spam.size());
}

// Gives the spam that no earlier check has counted. Its rows say on the disk that it is counted before the
// statistic does: a program that is killed between the two leaves it uncounted rather than counting it twice.
// What cannot be noted is not counted now.
std::vector<const MessageEntry*> MailCheck::NoteAsCounted() {
  std::vector<const MessageEntry*> spam;
  std::vector<MessageEntry*> noted;
  for (MessageEntry& entry : mailbox_) {
    if (entry.fate != Fate::kSpam || filing_->IsUnfiled(entry)) continue;
    if (!entry.unconfirmed) {
      spam.push_back(&entry);
    } else if (!std::exchange(entry.unconfirmed->counted, true)) {
      noted.push_back(&entry);
    }
  }
  if (noted.empty()) return spam;
  const bool saved{unconfirmed_->Save(mailbox_)};
  for (MessageEntry* const entry : noted) {
    entry->unconfirmed->counted = saved;
    if (saved) spam.push_back(entry);
  }
  return spam;
}

// End.

// Deliberate: nothing of it is kept for the next try, which would have that much less memory.
void MailCheck::DropMail() {
  for (MessageEntry& entry : mailbox_) {
    entry.message = nullptr;
    entry.spilled_offset.reset();
  }
  view_answered_ = true;  // nobody gave up
}

void MailCheck::End() {
  if (!summary_.finished) {
    KeepForNextTry();
    client_.SendQuit();
  }
  const Pop3Client::Farewell farewell = client_.WaitForItsEnd();
  if (filing_ != nullptr) {
    ForgetConfirmed(farewell);
    TellOfQuit(farewell);
    filing_ = nullptr;
  }
  client_.Close();
}

// A deletion is confirmed when the server agreed to it and to QUIT, which alone makes it true. A row that
// cannot be removed now goes when the next listing lacks its id.
void MailCheck::ForgetConfirmed(const Pop3Client::Farewell& farewell) {
  for (MessageEntry& entry : mailbox_) {
    if (farewell.accepted && deletions_.agreed.contains(&entry)) entry.unconfirmed.reset();
  }
  SaveRows();
}

// Should it fail, what was learnt may be learnt once more.
void MailCheck::SaveRows() {
  static_cast<void>(unconfirmed_->Save(mailbox_));
}

void MailCheck::TellOfQuit(const Pop3Client::Farewell& farewell) {
  if (filing_->unfiled() > 0) {
    observer_.MailNotKept(summary_.account, filing_->unfiled(), filing_->why());
  }
  if (restored_staying_ > 0) {
    observer_.RestoredMailStays(summary_.account, static_cast<std::uint32_t>(restored_staying_));
  }
  const bool quit_refused = farewell.answered && !farewell.accepted && deletions_.asked > 0;
  const std::string words = ShownRefusal(quit_refused ? farewell.refusal : deletions_.refusal);
  if (quit_refused) {
    client_.LogMarker('S', words);
  }
  // Without its QUIT no server carries out what it has agreed to.
  const bool none_done = quit_refused || !quit_said_;
  const std::size_t unconfirmed = deletions_.failed + (none_done ? deletions_.agreed.size() : 0);
  if (unconfirmed > 0) {
    observer_.DeletionsUnconfirmed(summary_.account, static_cast<std::uint32_t>(unconfirmed),
                                   DisplayLine(words));
  }
  deletions_ = {};
}

// Deliberate: the mail alone, never what was thought of it: at the next try it is judged, counted and learnt
// as if it had just come.
void MailCheck::KeepForNextTry() {
  const bool cancelled = build_stopped_ == Stop::kCancelled;
  if (view_answered() && !cancelled) return;
  const auto limit =
      static_cast<std::uint64_t>(std::max(program_.Read(keys::kFetchCacheMegabytes), 0)) * 1024 * 1024;
  for (const MessageEntry& entry : mailbox_) {
    if (entry.is_judged() && entry.unique_id_is_its_own && entry.message != nullptr) {
      kept_.Keep(mailbox_.name(), *entry.unique_id, entry.listed_size, entry.message, limit);
    }
  }
  // While the mailbox is being listed nobody knows how much there is.
  if (!cancelled && !watch_.ProgramEnds() && new_count_ > 0) {
    observer_.ClientGaveUp(summary_.account, CountReady(), new_count_);
  }
}

// Kept mail that has left the server since is not counted.
std::uint32_t MailCheck::CountReady() const {
  return static_cast<std::uint32_t>(std::ranges::count_if(mailbox_, [this](const MessageEntry& entry) {
    return entry.unique_id_is_its_own && entry.fate != Fate::kKnown &&
           kept_.Has(mailbox_.name(), *entry.unique_id, entry.listed_size);
  }));
}

}  // namespace quillbeaker
