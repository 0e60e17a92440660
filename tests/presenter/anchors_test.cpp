// SPDX-License-Identifier: MIT
#include "ui/presenter/anchors.h"

#include <gtest/gtest.h>

namespace quillbeaker {
namespace {

constexpr ScreenArea kMade{{10, 20}, {100, 50}};
constexpr ScreenSize kInside{300, 200};
constexpr ScreenSize kLarger{340, 230};

TEST(Anchors, AControlThatNamesNoFarEdgeStays) {
  EXPECT_EQ(Anchored(kMade, kInside, kLarger, 0), kMade);
  EXPECT_EQ(Anchored(kMade, kInside, kLarger, kLeftEdge | kTopEdge), kMade);
}

TEST(Anchors, MovesWithTheFarEdge) {
  EXPECT_EQ(Anchored(kMade, kInside, kLarger, kRightEdge | kTopEdge), (ScreenArea{{50, 20}, {100, 50}}));
  EXPECT_EQ(Anchored(kMade, kInside, kLarger, kLeftEdge | kBottomEdge), (ScreenArea{{10, 50}, {100, 50}}));
  EXPECT_EQ(Anchored(kMade, kInside, {290, 190}, kRightEdge | kBottomEdge), (ScreenArea{{0, 10}, {100, 50}}));
}

TEST(Anchors, IsStretchedBetweenTwoEdges) {
  EXPECT_EQ(Anchored(kMade, kInside, kLarger, kAllEdges), (ScreenArea{{10, 20}, {140, 80}}));
  EXPECT_EQ(Anchored(kMade, kInside, kInside, kAllEdges), kMade);
  EXPECT_EQ(Anchored(kMade, kInside, {0, 0}, kAllEdges), (ScreenArea{{10, 20}, {0, 0}}));
}

}  // namespace
}  // namespace quillbeaker
