// SPDX-License-Identifier: MIT
#pragma once

// What the mail check tells a person, and asks. The Windows program answers with tray icon and bubble, the
// console with status lines, a test with a recorder. All calls come from the listener's thread, and no lock
// of a store or of the configuration is held during any of them: whoever answers may take those locks.

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "pop3/login_problem.h"
#include "stores/store_change.h"

namespace quillbeaker {

// One session in numbers, for a status line.
struct CheckSummary {
  std::string account;  // "user @ server", the bytes that the client sent; empty before a login
  bool logged_in = false;
  LoginProblem login_problem;    // of the last login: its server, and why it failed if it did
  bool finished = false;         // the client said QUIT and the server's side of it was carried out
  std::uint32_t listed = 0;      // entries, restored messages included
  std::uint32_t known = 0;       // passed on unfiltered, seen in an earlier session
  std::uint32_t downloaded = 0;  // new messages fetched and judged, restored ones not counted
  std::uint32_t spam = 0;        // of those
  std::uint32_t deleted = 0;     // spam carried out: filed, and its deletion asked of the server
  std::uint32_t unfiled = 0;     // spam that could not be kept and therefore stays on the server
};

// Whose answer is waited for.
struct AskedServer {
  std::string address;  // "host:port"
  std::string account;  // "user @ server", the bytes that the client sent
  bool operator==(const AskedServer&) const = default;
};

class CheckObserver {
 public:
  virtual ~CheckObserver() = default;

  // The port could not be had; no client is served.
  virtual void PortInUse() = 0;

  // Synchronous: the client is greeted only when this returns, because housekeeping runs inside it.
  virtual void SessionBegins() = 0;
  virtual void SessionEnds(const CheckSummary& summary) = 0;

  // The user name that the mail client sent has the wrong form. The session ends when this returns.
  virtual void WrongUserName() = 0;

  // What goes on now, in a short text: UTF-8 in the chosen language, names that came as bytes made fit to be
  // shown.
  virtual void ShowTooltip(std::string_view text) = 0;
  // A second line beside it, empty to clear it.
  virtual void ShowStatus(std::string_view text) = 0;
  virtual void ShowSpamCount(std::uint32_t count) = 0;

  // Progress in bytes while messages arrive, in messages while the session is closed.
  virtual void SetRange(std::uint64_t range) = 0;
  virtual void SetPosition(std::uint64_t position) = 0;
  virtual void Advance(std::uint64_t amount) = 0;

  // The person asked to stop downloading.
  virtual bool IsCancelled() = 0;

  // The server has not answered for the configured time. Returns at once; `abort` may be called now or later,
  // from any thread, and acts on the connection that asked while that lives, else on nothing. A question that
  // still stands must not be asked a second time.
  virtual void AskToAbort(const AskedServer& server, std::function<void()> abort) = 0;

  // Spam deleted in this session, told after the client's QUIT was answered.
  virtual void AddDeleted(std::uint32_t count) = 0;
  // What is filed, learnt, delivered, counted or too old to be kept; told where something has changed.
  virtual void StoreChanged(const StoreChange& change) = 0;

  // What went wrong without the mail client hearing of it. `account` is "user @ server" as the client sent
  // it; `words` and `why` are UTF-8, one line, and may be empty.

  // The server refused message `number`, or sent it in a form that cannot be used; the messages behind it
  // wait for the next check. `words` are the server's own.
  virtual void MessageRefused(std::string_view account, std::uint32_t number, std::string_view words) = 0;
  // The connection to the server ended in the middle of a check. What that means for deletions is told below.
  virtual void ServerGone(std::string_view account) = 0;
  // So many deletions were asked of the server and not confirmed: it refused them (`words`), or it is gone.
  // The mails may still be there; what was kept of them is not kept a second time.
  virtual void DeletionsUnconfirmed(std::string_view account, std::uint32_t count,
                                    std::string_view words) = 0;
  // So much spam could not be kept in the recycle bin and stays on the server. `why` is path and reason.
  virtual void MailNotKept(std::string_view account, std::uint32_t count, std::string_view why) = 0;
  // So many restored messages were delivered and could not be taken out of the recycle bin: the next check
  // delivers them again.
  virtual void RestoredMailStays(std::string_view account, std::uint32_t count) = 0;
  // The mail program ended the connection while messages were fetched for it: `ready` of `total` need not be
  // fetched again at its next try.
  virtual void ClientGaveUp(std::string_view account, std::uint32_t ready, std::uint32_t total) = 0;
};

}  // namespace quillbeaker
