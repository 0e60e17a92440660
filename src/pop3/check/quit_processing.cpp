// SPDX-License-Identifier: MIT
#include "pop3/check/quit_processing.h"

#include <algorithm>
#include <string>
#include <unordered_set>
#include <vector>

#include "config/day_number.h"
#include "config/texts.h"
#include "message/mail_date.h"
#include "pop3/check/quit_learning.h"
#include "pop3/local/client_session.h"
#include "stores/recycle_bin.h"
#include "stores/statistics.h"
#include "stores/unique_id_store.h"

namespace quillbeaker {
namespace {

// The bare name of a restored message's file.
std::string FileNameOf(const std::string& path) {
  return path.substr(path.find_last_of("/\\") + 1);
}

// The steps of one QUIT, in the order in which they are called.
class Quit {
 public:
  explicit Quit(ClientSession& session)
      : session_(session),
        messages_(session.upstream().messages()),
        recycle_bin_(session.program()),
        statistics_(session.program()) {
    statistics_.Load();
  }

  // All spam is on the disk, its index too, before the first deletion goes to the server: nothing is deleted
  // that is not kept. One index save serves them all.
  void FileSpam() {
    std::vector<MessageEntry*> entries;
    std::vector<DeletedMessage> spam;
    for (MessageEntry& entry : messages_) {
      if (!entry.is_hidden()) {
        continue;
      }
      if (entry.message == nullptr || entry.message->empty()) {
        CountDeleted(entry);  // an empty message has nothing to keep
        continue;
      }
      entries.push_back(&entry);
      spam.push_back({entry.message.get(), entry.verdict_text, entry.spam_probability});
    }
    if (spam.empty()) {
      return;
    }
    const std::vector<std::string> names = recycle_bin_.File(spam, session_.upstream().Account()).names;
    for (std::size_t i = 0; i < entries.size(); ++i) {
      if (names[i].empty()) {
        // Deliberate: what could not be kept stays on the server and is judged again in the next session.
        unfiled_.insert(entries[i]);
      } else {
        CountDeleted(*entries[i]);
      }
    }
  }

  // From what this session's view build fetched and judged, whoever settled it and whether or not the client
  // deletes it. Never from mail that was known or restored: that was learnt before. Spam that stays on the
  // server will be met again. Deliberate: before anything is deleted or remembered as seen, so that a program
  // that is ended in between learns a message twice at worst.
  void Learn() {
    std::vector<const MailMessage*> judged;
    for (const MessageEntry& entry : messages_) {
      if (entry.judged && entry.message != nullptr && !unfiled_.contains(&entry)) {
        judged.push_back(entry.message.get());
      }
    }
    LearnFromMail(session_.program(), judged);
  }

  void CarryOutDeletions() {
    for (MessageEntry& entry : messages_) {
      if (unfiled_.contains(&entry)) {
        // Neither deleted nor remembered as seen.
      } else if (entry.delete_on_server) {
        session_.upstream().DeleteMessage(entry.server_number);
      } else if (entry.unique_id && (entry.known || entry.message != nullptr)) {
        seen_.push_back(*entry.unique_id);
      }
      if (entry.is_restored() && entry.done && !entry.file_unreadable) {
        delivered_.push_back(FileNameOf(entry.file_path));
      }
      session_.observer().Advance(1);
    }
  }

  void RemoveDeliveredFromRecycleBin() {
    if (!delivered_.empty()) {
      recycle_bin_.DeleteMessages(delivered_);
    }
  }

  // Of messages that were neither known nor downloaded nothing is stored: they would never be judged.
  void StoreUniqueIds() {
    if (session_.program().Read(keys::kUidChecking) == 0) {
      return;
    }
    if (const auto store = UniqueIdStore::Open(session_.program())) {
      for (const std::string& unique_id : seen_) {
        store->Add(unique_id);
      }
      store->PurgeAndClose();
    }
  }

  // Whoever shows the statistic loads it anew; a session that fails here has still removed its spam.
  void SaveStatistics() { static_cast<void>(statistics_.Save()); }

  std::uint32_t deleted() const { return deleted_; }
  std::uint32_t unfiled() const { return static_cast<std::uint32_t>(unfiled_.size()); }

 private:
  // Deliberate: the day is that of the mail's own Date field; mail without one is in no day's count.
  void CountDeleted(const MessageEntry& spam) {
    ++deleted_;
    CalendarTime date;
    if (spam.message != nullptr && ReadDate(*spam.message, date) == kDateRead) {
      statistics_.Count(static_cast<std::uint32_t>(DayNumber(date)));
    }
  }

  ClientSession& session_;
  MessageList& messages_;
  RecycleBin recycle_bin_;
  Statistics statistics_;
  std::unordered_set<const MessageEntry*> unfiled_;
  std::vector<std::string> seen_;
  std::vector<std::string> delivered_;
  std::uint32_t deleted_ = 0;
};

}  // namespace

void QuitProcessing(ClientSession& session) {
  CheckObserver& observer = session.observer();
  observer.SetRange(session.upstream().messages().size());
  observer.SetPosition(0);
  observer.ShowTooltip(TextOf(Text::kClosingConnection));
  Quit quit(session);
  quit.FileSpam();
  quit.Learn();
  quit.CarryOutDeletions();
  quit.RemoveDeliveredFromRecycleBin();
  quit.StoreUniqueIds();
  session.SendOk("Everything done.");
  session.Flush();
  session.summary.finished = true;
  session.summary.deleted = quit.deleted();
  session.summary.unfiled = quit.unfiled();
  observer.AddDeleted(quit.deleted());
  quit.SaveStatistics();
}

}  // namespace quillbeaker
