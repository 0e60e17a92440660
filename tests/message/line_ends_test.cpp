// SPDX-License-Identifier: MIT
#include "message/line_ends.h"

#include <gtest/gtest.h>

namespace quillbeaker {
namespace {

TEST(WithCrLf, GivesEachBareLineFeedItsCarriageReturn) {
  EXPECT_EQ(WithCrLf("a\nb\n\nc"), "a\r\nb\r\n\r\nc");
  EXPECT_EQ(WithCrLf("\n"), "\r\n");
  EXPECT_EQ(WithCrLf(""), "");
}

TEST(WithCrLf, LeavesWholeLineEndsAndLoneCarriageReturnsAlone) {
  EXPECT_EQ(WithCrLf("a\r\nb\nc\rd\r\r\n"), "a\r\nb\r\nc\rd\r\r\n");
}

}  // namespace
}  // namespace quillbeaker
