// SPDX-License-Identifier: MIT
#pragma once

// The few socket calls that connection.cpp is built from; posix/sockets.cpp and windows/sockets.cpp carry
// them out. Every socket here is non-blocking, so that each wait has its limit. For platform/ only: everyone
// else uses connection.h.

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quillbeaker {

// Owns one socket of the system.
class Socket {
 public:
  static constexpr std::intptr_t kNone = -1;

  Socket() = default;
  explicit Socket(std::intptr_t number) : number_(number) {}
  Socket(Socket&& other) noexcept : number_(other.number_) { other.number_ = kNone; }
  Socket& operator=(Socket&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  ~Socket();

  bool valid() const { return number_ != kNone; }
  std::intptr_t number() const { return number_; }

 private:
  std::intptr_t number_ = kNone;
};

enum class SocketStatus { kDone, kWouldBlock, kClosed, kFailed };
struct SocketResult {
  SocketStatus status = SocketStatus::kFailed;
  std::size_t bytes = 0;
};

// One call of the system each, without waiting. `bytes` is at least 1 with kDone.
SocketResult ReceiveNow(const Socket& socket, char* buffer, std::size_t capacity);
SocketResult SendNow(const Socket& socket, std::string_view bytes);
bool PeerHasClosed(const Socket& socket);

void ShutDownSending(const Socket& socket);
// Any thread; wakes a wait on the socket where the system does that.
void ShutDownBoth(const Socket& socket);

struct WatchedSocket {
  const Socket* socket = nullptr;
  bool for_writing = false;
  bool ready = false;  // or failed: the next call on it tells
};
// Returns when one of them is ready, after `wait`, or earlier for no reason.
void WaitForSockets(std::span<WatchedSocket> sockets, std::chrono::milliseconds wait);

// Bound to 127.0.0.1 alone and shared with no other program; not valid on failure. Port 0 is any free one.
Socket ListenOnLoopbackNow(std::uint16_t port, int backlog);
// The port that a socket of this side is bound to; 0 when it is not.
std::uint16_t LocalPort(const Socket& socket);
// kDone with `accepted` set; kWouldBlock when nobody waits; kClosed when the one who waited has gone or when
// the system is out of resources for a moment; kFailed when the listener is of no use any more.
SocketStatus AcceptNow(const Socket& listener, Socket& accepted);

// An address of either family as the system's calls take it.
struct SocketAddress {
  std::array<std::byte, 128> bytes{};
  std::size_t size = 0;
};
// Blocks for as long as the system likes. Empty when the name is not known.
std::vector<SocketAddress> ResolveNow(const std::string& host, std::uint16_t port);
// The same for a host given in digits, which never blocks: no name server is asked. Empty for a name.
std::vector<SocketAddress> ReadAddress(const std::string& host, std::uint16_t port);

// The address as digits, without the port; empty when it is none.
std::string NumericHost(const SocketAddress& address);

enum class ConnectProgress { kPending, kConnected, kRefused, kTimedOut };
// Begins to connect; a socket that is not valid was refused at once.
Socket StartConnecting(const SocketAddress& address);
// To be asked when the socket is ready for writing.
ConnectProgress ProgressOf(const Socket& socket);

// The system asks a peer that has been silent for a minute whether it is still there, and after another
// minute without an answer the connection fails: a peer without power or network never closes it. False when
// the system does not take that.
bool KeepAlive(const Socket& socket);

// Deliberate: without TCP_NODELAY a reply sent in several pieces waits for the peer's delayed
// acknowledgement, 40 ms each.
void SendWithoutDelay(const Socket& socket);

}  // namespace quillbeaker
