// SPDX-License-Identifier: MIT
#include "pop3/local/mail_proxy.h"

#include <gtest/gtest.h>

#include <thread>

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

}  // namespace
}  // namespace quillbeaker
