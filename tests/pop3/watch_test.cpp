// SPDX-License-Identifier: MIT
#include "pop3/watch.h"

#include <gtest/gtest.h>

#include "pop3/recording_observer.h"

namespace quillbeaker {
namespace {

class WatchTest : public ::testing::Test {
 protected:
  RecordingObserver observer_;
  bool gone_ = false;
  int asked_ = 0;
  Watch watch_{observer_, [this] {
                 ++asked_;
                 return gone_;
               }};
};

TEST_F(WatchTest, StopsForNothingByItself) {
  EXPECT_EQ(watch_.Look(), Stop::kNone);
}

TEST_F(WatchTest, TellsWhoStopsAndTheProgramsEndFirst) {
  observer_.cancelled = true;
  EXPECT_EQ(watch_.Look(), Stop::kCancelled);
  gone_ = true;
  EXPECT_EQ(watch_.Look(), Stop::kClientGone);
  watch_.EndProgram();
  EXPECT_EQ(watch_.Look(), Stop::kProgramEnds);
}

TEST_F(WatchTest, RemembersThatTheClientHasGone) {
  gone_ = true;
  EXPECT_EQ(watch_.Look(), Stop::kClientGone);
  gone_ = false;
  EXPECT_EQ(watch_.Look(), Stop::kClientGone);
  EXPECT_EQ(watch_.LookNowAndThen(), Stop::kClientGone);
}

TEST_F(WatchTest, AsksTheSystemOnlyNowAndThenWhereNothingWaits) {
  watch_.Look();
  for (int i = 0; i < 1000; ++i) watch_.LookNowAndThen();
  EXPECT_LT(asked_, 20);
  observer_.cancelled = true;
  EXPECT_EQ(watch_.LookNowAndThen(), Stop::kCancelled);
}

TEST_F(WatchTest, StopsForACancelOnlyUntilThatIsUsedUp) {
  observer_.cancelled = true;
  EXPECT_EQ(watch_.CancelStop(), Stop::kCancelled);
  watch_.UseUpCancel();
  EXPECT_EQ(watch_.CancelStop(), Stop::kNone);
  EXPECT_EQ(watch_.Look(), Stop::kNone);
}

TEST_F(WatchTest, CarriesAQuitThroughButForTheProgramsEnd) {
  observer_.cancelled = true;
  gone_ = true;
  watch_.CarryThrough();
  EXPECT_EQ(watch_.Look(), Stop::kNone);
  EXPECT_EQ(watch_.CancelStop(), Stop::kNone);
  watch_.EndProgram();
  EXPECT_EQ(watch_.Look(), Stop::kProgramEnds);
}

TEST_F(WatchTest, ActsAtEachLookAndBeforeEachWait) {
  int looks = 0;
  int waits = 0;
  watch_.OnLook([&] { ++looks; });
  watch_.AboutToWait();
  watch_.BeforeWaiting([&] { ++waits; });
  watch_.Look();
  watch_.AboutToWait();
  EXPECT_EQ(looks, 1);
  EXPECT_EQ(waits, 1);
}

}  // namespace
}  // namespace quillbeaker
