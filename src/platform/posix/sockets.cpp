// SPDX-License-Identifier: MIT
#include "platform/sockets.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <memory>

#include "platform/connection.h"

namespace quillbeaker {
namespace {

static_assert(sizeof(sockaddr_storage) <= sizeof(SocketAddress::bytes));

#ifdef MSG_NOSIGNAL
constexpr int kNoSignal = MSG_NOSIGNAL;
#else
constexpr int kNoSignal = 0;  // StartNetworking ignores SIGPIPE
#endif

int NumberOf(const Socket& socket) {
  return static_cast<int>(socket.number());
}

bool WouldBlock(int error) {
  return error == EAGAIN || error == EWOULDBLOCK;
}

bool SetOption(const Socket& socket, int level, int option, int value = 1) {
  return setsockopt(NumberOf(socket), level, option, &value, sizeof value) == 0;
}

// Not inherited by other programs, never waiting.
bool Prepare(const Socket& socket) {
  const int number = NumberOf(socket);
  const int flags = fcntl(number, F_GETFL);
  return flags >= 0 && fcntl(number, F_SETFL, flags | O_NONBLOCK) == 0 &&
         fcntl(number, F_SETFD, FD_CLOEXEC) == 0;
}

struct FreeAddresses {
  void operator()(addrinfo* list) const { freeaddrinfo(list); }
};

std::vector<SocketAddress> AddressesOf(const std::string& host, std::uint16_t port, int flags) {
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_NUMERICSERV | flags;
  addrinfo* list = nullptr;
  std::vector<SocketAddress> addresses;
  if (getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &list) != 0) return addresses;
  const std::unique_ptr<addrinfo, FreeAddresses> owner(list);
  for (const addrinfo* entry = list; entry; entry = entry->ai_next) {
    SocketAddress address;
    if (entry->ai_addrlen > sizeof(sockaddr_storage)) continue;
    std::memcpy(address.bytes.data(), entry->ai_addr, entry->ai_addrlen);
    address.size = entry->ai_addrlen;
    addresses.push_back(address);
  }
  return addresses;
}

}  // namespace

Socket::~Socket() {
  if (valid()) close(static_cast<int>(number_));
}

SocketResult ReceiveNow(const Socket& socket, char* buffer, std::size_t capacity) {
  ssize_t got;
  do {
    got = recv(NumberOf(socket), buffer, capacity, 0);
  } while (got < 0 && errno == EINTR);
  if (got > 0) return {SocketStatus::kDone, static_cast<std::size_t>(got)};
  if (got == 0) return {SocketStatus::kClosed, 0};
  return {WouldBlock(errno) ? SocketStatus::kWouldBlock : SocketStatus::kFailed, 0};
}

SocketResult SendNow(const Socket& socket, std::string_view bytes) {
  ssize_t sent;
  do {
    sent = send(NumberOf(socket), bytes.data(), bytes.size(), kNoSignal);
  } while (sent < 0 && errno == EINTR);
  if (sent >= 0) return {SocketStatus::kDone, static_cast<std::size_t>(sent)};
  return {WouldBlock(errno) ? SocketStatus::kWouldBlock : SocketStatus::kFailed, 0};
}

bool PeerHasClosed(const Socket& socket) {
  char byte;
  const ssize_t got = recv(NumberOf(socket), &byte, 1, MSG_PEEK);
  if (got == 0) return true;
  if (got < 0 && !WouldBlock(errno) && errno != EINTR) return true;
#ifdef POLLRDHUP
  pollfd watched{NumberOf(socket), POLLRDHUP, 0};
  if (poll(&watched, 1, 0) > 0) return true;
#endif
  return false;
}

void ShutDownSending(const Socket& socket) {
  shutdown(NumberOf(socket), SHUT_WR);
}

void ShutDownBoth(const Socket& socket) {
  shutdown(NumberOf(socket), SHUT_RDWR);
}

void WaitForSockets(std::span<WatchedSocket> sockets, std::chrono::milliseconds wait) {
  std::vector<pollfd> polled;
  polled.reserve(sockets.size());
  for (const WatchedSocket& watched : sockets) {
    polled.push_back(
        {NumberOf(*watched.socket), static_cast<short>(watched.for_writing ? POLLOUT : POLLIN), 0});
  }
  constexpr std::int64_t kMost = 1'000'000'000;
  const int count = poll(polled.data(), static_cast<nfds_t>(polled.size()),
                         static_cast<int>(std::clamp<std::int64_t>(wait.count(), 0, kMost)));
  if (count <= 0) return;
  for (std::size_t i = 0; i < polled.size(); ++i) sockets[i].ready = polled[i].revents != 0;
}

