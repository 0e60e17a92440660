// SPDX-License-Identifier: MIT
#include "ui/presenter/level_page.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "presenter/settings_page_fixture.h"
#include "ui/resource.h"

namespace quillbeaker {
namespace {

class LevelPageTest : public test::SettingsPageTest {
 protected:
  void SetUp() override {
    ASSERT_TRUE(one.directory.Put("spampoints.ini", "[THRESHOLD]\nlevel25=200\nlevel50=150\nlevel75=100\n"));
  }
  std::string UserFile() const { return one.directory.Get("spampoints_user.ini").value_or("(missing)"); }
};

constexpr int kVeryLow = 0;
constexpr int kLow = 1;
constexpr int kNormal = 2;
constexpr int kHigh = 3;
constexpr int kVeryHigh = 4;

TEST_F(LevelPageTest, ListsFiveLevelsAndShowsTheStoredOne) {
  ASSERT_TRUE(one.Configure("Aggressiveness=75"));
  Open<LevelPage>();
  EXPECT_EQ(view.choices[LEVEL_LIST],
            (std::vector<std::string>{"VERY LOW", "LOW", "NORMAL (recommended)", "HIGH", "VERY HIGH"}));
  EXPECT_EQ(view.ChosenIn(LEVEL_LIST), kHigh);
  EXPECT_EQ(view.TextIn(LEVEL_THRESHOLD), "100");
  EXPECT_TRUE(view.TextIn(LEVEL_DESCRIPTION).starts_with("HIGH\n"));
}

TEST_F(LevelPageTest, TheEndLevelsHaveNoThresholdWhateverTheFilesSay) {
  ASSERT_TRUE(one.directory.Put("spampoints.ini", "[THRESHOLD]\nlevel0=10\nlevel50=150\nlevel100=20\n"));
  Open<LevelPage>();
  for (const int level : {kVeryLow, kVeryHigh}) {
    view.Pick(LEVEL_LIST, level);
    EXPECT_EQ(view.TextIn(LEVEL_THRESHOLD), "");
    EXPECT_FALSE(view.IsEnabled(LEVEL_THRESHOLD));
  }
  view.Pick(LEVEL_LIST, kNormal);
  EXPECT_EQ(view.TextIn(LEVEL_THRESHOLD), "150");
  EXPECT_TRUE(view.IsEnabled(LEVEL_THRESHOLD));
}

TEST_F(LevelPageTest, ALevelThatNoFileNamesIsEmptyAndDisabled) {
  ASSERT_TRUE(one.directory.Put("spampoints.ini", ""));
  Open<LevelPage>();
  EXPECT_EQ(view.TextIn(LEVEL_THRESHOLD), "");
  EXPECT_FALSE(view.IsEnabled(LEVEL_THRESHOLD));
  EXPECT_TRUE(Ok());
  EXPECT_EQ(UserFile(), "(missing)");
}

TEST_F(LevelPageTest, TheUsersThresholdCountsBeforeThePredefinedOne) {
  ASSERT_TRUE(one.directory.Put("spampoints_user.ini", "[THRESHOLD]\nlevel50=120\nlevel25=-1\n"));
  Open<LevelPage>();
  EXPECT_EQ(view.TextIn(LEVEL_THRESHOLD), "120");
  view.Pick(LEVEL_LIST, kLow);
  EXPECT_EQ(view.TextIn(LEVEL_THRESHOLD), "200");
}

TEST_F(LevelPageTest, OnlyThresholdsThatDifferStandInTheUsersFile) {
  Open<LevelPage>();
  view.Type(LEVEL_THRESHOLD, "140");
  view.Pick(LEVEL_LIST, kLow);
  EXPECT_TRUE(Ok());
  EXPECT_EQ(Configuration(), "[QUILLBEAKER]\r\nAggressiveness=25\r\n");
  EXPECT_EQ(UserFile(), "[THRESHOLD]\r\nlevel50=140\r\n");
}

TEST_F(LevelPageTest, BackAtThePredefinedValueTheUsersKeyGoes) {
  ASSERT_TRUE(one.directory.Put(
      "spampoints_user.ini", "[PROBABILITIES]\r\nfree=70\r\n[THRESHOLD]\r\nlevel50=120\r\nlevel75=90\r\n"));
  Open<LevelPage>();
  view.Type(LEVEL_THRESHOLD, "150");
  EXPECT_TRUE(Ok());
  EXPECT_EQ(UserFile(), "[PROBABILITIES]\r\nfree=70\r\n[THRESHOLD]\r\nlevel75=90\r\n");
}

TEST_F(LevelPageTest, AnEmptiedFieldLeavesTheThreshold) {
  Open<LevelPage>();
  view.Type(LEVEL_THRESHOLD, "");
  EXPECT_TRUE(Ok());
  EXPECT_EQ(UserFile(), "(missing)");
  view.Pick(LEVEL_LIST, kLow);
  view.Pick(LEVEL_LIST, kNormal);
  EXPECT_EQ(view.TextIn(LEVEL_THRESHOLD), "150");
}

// Each key press reports a text: what is left of the old threshold on the way was never meant.
TEST_F(LevelPageTest, AThresholdDeletedDigitByDigitComesBack) {
  Open<LevelPage>();
  for (const char* text : {"15", "1", ""}) view.Type(LEVEL_THRESHOLD, text);
  view.page->Left(LEVEL_THRESHOLD);
  EXPECT_EQ(view.TextIn(LEVEL_THRESHOLD), "150");
  EXPECT_TRUE(Ok());
  EXPECT_EQ(UserFile(), "(missing)");
  for (const char* text : {"15", "1", "", "9", "90"}) view.Type(LEVEL_THRESHOLD, text);
  EXPECT_TRUE(Ok());
  EXPECT_EQ(UserFile(), "[THRESHOLD]\r\nlevel50=90\r\n");
}

TEST_F(LevelPageTest, ShowingALevelStoresNothing) {
  Open<LevelPage>();
  for (const int level : {kVeryLow, kLow, kHigh, kVeryHigh, kNormal}) view.Pick(LEVEL_LIST, level);
  EXPECT_TRUE(Ok());
  EXPECT_EQ(UserFile(), "(missing)");
}

TEST_F(LevelPageTest, ALevelThatIsNoneStaysUntilOneIsChosen) {
  ASSERT_TRUE(one.Configure("Aggressiveness=60"));
  Open<LevelPage>();
  EXPECT_EQ(view.ChosenIn(LEVEL_LIST), -1);
  EXPECT_EQ(view.TextIn(LEVEL_DESCRIPTION), "");
  EXPECT_TRUE(Ok());
  EXPECT_EQ(Main("Aggressiveness"), "60");
}

TEST_F(LevelPageTest, IsDisabledWithoutFilterOrSpamWords) {
  for (const char* line : {"Enable=0", "FilterWordEnable=0"}) {
    ASSERT_TRUE(one.Configure(line));
    view = {};
    Open<LevelPage>();
    EXPECT_TRUE(view.page_disabled) << line;
    EXPECT_TRUE(Ok());
    EXPECT_EQ(Main("Aggressiveness"), "(missing)");
  }
}

}  // namespace
}  // namespace quillbeaker
