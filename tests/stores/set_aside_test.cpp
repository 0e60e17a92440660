// SPDX-License-Identifier: MIT

#include "stores/set_aside.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/test_program.h"

namespace quillbeaker {
namespace {

TEST(SetAsideTest, NoFileThatWasKeptIsOverwritten) {
  const test::TestDirectory directory;
  const std::string path = directory.PathOf("index.xml");
  for (const char* content : {"first", "second", "third"}) {
    ASSERT_TRUE(directory.Put("index.xml", content));
    EXPECT_TRUE(SetAside(path));
    EXPECT_FALSE(directory.Has("index.xml"));
  }
  EXPECT_EQ(directory.Get("index.xml.bad"), "first");
  EXPECT_EQ(directory.Get("index.xml.bad2"), "second");
  EXPECT_EQ(directory.Get("index.xml.bad3"), "third");
}

TEST(SetAsideTest, ADirectoryOfTheNameIsATakenName) {
  const test::TestDirectory directory;
  ASSERT_TRUE(directory.MakeFolder("index.xml.bad"));
  ASSERT_TRUE(directory.Put("index.xml", "content"));
  EXPECT_TRUE(SetAside(directory.PathOf("index.xml")));
  EXPECT_EQ(directory.Get("index.xml.bad2"), "content");
}

TEST(SetAsideTest, AMissingFileCanNotBeSetAside) {
  const test::TestDirectory directory;
  EXPECT_FALSE(SetAside(directory.PathOf("index.xml")));
  EXPECT_TRUE(directory.Names().empty());
}

}  // namespace
}  // namespace quillbeaker
