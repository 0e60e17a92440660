// SPDX-License-Identifier: MIT
#include "app/tray_menu.h"

#include <gtest/gtest.h>

#include "app/command_table.h"
#include "support/test_program.h"

namespace quillbeaker {
namespace {

bool InUse(const char* settings) {
  test::TestProgram one;
  one.Configure(settings);
  return TrainingAreaIsInUse(one.program());
}

TEST(TrainingAreaIsInUse, FollowsFilterLearningAndLevel) {
  EXPECT_TRUE(InUse(""));
  EXPECT_FALSE(InUse("Enable=0"));
  EXPECT_FALSE(InUse("FilterLearningEnable=0"));
  EXPECT_FALSE(InUse("Aggressiveness=0"));
  EXPECT_FALSE(InUse("Aggressiveness=100"));
  EXPECT_TRUE(InUse("Aggressiveness=1"));
  EXPECT_TRUE(InUse("Aggressiveness=99"));
}

TEST(CommandTable, RunsWhatItHas) {
  CommandTable commands;
  int runs = 0;
  EXPECT_FALSE(commands.Run(40002));
  commands.Set(40002, [&runs] { ++runs; });
  EXPECT_TRUE(commands.Has(40002));
  EXPECT_FALSE(commands.Has(40003));
  EXPECT_TRUE(commands.Run(40002));
  EXPECT_FALSE(commands.Run(0));
  EXPECT_EQ(runs, 1);
}

}  // namespace
}  // namespace quillbeaker
