// SPDX-License-Identifier: MIT
#pragma once

// One mail client's connection to the proxy: receives its commands, has them carried out (client_commands.h),
// sends the replies and keeps client.log. Lives on the listener's thread from accept to close.

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "config/log_file.h"
#include "config/program.h"
#include "config/secret_masking.h"
#include "platform/connection.h"
#include "pop3/check_observer.h"
#include "pop3/local/tick_sequence.h"
#include "pop3/upstream/upstream_session.h"

namespace quillbeaker {

// What outlives a session and is handed to each one.
struct SessionSettings {
  // Deliberate: a client that sends nothing, or takes nothing, for so long is treated as gone (RFC 1939 asks
  // for ten minutes at least): it would hold up every other account. Unset, the configuration says it.
  std::optional<std::chrono::milliseconds> client_idle_limit;
  int own_port = 0;  // that the proxy listens on; 0 when it does not
};

class ClientSession {
 public:
  // References must outlive the session.
  ClientSession(Program& program, CheckObserver& observer, TickSequence& ticks,
                const SessionSettings& settings, std::unique_ptr<Connection> client);

  // Serves the client until the session ends, by itself or by Stop.
  void Run();
  // Any thread: breaks both connections, so that Run returns.
  void Stop();

  // Replies are gathered and sent with as few calls as their size allows, at the latest when the command is
  // done.
  void SendOk(std::string_view text);
  void SendErr(std::string_view text);
  // Logs the line and sends it.
  void SendRaw(std::string_view line);
  // Sends bytes of a message, which never reach the log.
  void SendUnlogged(std::string_view bytes);
  void LogMarker(std::string_view text);
  // Sends what was gathered. From the first failure on nothing is sent and the session ends after the
  // command.
  void Flush();

  // True when the client has closed its side. Looks at the socket without waiting.
  bool ClientHasGone();

  Program& program() { return program_; }
  CheckObserver& observer() { return observer_; }
  UpstreamSession& upstream() { return upstream_; }
  TickSequence& ticks() { return ticks_; }
  int own_port() const { return own_port_; }

  std::string user_name;  // as USER gave it
  std::string server_name;
  std::optional<std::int32_t> server_port;  // as USER gave it
  bool view_built = false;
  CheckSummary summary;

 private:
  void OpenLog();
  void ServeCommands();
  // False when the session is over.
  bool HandleCommand(std::string_view command);
  void LogCommand(std::string_view command);
  void SendNow(std::string_view bytes);

  Program& program_;
  CheckObserver& observer_;
  TickSequence& ticks_;
  const std::chrono::milliseconds idle_limit_;
  const int own_port_;
  LogFile client_log_;
  std::unique_ptr<Connection> client_;
  UpstreamSession upstream_;  // closed before the client's socket
  std::string outgoing_;
  bool client_lost_ = false;
  SecretMask secret_mask_;
};

}  // namespace quillbeaker
