// SPDX-License-Identifier: MIT
// The spam counts of the last 30 days: which days count, what the two keys hold, what is lost and what is
// not.
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

#include "config/day_number.h"
#include "stores/statistics.h"
#include "support/test_program.h"

namespace quillbeaker {
namespace {

// 5 February 2003 in UTC is day 2452676; the local clock stands on another day.
constexpr std::uint32_t kToday = 2452676;

class StatisticsContractTest : public testing::Test {
 protected:
  StatisticsContractTest() {
    surroundings.clock.utc = CalendarTime{2003, 2, 3, 5, 23, 30, 0, 0};
    surroundings.clock.local = CalendarTime{2003, 2, 4, 6, 0, 30, 0, 0};
  }
  Program& program() { return surroundings.program(); }
  [[nodiscard]] bool Store(std::string_view days, std::string_view mails) {
    return surroundings.directory.Put("Quillbeaker.ini", "[STATS]\r\nDays=" + std::string(days) +
                                                             "\r\nMails=" + std::string(mails) + "\r\n");
  }
  // The value behind "key=" of the configuration file as it stands there.
  std::string Stored(std::string_view key) const {
    const std::string text = surroundings.directory.Get("Quillbeaker.ini").value_or("");
    const std::size_t at = text.find("\n" + std::string(key) + "=");
    if (at == std::string::npos) return "(missing)";
    const std::size_t from = at + key.size() + 2;
    return text.substr(from, text.find_first_of("\r\n", from) - from);
  }
  // The slots that are not 0 after loading, as "slot:count ".
  std::string Loaded(std::string_view days, std::string_view mails) {
    EXPECT_TRUE(Store(days, mails));
    Statistics statistics(program());
    statistics.Load();
    return Counts(statistics);
  }
  static std::string Counts(const Statistics& statistics) {
    std::string text;
    for (std::size_t slot = 0; slot < kStatisticDays; ++slot) {
      if (statistics.CountOf(slot) != 0)
        text += std::to_string(slot) + ":" + std::to_string(statistics.CountOf(slot)) + " ";
    }
    return text;
  }

