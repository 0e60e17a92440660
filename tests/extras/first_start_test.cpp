// SPDX-License-Identifier: MIT
#include "extras/first_start.h"

#include <gtest/gtest.h>

#include "support/test_program.h"

namespace quillbeaker {
namespace {

TEST(FirstStart, IsOneWithoutConfigurationAndUniqueIds) {
  test::TestProgram one;
  one.directory.Put("spampoints.ini", "");
  EXPECT_TRUE(IsFirstStart(one.program()));
}

TEST(FirstStart, IsNoneOnceEitherIsThere) {
  for (const char* name : {"Quillbeaker.ini", "uniqueid.xml"}) {
    test::TestProgram one;
    one.directory.Put(name, "");
    EXPECT_FALSE(IsFirstStart(one.program())) << name;
  }
}

}  // namespace
}  // namespace quillbeaker
