// SPDX-License-Identifier: MIT
#pragma once

// The client side of the proxy: one connection to the real POP3 server (RFC 1939), and the list of messages
// that the mail client will see. Used on the listener's thread, Abort aside.

#include <cstdint>
#include <optional>
#include <string>

#include "config/program.h"
#include "pop3/check/message_entry.h"
#include "pop3/check_observer.h"
#include "pop3/upstream/upstream_connection.h"

namespace quillbeaker {

class UpstreamSession {
 public:
  // Both must outlive the session.
  UpstreamSession(Program& program, CheckObserver& observer);
  ~UpstreamSession();
  UpstreamSession(const UpstreamSession&) = delete;
  UpstreamSession& operator=(const UpstreamSession&) = delete;

  // Connects, secures the connection as the configuration wants it, and logs in; a session that was open is
  // closed first. On failure after the connection was made the socket stays open until Close, unless nothing
  // more may be said on it. `port` is the one that the mail client's user name gives, if any; `own_port` is
  // the one that this program listens on. `timeout_seconds` below 1 counts as 60, above 1000 as 1000.
  bool Login(const std::string& server, std::optional<std::int32_t> port, const std::string& user,
             const std::string& password, std::int32_t timeout_seconds, int own_port = 0);
  // Why the last login failed.
  const LoginProblem& login_problem() const { return login_problem_; }

  // The list is read from the server when it is first needed: LIST, UIDL, and the restored messages of this
  // account.
  MessageList& messages() { return messages_; }
  bool HasMessages();
  std::uint32_t CountMessages(std::uint64_t& total_size);
  std::uint32_t CountKnown(std::uint64_t& known_size);

  // The entry of that server number with its message, downloaded once per session; null when it cannot be
  // had. A restored message whose file is gone is an empty message, never null: one lost file must not hold
  // up all mail.
  MessageEntry* FetchMessage(std::uint32_t server_number);
  // What the server said to the last fetch that failed; empty when it said nothing.
  const std::string& last_refusal() const { return last_refusal_; }

  // For a restored message its file is deleted and the server is not asked. True when it worked.
  bool DeleteMessage(std::uint32_t server_number);
  bool Noop();

  // Any thread, for the end of the program: tries to say QUIT and breaks the connection, so that a blocked
  // operation fails. No later login succeeds.
  void Abort() { connection_.Abort(); }
  // Says QUIT, waits for the server to close so that it carries the deletions out, and forgets everything.
  void Close();

  // "user @ server", as the recycle bin stores it.
  std::string Account() const;

 private:
  bool LogIn(const std::string& server, std::optional<std::int32_t> port, const std::string& user,
             const std::string& password, std::int32_t timeout_seconds, int own_port);
  bool Greet(const ServerAddress& address);
  bool StartTls(const ServerAddress& address);
  bool Authorise(const std::string& user, const std::string& password);
  // Whether the server agrees; its words are kept when it does not. What may not have anything behind it in
  // clear is the answer before TLS.
  enum class Behind { kIgnored, kForbidden };
  // `secret` is masked in what the answer leaves in the log and in the login problem.
  bool Agreed(LoginFailure failure, Behind behind = Behind::kIgnored, std::string_view secret = {});
  // Sends a line of the login; false, with the reason, when it does not go out.
  bool Say(const std::string& line);
  void ListMessages();
  bool ReadListing();
  void ReadUniqueIds();
  void AddRestoredMessages();
  void FetchRestored(MessageEntry& entry);
  bool Download(MessageEntry& entry);

  Program& program_;
  UpstreamConnection connection_;
  std::int64_t message_count_ = -1;  // cached; -1 means not yet counted
  std::uint64_t total_size_ = 0;
  std::string user_name_;
  std::string server_name_;
  std::string last_refusal_;
  LoginProblem login_problem_;
  MessageList messages_;
};

}  // namespace quillbeaker
