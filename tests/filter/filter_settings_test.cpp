// SPDX-License-Identifier: MIT
// What a judgement goes by: the keys of the configuration file and the thresholds of the two spam word files.

#include "filter/filter_settings.h"

#include <gtest/gtest.h>

#include <string>

#include "support/test_program.h"

namespace quillbeaker {
namespace {

class FilterSettingsTest : public testing::Test {
 protected:
  void UserThresholds(std::string_view lines) {
    ASSERT_TRUE(test_.directory.Put("spampoints_user.ini", "[THRESHOLD]\r\n" + std::string(lines)));
  }
  void ShippedThresholds(std::string_view lines) {
    ASSERT_TRUE(test_.directory.Put("spampoints.ini", "[THRESHOLD]\r\n" + std::string(lines)));
  }
  std::int32_t Threshold(std::int32_t level) { return ReadThreshold(test_.program(), level).percent; }

  test::TestProgram test_;
};

TEST_F(FilterSettingsTest, TheThresholdIsTheUsersThenTheShippedOneThenAHundred) {
  EXPECT_EQ(Threshold(75), 100);
  ShippedThresholds("level75=60\r\nlevel50=80\r\n");
  EXPECT_EQ(Threshold(75), 60);
  UserThresholds("level75=70\r\n");
  EXPECT_EQ(Threshold(75), 70);
  EXPECT_EQ(Threshold(50), 80);
  EXPECT_EQ(Threshold(25), 100);
}

TEST_F(FilterSettingsTest, AUsersThresholdOfMinusOneMeansTheShippedOne) {
  ShippedThresholds("level50=60\r\n");
  UserThresholds("level50=-1\r\n");
  EXPECT_EQ(Threshold(50), 60);
}

TEST_F(FilterSettingsTest, AThresholdThatIsNotPositiveIsAHundred) {
  ShippedThresholds("level50=60\r\n");
  for (const char* line : {"level50=0", "level50=-5", "level50=", "level50=high"}) {
    UserThresholds(line);
    EXPECT_EQ(Threshold(50), 100) << line;
  }
  UserThresholds("");
  ShippedThresholds("level50=0\r\n");
  EXPECT_EQ(Threshold(50), 100);
  ShippedThresholds("level50=-1\r\n");
  EXPECT_EQ(Threshold(50), 100);
}

TEST_F(FilterSettingsTest, TellsWhoSetTheThreshold) {
  using Source = LevelThreshold::Source;
  EXPECT_EQ(ReadThreshold(test_.program(), 50).source, Source::kDefault);
  ShippedThresholds("level50=60\r\n");
  EXPECT_EQ(ReadThreshold(test_.program(), 50).source, Source::kShippedFile);
  UserThresholds("level50=70\r\n");
  EXPECT_EQ(ReadThreshold(test_.program(), 50).source, Source::kUserFile);
}

TEST_F(FilterSettingsTest, HoldTheThresholdOfTheirOwnLevel) {
  ShippedThresholds("level50=60\r\nlevel75=40\r\n");
  EXPECT_EQ(ReadFilterSettings(test_.program()).threshold.percent, 60);
  ASSERT_TRUE(test_.Configure("Aggressiveness=75"));
  EXPECT_EQ(ReadFilterSettings(test_.program()).threshold.percent, 40);
}

}  // namespace
}  // namespace quillbeaker
