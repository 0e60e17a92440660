// SPDX-License-Identifier: MIT
#include "platform/connection.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>
#include <utility>

#include "support/blocked_thread.h"

namespace quillbeaker {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using namespace std::chrono_literals;

bool KeepWaiting() {
  return true;
}

milliseconds Since(steady_clock::time_point start) {
  return std::chrono::duration_cast<milliseconds>(steady_clock::now() - start);
}

class ConnectionTest : public testing::Test {
 protected:
  static void SetUpTestSuite() { ASSERT_TRUE(StartNetworking()); }

  void SetUp() override {
    listener_ = ListenOnLoopback(0, 25);
    ASSERT_NE(listener_, nullptr);
    port_ = listener_->port();
  }

  // A connected pair: `client_` called, `server_` accepted.
  void Connect() {
    ConnectResult result = ConnectTo("127.0.0.1", port_, 5s, KeepWaiting);
    ASSERT_EQ(result.status, ConnectStatus::kConnected);
    client_ = result.connection;
    ASSERT_NE(client_, nullptr);
    server_ = listener_->Accept();
    ASSERT_NE(server_, nullptr);
  }

  static std::string ReceiveAll(Connection& connection, std::size_t count) {
    std::string all;
    std::string buffer(65536, '\0');
    while (all.size() < count) {
      const IoResult result = connection.Receive(buffer.data(), buffer.size(), 10s);
      if (result.status != IoStatus::kOk) break;
      all.append(buffer, 0, result.bytes);
    }
    return all;
  }

  // What one Receive tells within `wait`.
  static IoResult ReceiveOnce(Connection& connection, milliseconds wait) {
    std::string buffer(1024, '\0');
    return connection.Receive(buffer.data(), buffer.size(), wait);
  }

