// SPDX-License-Identifier: MIT
#include "pop3/local/mail_proxy.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "pop3/recording_observer.h"
#include "support/test_program.h"

namespace quillbeaker {
namespace {

class MailProxyTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(StartNetworking()); }

  test::TestProgram one;
  RecordingObserver observer;
  MailProxy proxy{one.program(), observer};
};

TEST_F(MailProxyTest, APortThatIsTakenIsTold) {
  const auto other = ListenOnLoopback(0, 1);
  ASSERT_NE(other, nullptr);
  EXPECT_FALSE(proxy.Listen(other->port()));
  EXPECT_EQ(observer.told, (std::vector<std::string>{"port in use"}));
  EXPECT_EQ(proxy.port(), 0);
}

TEST_F(MailProxyTest, APortOutOfRangeIsTold) {
  for (const int port : {0, -1, 65536}) {
    observer.told.clear();
    EXPECT_FALSE(proxy.Listen(port)) << port;
    EXPECT_EQ(observer.told, (std::vector<std::string>{"port in use"}));
  }
}

TEST_F(MailProxyTest, ThePortIsFreeWhenServingHasEnded) {
  ASSERT_TRUE(proxy.ListenOnAnyPort());
  const int port = proxy.port();
  EXPECT_EQ(ListenOnLoopback(port, 1), nullptr);
  bool stopped = false;
  std::thread listener([&] { stopped = proxy.Serve(); });
  proxy.Stop();
  listener.join();
  EXPECT_TRUE(stopped);
  EXPECT_NE(ListenOnLoopback(port, 1), nullptr);
  proxy.Stop();  // as often as one likes
}

TEST_F(MailProxyTest, AnAbandonedPortIsFree) {
  ASSERT_TRUE(proxy.ListenOnAnyPort());
  proxy.Stop();
  proxy.GiveUpPort();
  EXPECT_NE(ListenOnLoopback(proxy.port(), 1), nullptr);
}

// A mail client's end of a connection to the proxy, and what it has been sent.
class Client {
 public:
  explicit Client(int port)
      : connection_(ConnectTo("127.0.0.1", port, kPatience, [] { return false; }).connection) {}

  // The next bytes; nothing when the connection has ended.
  std::string Receive() {
    std::array<char, 512> buffer;
    const IoResult got = connection_->Receive(buffer.data(), buffer.size(), kPatience);
    EXPECT_NE(got.status, IoStatus::kTimedOut);
    return got.status == IoStatus::kOk ? std::string(buffer.data(), got.bytes) : std::string();
  }
  void Send(std::string_view bytes) { EXPECT_EQ(connection_->Send(bytes, kPatience).status, IoStatus::kOk); }

 private:
  static constexpr std::chrono::milliseconds kPatience{10'000};
  const std::shared_ptr<Connection> connection_;
};

TEST_F(MailProxyTest, ServesOneClientAfterTheOther) {
  ASSERT_TRUE(proxy.ListenOnAnyPort());
  std::thread listener([&] { EXPECT_TRUE(proxy.Serve()); });
  for (int i = 0; i < 2; ++i) {
    Client client(proxy.port());
    EXPECT_EQ(client.Receive(), "+OK Ready\r\n");
    client.Send("QUIT\r\n");
    EXPECT_EQ(client.Receive(), "+OK Everything done.\r\n");
    EXPECT_EQ(client.Receive(), "");
  }
  proxy.Stop();
  listener.join();
  EXPECT_EQ(std::ranges::count(observer.told, "session ends"), 2);
}

TEST_F(MailProxyTest, StopEndsASessionThatIsUnderWay) {
  ASSERT_TRUE(proxy.ListenOnAnyPort());
  std::thread listener([&] { EXPECT_TRUE(proxy.Serve()); });
  Client client(proxy.port());
  EXPECT_EQ(client.Receive(), "+OK Ready\r\n");
  proxy.Stop();
  listener.join();
  EXPECT_EQ(observer.told.back(), "session ends");
  EXPECT_EQ(client.Receive(), "");
}

TEST_F(MailProxyTest, StoppedBeforeItListensItServesNobody) {
  proxy.Stop();
  ASSERT_TRUE(proxy.ListenOnAnyPort());
  EXPECT_TRUE(proxy.Serve());
  EXPECT_EQ(observer.told, std::vector<std::string>());
}

}  // namespace
}  // namespace quillbeaker
