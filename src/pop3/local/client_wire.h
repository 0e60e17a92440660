// SPDX-License-Identifier: MIT
#pragma once

// The mail client's connection: receives its commands, sends the replies, keeps client.log, and keeps the
// client waiting while an answer takes its time. What the commands mean is client_commands.h's. Listener's
// thread.

#include <array>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "config/log_file.h"
#include "config/program.h"
#include "config/secret_masking.h"
#include "platform/connection.h"
#include "pop3/watch.h"

namespace quillbeaker {

class ClientWire {
 public:
  // References must outlive the wire. `idle_limit`: how long a client may send nothing, or take nothing.
  ClientWire(Program& program, Watch& watch, Connection& client, std::chrono::milliseconds idle_limit);
  ClientWire(const ClientWire&) = delete;
  ClientWire& operator=(const ClientWire&) = delete;

  // Opens client.log with a banner of its own.
  void OpenLog();

  // Called now and then, about every Watch::kStep: while the client is waited for, and between the commands
  // of one that never pauses.
  void Meanwhile(std::function<void()> action) { meanwhile_ = std::move(action); }

  // What one receive gives, logged; nothing when the session is over: the client has gone or is silent for
  // too long, the person or the program's end stops it. Points into the wire until the next call.
  std::optional<std::string_view> ReceiveCommand();

  // Replies are gathered and sent with as few calls as their size allows, at the latest by Flush.
  void SendOk(std::string_view text);
  void SendErr(std::string_view text);
  // Logs the line and sends it.
  void SendRaw(std::string_view line);
  // Sends bytes of a message, which never reach the log.
  void SendUnlogged(std::string_view bytes);
  // "         S: text" in the log.
  void LogMarker(std::string_view text);
  // Sends what was gathered, the log first. From the first failure on nothing is sent.
  void Flush();
  void FlushLog() { log_.Flush(); }
  bool is_lost() const { return lost_; }

  // An answer is being prepared that begins with "+OK " whatever follows. Each time that nothing was sent for
  // `period` (0 or less: never) the client gets the next byte of that, so that it does not give up. Ends with
  // the next reply.
  void BeginSlowAnswer(std::chrono::seconds period);
  // To be called often meanwhile.
  void KeepWaiting();

 private:
  using Clock = std::chrono::steady_clock;

  void DoMeanwhile();
  void SendNow(std::string_view bytes);
  std::string_view WithoutWaitingBytes(std::string_view line);

  Program& program_;
  Watch& watch_;
  Connection& client_;
  const std::chrono::milliseconds idle_limit_;
  LogFile log_;
  SecretMask mask_;
  std::function<void()> meanwhile_;
  Clock::time_point last_meanwhile_{};
  std::array<char, 1024> received_;
  std::string outgoing_;
  bool lost_ = false;
  std::chrono::seconds waiting_period_{0};
  std::size_t waiting_bytes_ = 0;  // of the answer's beginning, sent already
  Clock::time_point last_sent_{};
};

}  // namespace quillbeaker