  test::TestProgram surroundings;
};

TEST_F(StatisticsContractTest, EverythingIsZeroBeforeLoading) {
  const Statistics statistics(program());
  for (std::size_t slot = 0; slot < kStatisticDays; ++slot) {
    EXPECT_EQ(statistics.CountOf(slot), 0U);
    EXPECT_EQ(statistics.DayOf(slot), 0U);
  }
  EXPECT_EQ(statistics.Average(), 0.0);
}

TEST_F(StatisticsContractTest, TheDaysAreThoseOfUtc) {
  Statistics statistics(program());
  statistics.Load();
  EXPECT_EQ(DayNumber(2003, 2, 5), static_cast<std::int32_t>(kToday));
  for (std::size_t slot = 0; slot < kStatisticDays; ++slot) EXPECT_EQ(statistics.DayOf(slot), kToday - slot);
}

TEST_F(StatisticsContractTest, MissingKeysAreNoCounts) {
  Statistics statistics(program());
  statistics.Load();
  EXPECT_EQ(Counts(statistics), "");
}

TEST_F(StatisticsContractTest, EachCountGoesToTheSlotOfItsDay) {
  EXPECT_EQ(Loaded("2452676,2452674,", "3,12,"), "0:3 2:12 ");
  EXPECT_EQ(Loaded("2452676,2452674", "3,12"), "0:3 2:12 ");
  EXPECT_EQ(Loaded("2452674,2452676,", "12,3,"), "0:3 2:12 ");
}

TEST_F(StatisticsContractTest, TheLaterTokenOfADayWins) {
  EXPECT_EQ(Loaded("2452676,2452676,", "4,7,"), "0:7 ");
  EXPECT_EQ(Loaded("2452676,2452675,2452676,", "4,1,0,"), "1:1 ");
}

TEST_F(StatisticsContractTest, FutureAndOldDaysAreDroppedAndTheLastSlotCounts) {
  EXPECT_EQ(Loaded("2452677,2452676,", "9,1,"), "0:1 ");
  EXPECT_EQ(Loaded("2452647,2452646,", "5,6,"), "29:5 ");
  EXPECT_EQ(Loaded("25657560,0,4294967295,", "5,6,7,"), "");
}

TEST_F(StatisticsContractTest, TokensThatAreNoNumbersReadAsZero) {
  EXPECT_EQ(Loaded("x,2452675,", "5,6,"), "1:6 ");
  EXPECT_EQ(Loaded("2452676,2452675,", "five,6,"), "1:6 ");
  EXPECT_EQ(Loaded(",,2452675,", "1,2,6,"), "1:6 ");
  EXPECT_EQ(Loaded(",", ","), "");
}

TEST_F(StatisticsContractTest, AMissingCountIsZeroAndASurplusOneIsNotAsked) {
  EXPECT_EQ(Loaded("2452676,2452675,", "3"), "0:3 ");
  EXPECT_EQ(Loaded("2452676,2452675,", ""), "");
  EXPECT_EQ(Loaded("2452676", "3,4,5,6,"), "0:3 ");
  EXPECT_EQ(Loaded("", "3,4,"), "");
}

TEST_F(StatisticsContractTest, CountsTheDaysOfTheWindowOnly) {
  Statistics statistics(program());
  statistics.Load();
  statistics.Count(kToday);
  statistics.Count(kToday);
  statistics.Count(kToday - 29);
  statistics.Count(kToday - 30);
  statistics.Count(kToday + 1);
  statistics.Count(25657560);  // a mail without a date
  statistics.Count(0);
  statistics.Count(std::numeric_limits<std::uint32_t>::max());
  EXPECT_EQ(Counts(statistics), "0:2 29:1 ");
}

TEST_F(StatisticsContractTest, SavesWhatIsNotZeroNewestFirst) {
  Statistics statistics(program());
  statistics.Load();
  statistics.Count(kToday - 2);
  statistics.Count(kToday - 29);
  statistics.Count(kToday);
  statistics.Count(kToday - 2);
  EXPECT_TRUE(statistics.Save());
  EXPECT_EQ(Stored("Days"), "2452676,2452674,2452647,");
  EXPECT_EQ(Stored("Mails"), "1,2,1,");
}

TEST_F(StatisticsContractTest, SavingNoCountsWritesBothKeysEmpty) {
  ASSERT_TRUE(Store("2452600,", "3,"));
  Statistics statistics(program());
  statistics.Load();
  EXPECT_TRUE(statistics.Save());
  EXPECT_EQ(Stored("Days"), "");
  EXPECT_EQ(Stored("Mails"), "");

  ASSERT_TRUE(surroundings.directory.Remove("Quillbeaker.ini"));
  EXPECT_TRUE(statistics.Save());
  EXPECT_EQ(Stored("Days"), "");
  EXPECT_EQ(Stored("Mails"), "");
}

TEST_F(StatisticsContractTest, SavingBeforeLoadingDoesNothing) {
  ASSERT_TRUE(Store("2452676,", "3,"));
  const std::string before = surroundings.directory.Get("Quillbeaker.ini").value_or("");
  Statistics statistics(program());
  statistics.Count(kToday);
  EXPECT_TRUE(statistics.Save());
  EXPECT_EQ(surroundings.directory.Get("Quillbeaker.ini").value_or("(missing)"), before);
}

TEST_F(StatisticsContractTest, LeavesTheOtherSettingsAlone) {
  ASSERT_TRUE(
      surroundings.directory.Put("Quillbeaker.ini",
                                 "[QUILLBEAKER]\r\nEnable=0\r\n[STATS]\r\nDays=1,\r\nMails=1,\r\nOther=x\r\n"
                                 "[SENDERS]\r\na@b.example=A,2\r\n"));
  Statistics statistics(program());
  statistics.Load();
  statistics.Count(kToday);
  EXPECT_TRUE(statistics.Save());
  EXPECT_EQ(surroundings.directory.Get("Quillbeaker.ini").value_or(""),
            "[QUILLBEAKER]\r\nEnable=0\r\n[STATS]\r\nDays=2452676,\r\nMails=1,\r\nOther=x\r\n"
            "[SENDERS]\r\na@b.example=A,2\r\n");
}

TEST_F(StatisticsContractTest, AFileThatCanNotBeWrittenIsReported) {
  ASSERT_TRUE(Store("2452676,", "3,"));
  Statistics statistics(program());
  statistics.Load();
  statistics.Count(kToday);
  surroundings.directory.SetReadOnly("Quillbeaker.ini", true);
  EXPECT_FALSE(statistics.Save());
  surroundings.directory.SetReadOnly("Quillbeaker.ini", false);
  EXPECT_EQ(Stored("Mails"), "3,");
  EXPECT_TRUE(statistics.Save());
  EXPECT_EQ(Stored("Mails"), "4,");
}

TEST_F(StatisticsContractTest, ThirtySlotsReadBack) {
  std::string days;
  std::string mails;
  for (std::uint32_t age = 0; age < kStatisticDays; ++age) {
    days += std::to_string(kToday - age) + ",";
    mails += std::to_string(age + 1) + ",";
  }
  ASSERT_TRUE(Store(days, mails));
  Statistics statistics(program());
  statistics.Load();
  for (std::uint32_t age = 0; age < kStatisticDays; ++age) EXPECT_EQ(statistics.CountOf(age), age + 1);
  statistics.Count(kToday);
  EXPECT_TRUE(statistics.Save());
  mails[0] = '2';
  EXPECT_EQ(Stored("Days").size(), 240U);
  EXPECT_EQ(Stored("Days"), days);
  EXPECT_EQ(Stored("Mails"), mails);
}

TEST_F(StatisticsContractTest, ThirtyCountsOfTenDigitsSurviveSavingAndLoading) {
  std::string days;
  std::string mails;
  for (std::uint32_t age = 0; age < kStatisticDays; ++age) {
    days += std::to_string(kToday - age) + ",";
    mails += std::to_string(4000000000U + age) + ",";
  }
  ASSERT_EQ(mails.size(), 330U);
  ASSERT_TRUE(Store(days, mails));
  Statistics first(program());
  first.Load();
  EXPECT_TRUE(first.Save());
  EXPECT_EQ(Stored("Mails"), mails);
  Statistics second(program());
  second.Load();
  for (std::uint32_t age = 0; age < kStatisticDays; ++age) EXPECT_EQ(second.CountOf(age), 4000000000U + age);
  EXPECT_EQ(second.Highest(), 4000000029U);
}

TEST_F(StatisticsContractTest, AListIsCutAt329Characters) {
  std::string days;
  std::string mails;
  for (std::uint32_t age = 0; age < kStatisticDays; ++age) {
    days += std::to_string(kToday - age) + ",";
    mails += "00000000001,";
  }
  ASSERT_TRUE(Store(days, mails));
  Statistics statistics(program());
  statistics.Load();
  // 27 whole tokens of 12 characters, then "00000".
  for (std::size_t slot = 0; slot < kStatisticDays; ++slot)
    EXPECT_EQ(statistics.CountOf(slot), slot < 27 ? 1U : 0U) << slot;

  const std::string today = std::to_string(kToday) + ",";
  EXPECT_EQ(Loaded(today, std::string(326, '0') + "123"), "0:123 ");
  EXPECT_EQ(Loaded(today, std::string(327, '0') + "123"), "0:12 ");

  // A single token without end is no danger either.
  EXPECT_EQ(Loaded(std::string(5000, '2'), std::string(5000, '7')), "");
  EXPECT_EQ(Loaded(std::string(5000, ','), std::string(5000, ',')), "");
}

TEST_F(StatisticsContractTest, HighestIsTheNewestDayOfTheLargestCount) {
  ASSERT_TRUE(Store("2452676,2452673,2452668,", "4,5,5,"));
  Statistics statistics(program());
  statistics.Load();
  std::uint32_t day = 0;
  EXPECT_EQ(statistics.Highest(&day), 5U);
  EXPECT_EQ(day, kToday - 3);
  EXPECT_EQ(statistics.Highest(), 5U);
}

TEST_F(StatisticsContractTest, HighestOfNothingIsTodays) {
  Statistics statistics(program());
  statistics.Load();
  std::uint32_t day = 0;
  EXPECT_EQ(statistics.Highest(&day), 0U);
  EXPECT_EQ(day, kToday);
}

TEST_F(StatisticsContractTest, HighestMayStandInTheLastSlot) {
  ASSERT_TRUE(Store("2452676,2452647,", "1,2,"));
  Statistics statistics(program());
  statistics.Load();
  std::uint32_t day = 0;
  EXPECT_EQ(statistics.Highest(&day), 2U);
  EXPECT_EQ(day, kToday - 29);
}

TEST_F(StatisticsContractTest, AverageIsAThirtiethOfTheSum) {
  ASSERT_TRUE(Store("2452676,2452673,2452668,", "4,5,8,"));
  Statistics statistics(program());
  statistics.Load();
  EXPECT_EQ(statistics.Average(), 17.0 * 0.03333333333333333);
}

TEST_F(StatisticsContractTest, LoadingAgainSavesFirst) {
  Statistics statistics(program());
  statistics.Load();
  statistics.Count(kToday);
  statistics.Count(kToday - 4);
  statistics.Load();
  EXPECT_EQ(Stored("Days"), "2452676,2452672,");
  EXPECT_EQ(Stored("Mails"), "1,1,");
  EXPECT_EQ(Counts(statistics), "0:1 4:1 ");
}

// Deliberate: what the keys do not name keeps the value that it had.
TEST_F(StatisticsContractTest, LoadingOnTheNextDayKeepsSlotsThatNoTokenNames) {
  ASSERT_TRUE(Store("2452676,", "6,"));
  Statistics statistics(program());
  statistics.Load();
  surroundings.clock.utc = CalendarTime{2003, 2, 4, 6, 0, 0, 1, 0};
  statistics.Load();
  EXPECT_EQ(statistics.DayOf(0), kToday + 1);
  EXPECT_EQ(Counts(statistics), "0:6 1:6 ");
}

TEST_F(StatisticsContractTest, TheWindowStaysAsItWasWhenLoaded) {
  Statistics statistics(program());
  statistics.Load();
  surroundings.clock.utc = CalendarTime{2003, 2, 4, 6, 0, 0, 1, 0};
  statistics.Count(kToday + 1);
  statistics.Count(kToday);
  EXPECT_EQ(Counts(statistics), "0:1 ");
  EXPECT_TRUE(statistics.Save());
  EXPECT_EQ(Stored("Days"), "2452676,");
}

TEST_F(StatisticsContractTest, WhatHasAgedPastTheWindowIsGoneAtTheNextSave) {
  ASSERT_TRUE(Store("2452676,2452647,", "1,2,"));
  surroundings.clock.utc = CalendarTime{2003, 2, 4, 6, 12, 0, 0, 0};
  Statistics statistics(program());
  statistics.Load();
  EXPECT_TRUE(statistics.Save());
  EXPECT_EQ(Stored("Days"), "2452676,");
  EXPECT_EQ(Stored("Mails"), "1,");
}

TEST_F(StatisticsContractTest, WhatOthersCountedMeanwhileIsKept) {
  ASSERT_TRUE(Store("2452676,2452670,", "5,2,"));
  Statistics first(program());
  first.Load();
  Statistics second(program());
  second.Load();
  first.Count(kToday);
  second.Count(kToday);
  second.Count(kToday - 3);
  EXPECT_TRUE(second.Save());
  EXPECT_TRUE(first.Save());
  EXPECT_EQ(Stored("Days"), "2452676,2452673,2452670,");
  EXPECT_EQ(Stored("Mails"), "7,1,2,");
  // What is saved is not added once more.
  EXPECT_TRUE(first.Save());
  EXPECT_TRUE(second.Save());
  EXPECT_EQ(Stored("Mails"), "7,1,2,");
  EXPECT_EQ(Counts(first), "0:7 3:1 6:2 ");
}

TEST_F(StatisticsContractTest, WhatSomebodyCountedAfterMidnightIsKept) {
  Statistics before_midnight(program());
  before_midnight.Load();
  surroundings.clock.utc = CalendarTime{2003, 2, 4, 6, 0, 0, 1, 0};
  Statistics after_midnight(program());
  after_midnight.Load();
  after_midnight.Count(kToday + 1);
  after_midnight.Count(kToday);
  EXPECT_TRUE(after_midnight.Save());
  before_midnight.Count(kToday);
  before_midnight.Count(kToday - 29);
  EXPECT_TRUE(before_midnight.Save());
  EXPECT_EQ(Stored("Days"), "2452677,2452676,2452647,");
  EXPECT_EQ(Stored("Mails"), "1,2,1,");
}

TEST_F(StatisticsContractTest, NoMoreThanThirtyDaysAreWritten) {
  Statistics statistics(program());
  statistics.Load();
  for (std::uint32_t age = 0; age < kStatisticDays; ++age) statistics.Count(kToday - age);
  ASSERT_TRUE(Store("2452677,", "1,"));
  surroundings.clock.utc = CalendarTime{2003, 2, 4, 6, 0, 0, 1, 0};
  EXPECT_TRUE(statistics.Save());
  EXPECT_EQ(Stored("Days").size(), 240U);
  EXPECT_TRUE(Stored("Days").starts_with("2452677,2452676,"));
  EXPECT_TRUE(Stored("Days").ends_with(",2452648,"));
}

TEST_F(StatisticsContractTest, CountsThatCouldNotBeSavedAreSavedLater) {
  ASSERT_TRUE(Store("2452676,", "3,"));
  Statistics statistics(program());
  statistics.Load();
  statistics.Count(kToday);
  surroundings.directory.SetReadOnly("Quillbeaker.ini", true);
  EXPECT_FALSE(statistics.Save());
  surroundings.directory.SetReadOnly("Quillbeaker.ini", false);
  ASSERT_TRUE(Store("2452676,", "10,"));
  EXPECT_TRUE(statistics.Save());
  EXPECT_EQ(Stored("Mails"), "11,");
}

TEST_F(StatisticsContractTest, AFileThatWouldGetItsOwnBytesIsLeftAlone) {
  ASSERT_TRUE(Store("2452676,", "3,"));
  const std::string path = surroundings.directory.PathOf("Quillbeaker.ini");
  const FileState before = StateOfFile(path);
  Statistics statistics(program());
  statistics.Load();
  EXPECT_TRUE(statistics.Save());
  EXPECT_EQ(StateOfFile(path), before);
  // A key that is missing is written all the same.
  ASSERT_TRUE(surroundings.directory.Put("Quillbeaker.ini", "[STATS]\r\nDays=\r\n"));
  Statistics empty(program());
  empty.Load();
  EXPECT_TRUE(empty.Save());
  EXPECT_EQ(Stored("Mails"), "");
}

TEST_F(StatisticsContractTest, WhoOnlyShowsTakesNoCountsBack) {
  ASSERT_TRUE(Store("2452676,", "1,"));
  Statistics check(program());
  check.Load();
  for (int i = 0; i < 3; ++i) {
    check.Count(kToday);
    Statistics shown(program());
    shown.Load();
    EXPECT_EQ(shown.CountOf(0), 1U);
  }
  EXPECT_TRUE(check.Save());
  EXPECT_EQ(Stored("Mails"), "4,");
  Statistics shown(program());
  shown.Load();
  EXPECT_EQ(shown.CountOf(0), 4U);
}

TEST_F(StatisticsContractTest, TheFilesOfTheFormatReadAsWritten) {
  EXPECT_EQ(Loaded("2452676,2452674,", "3,12,"), "0:3 2:12 ");
  Statistics statistics(program());
  statistics.Load();
  EXPECT_TRUE(statistics.Save());
  EXPECT_EQ(surroundings.directory.Get("Quillbeaker.ini").value_or(""),
            "[STATS]\r\nDays=2452676,2452674,\r\nMails=3,12,\r\n");
}

}  // namespace
}  // namespace quillbeaker
