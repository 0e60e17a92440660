// SPDX-License-Identifier: MIT
#pragma once

// A byte stream to a peer, as the protocol code sees it: plain TCP today, TLS behind the same face. Every
// wait has a limit that the caller gives; what to do when it has passed is the caller's decision.

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace quillbeaker {

enum class IoStatus {
  kOk,        // `bytes` bytes were moved, at least one
  kClosed,    // the peer closed its side in order (receive only)
  kTimedOut,  // the wait passed; `bytes` may have been sent before
  kFailed,    // socket error, or aborted
};

struct IoResult {
  IoStatus status = IoStatus::kFailed;
  std::size_t bytes = 0;
};

// A peer that has vanished without a word (no power, no network) makes Receive and Send fail after two
// minutes of silence: connected and accepted sockets have TCP keepalive.
class Connection {
 public:
  virtual ~Connection() = default;

  // Receives at most `capacity` bytes, waiting at most `wait` for the first.
  virtual IoResult Receive(char* buffer, std::size_t capacity, std::chrono::milliseconds wait) = 0;
  // Sends all of `bytes`, however many kernel calls that takes; `wait` counts anew whenever some were taken.
  // On kTimedOut the caller may go on with the rest.
  virtual IoResult Send(std::string_view bytes, std::chrono::milliseconds wait) = 0;
  // Half-close: the peer reads an end of stream, we can still receive.
  virtual void FinishSending() = 0;
  // True when the peer has closed or reset the connection. Does not block. A peer that only closed its
  // sending side counts as gone too; while bytes of it wait unread, that is noticed only where the system
  // tells it (Linux does, Windows not).
  virtual bool PeerHasGone() = 0;
  // Any thread, any time: tries once to send `farewell` without waiting, then shuts the stream down, so that
  // a blocked Receive or Send of another thread fails. The socket itself is closed by the destructor only.
  virtual void Abort(std::string_view farewell) = 0;
};

// Accepts connections on 127.0.0.1 alone.
class Listener {
 public:
  virtual ~Listener() = default;
  // Blocks until a client connects; null once Stop was called or accepting failed.
  virtual std::unique_ptr<Connection> Accept() = 0;
  // Any thread: makes a blocked and every later Accept return null.
  virtual void Stop() = 0;
  virtual int port() const = 0;
};

// Binds 127.0.0.1:`port` so that no other program can share it; 0 is any port that is free. Null on failure.
std::unique_ptr<Listener> ListenOnLoopback(int port, int backlog);

enum class ConnectStatus {
  kConnected,
  kHostNotFound,
  kNoSuchPort,  // it is not from 1 to 65535
  kRefused,
  kTimedOut,
  kAborted,
  kOwnAddress
};
struct ConnectResult {
  ConnectStatus status = ConnectStatus::kRefused;
  std::shared_ptr<Connection> connection;  // set only when connected
};

// Resolves `host` (name or address) and tries each of its addresses in order until one takes the connection;
// one that stays silent is waited for while the next ones are tried. `on_wait` is called whenever `period`
// has passed without an answer and says whether to go on waiting: false gives kAborted. kTimedOut is the
// system's own limit. Addresses at which this process itself listens on `own_port` are left out; when no
// other takes the connection, the status is kOwnAddress. Resolving cannot be interrupted by the system, so it
// runs on a thread of its own that is abandoned when given up.
ConnectResult ConnectTo(const std::string& host, int port, std::chrono::milliseconds period,
                        const std::function<bool()>& on_wait, int own_port = 0);

// Once per process, before anything else here: readies the system's socket library, keeps SIGPIPE away.
bool StartNetworking();

}  // namespace quillbeaker
