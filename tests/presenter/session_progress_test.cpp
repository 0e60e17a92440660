// SPDX-License-Identifier: MIT
#include "ui/presenter/session_progress.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace quillbeaker {
namespace {

using std::chrono::milliseconds;

// A windows' thread that is slow, quick or absent, as the test likes; and a clock that the test moves.
struct Progress {
  int announced = 0;
  std::chrono::steady_clock::time_point now{};
  SessionProgress progress{[this] { ++announced; }, [this] { return now; }};
};

TEST(SessionProgress, EveryPartIsTakenOnce) {
  Progress one;
  one.progress.SetRange(100);
  one.progress.SetPosition(40);
  one.progress.SetStatus("status");
  one.progress.SetActivity("activity");
  one.progress.SetSpamCount(3);
  const ProgressChanges taken = one.progress.Take();
  EXPECT_EQ(taken.range, 100U);
  EXPECT_EQ(taken.position, 40U);
  EXPECT_EQ(taken.status, "status");
  EXPECT_EQ(taken.activity, "activity");
  EXPECT_EQ(taken.spam_count, 3U);
  const ProgressChanges again = one.progress.Take();
  EXPECT_FALSE(again.range || again.position || again.status || again.activity || again.spam_count);
}

TEST(SessionProgress, TheLatestStateOfAPartStays) {
  Progress one;
  one.progress.SetActivity("Receiving message 1");
  one.progress.SetActivity("Receiving message 2");
  one.progress.SetSpamCount(1);
  one.progress.SetSpamCount(2);
  const ProgressChanges taken = one.progress.Take();
  EXPECT_EQ(taken.activity, "Receiving message 2");
  EXPECT_EQ(taken.spam_count, 2U);
}

TEST(SessionProgress, AnnouncesTheFirstChangeAtOnceAndFollowingOnesEveryFiftyMilliseconds) {
  Progress one;
  one.progress.SetSpamCount(1);
  EXPECT_EQ(one.announced, 1);
  (void)one.progress.Take();
  one.now += milliseconds(49);
  one.progress.SetSpamCount(2);
  one.progress.SetPosition(2);
  one.progress.SetActivity("2");
  EXPECT_EQ(one.announced, 1);
  one.now += milliseconds(1);
  one.progress.SetSpamCount(3);
  EXPECT_EQ(one.announced, 2);
}

TEST(SessionProgress, ARangeAndAStatusAreAnnouncedAtOnce) {
  Progress one;
  one.progress.SetRange(10);
  EXPECT_EQ(one.announced, 1);
  (void)one.progress.Take();
  one.progress.SetStatus("off");
  EXPECT_EQ(one.announced, 2);
  (void)one.progress.Take();
  one.progress.SetRange(20);
  EXPECT_EQ(one.announced, 3);
}

TEST(SessionProgress, AnnouncesNothingWhileNobodyTakes) {
  Progress one;
  for (std::uint64_t i = 0; i < 100; ++i) {
    one.now += milliseconds(60);
    one.progress.SetRange(i);
    one.progress.Advance(1);
    one.progress.SetStatus(std::to_string(i));
  }
  EXPECT_EQ(one.announced, 1);
  const ProgressChanges taken = one.progress.Take();
  EXPECT_EQ(taken.range, 99U);
  EXPECT_EQ(taken.position, 1U);
  EXPECT_EQ(taken.status, "99");
  one.now += milliseconds(60);
  one.progress.Advance(1);
  EXPECT_EQ(one.announced, 2);
}

TEST(SessionProgress, AdvanceAddsToThePosition) {
  Progress one;
  one.progress.SetRange(10);
  one.progress.Advance(2);
  one.progress.Advance(3);
  EXPECT_EQ(one.progress.Take().position, 5U);
  one.progress.SetPosition(8);
  one.progress.Advance(1);
  EXPECT_EQ(one.progress.Take().position, 9U);
}

TEST(SessionProgress, ANewRangeForgetsThePositionInTheFormerOne) {
  Progress one;
  one.progress.SetRange(10);
  one.progress.Advance(7);
  one.progress.SetRange(4);
  const ProgressChanges taken = one.progress.Take();
  EXPECT_EQ(taken.range, 4U);
  EXPECT_FALSE(taken.position);
  one.progress.Advance(1);
  EXPECT_EQ(one.progress.Take().position, 1U);
}

TEST(SessionProgress, AStatusThatStaysIsNoChange) {
  Progress one;
  one.progress.SetStatus("off");
  EXPECT_EQ(one.progress.Take().status, "off");
  one.progress.SetStatus("off");
  EXPECT_FALSE(one.progress.Take().status);
  EXPECT_EQ(one.announced, 1);
  one.progress.SetStatus("");
  EXPECT_EQ(one.progress.Take().status, "");
  one.progress.SetStatus("off");
  EXPECT_EQ(one.progress.Take().status, "off");
}

TEST(SessionProgress, ResetForgetsWhatWasNotTaken) {
  Progress one;
  one.progress.SetRange(10);
  one.progress.Advance(7);
  one.progress.SetStatus("off");
  one.progress.Reset();
  const ProgressChanges taken = one.progress.Take();
  EXPECT_FALSE(taken.range || taken.position || taken.status);
  one.progress.SetStatus("off");  // for a new bubble, which shows none yet
  one.progress.Advance(1);
  const ProgressChanges after = one.progress.Take();
  EXPECT_EQ(after.status, "off");
  EXPECT_EQ(after.position, 1U);
}

TEST(SessionProgress, ABurstIsAnnouncedAFewTimesAndItsEndIsNotLost) {
  constexpr std::uint64_t kSteps = 200000;
  SessionProgress* shared = nullptr;
  std::vector<std::uint64_t> positions;
  const auto take = [&] {
    if (const auto position = shared->Take().position) positions.push_back(*position);
  };
  SessionProgress progress(take);  // taken at once, as by a quick windows' thread
  shared = &progress;
  progress.SetRange(kSteps);
  const auto start = std::chrono::steady_clock::now();
  for (std::uint64_t i = 0; i < kSteps; ++i) progress.Advance(1);
  const auto passed = std::chrono::steady_clock::now() - start;
  EXPECT_LE(positions.size(), static_cast<std::size_t>(passed / milliseconds(50)) + 1);
  take();
  ASSERT_FALSE(positions.empty());
  EXPECT_EQ(positions.back(), kSteps);
}

TEST(SessionProgress, TwoThreadsNeverSeeAnOlderStateAfterANewerOne) {
  constexpr std::uint64_t kSteps = 100000;
  SessionProgress progress([] {});
  std::thread listener([&progress] {
    for (std::uint64_t i = 0; i < kSteps; ++i) progress.Advance(1);
  });
  std::uint64_t last = 0;
  bool in_order = true;
  while (last < kSteps) {
    const std::uint64_t position = progress.Take().position.value_or(last);
    in_order = in_order && position >= last;
    last = position;
  }
  listener.join();
  EXPECT_TRUE(in_order);
}

}  // namespace
}  // namespace quillbeaker