  std::unique_ptr<Listener> listener_;
  int port_ = 0;
  std::shared_ptr<Connection> client_;
  std::shared_ptr<Connection> server_;
};

TEST_F(ConnectionTest, MovesBytesBothWays) {
  Connect();
  const std::string text("USER a\0b\xFF\r\n", 11);
  EXPECT_EQ(client_->Send(text, 1s).bytes, text.size());
  EXPECT_EQ(ReceiveAll(*server_, text.size()), text);
  EXPECT_EQ(server_->Send("+OK\r\n", 1s).status, IoStatus::kOk);
  EXPECT_EQ(ReceiveAll(*client_, 5), "+OK\r\n");
}

TEST_F(ConnectionTest, ReceiveGivesAPieceAsItComes) {
  Connect();
  for (const std::string_view piece : {"+O", "K gre", "eting\r\n"}) {
    EXPECT_EQ(server_->Send(piece, 1s).status, IoStatus::kOk);
    const IoResult received = ReceiveOnce(*client_, 5s);
    EXPECT_EQ(received.status, IoStatus::kOk);
    EXPECT_EQ(received.bytes, piece.size());
  }
}

TEST_F(ConnectionTest, ReceiveTakesNoMoreThanItsCapacity) {
  Connect();
  ASSERT_EQ(server_->Send("12345", 1s).status, IoStatus::kOk);
  char buffer[3] = {'-', '-', '-'};
  EXPECT_EQ(client_->Receive(buffer, 2, 5s).bytes, 2u);
  EXPECT_EQ(std::string(buffer, 3), "12-");
  EXPECT_EQ(client_->Receive(buffer, 0, 5s).status, IoStatus::kFailed);
}

TEST_F(ConnectionTest, SendsManyMegabytesThroughPartialSends) {
  Connect();
  std::string large;
  for (int i = 0; large.size() < 20'000'000; ++i) large += std::to_string(i) + "\r\n";
  std::string received;
  std::thread reader([&] { received = ReceiveAll(*client_, large.size()); });
  const IoResult result = server_->Send(large, 10s);
  reader.join();
  EXPECT_EQ(result.status, IoStatus::kOk);
  EXPECT_EQ(result.bytes, large.size());
  EXPECT_TRUE(received == large);
}

TEST_F(ConnectionTest, SendTimesOutWhenNobodyReads) {
  Connect();
  const std::string large(50'000'000, 'x');
  const IoResult result = server_->Send(large, 300ms);
  EXPECT_EQ(result.status, IoStatus::kTimedOut);
  EXPECT_GT(result.bytes, 0u);
  EXPECT_LT(result.bytes, large.size());
  // The rest can follow.
  std::string received;
  std::thread reader([&] { received = ReceiveAll(*client_, large.size()); });
  EXPECT_EQ(server_->Send(std::string_view(large).substr(result.bytes), 10s).status, IoStatus::kOk);
  reader.join();
  EXPECT_TRUE(received == large);
}

TEST_F(ConnectionTest, ReceiveTimesOut) {
  Connect();
  const auto start = steady_clock::now();
  EXPECT_EQ(ReceiveOnce(*client_, 400ms).status, IoStatus::kTimedOut);
  EXPECT_GE(Since(start), 390ms);
  EXPECT_LT(Since(start), 5s);
  EXPECT_EQ(ReceiveOnce(*client_, 0ms).status, IoStatus::kTimedOut);
  ASSERT_EQ(server_->Send("x", 1s).status, IoStatus::kOk);
  EXPECT_EQ(ReceiveOnce(*client_, milliseconds::max()).status, IoStatus::kOk);
}

TEST_F(ConnectionTest, ReceiveTellsTheEnd) {
  Connect();
  ASSERT_EQ(server_->Send("bye", 1s).status, IoStatus::kOk);
  server_.reset();
  EXPECT_EQ(ReceiveAll(*client_, 3), "bye");
  EXPECT_EQ(ReceiveOnce(*client_, 5s).status, IoStatus::kClosed);
}

TEST_F(ConnectionTest, HalfCloseLetsTheAnswerThrough) {
  Connect();
  client_->FinishSending();
  EXPECT_EQ(ReceiveOnce(*server_, 5s).status, IoStatus::kClosed);
  EXPECT_EQ(server_->Send("late answer", 1s).status, IoStatus::kOk);
  EXPECT_EQ(ReceiveAll(*client_, 11), "late answer");
}

// Closing with unread bytes would reset the connection, and a reset may overtake the reply.
TEST_F(ConnectionTest, TheLastReplyArrivesThoughBytesWereUnread) {
  Connect();
  ASSERT_EQ(client_->Send(std::string(5000, 'x'), 1s).status, IoStatus::kOk);
  char first;
  ASSERT_EQ(server_->Receive(&first, 1, 5s).bytes, 1u);  // the others have come with it
  ASSERT_EQ(server_->Send("-ERR\r\n", 1s).status, IoStatus::kOk);
  server_.reset();
  EXPECT_EQ(ReceiveAll(*client_, 6), "-ERR\r\n");
  EXPECT_EQ(ReceiveOnce(*client_, 5s).status, IoStatus::kClosed);
}

TEST_F(ConnectionTest, PeerHasGoneTellsTheLivingFromTheGone) {
  Connect();
  EXPECT_FALSE(server_->PeerHasGone());
  ASSERT_EQ(client_->Send("QUIT\r\n", 1s).status, IoStatus::kOk);
  char first;
  ASSERT_EQ(server_->Receive(&first, 1, 5s).bytes, 1u);
  EXPECT_FALSE(server_->PeerHasGone());
  EXPECT_EQ(ReceiveAll(*server_, 5), "UIT\r\n");  // looking took nothing away
  client_.reset();
  EXPECT_TRUE(test::Eventually([&] { return server_->PeerHasGone(); }));
  EXPECT_TRUE(server_->PeerHasGone());
}

TEST_F(ConnectionTest, APeerThatHalfClosedCountsAsGone) {
  Connect();
  client_->FinishSending();
  EXPECT_TRUE(test::Eventually([&] { return server_->PeerHasGone(); }));
  EXPECT_TRUE(server_->PeerHasGone());
}

TEST_F(ConnectionTest, AbortWakesABlockedReceive) {
  Connect();
  test::BlockedThread blocked;
  const auto start = steady_clock::now();
  std::thread aborter([&] {
    EXPECT_TRUE(blocked.WaitUntilAsleep());
    client_->Abort("QUIT\r\n");
  });
  blocked.Enters();
  EXPECT_EQ(ReceiveOnce(*client_, 60s).status, IoStatus::kFailed);
  EXPECT_LT(Since(start), 10s);
  aborter.join();
  EXPECT_EQ(ReceiveAll(*server_, 6), "QUIT\r\n");
  EXPECT_EQ(ReceiveOnce(*server_, 5s).status, IoStatus::kClosed);
  EXPECT_EQ(ReceiveOnce(*client_, 5s).status, IoStatus::kFailed);
  EXPECT_EQ(client_->Send("x", 1s).status, IoStatus::kFailed);
  EXPECT_TRUE(client_->PeerHasGone());
  client_->Abort("again");
}

TEST_F(ConnectionTest, AbortWakesABlockedSend) {
  Connect();
  test::BlockedThread blocked;
  const auto start = steady_clock::now();
  std::thread aborter([&] {
    EXPECT_TRUE(blocked.WaitUntilAsleep());
    server_->Abort("");
  });
  blocked.Enters();
  EXPECT_EQ(server_->Send(std::string(50'000'000, 'x'), 60s).status, IoStatus::kFailed);
  EXPECT_LT(Since(start), 10s);
  aborter.join();
}

TEST_F(ConnectionTest, SendingToOneWhoHasGoneFailsAndKillsNobody) {
  Connect();
  client_.reset();
  EXPECT_TRUE(test::Eventually([&] { return server_->Send("+OK\r\n", 1s).status == IoStatus::kFailed; }));
}

TEST_F(ConnectionTest, StopWakesABlockedAccept) {
  test::BlockedThread blocked;
  const auto start = steady_clock::now();
  std::thread stopper([&] {
    EXPECT_TRUE(blocked.WaitUntilAsleep());
    listener_->Stop();
  });
  blocked.Enters();
  EXPECT_EQ(listener_->Accept(), nullptr);
  EXPECT_LT(Since(start), 10s);
  stopper.join();
  EXPECT_EQ(listener_->Accept(), nullptr);
}

TEST_F(ConnectionTest, ThePortIsSharedWithNobodyAndFreeAfterwards) {
  EXPECT_EQ(ListenOnLoopback(port_, 25), nullptr);
  Connect();
  server_.reset();
  client_.reset();
  listener_.reset();
  EXPECT_NE(ListenOnLoopback(port_, 25), nullptr);
}

TEST_F(ConnectionTest, TellsThePortThatTheSystemChose) {
  EXPECT_GT(port_, 0);
  const auto other = ListenOnLoopback(0, 25);
  ASSERT_NE(other, nullptr);
  EXPECT_NE(other->port(), port_);
  EXPECT_EQ(ConnectTo("127.0.0.1", other->port(), 5s, KeepWaiting).status, ConnectStatus::kConnected);
}

TEST_F(ConnectionTest, ListensOnNoPortOutsideTheRange) {
  for (const int port : {-1, 65536, 70000}) EXPECT_EQ(ListenOnLoopback(port, 25), nullptr) << port;
}

TEST_F(ConnectionTest, ConnectsByNameToo) {
  // "localhost" has an IPv6 address on many machines, where nobody listens: the next address is tried.
  const ConnectResult result = ConnectTo("localhost", port_, 5s, KeepWaiting);
  EXPECT_EQ(result.status, ConnectStatus::kConnected);
  EXPECT_NE(listener_->Accept(), nullptr);
}

TEST_F(ConnectionTest, AClosedPortRefuses) {
  listener_.reset();
  const ConnectResult result = ConnectTo("127.0.0.1", port_, 20s, KeepWaiting);
  EXPECT_EQ(result.status, ConnectStatus::kRefused);
  EXPECT_EQ(result.connection, nullptr);
  for (const int port : {-1, 0, 65536}) {
    EXPECT_EQ(ConnectTo("127.0.0.1", port, 1s, KeepWaiting).status, ConnectStatus::kNoSuchPort) << port;
  }
}

TEST_F(ConnectionTest, AnUnknownHostIsNotFound) {
  for (const std::string& host :
       {std::string("no-such-host.invalid"), std::string(), std::string("127.0.0.1\0x", 11)}) {
    const ConnectResult result = ConnectTo(host, port_, 20s, KeepWaiting);
    EXPECT_EQ(result.status, ConnectStatus::kHostNotFound) << host;
    EXPECT_EQ(result.connection, nullptr);
  }
}

TEST_F(ConnectionTest, AManyTimesUsedPairStaysQuick) {
  Connect();
  const auto start = steady_clock::now();
  std::thread server([&] {
    for (int i = 0; i < 200; ++i) {
      if (ReceiveAll(*server_, 1).empty()) return;
      for (const char* part : {"+OK\r\n", "body", "\r\n.\r\n"}) server_->Send(part, 1s);
    }
  });
  for (int i = 0; i < 200; ++i) {
    ASSERT_EQ(client_->Send("x", 1s).status, IoStatus::kOk);
    ASSERT_EQ(ReceiveAll(*client_, 14).size(), 14u);
  }
  server.join();
  // With Nagle's algorithm each of the 200 replies would wait 40 ms for an acknowledgement: 8 s.
  EXPECT_LT(Since(start), 4s);
}

}  // namespace
}  // namespace quillbeaker
