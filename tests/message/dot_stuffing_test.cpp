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

TEST(UnstuffDots, TakesTheFirstDotOffStuffedLines) {
  EXPECT_EQ(UnstuffDots("..\r\na..b\r\n...c\r\n..d"), ".\r\na..b\r\n..c\r\n.d");
  EXPECT_EQ(UnstuffDots(""), "");
  EXPECT_EQ(UnstuffDots("no dots\r\n"), "no dots\r\n");
}

TEST(UnstuffDots, LeavesTextThatWasNeverStuffed) {
  EXPECT_EQ(UnstuffDots(".one\r\n..two\r\n"), ".one\r\n..two\r\n");
}

TEST(UnstuffDots, IsTheReverseOfStuffDots) {
  for (const std::string text : {".", ".\r\n.\r\n", ".a\r\nb\r\n.c", "a\n.b\r\n"}) {
    EXPECT_EQ(UnstuffDots(StuffDots(text)), text);
  }
}

}  // namespace
}  // namespace quillbeaker