Socket ListenOnLoopbackNow(std::uint16_t port, int backlog) {
  Socket socket(::socket(AF_INET, SOCK_STREAM, 0));
  if (!socket.valid() || !Prepare(socket)) return {};
#ifdef __linux__
  // Here it lets a restarted program have its port back while old connections fade; a second listener stays
  // refused.
  SetOption(socket, SOL_SOCKET, SO_REUSEADDR);
#endif
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  if (bind(NumberOf(socket), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) return {};
  if (listen(NumberOf(socket), backlog) != 0) return {};
  return socket;
}

std::uint16_t LocalPort(const Socket& socket) {
  sockaddr_in address{};
  socklen_t size = sizeof address;
  if (getsockname(NumberOf(socket), reinterpret_cast<sockaddr*>(&address), &size) != 0) return 0;
  return ntohs(address.sin_port);
}

SocketStatus AcceptNow(const Socket& listener, Socket& accepted) {
  accepted = Socket(accept(NumberOf(listener), nullptr, nullptr));
  if (accepted.valid()) return Prepare(accepted) ? SocketStatus::kDone : SocketStatus::kClosed;
  if (WouldBlock(errno)) return SocketStatus::kWouldBlock;
  switch (errno) {
    case EINTR:
    case ECONNABORTED:
    case EPROTO:
    case EPERM:
    case EMFILE:
    case ENFILE:
    case ENOBUFS:
    case ENOMEM:
      return SocketStatus::kClosed;
    default:
      return SocketStatus::kFailed;
  }
}

std::vector<SocketAddress> ResolveNow(const std::string& host, std::uint16_t port) {
  return AddressesOf(host, port, 0);
}

std::vector<SocketAddress> ReadAddress(const std::string& host, std::uint16_t port) {
  return AddressesOf(host, port, AI_NUMERICHOST);
}

std::string NumericHost(const SocketAddress& address) {
  sockaddr_storage storage{};
  std::memcpy(&storage, address.bytes.data(), address.size);
  std::array<char, NI_MAXHOST> host{};
  if (getnameinfo(reinterpret_cast<const sockaddr*>(&storage), static_cast<socklen_t>(address.size),
                  host.data(), static_cast<socklen_t>(host.size()), nullptr, 0, NI_NUMERICHOST) != 0) {
    return {};
  }
  return host.data();
}

Socket StartConnecting(const SocketAddress& address) {
  sockaddr_storage target{};
  std::memcpy(&target, address.bytes.data(), address.size);
  Socket socket(::socket(target.ss_family, SOCK_STREAM, 0));
  if (!socket.valid() || !Prepare(socket)) return {};
  if (connect(NumberOf(socket), reinterpret_cast<const sockaddr*>(&target),
              static_cast<socklen_t>(address.size)) == 0) {
    return socket;
  }
  if (errno != EINPROGRESS && errno != EINTR) return {};
  return socket;
}

ConnectProgress ProgressOf(const Socket& socket) {
  int error = 0;
  socklen_t size = sizeof error;
  if (getsockopt(NumberOf(socket), SOL_SOCKET, SO_ERROR, &error, &size) != 0)
    return ConnectProgress::kRefused;
  if (error == ETIMEDOUT) return ConnectProgress::kTimedOut;
  if (error != 0) return ConnectProgress::kRefused;
  sockaddr_storage peer{};
  socklen_t peer_size = sizeof peer;
  if (getpeername(NumberOf(socket), reinterpret_cast<sockaddr*>(&peer), &peer_size) == 0) {
    return ConnectProgress::kConnected;
  }
  return errno == ENOTCONN ? ConnectProgress::kPending : ConnectProgress::kRefused;
}

bool KeepAlive(const Socket& socket) {
  if (!SetOption(socket, SOL_SOCKET, SO_KEEPALIVE)) return false;
#ifdef TCP_KEEPIDLE
  return SetOption(socket, IPPROTO_TCP, TCP_KEEPIDLE, 60) &&
         SetOption(socket, IPPROTO_TCP, TCP_KEEPINTVL, 10) && SetOption(socket, IPPROTO_TCP, TCP_KEEPCNT, 6);
#else
  return true;                // at the system's own intervals, of hours
#endif
}

void SendWithoutDelay(const Socket& socket) {
  SetOption(socket, IPPROTO_TCP, TCP_NODELAY);
}

bool StartNetworking() {
  return std::signal(SIGPIPE, SIG_IGN) != SIG_ERR;
}

}  // namespace quillbeaker
