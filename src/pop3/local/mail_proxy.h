// SPDX-License-Identifier: MIT
#pragma once

// The local POP3 server: listens on 127.0.0.1 and serves one mail client after another.

#include <memory>
#include <mutex>

#include "config/program.h"
#include "platform/connection.h"
#include "pop3/check_observer.h"
#include "pop3/local/client_session.h"

namespace quillbeaker {

class MailProxy {
 public:
  // References must outlive the proxy.
  MailProxy(Program& program, CheckObserver& observer, SessionSettings settings = {});

  // Takes the port (1 to 65535). On failure the observer is told and false is returned.
  bool Listen(int port);
  // Takes any port that is free: for tests, which ask for port().
  bool ListenOnAnyPort();
  // That it listens on; 0 when it does not.
  int port() const { return settings_.own_port; }
  // Serves clients until Stop; never more than one at a time, the others wait. Call after Listen, on the
  // listener's thread. False when it ended because no client can be accepted any more. Either way the port is
  // free then.
  bool Serve();
  // Any thread: ends Serve, a session in progress included.
  void Stop();
  // After a crash: frees the port when the listener's thread was torn out of Serve and never returns to it.
  // Waits for nothing, since a lock may have been torn with it.
  void GiveUpPort();

 private:
  bool ListenOn(int port);
  void ServeClient(std::unique_ptr<Connection> client);

  Program& program_;
  CheckObserver& observer_;
  SessionSettings settings_;
  ProxyMemory memory_;
  std::mutex mutex_;  // guards what Stop reaches
  std::unique_ptr<Listener> listener_;
  ClientSession* session_ = nullptr;
  bool stopped_ = false;
};

}  // namespace quillbeaker
