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

}  // namespace
}  // namespace quillbeaker
