// SPDX-License-Identifier: MIT
#pragma once

// The connection to a server, from its name to an encrypted stream of bytes, with every wait watched: by the
// time-out that the person is asked about, and by whoever may want it to stop. What is said on it is
// pop3_client.h's. Used on the listener's thread, Abort aside.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "config/program.h"
#include "platform/connection.h"
#include "platform/tls_sessions.h"
#include "pop3/login_problem.h"
#include "pop3/upstream/server_security.h"
#include "pop3/upstream/trickle.h"
#include "pop3/watch.h"

namespace quillbeaker {

class ServerLink {
 public:
  enum class State {
    kClosed,  // not open yet, or closed
    kOpen,
    kLost,     // the server, the network, or what it said: nothing can follow
    kGivenUp,  // nobody wanted to wait for its answer any longer
    kAborted,  // the program ends
  };
  // How a wait ended that was not answered.
  enum class Outcome { kDone, kStopped, kOver };

  // Both references must outlive the link. Without `tls_sessions` no TLS session is resumed.
  ServerLink(Program& program, Watch& watch, std::shared_ptr<TlsSessions> tls_sessions = nullptr);
  ServerLink(const ServerLink&) = delete;
  ServerLink& operator=(const ServerLink&) = delete;

  State state() const { return state_; }
  bool is_open() const { return state_ == State::kOpen; }

  struct Destination {
    ServerAddress address;
    AskedServer asked;             // for the question of the time-out
    std::int32_t timeout_seconds;  // below 1 counts as 60, above 1000 as 1000
    int own_port = 0;              // that this program listens on, 0 for none
  };
  // Connects and, for Security::kTls, encrypts. On failure `problem` says why; stopped() says whether it was
  // for the watch.
  bool Open(const Destination& destination, LoginProblem& problem);
  // Encrypts the connection that stands (Security::kStartTls). On failure it is closed without another byte.
  bool Encrypt(LoginProblem& problem);
  // Why the watch ended the last wait; kNone when it did not.
  Stop stopped() const { return stopped_; }
  std::chrono::milliseconds timeout() const { return timeout_; }

  // A reply is waited for from now on: it may be slow, not for ever (trickle.h).
  void BeginReply() { trickle_.Begin(std::chrono::steady_clock::now()); }
  // All of `bytes`.
  Outcome Send(std::string_view bytes);
  // At least one byte, given as `count`. A silence that nobody is asked about (kNever) is the end.
  enum class Question { kAsk, kNever };
  Outcome Receive(char* buffer, std::size_t capacity, std::size_t& count, Question question = Question::kAsk);
  // What is there now, without waiting; 0 when nothing is.
  std::size_t ReceiveNow(char* buffer, std::size_t capacity);

  // The server cannot be trusted any further: nothing more is sent or received, a farewell aside.
  void GiveUpOnServer() { End(State::kLost); }
  // Breaks the connection without another byte.
  void Drop();
  // Any thread, for the end of the program: tries to say QUIT and breaks the connection, so that a blocked
  // wait fails. It cannot be opened again.
  void Abort();

  // What may be said on a connection that is closed: "QUIT\r\n", or nothing before STLS and after Abort.
  std::string_view farewell() const;
  // Lets the server close first, for at most kFarewell; what it says is handed to `on_bytes`. A socket that
  // is closed over unread bytes resets the connection, and a server that is reset may forget deletions.
  void WaitForItsEnd(const std::function<void(std::string_view bytes)>& on_bytes);
  void Close();

 private:
  // What is reached by a person's or the configuration's wish to wait no longer, on any thread, and perhaps
  // late: one for each Open, which may outlive it.
  struct Patience {
    std::mutex mutex;
    std::weak_ptr<Connection> connection;  // none while it is made or encrypted
    std::string_view farewell;
    bool given_up = false;

    void GiveUp();
    bool IsGivenUp();
    // False when it was given up before.
    bool Hold(const std::shared_ptr<Connection>& made, std::string_view words);
    void LetGo();
  };

  // One look of a wait that has had no answer for another Watch::kStep. False when it ends here.
  bool GoOnAfterStep(std::chrono::milliseconds& waited, Question question = Question::kAsk);
  bool LooksGood();
  // The server has not answered in time. False when the person, or the configuration, gives up.
  bool AskForPatience();
  std::function<bool()> LoginWatch();
  bool EncryptOver(std::shared_ptr<Connection> plain, LoginProblem& problem);
  bool BeginHandshake(const std::shared_ptr<Connection>& plain);
  bool Take(std::shared_ptr<Connection> connection, std::string_view farewell, LoginProblem& problem);
  LoginFailure HowItEnded() const;
  void End(State state);
  Outcome Over();

  Program& program_;
  Watch& watch_;
  const std::shared_ptr<TlsSessions> tls_sessions_;
  State state_ = State::kClosed;
  Stop stopped_ = Stop::kNone;
  ServerAddress address_;
  AskedServer asked_;
  std::chrono::milliseconds timeout_{60'000};
  Trickle trickle_;
  std::mutex mutex_;  // guards what Abort needs
  std::shared_ptr<Connection> connection_;
  std::string_view farewell_;                // of connection_
  std::shared_ptr<Connection> handshaking_;  // not encrypted yet: only Abort may touch it
  std::shared_ptr<Patience> patience_ = std::make_shared<Patience>();
};

}  // namespace quillbeaker
