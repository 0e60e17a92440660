// SPDX-License-Identifier: MIT
#include "message/boundary_tree.h"

#include <gtest/gtest.h>

#include <deque>
#include <random>
#include <string>

#include "config/ascii.h"

namespace quillbeaker {
namespace {

class BoundaryTreeTest : public testing::Test {
 protected:
  MessagePart& Add(std::string boundary) {
    texts_.push_back(std::move(boundary));
    MessagePart& part = parts_.emplace_back();
    part.boundary = texts_.back();
    part.has_boundary = true;
    tree_.Add(part);
    return part;
  }

  // What the tree stands for: the boundaries one after the other.
  BoundaryTree::Match PlainSearch(std::string_view line) {
    for (MessagePart& part : parts_) {
      if (StartsWithIgnoringCase(line, part.boundary)) return {&part, part.boundary.size()};
    }
    return {};
  }

  BoundaryTree tree_;
  std::deque<MessagePart> parts_;
  std::deque<std::string> texts_;
};

TEST_F(BoundaryTreeTest, EmptyTreeMatchesNothing) {
  EXPECT_TRUE(tree_.empty());
  EXPECT_EQ(tree_.Find("").part, nullptr);
  EXPECT_EQ(tree_.Find("x").part, nullptr);
}

TEST_F(BoundaryTreeTest, ComparesOverTheBoundaryOnlyAndWithoutCase) {
  MessagePart& part = Add("XyZ");
  EXPECT_FALSE(tree_.empty());
  EXPECT_EQ(tree_.Find("xYz--").part, &part);
  EXPECT_EQ(tree_.Find("xYzzz").length, 3u);
  EXPECT_EQ(tree_.Find("xy").part, nullptr);
  EXPECT_EQ(tree_.Find("xya").part, nullptr);
}

TEST_F(BoundaryTreeTest, FirstAddedWinsAmongSeveralThatMatch) {
  MessagePart& longest = Add("abc");
  MessagePart& shorter = Add("ab");
  Add("abcd");
  Add("ABC");
  EXPECT_EQ(tree_.Find("abcd").part, &longest);
  EXPECT_EQ(tree_.Find("abd").part, &shorter);
  EXPECT_EQ(tree_.Find("abd").length, 2u);
}

TEST_F(BoundaryTreeTest, EmptyBoundaryMatchesEveryLine) {
  MessagePart& first = Add("q");
  MessagePart& empty = Add("");
  EXPECT_EQ(tree_.Find("quite").part, &first);
  EXPECT_EQ(tree_.Find("other").part, &empty);
  EXPECT_EQ(tree_.Find("").part, &empty);
  EXPECT_EQ(tree_.Find("").length, 0u);
}

TEST_F(BoundaryTreeTest, EqualsPlainSearchOnRandomBoundaries) {
  std::mt19937 random(7);
  const auto random_text = [&random] {
    std::string text(random() % 7, ' ');
    for (char& c : text) c = "abAB\0\xE4"[random() % 6];
    return text;
  };
  for (int round = 0; round < 300; ++round) {
    tree_ = BoundaryTree();
    parts_.clear();
    texts_.clear();
    for (std::size_t count = random() % 12; count > 0; --count) Add(random_text());
    for (int look_up = 0; look_up < 50; ++look_up) {
      const std::string line = random_text();
      const auto expected = PlainSearch(line);
      const auto found = tree_.Find(line);
      ASSERT_EQ(found.part, expected.part) << testing::PrintToString(line);
      ASSERT_EQ(found.length, expected.length);
    }
  }
}

}  // namespace
}  // namespace quillbeaker
