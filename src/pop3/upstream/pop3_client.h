// SPDX-License-Identifier: MIT
#pragma once

// The client's side of POP3 (RFC 1939): sends commands, receives their replies, keeps server.log. Several
// commands may be under way; their replies come in the order of the commands. What the commands are for is
// the mail check's. Used on the listener's thread, Abort aside.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "config/log_file.h"
#include "config/program.h"
#include "config/secret_masking.h"
#include "pop3/upstream/reply_parser.h"
#include "pop3/upstream/server_link.h"
#include "pop3/watch.h"

namespace quillbeaker {

enum class ReplyStatus {
  kComplete,   // whole; positive() tells what the server thinks
  kRefused,    // "-ERR", in any case
  kCancelled,  // the person asked to stop
  kStopped,    // the mail program has gone
  kLost,       // nothing can follow on this connection
};

struct Reply {
  ReplyStatus status = ReplyStatus::kLost;
  std::string status_line;    // as far as it came, without its line end
  std::string body;           // of a complete one (ReplyParser::TakeBody)
  bool line_ended = false;    // with CR LF
  bool bytes_behind = false;  // more was received with it than it is
  bool too_long = false;      // it was lost because it had no end

  bool positive() const { return status == ReplyStatus::kComplete && IsPositive(status_line); }
};

class Pop3Client {
 public:
  // Both references must outlive the client. Without `tls_sessions` no TLS session is resumed.
  Pop3Client(Program& program, Watch& watch, std::shared_ptr<TlsSessions> tls_sessions = nullptr);
  Pop3Client(const Pop3Client&) = delete;
  Pop3Client& operator=(const Pop3Client&) = delete;

  // Opens server.log with a banner of its own.
  void OpenLog();
  bool Open(const ServerLink::Destination& destination, LoginProblem& problem);
  // Before anything else is said on an open connection. On failure it is closed without another byte.
  bool Encrypt(LoginProblem& problem) { return link_.Encrypt(problem); }
  const ServerLink& link() const { return link_; }
  bool is_open() const { return link_.is_open(); }

  // One command, without its line end. `announced` is the size of the reply's body in bytes, as far as it is
  // known. What is still unread of replies that nobody wants any more is read away first. False when nothing
  // can be sent any more.
  bool Request(std::string_view command, ReplyKind kind, std::size_t announced = 0);
  // Several at once: put in line one by one, then sent together.
  void Queue(std::string_view command, ReplyKind kind, std::size_t announced = 0);
  bool SendQueued();
  // The same for PASS: neither the password nor an answer that repeats it reaches the log.
  bool RequestWithPassword(const std::string& password);

  // The reply to the oldest command under way. `progress` is told of the bytes as they come, and false means
  // that the person cancels. After anything but kComplete the other replies under way are of no use: Forget
  // them.
  using Progress = std::function<bool(std::size_t bytes)>;
  Reply Receive(const Progress& progress = {});
  // Nobody wants the replies that are under way: they are read away before the next command.
  void Forget();

  // A command that is sent while an earlier reply is still being worked on gets its line in the log only when
  // that work is logged: by this, or else when its own reply is received.
  void LogNextCommand();
  // "         C: text" or with S.
  void LogMarker(char side, std::string_view text);
  void FlushLog() { log_.Flush(); }

  // To be called now and then while nothing is asked of the server: it would end a connection on which it
  // hears nothing (RFC 1939, section 3). Says NOOP when `period` has passed since the last command; its
  // answer is taken when it is there. Never waits and never asks anybody.
  void KeepAlive(std::chrono::seconds period);

  // QUIT, where it may be said; does not wait for the answer. False when it was not said.
  bool SendQuit();
  struct Farewell {
    bool answered = false;
    bool accepted = false;  // "+OK"
    std::string refusal;    // the server's words otherwise
  };
  // Gives the server time to close the connection, so that it carries the deletions out.
  Farewell WaitForItsEnd();
  // Closes connection and log, without a word.
  void Close();

  // The server cannot be trusted any further: no command succeeds from now on.
  void GiveUpOnServer() { link_.GiveUpOnServer(); }
  void Drop() { link_.Drop(); }
  // Any thread, for the end of the program.
  void Abort() { link_.Abort(); }

 private:
  struct Command {
    std::string logged_line;  // what the log has to say of it; empty when it has
    ReplyParser reply;
    bool forgotten = false;  // nobody wants its reply
    bool logs_reply = true;
    bool may_ask = true;  // the person, when the reply does not come
  };

  static Command MakeCommand(std::string_view command, ReplyKind kind, std::size_t announced);
  bool ReadAwayForgotten();
  // Receives until the command's reply has ended or must end here.
  ServerLink::Outcome ReadOn(Command& command, const Progress& progress, bool& cancelled);
  ServerLink::Outcome Fill(const Command& command);
  void LogCommand(Command& command);
  void LogReceived(std::string_view bytes);
  std::string_view Unread() const { return std::string_view(received_).substr(begin_, end_ - begin_); }
  void DropFirstCommand();

  Program& program_;
  Watch& watch_;
  ServerLink link_;
  LogFile log_;
  std::deque<Command> commands_;  // under way, the oldest first
  std::deque<Command> queued_;    // not sent yet
  std::string unsent_;            // their bytes
  std::string received_;  // one buffer for all that is received; bytes begin_ to end_ are not taken yet
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
  bool expects_more_ = false;                // when the buffer was filled, more than one reply was under way
  std::optional<PasswordMask> answer_mask_;  // while an answer may repeat the password
  std::chrono::steady_clock::time_point last_command_{};
};

}  // namespace quillbeaker
