// SPDX-License-Identifier: MIT
#include "extras/store_preparation.h"

#include <gtest/gtest.h>

#include "support/test_program.h"

namespace quillbeaker {
namespace {

TEST(PrepareStores, StartingMakesBothDirectories) {
  test::TestProgram world;
  PrepareStores(world.program(), {});
  EXPECT_TRUE(world.directory.Has("recycle/recyclebin.xml"));
  EXPECT_TRUE(world.directory.Has("training"));
  EXPECT_FALSE(world.directory.Has("training/training.xml"));
}

}  // namespace
}  // namespace quillbeaker
