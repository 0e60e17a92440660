// SPDX-License-Identifier: MIT
// What is tested with sockets of the test's own: a listener whose backlog is full never answers.
#include "platform/connection.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <vector>

namespace quillbeaker {
namespace {

using namespace std::chrono_literals;

// Connections to its port stay unanswered, until Drain is called.
class SilentPort {
 public:
  SilentPort() : listener_(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    EXPECT_EQ(bind(listener_, reinterpret_cast<sockaddr*>(&address), size), 0);
    EXPECT_EQ(listen(listener_, 0), 0);
    EXPECT_EQ(getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size), 0);
    port_ = ntohs(address.sin_port);
    for (int i = 0; i < 2; ++i) {
      const int filler = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0);
      connect(filler, reinterpret_cast<sockaddr*>(&address), size);
      fillers_.push_back(filler);
    }
  }
  ~SilentPort() {
    for (const int filler : fillers_) close(filler);
    close(listener_);
  }
  int port() const { return port_; }
  // Takes what waits, so that repeated attempts find a place.
  void Drain() {
    for (;;) {
      const int accepted = accept4(listener_, nullptr, nullptr, SOCK_NONBLOCK);
      if (accepted < 0) return;
      fillers_.push_back(accepted);
    }
  }

 private:
  int listener_;
  int port_ = 0;
  std::vector<int> fillers_;
};

TEST(ConnectToSilence, AsksAfterEveryPeriodAndGivesUpWhenTold) {
  SilentPort silent;
  int asked = 0;
  const auto start = std::chrono::steady_clock::now();
  const ConnectResult result = ConnectTo("127.0.0.1", silent.port(), 100ms, [&] { return ++asked < 3; });
  const auto passed = std::chrono::steady_clock::now() - start;
  EXPECT_EQ(result.status, ConnectStatus::kAborted);
  EXPECT_EQ(result.connection, nullptr);
  EXPECT_EQ(asked, 3);
  EXPECT_GE(passed, 290ms);
  EXPECT_LT(passed, 10s);
}

TEST(ConnectToSilence, ConnectsWhenTheAnswerComesAfterAll) {
  SilentPort silent;
  int asked = 0;
  const ConnectResult result = ConnectTo("127.0.0.1", silent.port(), 100ms, [&] {
    if (++asked >= 2) silent.Drain();
    return asked < 300;
  });
  EXPECT_EQ(result.status, ConnectStatus::kConnected);
  EXPECT_GE(asked, 2);
}

// The value of an option, for each socket of this process that talks from or to the port; listeners aside.
std::vector<int> OptionOfConnections(int port, int level, int option) {
  std::vector<int> values;
  for (int number = 0; number < 1024; ++number) {
    sockaddr_in here{};
    sockaddr_in there{};
    socklen_t here_size = sizeof here;
    socklen_t there_size = sizeof there;
    if (getsockname(number, reinterpret_cast<sockaddr*>(&here), &here_size) != 0 ||
        getpeername(number, reinterpret_cast<sockaddr*>(&there), &there_size) != 0 ||
        (ntohs(here.sin_port) != port && ntohs(there.sin_port) != port)) {
      continue;
    }
    int value = -1;
    socklen_t size = sizeof value;
    EXPECT_EQ(getsockopt(number, level, option, &value, &size), 0);
    values.push_back(value);
  }
  return values;
}

TEST(KeepAlive, NoticesASilentPeerOnBothSidesWithinTwoMinutes) {
  const auto listener = ListenOnLoopback(0, 1);
  ASSERT_NE(listener, nullptr);
  const ConnectResult connected = ConnectTo("127.0.0.1", listener->port(), 5s, [] { return true; });
  ASSERT_EQ(connected.status, ConnectStatus::kConnected);
  const auto accepted = listener->Accept();
  ASSERT_NE(accepted, nullptr);
  using Both = std::vector<int>;
  EXPECT_EQ(OptionOfConnections(listener->port(), SOL_SOCKET, SO_KEEPALIVE), Both({1, 1}));
  EXPECT_EQ(OptionOfConnections(listener->port(), IPPROTO_TCP, TCP_KEEPIDLE), Both({60, 60}));
  EXPECT_EQ(OptionOfConnections(listener->port(), IPPROTO_TCP, TCP_KEEPINTVL), Both({10, 10}));
  EXPECT_EQ(OptionOfConnections(listener->port(), IPPROTO_TCP, TCP_KEEPCNT), Both({6, 6}));
}

}  // namespace
}  // namespace quillbeaker
