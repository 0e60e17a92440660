// SPDX-License-Identifier: MIT
#include "extras/port_notice.h"

#include <gtest/gtest.h>

namespace quillbeaker {
namespace {

TEST(DescribePortOutOfRange, SaysNothingOfAPort) {
  for (const int port : {1, 110, 65535}) EXPECT_EQ(DescribePortOutOfRange(port), "") << port;
}

TEST(DescribePortOutOfRange, NamesTheKeyAndItsValue) {
  EXPECT_EQ(DescribePortOutOfRange(70000),
            "The value of Port in the configuration file is 70000, but a port is a number from 1 to 65535.");
  for (const int port : {-5, 0, 65536}) EXPECT_FALSE(DescribePortOutOfRange(port).empty()) << port;
}

}  // namespace
}  // namespace quillbeaker
