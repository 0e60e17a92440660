// SPDX-License-Identifier: MIT
#include "message/dot_stuffing.h"

#include <gtest/gtest.h>

namespace quillbeaker {
namespace {

TEST(StuffDots, GivesALineOfOneDotASecond) {
  EXPECT_EQ(StuffDots("a\r\n.\r\nb\r\n.c\r\n"), "a\r\n..\r\nb\r\n..c\r\n");
  EXPECT_EQ(StuffDots("."), "..");
  EXPECT_EQ(StuffDots(".x"), "..x");
}

TEST(StuffDots, LeavesStuffedTextAlone) {
  EXPECT_EQ(StuffDots("a\r\n..\r\n..c\r\n...\r\n"), "a\r\n..\r\n..c\r\n...\r\n");
  EXPECT_EQ(StuffDots(""), "");
}

TEST(StuffDots, LooksAtLinesThatEndInCrLfOnly) {
  EXPECT_EQ(StuffDots("a\n.\nb.c\r\n"), "a\n.\nb.c\r\n");
}

}  // namespace
}  // namespace quillbeaker
