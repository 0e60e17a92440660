// SPDX-License-Identifier: MIT
#include "app/command_table.h"

#include <gtest/gtest.h>

namespace quillbeaker {
namespace {

using Result = CommandTable::Result;

TEST(CommandTable, RunsWhatItHas) {
  CommandTable commands;
  int runs = 0;
  commands.Set(1, [&] { ++runs; });
  EXPECT_TRUE(commands.Has(1));
  EXPECT_FALSE(commands.Has(2));
  EXPECT_EQ(commands.Run(1), Result::kDone);
  EXPECT_EQ(commands.Run(1), Result::kDone);
  EXPECT_EQ(runs, 2);
  EXPECT_EQ(commands.Run(2), Result::kUnknown);
}

TEST(CommandTable, ACommandDoesNotBeginUnderItself) {
  CommandTable commands;
  int runs = 0;
  commands.Set(1, [&] {
    ++runs;
    EXPECT_EQ(commands.Run(1), Result::kUnderWay);
    EXPECT_EQ(commands.Run(2), Result::kDone);
  });
  commands.Set(2, [&] { EXPECT_EQ(commands.Run(1), Result::kUnderWay); });
  EXPECT_EQ(commands.Run(1), Result::kDone);
  EXPECT_EQ(runs, 1);
  EXPECT_EQ(commands.Run(1), Result::kDone);
  EXPECT_EQ(runs, 2);
}

}  // namespace
}  // namespace quillbeaker
