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

TEST(CopyAsideTest, NoFileThatWasKeptIsOverwritten) {
  const test::TestDirectory directory;
  const std::string path = directory.PathOf("index.xml");
  ASSERT_TRUE(directory.Put("index.xml", "in its place"));
  ASSERT_TRUE(directory.MakeFolder("index.xml.bad2"));
  EXPECT_TRUE(CopyAside(path, "first"));
  EXPECT_TRUE(CopyAside(path, "other"));
  EXPECT_EQ(directory.Get("index.xml.bad"), "first");
  EXPECT_EQ(directory.Get("index.xml.bad3"), "other");
  EXPECT_EQ(directory.Get("index.xml"), "in its place");
}

TEST(CopyAsideTest, TheSameBytesAreKeptOnce) {
  const test::TestDirectory directory;
  const std::string path = directory.PathOf("index.xml");
  for (const char* content : {"first", "other", "first", "other"}) EXPECT_TRUE(CopyAside(path, content));
  EXPECT_EQ(directory.Names(), (std::vector<std::string>{"index.xml.bad", "index.xml.bad2"}));
}

TEST(CopyAsideTest, SaysWhyNothingCouldBeKept) {
  const test::TestDirectory directory;
  const FileResult copied = CopyAside(directory.PathOf("missing/index.xml"), "x");
  EXPECT_FALSE(copied);
  EXPECT_TRUE(copied.IsMissing());
}

}  // namespace
}  // namespace quillbeaker
