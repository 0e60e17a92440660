// SPDX-License-Identifier: MIT
#include "platform/sockets.h"

#include <gtest/gtest.h>

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

}  // namespace
}  // namespace quillbeaker
