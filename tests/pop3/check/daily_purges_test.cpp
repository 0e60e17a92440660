// SPDX-License-Identifier: MIT
#include "pop3/check/daily_purges.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/test_program.h"

namespace quillbeaker {
namespace {

constexpr char kTrainingIndex[] =
    "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n"
    "<training>\n"
    "  <message filename=\"a.eml\" sender=\"\" mail=\"\" date=\"2453794\" time=\"10:00\" size=\"1\"/>\n"
    "  <message filename=\"b.eml\" sender=\"\" mail=\"\" date=\"2453795\" time=\"10:00\" size=\"1\"/>\n"
    "</training>\n";

// The clock stands on 2 March 2006, day 2453797.
class DailyPurgesTest : public testing::Test {
 protected:
  std::vector<std::string> Purge() {
    std::vector<std::string> told;
    RunDailyPurges(world_.program(), [&](std::string_view text) { told.emplace_back(text); });
    return told;
  }
  void PutTrainingMail() {
    ASSERT_TRUE(world_.directory.Put("training/training.xml", kTrainingIndex));
    ASSERT_TRUE(world_.directory.Put("training/a.eml", "a"));
    ASSERT_TRUE(world_.directory.Put("training/b.eml", "b"));
  }

  test::TestProgram world_;
};

TEST_F(DailyPurgesTest, SaysWhichMailIsDeleted) {
  EXPECT_EQ(Purge(), (std::vector<std::string>{"Deleting old messages from recycle bin...", "",
                                               "Deleting old messages from training area...", ""}));
}

TEST_F(DailyPurgesTest, TrainingMailOfThreeDaysGoesOncePerDay) {
  PutTrainingMail();
  Purge();
  EXPECT_FALSE(world_.directory.Has("training/a.eml"));
  EXPECT_TRUE(world_.directory.Has("training/b.eml"));
  EXPECT_EQ(world_.program().Read(keys::kTrainingAreaDeleteOldMessagesLast), 2453797);
  PutTrainingMail();
  Purge();
  EXPECT_TRUE(world_.directory.Has("training/a.eml"));
}

TEST_F(DailyPurgesTest, TheAgeOfTrainingMailIsASetting) {
  ASSERT_TRUE(world_.Configure("TrainingAreaMaxDays=2"));
  PutTrainingMail();
  Purge();
  EXPECT_FALSE(world_.directory.Has("training/b.eml"));
}

TEST_F(DailyPurgesTest, NoStoreIsLockedWhileSomethingIsTold) {
  PutTrainingMail();
  int calls = 0;
  RunDailyPurges(world_.program(), [&](std::string_view) {
    // Each of these takes a store's lock, and would wait for ever.
    EXPECT_TRUE(world_.program().Write(keys::kPort, 1000 + ++calls));
    StoreLock recycle_bin(world_.directory.PathOf("recycle/recyclebin.xml.lock"));
    StoreLock training_area(world_.directory.PathOf("training/training.xml.lock"));
    EXPECT_NE(recycle_bin.Acquire(), nullptr);
    EXPECT_NE(training_area.Acquire(), nullptr);
  });
  EXPECT_EQ(calls, 4);
}

}  // namespace
}  // namespace quillbeaker
