// SPDX-License-Identifier: MIT
#include "pop3/check/daily_purges.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "pop3/recording_observer.h"
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
    observer_.told.clear();
    RunDailyPurges(world_.program(), observer_);
    return observer_.told;
  }
  void PutTrainingMail() {
    ASSERT_TRUE(world_.directory.Put("training/training.xml", kTrainingIndex));
    ASSERT_TRUE(world_.directory.Put("training/a.eml", "a"));
    ASSERT_TRUE(world_.directory.Put("training/b.eml", "b"));
  }

  test::TestProgram world_;
  RecordingObserver observer_;
};

TEST_F(DailyPurgesTest, SaysWhichMailIsDeleted) {
  EXPECT_EQ(Purge(),
            (std::vector<std::string>{"status Deleting old messages from recycle bin...", "status ",
                                      "status Deleting old messages from training area...", "status "}));
}

TEST_F(DailyPurgesTest, TrainingMailOfThreeDaysGoesOncePerDay) {
  PutTrainingMail();
  Purge();
  EXPECT_FALSE(world_.directory.Has("training/a.eml"));
  EXPECT_TRUE(world_.directory.Has("training/b.eml"));
  ASSERT_EQ(observer_.changes.size(), 1U);
  EXPECT_EQ(observer_.changes[0].store, Store::kTrainingArea);
  EXPECT_EQ(observer_.changes[0].removed, std::vector<std::string>{"a.eml"});
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

// Takes the lock of every store whenever it is told something, and would wait for ever for one that is held.
class LockingObserver : public RecordingObserver {
 public:
  explicit LockingObserver(test::TestProgram& world) : world_(world) {}
  void ShowStatus(std::string_view) override { TakeLocks(); }
  void StoreChanged(const StoreChange&) override { TakeLocks(); }

  int calls = 0;

 private:
  void TakeLocks() {
    EXPECT_TRUE(world_.program().Write(keys::kPort, 1000 + ++calls));
    StoreLock recycle_bin(world_.directory.PathOf("recycle/recyclebin.xml.lock"));
    StoreLock training_area(world_.directory.PathOf("training/training.xml.lock"));
    EXPECT_NE(recycle_bin.Acquire(), nullptr);
    EXPECT_NE(training_area.Acquire(), nullptr);
  }

  test::TestProgram& world_;
};

TEST_F(DailyPurgesTest, NoStoreIsLockedWhileSomethingIsTold) {
  PutTrainingMail();
  LockingObserver observer(world_);
  RunDailyPurges(world_.program(), observer);
  EXPECT_EQ(observer.calls, 5);
}

}  // namespace
}  // namespace quillbeaker
