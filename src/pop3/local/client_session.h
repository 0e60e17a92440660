// SPDX-License-Identifier: MIT
#pragma once

// One mail client's session with the proxy, from accept to close: has its commands carried out
// (client_commands.h) on the mail check behind it. Lives on the listener's thread.

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "config/program.h"
#include "platform/connection.h"
#include "platform/tls_sessions.h"
#include "pop3/check/kept_mail.h"
#include "pop3/check/mail_check.h"
#include "pop3/check_observer.h"
#include "pop3/local/client_wire.h"
#include "pop3/local/tick_sequence.h"
#include "pop3/watch.h"

namespace quillbeaker {

struct SessionSettings {
  // Deliberate: a client that sends nothing, or takes nothing, for so long is treated as gone (RFC 1939 asks
  // for ten minutes at least): it would hold up every other account. Unset, the configuration says it.
  std::optional<std::chrono::milliseconds> client_idle_limit;
  int own_port = 0;  // that the proxy listens on; 0 when it does not
};

// What outlives a session and is handed to each one.
struct ProxyMemory {
  explicit ProxyMemory(const Environment& environment) : kept_mail(environment) {}

  TickSequence ticks;
  KeptMail kept_mail;
  std::shared_ptr<TlsSessions> tls_sessions = std::make_shared<TlsSessions>();
};

class ClientSession {
 public:
  // References must outlive the session.
  ClientSession(Program& program, CheckObserver& observer, ProxyMemory& memory,
                const SessionSettings& settings, std::unique_ptr<Connection> client);

  // Serves the client until the session ends, by itself or by Stop.
  void Run();
  // Any thread: breaks both connections, so that Run returns.
  void Stop();

  Program& program() { return program_; }
  CheckObserver& observer() { return observer_; }
  ClientWire& wire() { return wire_; }
  MailCheck& check() { return check_; }
  TickSequence& ticks() { return memory_.ticks; }

  // An answer that is "+OK" whatever comes of it is being prepared.
  void BeginSlowAnswer();

  std::string user_name;  // as USER gave it
  std::string server_name;
  std::optional<std::int32_t> server_port;  // as USER gave it

 private:
  void FlushLogs();
  void ServeCommands();
  // False when the session is over.
  bool HandleCommand(std::string_view command);

  Program& program_;
  CheckObserver& observer_;
  ProxyMemory& memory_;
  std::unique_ptr<Connection> client_;
  Watch watch_;
  ClientWire wire_;
  MailCheck check_;
};

}  // namespace quillbeaker
