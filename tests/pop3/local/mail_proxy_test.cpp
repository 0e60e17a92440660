// SPDX-License-Identifier: MIT
#include "pop3/local/mail_proxy.h"

#include <gtest/gtest.h>

#include <thread>

#include "pop3/recording_observer.h"
#include "support/test_program.h"

namespace quillbeaker {
namespace {

// A port that nobody has; 0 when none was found.
int FreePort() {
  for (int port = 21000; port < 21500; ++port) {
    if (ListenOnLoopback(port, 1) != nullptr) return port;
  }
  return 0;
}

class MailProxyTest : public ::testing::Test {
 protected:
  MailProxyTest() : port((StartNetworking(), FreePort())) {}

  test::TestProgram one;
  RecordingObserver observer;
  MailProxy proxy{one.program(), observer};
  int port;
};

TEST_F(MailProxyTest, APortThatIsTakenIsTold) {
  const auto other = ListenOnLoopback(port, 1);
  ASSERT_NE(other, nullptr);
  EXPECT_FALSE(proxy.Listen(port));
  EXPECT_EQ(observer.told, (std::vector<std::string>{"port in use"}));
}

TEST_F(MailProxyTest, ThePortIsFreeWhenServingHasEnded) {
  ASSERT_TRUE(proxy.Listen(port));
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
  ASSERT_TRUE(proxy.Listen(port));
  proxy.Stop();
  proxy.GiveUpPort();
  EXPECT_NE(ListenOnLoopback(port, 1), nullptr);
}

}  // namespace
}  // namespace quillbeaker
