// SPDX-License-Identifier: MIT
#include "platform/sockets.h"

#include <winsock2.h>

#include <mstcpip.h>
#include <ws2tcpip.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>

#include "platform/connection.h"
#include "platform/windows/wide.h"

namespace quillbeaker {
namespace {

static_assert(sizeof(sockaddr_storage) <= sizeof(SocketAddress::bytes));
static_assert(static_cast<std::intptr_t>(INVALID_SOCKET) == Socket::kNone);

// A non-blocking send takes what it is given whole and keeps a copy; so it is given pieces.
constexpr std::size_t kMostAtOnce = 262144;

SOCKET NumberOf(const Socket& socket) {
  return static_cast<SOCKET>(socket.number());
}

Socket Own(SOCKET number) {
  return Socket(static_cast<std::intptr_t>(number));
}

bool WouldBlock() {
  return WSAGetLastError() == WSAEWOULDBLOCK;
}

void SetOption(const Socket& socket, int level, int option) {
  const BOOL on = TRUE;
  setsockopt(NumberOf(socket), level, option, reinterpret_cast<const char*>(&on), sizeof on);
}

// Not inherited by other programs, never waiting.
bool Prepare(const Socket& socket) {
  u_long non_blocking = 1;
  SetHandleInformation(reinterpret_cast<HANDLE>(NumberOf(socket)), HANDLE_FLAG_INHERIT, 0);
  return ioctlsocket(NumberOf(socket), static_cast<long>(FIONBIO), &non_blocking) == 0;
}

struct FreeAddresses {
  void operator()(ADDRINFOW* list) const { FreeAddrInfoW(list); }
};

// select(2) takes sets of at most FD_SETSIZE sockets; FD_SET itself leaves out what exceeds them.
void Add(const Socket& socket, fd_set& set) {
  if (set.fd_count < FD_SETSIZE) set.fd_array[set.fd_count++] = NumberOf(socket);
}

bool Contains(fd_set& set, const Socket& socket) {
  return std::find(set.fd_array, set.fd_array + set.fd_count, NumberOf(socket)) !=
         set.fd_array + set.fd_count;
}

std::vector<SocketAddress> AddressesOf(const std::string& host, std::uint16_t port, int flags) {
  ADDRINFOW hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_protocol = IPPROTO_TCP;
  hints.ai_flags = flags;
  ADDRINFOW* list = nullptr;
  std::vector<SocketAddress> addresses;
  if (GetAddrInfoW(WideFromUtf8(host).c_str(), std::to_wstring(port).c_str(), &hints, &list) != 0)
    return addresses;
  const std::unique_ptr<ADDRINFOW, FreeAddresses> owner(list);
  for (const ADDRINFOW* entry = list; entry; entry = entry->ai_next) {
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
  if (valid()) closesocket(static_cast<SOCKET>(number_));
}

SocketResult ReceiveNow(const Socket& socket, char* buffer, std::size_t capacity) {
  const int got = recv(NumberOf(socket), buffer, static_cast<int>(std::min(capacity, kMostAtOnce)), 0);
  if (got > 0) return {SocketStatus::kDone, static_cast<std::size_t>(got)};
  if (got == 0) return {SocketStatus::kClosed, 0};
  return {WouldBlock() ? SocketStatus::kWouldBlock : SocketStatus::kFailed, 0};
}

SocketResult SendNow(const Socket& socket, std::string_view bytes) {
  const int sent =
      send(NumberOf(socket), bytes.data(), static_cast<int>(std::min(bytes.size(), kMostAtOnce)), 0);
  if (sent >= 0) return {SocketStatus::kDone, static_cast<std::size_t>(sent)};
  return {WouldBlock() ? SocketStatus::kWouldBlock : SocketStatus::kFailed, 0};
}

bool PeerHasClosed(const Socket& socket) {
  char byte;
  const int got = recv(NumberOf(socket), &byte, 1, MSG_PEEK);
  return got == 0 || (got < 0 && !WouldBlock());
}

void ShutDownSending(const Socket& socket) {
  shutdown(NumberOf(socket), SD_SEND);
}

void ShutDownBoth(const Socket& socket) {
  shutdown(NumberOf(socket), SD_BOTH);
}

// select and not WSAPoll: that one did not report refused connections before Windows 10, version 2004.
void WaitForSockets(std::span<WatchedSocket> sockets, std::chrono::milliseconds wait) {
  fd_set readable{};
  fd_set writable{};
  fd_set failed{};
  for (const WatchedSocket& watched : sockets) {
    Add(*watched.socket, watched.for_writing ? writable : readable);
    Add(*watched.socket, failed);
  }
  constexpr std::int64_t kMost = 1'000'000'000;
  const std::int64_t milliseconds = std::clamp<std::int64_t>(wait.count(), 0, kMost);
  timeval limit{static_cast<long>(milliseconds / 1000), static_cast<long>(milliseconds % 1000 * 1000)};
  if (select(0, &readable, &writable, &failed, &limit) <= 0) return;
  for (WatchedSocket& watched : sockets) {
    watched.ready = Contains(readable, *watched.socket) || Contains(writable, *watched.socket) ||
                    Contains(failed, *watched.socket);
  }
}

Socket ListenOnLoopbackNow(std::uint16_t port, int backlog) {
  Socket socket = Own(::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
  if (!socket.valid() || !Prepare(socket)) return {};
  // Without it another program could bind the same port and receive the passwords.
  SetOption(socket, SOL_SOCKET, SO_EXCLUSIVEADDRUSE);
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
  int size = sizeof address;
  if (getsockname(NumberOf(socket), reinterpret_cast<sockaddr*>(&address), &size) != 0) return 0;
  return ntohs(address.sin_port);
}

SocketStatus AcceptNow(const Socket& listener, Socket& accepted) {
  accepted = Own(accept(NumberOf(listener), nullptr, nullptr));
  if (accepted.valid()) return Prepare(accepted) ? SocketStatus::kDone : SocketStatus::kClosed;
  switch (WSAGetLastError()) {
    case WSAEWOULDBLOCK:
      return SocketStatus::kWouldBlock;
    case WSAEINTR:
    case WSAECONNRESET:
    case WSAECONNABORTED:
    case WSAEMFILE:
    case WSAENOBUFS:
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
                  host.data(), static_cast<DWORD>(host.size()), nullptr, 0, NI_NUMERICHOST) != 0) {
    return {};
  }
  return host.data();
}

Socket StartConnecting(const SocketAddress& address) {
  sockaddr_storage target{};
  std::memcpy(&target, address.bytes.data(), address.size);
  Socket socket = Own(::socket(target.ss_family, SOCK_STREAM, IPPROTO_TCP));
  if (!socket.valid() || !Prepare(socket)) return {};
  if (connect(NumberOf(socket), reinterpret_cast<const sockaddr*>(&target), static_cast<int>(address.size)) ==
      0) {
    return socket;
  }
  if (!WouldBlock()) return {};
  return socket;
}

ConnectProgress ProgressOf(const Socket& socket) {
  int error = 0;
  int size = sizeof error;
  if (getsockopt(NumberOf(socket), SOL_SOCKET, SO_ERROR, reinterpret_cast<char*>(&error), &size) != 0) {
    return ConnectProgress::kRefused;
  }
  if (error == WSAETIMEDOUT) return ConnectProgress::kTimedOut;
  if (error != 0) return ConnectProgress::kRefused;
  sockaddr_storage peer{};
  int peer_size = sizeof peer;
  if (getpeername(NumberOf(socket), reinterpret_cast<sockaddr*>(&peer), &peer_size) == 0) {
    return ConnectProgress::kConnected;
  }
  return WSAGetLastError() == WSAENOTCONN ? ConnectProgress::kPending : ConnectProgress::kRefused;
}

bool KeepAlive(const Socket& socket) {
  // In milliseconds. The number of questions is the system's: ten.
  tcp_keepalive values{.onoff = 1, .keepalivetime = 60'000, .keepaliveinterval = 6'000};
  DWORD returned = 0;
  return WSAIoctl(NumberOf(socket), SIO_KEEPALIVE_VALS, &values, sizeof values, nullptr, 0, &returned,
                  nullptr, nullptr) == 0;
}

void SendWithoutDelay(const Socket& socket) {
  SetOption(socket, IPPROTO_TCP, TCP_NODELAY);
}

bool StartNetworking() {
  WSADATA data;
  return WSAStartup(MAKEWORD(2, 2), &data) == 0;
}

}  // namespace quillbeaker
