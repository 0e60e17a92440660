// SPDX-License-Identifier: MIT
#include "pop3/upstream/trickle.h"

#include <gtest/gtest.h>

namespace quillbeaker {
namespace {

using std::chrono::minutes;
using std::chrono::seconds;

class TrickleTest : public ::testing::Test {
 protected:
  TrickleTest() { trickle_.Begin(now_); }

  // So many bytes in each second, for so long.
  void Drip(std::size_t bytes, seconds time) {
    for (seconds passed{0}; passed < time; ++passed) {
      now_ += seconds(1);
      trickle_.Received(bytes, now_);
    }
  }

  Trickle trickle_;
  Trickle::Moment now_{};
};

TEST_F(TrickleTest, LetsASlowReplyBeForFiveMinutes) {
  Drip(1, minutes(5) - seconds(1));
  EXPECT_FALSE(trickle_.CountsAsSilence(now_));
  Drip(1, seconds(1));
  EXPECT_TRUE(trickle_.CountsAsSilence(now_));
}

TEST_F(TrickleTest, LetsAReplyGoOnThatBringsEnough) {
  Drip(14, minutes(60));  // 4200 bytes in five minutes
  EXPECT_FALSE(trickle_.CountsAsSilence(now_));
}

TEST_F(TrickleTest, ForgetsWhatCameMoreThanFiveMinutesAgo) {
  trickle_.Received(100'000'000, now_);
  Drip(1, minutes(5) + seconds(1));
  EXPECT_TRUE(trickle_.CountsAsSilence(now_));
}

TEST_F(TrickleTest, CountsAnewForTheNextReply) {
  Drip(1, minutes(6));
  trickle_.Begin(now_);
  EXPECT_FALSE(trickle_.CountsAsSilence(now_));
  Drip(1, minutes(5));
  EXPECT_TRUE(trickle_.CountsAsSilence(now_));
}

TEST_F(TrickleTest, CostsNoMoreForAFastReply) {
  for (int i = 0; i < 10'000'000; ++i) trickle_.Received(50'000, now_);
  EXPECT_FALSE(trickle_.CountsAsSilence(now_ + minutes(4)));
}

}  // namespace
}  // namespace quillbeaker
