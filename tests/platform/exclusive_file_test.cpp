// SPDX-License-Identifier: MIT
#include "platform/exclusive_file.h"

#include <gtest/gtest.h>

#include "support/test_program.h"

namespace quillbeaker {
namespace {

using test::TestDirectory;

TEST(ExclusiveFile, CreatesAndAppends) {
  TestDirectory directory;
  {
    const auto file = ExclusiveFile::Open(directory.PathOf("a"));
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(file->Size(), 0u);
    EXPECT_TRUE(file->Append("one\r\n"));
    EXPECT_TRUE(file->Append("two"));
    EXPECT_EQ(file->Size(), 8u);
  }
  const auto file = ExclusiveFile::Open(directory.PathOf("a"));
  ASSERT_NE(file, nullptr);
  EXPECT_TRUE(file->Append("!"));
  EXPECT_EQ(file->ReadAt(0, 100), "one\r\ntwo!");
  EXPECT_EQ(file->ReadAt(5, 2), "tw");
  EXPECT_EQ(file->ReadAt(9, 100), "");
  EXPECT_EQ(file->ReadAt(1000, 100), "");
}

TEST(ExclusiveFile, OverwritesAndCuts) {
  TestDirectory directory;
  ASSERT_TRUE(directory.Put("a", "0123456789"));
  const auto file = ExclusiveFile::Open(directory.PathOf("a"));
  ASSERT_NE(file, nullptr);
  EXPECT_TRUE(file->WriteAt(2, "ab"));
  EXPECT_EQ(file->Size(), 10u);
  EXPECT_TRUE(file->Truncate(5));
  EXPECT_EQ(file->ReadAt(0, 100), "01ab4");
  EXPECT_TRUE(file->Append("x"));
  EXPECT_EQ(file->ReadAt(0, 100), "01ab4x");
  EXPECT_TRUE(file->Truncate(0));
  EXPECT_EQ(file->Size(), 0u);
}

TEST(ExclusiveFile, IsNotOpenedTwice) {
  TestDirectory directory;
  auto file = ExclusiveFile::Open(directory.PathOf("a"));
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(ExclusiveFile::Open(directory.PathOf("a")), nullptr);
  file.reset();
  EXPECT_NE(ExclusiveFile::Open(directory.PathOf("a")), nullptr);
}

TEST(ExclusiveFile, IsNullWhereNoFileCanBe) {
  TestDirectory directory;
  ASSERT_TRUE(directory.MakeFolder("folder"));
  EXPECT_EQ(ExclusiveFile::Open(directory.PathOf("folder")), nullptr);
  EXPECT_EQ(ExclusiveFile::Open(directory.PathOf("missing/a")), nullptr);
  EXPECT_EQ(ExclusiveFile::Open(""), nullptr);
}

}  // namespace
}  // namespace quillbeaker
