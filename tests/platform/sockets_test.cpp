// SPDX-License-Identifier: MIT
#include "platform/sockets.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/connection.h"

namespace quillbeaker {
namespace {

// Whether the values reach the connections is seen in posix/connection_test.cpp; here, that each system takes
// them.
TEST(Sockets, TakeKeepAlive) {
  ASSERT_TRUE(StartNetworking());
  EXPECT_TRUE(KeepAlive(ListenOnLoopbackNow(0, 1)));
  EXPECT_FALSE(KeepAlive(Socket()));
}

TEST(Sockets, HaveAPortOnceTheyAreBound) {
  ASSERT_TRUE(StartNetworking());
  const Socket socket = ListenOnLoopbackNow(0, 1);
  ASSERT_TRUE(socket.valid());
  EXPECT_GT(LocalPort(socket), 0);
  EXPECT_EQ(LocalPort(Socket()), 0);
}

TEST(Sockets, ReadAnAddressWithoutAskingForAName) {
  ASSERT_TRUE(StartNetworking());
  for (const std::string host : {"127.0.0.1", "::1", "192.0.2.17"}) {
    const std::vector<SocketAddress> addresses = ReadAddress(host, 110);
    ASSERT_EQ(addresses.size(), 1u) << host;
    EXPECT_EQ(NumericHost(addresses.front()), host);
  }
  for (const char* host : {"localhost", "127.0.0.1.invalid", "", " "}) {
    EXPECT_TRUE(ReadAddress(host, 110).empty()) << host;
  }
}

}  // namespace
}  // namespace quillbeaker
