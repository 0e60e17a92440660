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
#include <string>
#include <string_view>

#include "config/log_file.h"
#include "config/program.h"
#include "platform/connection.h"
#include "pop3/check_observer.h"
#include "pop3/reply_reader.h"

namespace quillbeaker {

class UpstreamConnection {
 public:
  // Both must outlive the connection.
  UpstreamConnection(const Program& program, CheckObserver& observer);
  ~UpstreamConnection();
  UpstreamConnection(const UpstreamConnection&) = delete;
  UpstreamConnection& operator=(const UpstreamConnection&) = delete;

  // Opens server.log with a banner of its own and connects. `timeout_seconds` watches this and every later
  // wait; below 1 it counts as 60, above 1000 as 1000.
  bool Open(const std::string& server, int port, std::int32_t timeout_seconds);
  bool is_open() const { return connection_ != nullptr; }

  // Logs and sends one command, its line end included. False when nothing can be sent any more.
  bool SendLine(std::string_view line);
  // The same for a line that must not reach the log; `marker` is logged in its place.
  bool SendSecretLine(std::string_view line, std::string_view marker);

  // Reads one reply. A refused or cancelled one is read to its end before the next command is sent, else its
  // rest would be taken for the answer to that.
  enum class Logging { kOn, kOff };
  Reply ReadUntil(const ReplyFormat& format, bool with_progress, Logging logging = Logging::kOn);
  // True when the server's one-line reply begins with "+OK".
  bool ReadStatus();
  // The server cannot be trusted any further: no command succeeds from now on.
  void GiveUp() { dead_ = true; }

  // "         C: text" or with S.
  void LogMarker(char side, std::string_view text) { log_.WriteLine(MarkerLine(side, text)); }

  // Any thread, for the end of the program: tries to say QUIT and breaks the connection, so that a blocked
  // operation fails. It cannot be opened again.
  void Abort();
  // Says QUIT, waits a little for the server to close, closes, and trims the log.
  void Close();

 private:
  void OpenLog();
  bool SendBytes(std::string_view bytes);
  std::ptrdiff_t ReceiveChunk(char* buffer, std::size_t capacity);
  ReplySource Source();
  // False when that cannot be done.
  bool FinishPendingReply();
  // The server has not answered in time. False when the person, or the configuration, gives up.
  bool GoOnWaiting(std::function<void()> abort);
  // Breaks the connection that stands now, if it still does when this is called.
  std::function<void()> AbortLater();
  void SayGoodbye();

  const Program& program_;
  CheckObserver& observer_;
  std::mutex mutex_;  // guards the pointer against Abort
  std::shared_ptr<Connection> connection_;
  std::atomic<bool> aborted_ = false;
  bool dead_ = false;  // nothing can follow on this connection
  struct PendingReply {
    std::string_view terminator;  // empty: nothing is pending
    std::string tail;             // what of the reply has come
    std::size_t limit = 0;        // bytes
  } pending_;
  std::chrono::milliseconds timeout_{60'000};
  LogFile log_;
};

}  // namespace quillbeaker
