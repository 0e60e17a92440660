// SPDX-License-Identifier: MIT
#pragma once

// One mail check, from the login to the end of the server's connection: lists the mailbox, fetches what is
// new, judges it, hides the spam and numbers the rest; at QUIT files the spam, learns, deletes, remembers. It
// knows no mail client, only a Watch. Used on the listener's thread, Abort aside.

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "config/program.h"
#include "filter/filter_settings.h"
#include "filter/mail_filter.h"
#include "pop3/check/deletions.h"
#include "pop3/check/fetched_mail.h"
#include "pop3/check/kept_mail.h"
#include "pop3/check/mailbox.h"
#include "pop3/check/message_fetch.h"
#include "pop3/check/spam_filing.h"
#include "pop3/check/unconfirmed_rows.h"
#include "pop3/check_observer.h"
#include "pop3/upstream/login.h"
#include "pop3/upstream/pop3_client.h"
#include "pop3/watch.h"

namespace quillbeaker {

// What the mail client sees of the mailbox.
struct ClientView {
  std::uint32_t count = 0;     // visible messages
  std::uint64_t size = 0;      // bytes of them
  Stop stopped = Stop::kNone;  // what has cut this build short
};

class MailCheck {
 public:
  // All references must outlive the check. `own_port` is the port that this program listens on, 0 for none.
  // Without `tls_sessions` no TLS session is resumed.
  MailCheck(Program& program, Watch& watch, KeptMail& kept, int own_port,
            std::shared_ptr<TlsSessions> tls_sessions = nullptr);
  MailCheck(const MailCheck&) = delete;
  MailCheck& operator=(const MailCheck&) = delete;

  // Before a client is greeted: the daily purges.
  void Begin();

  // An earlier login of this session is ended first; nothing of it is kept. On failure
  // summary().login_problem says why, unless it was the mail program or the person that ended the login.
  bool LogIn(const Account& account);

  // The mailbox is listed when it is first needed: LIST, UIDL, and the restored messages of this account. A
  // listing that was stopped leaves it empty; stopped() says by what.
  bool HasMessages();
  Stop stopped() const { return stopped_; }
  Mailbox& mailbox() { return mailbox_; }

  // Once per login; later calls only count. A build that was cut short, by a message that cannot be had or by
  // the person, counts as built: what it did not reach stays unnumbered.
  ClientView BuildView();
  // The answer to the command that built the view has gone out.
  void ViewAnswered() { view_answered_ = true; }
  // True also while there is nothing to answer.
  bool view_answered() const { return view_answered_ || !view_built_; }

  // Fetches the entry's message if that has not been done yet. False when it cannot be had.
  bool Fetch(MessageEntry& entry);
  // Of an entry that was fetched; null when it was not, or cannot be read any more.
  std::shared_ptr<const MailMessage> MessageOf(const MessageEntry& entry) const;

  // The client's NOOP, passed on.
  void Noop();
  // To be called now and then while nothing is asked of the server.
  void KeepAlive();

  // The client's QUIT. Spam is filed before the first deletion goes to the server, so that nothing is deleted
  // that is not kept, and learning comes before anything is deleted or remembered as seen, so that a program
  // that is killed in between learns a message twice at worst. `answer` tells the client; every file is whole
  // by then. Runs with or without a view built, and on a dead connection too: each deletion then fails.
  void Quit(const std::function<void()>& answer);

  // There is not memory enough to go on: what was fetched is let go of. End() comes next.
  void DropMail();

  // The last step on every way out: QUIT where it was not said and may be, the server's time to carry the
  // deletions out, and what is left to remember or to tell.
  void End();

  // Any thread: nothing is waited for any more. What a QUIT writes to files is finished all the same.
  void Abort() { client_.Abort(); }

  void FlushLog() { client_.FlushLog(); }
  const CheckSummary& summary() const { return summary_; }

 private:
  void Reset();

  void CountNew();
  ClientView CountVisible() const;
  // Both are false when the build ends here; build_stopped_ says what has stopped it, if anything.
  bool Visit(MessageEntry& entry);
  bool FetchNew(MessageEntry& entry, const FilterSettings& settings);
  void ShowWhetherFilterIsOn(bool on);
  void Judge(MessageEntry& entry, const MailMessage& message, const FilterSettings& settings);
  // Gets a server's message; tells the person when that fails.
  FetchResult FetchFromServer(MessageEntry& entry);
  bool FetchFromBin(MessageEntry& entry);

  void Learn();
  // Whether anything is deleted on the server.
  bool MarkDeletionsDue();
  void CountSpam();
  std::vector<const MessageEntry*> NoteAsCounted();
  void CarryOutDeletions();
  void RemoveDelivered();
  void StoreUniqueIds();
  bool StaysOnServer(const MessageEntry& entry) const;

  void ForgetConfirmed(const Pop3Client::Farewell& farewell);
  void SaveRows();
  void TellOfQuit(const Pop3Client::Farewell& farewell);
  void KeepForNextTry();
  std::uint32_t CountReady() const;

  Program& program_;
  Watch& watch_;
  CheckObserver& observer_;
  KeptMail& kept_;
  const int own_port_;
  Pop3Client client_;

  Mailbox mailbox_;
  std::unique_ptr<FetchedMail> fetched_;
  std::unique_ptr<MessageFetch> fetch_;
  std::unique_ptr<MailFilter> filter_;  // while the view is built, once there is mail to judge
  std::unique_ptr<UnconfirmedRows> unconfirmed_;
  CheckSummary summary_;
  bool pipelining_ = false;
  bool listed_ = false;
  Stop stopped_ = Stop::kNone;

  bool view_built_ = false;
  Stop build_stopped_ = Stop::kNone;
  bool view_answered_ = false;
  std::uint32_t new_count_ = 0;
  std::uint32_t new_index_ = 0;
  std::uint64_t downloaded_ = 0;  // bytes
  bool filter_off_shown_ = false;

  std::unique_ptr<SpamFiling> filing_;  // from QUIT on
  DeletionResult deletions_;
  std::size_t restored_staying_ = 0;  // delivered, and still in the recycle bin
  bool quit_said_ = false;            // to the server
};

}  // namespace quillbeaker
