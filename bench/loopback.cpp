// SPDX-License-Identifier: MIT
#include "loopback.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace quillbeaker::bench {

namespace {

constexpr int kBacklog = 16;

sockaddr_in Loopback(std::uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  return address;
}

void SendAtOnce(int socket) {
  const int on = 1;
  setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

}  // namespace

int ListenOnLoopback() {
  const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address = Loopback(0);
  socklen_t length = sizeof address;
  if (listener < 0 || bind(listener, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
      listen(listener, kBacklog) != 0 ||
      getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
    std::perror("listening on 127.0.0.1");
    std::exit(1);
  }
  std::printf("listening %d\n", ntohs(address.sin_port));
  std::fflush(stdout);
  return listener;
}

int Accept(int listener) {
  const int accepted = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
  if (accepted >= 0) SendAtOnce(accepted);
  return accepted;
}

int Connect(std::uint16_t port) {
  const int connected = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const sockaddr_in address = Loopback(port);
  if (connect(connected, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    close(connected);
    return -1;
  }
  SendAtOnce(connected);
  return connected;
}

bool SendAll(int socket, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t sent = send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
  return true;
}

std::uint16_t PortArgument(const char* argument) {
  const int port = std::atoi(argument);
  if (port <= 0 || port > 65535) {
    std::fprintf(stderr, "%s is no port\n", argument);
    std::exit(2);
  }
  return static_cast<std::uint16_t>(port);
}

}  // namespace quillbeaker::bench
