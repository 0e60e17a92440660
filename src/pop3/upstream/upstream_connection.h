// SPDX-License-Identifier: MIT
#pragma once

// The line to the real POP3 server: sends commands, reads replies, keeps server.log, and watches every wait.
// What the commands mean is upstream_session.h's. Used on the listener's thread, Abort aside.

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "config/log_file.h"
#include "config/program.h"
#include "config/secret_masking.h"
#include "platform/connection.h"
#include "pop3/check_observer.h"
#include "pop3/login_problem.h"
#include "pop3/upstream/reply_reader.h"
#include "pop3/upstream/server_security.h"

namespace quillbeaker {

class UpstreamConnection {
 public:
  // Both must outlive the connection.
  UpstreamConnection(const Program& program, CheckObserver& observer);
  ~UpstreamConnection();
  UpstreamConnection(const UpstreamConnection&) = delete;
  UpstreamConnection& operator=(const UpstreamConnection&) = delete;

  // Opens server.log with a banner of its own.
  void OpenLog();
  // Connects and, for Security::kTls, secures the connection. `timeout_seconds` watches this and every later
  // wait; below 1 it counts as 60, above 1000 as 1000. `own_port` is the port that this program listens on
  // itself, 0 for none. On failure `problem` says why.
  bool Open(const ServerAddress& address, std::int32_t timeout_seconds, int own_port, LoginProblem& problem);
  bool is_open() const { return connection_ != nullptr; }
  // Secures the connection that stands (Security::kStartTls). On failure it is closed without another byte.
  bool Secure(const ServerAddress& address, LoginProblem& problem);

  // Logs and sends one command, its line end included. False when nothing can be sent any more.
  bool SendLine(std::string_view line);
  // The same for a line that must not reach the log; `marker` is logged in its place.
  bool SendSecretLine(std::string_view line, std::string_view marker);

  // Reads one reply. A refused or cancelled one is read to its end before the next command is sent, else its
  // rest would be taken for the answer to that.
  enum class Logging { kOn, kOff };
  Reply ReadUntil(const ReplyFormat& format, bool with_progress, Logging logging = Logging::kOn);
  // True when the server's one-line reply begins with "+OK". The other one gives all that was received: the
  // line, as far as it came, and whatever came behind it.
  bool ReadStatus();
  // The log gets the answer with `secret` masked in it; what is returned is as it came.
  Reply ReadStatusReply(std::string_view secret = {});
  // What a login that goes no further has failed of: nobody wanted to wait, or the connection is gone.
  LoginFailure HowItEnded() const;
  // The server cannot be trusted any further: no command succeeds from now on.
  void GiveUp() { dead_ = true; }

  // "         C: text" or with S.
  void LogMarker(char side, std::string_view text);

  // Any thread, for the end of the program: tries to say QUIT and breaks the connection, so that a blocked
  // operation fails. It cannot be opened again.
  void Abort();
  // Says QUIT, waits a little for the server to close, closes, and trims the log.
  void Close();
  // Breaks the connection without another byte; Close then says nothing either.
  void Drop();

 private:
  bool SendBytes(std::string_view bytes);
  std::ptrdiff_t ReceiveChunk(char* buffer, std::size_t capacity);
  ReplySource Source();
  // False when that cannot be done.
  bool FinishPendingReply();
  // The server has not answered in time. False when the person, or the configuration, gives up.
  bool GoOnWaiting();
  // The watch over a step of the login whose waits are cut short: counts them until the time-out, then asks
  // or gives up as every wait does.
  std::function<bool()> LoginWatch();
  bool Encrypt(std::shared_ptr<Connection> plain, const ServerAddress& address, LoginProblem& problem);
  // Both are false when Abort came first, or an answer that gives up.
  bool BeginHandshake(const std::shared_ptr<Connection>& plain);
  // `farewell` is what may be said when the connection is broken or closed; empty where nothing may.
  bool Take(std::shared_ptr<Connection> connection, std::string_view farewell, LoginProblem& problem);
  void SayGoodbye();

  // What is reached by a person's or the configuration's wish to wait no longer, on any thread, and perhaps
  // late: one for each Open, which may outlive it.
  struct Line {
    std::mutex mutex;
    std::weak_ptr<Connection> connection;  // none while it is made or secured
    std::string_view farewell;
    bool given_up = false;

    void GiveUp();
    bool IsGivenUp();
    // False when it was given up before.
    bool Hold(const std::shared_ptr<Connection>& made, std::string_view words);
    void LetGo();
  };

  const Program& program_;
  CheckObserver& observer_;
  std::mutex mutex_;  // guards what Abort needs
  std::shared_ptr<Connection> connection_;
  std::string_view farewell_;                // of connection_
  std::shared_ptr<Connection> handshaking_;  // not secured yet: only Abort may touch it
  std::atomic<bool> aborted_ = false;
  std::shared_ptr<Line> line_ = std::make_shared<Line>();
  bool dead_ = false;  // nothing can follow on this connection
  AskedServer asked_;
  struct PendingReply {
    std::string_view terminator;  // empty: nothing is pending
    std::string tail;             // what of the reply has come
    std::size_t limit = 0;        // bytes
  } pending_;
  std::chrono::milliseconds timeout_{60'000};
  LogFile log_;
  std::optional<PasswordMask> answer_mask_;  // for the answer that is being read
};

}  // namespace quillbeaker
