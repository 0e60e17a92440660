// SPDX-License-Identifier: MIT
// The daily purge of the recycle bin.
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "support/recycle_fixture.h"

namespace quillbeaker {
namespace {

// Today is day 2453797: thirty days ago was 2453767.
class RecyclePurgeTest : public test::RecycleFixture {
 protected:
  static std::string Element(std::string_view name, std::string_view date) {
    return "<recyclefile name=\"" + std::string(name) + "\" date=\"" + std::string(date) + "\"/>";
  }
  // Elements and message files of these dates, called "<date>.recycle".
  [[nodiscard]] bool PutEntries(std::initializer_list<const char*> dates) {
    std::string elements;
    for (const char* const date : dates) {
      const std::string name = std::string(date) + ".recycle";
      elements += Element(name, date);
      if (!PutFile(name)) return false;
    }
    return PutIndex(elements);
  }
  std::int32_t Last() { return program().Read(keys::kRecycleOldMessagesLast); }
};

TEST_F(RecyclePurgeTest, AnEntryExactlyThirtyDaysOldGoesAndAYoungerOneStays) {
  ASSERT_TRUE(PutEntries({"2453766", "2453767", "2453768", "2453797"}));
  bin().Purge(30);
  EXPECT_EQ(EntryNames(), "2453768.recycle 2453797.recycle ");
  EXPECT_EQ(MessageFiles(), (std::vector<std::string>{"2453768.recycle", "2453797.recycle"}));
}

// Names of the bin's own begin with the day of filing. The odd date of the first is that of a mail without a
// year that can be read.
TEST_F(RecyclePurgeTest, CountsFromTheDayOfFilingWhenToldTo) {
  const std::string elements = Element("2453797_130405_1.recycle", "2451513") +
                               Element("2453768_130405_1.recycle", "1") +
                               Element("2453767_130405_1.recycle", "2453797") +
                               // Of these no day of filing is known: the mail's counts.
                               Element("dropped.recycle", "2453767") + Element("2453767.recycle", "2453768") +
                               Element("-5_130405_1.recycle", "2453768") +
                               Element("99999999999_1.recycle", "2453767") + "<recyclefile date=\"1\"/>";
  ASSERT_TRUE(PutIndex(elements));
  ASSERT_TRUE(surroundings.Configure("RecycleBinDaysFrom=Filing"));
  bin().Purge(30);
  EXPECT_EQ(EntryNames(),
            "2453797_130405_1.recycle 2453768_130405_1.recycle 2453767.recycle -5_130405_1.recycle ");
}

TEST_F(RecyclePurgeTest, AnyOtherWordCountsFromTheMailsOwnDate) {
  for (const char* word : {"", "mail", "filin", "filings", "1"}) {
    ASSERT_TRUE(
        PutIndex(Element("2453797_130405_1.recycle", "1") + Element("1_130405_1.recycle", "2453797")));
    ASSERT_TRUE(surroundings.Configure("RecycleBinDaysFrom=" + std::string(word)));
    bin().Purge(30);
    EXPECT_EQ(EntryNames(), "1_130405_1.recycle ") << word;
  }
}

TEST_F(RecyclePurgeTest, WithNothingToRemoveTheIndexIsNotWritten) {
  ASSERT_TRUE(PutEntries({"2453797"}));
  const FileState before = StateOfFile(bin().index_path());
  bin().Purge(30);
  EXPECT_EQ(Last(), 2453797);
  EXPECT_EQ(StateOfFile(bin().index_path()), before);
}

TEST_F(RecyclePurgeTest, AFileThatAYoungerEntryNamesStays) {
  ASSERT_TRUE(PutFile("a.recycle"));
  ASSERT_TRUE(PutIndex(Element("a.recycle", "1") + Element("a.recycle", "2453797")));
  bin().Purge(30);
  EXPECT_EQ(EntryNames(), "a.recycle ");
  EXPECT_TRUE(HasFile("a.recycle"));
}

TEST_F(RecyclePurgeTest, SavesUnindentedAndKeepsWhatItDoesNotKnow) {
  ASSERT_TRUE(PutIndex("<note date=\"1\"/>" + Element("a.recycle", "1") + Element("b.recycle", "2453797")));
  bin().Purge(30);
  EXPECT_EQ(
      Index(),
      std::string(test::kIndexHeader) +
          "<recyclebin><note date=\"1\"/><recyclefile name=\"b.recycle\" date=\"2453797\"/></recyclebin>\n");
}

TEST_F(RecyclePurgeTest, RemembersTheDayInTheConfiguration) {
  ASSERT_TRUE(PutEntries({"2453797"}));
  EXPECT_EQ(Last(), 0);
  bin().Purge(30);
  EXPECT_EQ(Last(), 2453797);
  EXPECT_EQ(surroundings.directory.Get("Quillbeaker.ini").value_or("(missing)"),
            "[QUILLBEAKER]\r\nRecycleOldMessagesLast=2453797\r\n");
}

TEST_F(RecyclePurgeTest, ASecondPurgeOnTheSameDayRemovesNothingEvenWithALowerSetting) {
  ASSERT_TRUE(PutEntries({"2453767", "2453790"}));
  bin().Purge(30);
  EXPECT_EQ(EntryNames(), "2453790.recycle ");
  bin().Purge(5);
  bin().Purge(0);
  EXPECT_EQ(EntryNames(), "2453790.recycle ");
  EXPECT_TRUE(HasFile("2453790.recycle"));
}

TEST_F(RecyclePurgeTest, TheNextDayPurgesAgain) {
  ASSERT_TRUE(PutEntries({"2453768", "2453769"}));
  bin().Purge(30);
  EXPECT_EQ(EntryNames(), "2453768.recycle 2453769.recycle ");
  surroundings.clock.local = CalendarTime{2006, 3, 5, 3, 0, 0, 0, 0};
  bin().Purge(30);
  EXPECT_EQ(EntryNames(), "2453769.recycle ");
  EXPECT_EQ(Last(), 2453798);
}

TEST_F(RecyclePurgeTest, ADayRememberedFromTheFutureDoesNotStopIt) {
  ASSERT_TRUE(surroundings.Configure("RecycleOldMessagesLast=2453798"));
  ASSERT_TRUE(PutEntries({"2453767"}));
  bin().Purge(30);
  EXPECT_EQ(EntryNames(), "");
  EXPECT_EQ(Last(), 2453797);
}

TEST_F(RecyclePurgeTest, ADayRememberedAsTodayStopsIt) {
  ASSERT_TRUE(surroundings.Configure("RecycleOldMessagesLast=2453797"));
  ASSERT_TRUE(PutEntries({"1"}));
  bin().Purge(30);
  EXPECT_EQ(EntryNames(), "1.recycle ");
  EXPECT_TRUE(HasFile("1.recycle"));
}

TEST_F(RecyclePurgeTest, TheDayIsTheLocalOne) {
  surroundings.clock.local = CalendarTime{2005, 12, 6, 31, 23, 59, 59, 0};  // day 2453736
  surroundings.clock.utc = CalendarTime{2006, 1, 0, 1, 5, 59, 59, 0};
  ASSERT_TRUE(PutEntries({"2453706", "2453707"}));
  bin().Purge(30);
  EXPECT_EQ(EntryNames(), "2453707.recycle ");
  EXPECT_EQ(Last(), 2453736);
}

TEST_F(RecyclePurgeTest, TheDaysAreTheOnesGivenNotTheOnesInTheFile) {
  ASSERT_TRUE(surroundings.Configure("RecycleBinMaxDays=1"));
  ASSERT_TRUE(PutEntries({"2453790"}));
  bin().Purge(30);
  EXPECT_EQ(EntryNames(), "2453790.recycle ");
}

TEST_F(RecyclePurgeTest, TheDayIsRememberedEvenWhenThereIsNoIndex) {
  bin().Purge(30);
  EXPECT_EQ(Last(), 2453797);
  EXPECT_FALSE(HasFile("recyclebin.xml"));
}

TEST_F(RecyclePurgeTest, TheDayIsRememberedEvenWhenTheIndexHasAnotherRoot) {
  const std::string other = "<other>" + Element("1.recycle", "1") + "</other>";
  ASSERT_TRUE(PutFile("recyclebin.xml", other));
  ASSERT_TRUE(PutFile("1.recycle"));
  bin().Purge(30);
  EXPECT_EQ(Last(), 2453797);
  EXPECT_EQ(Index(), other);
  EXPECT_TRUE(HasFile("1.recycle"));
  // A good index that appears later on the same day waits for the next.
  ASSERT_TRUE(PutEntries({"1"}));
  bin().Purge(30);
  EXPECT_EQ(EntryNames(), "1.recycle ");
}

TEST_F(RecyclePurgeTest, MoreDaysThanThereEverWereRemoveNothing) {
  for (const std::int32_t days : {9999999, std::numeric_limits<std::int32_t>::max()}) {
    ASSERT_TRUE(surroundings.Configure("RecycleOldMessagesLast=0"));
    ASSERT_TRUE(PutIndex(Element("a.recycle", "0") + Element("b.recycle", "1") +
                         Element("c.recycle", "2453797") + "<recyclefile name=\"d.recycle\"/>"));
    bin().Purge(days);
    EXPECT_EQ(EntryNames(), "a.recycle b.recycle c.recycle d.recycle ") << days;
  }
}

TEST_F(RecyclePurgeTest, ZeroDaysRemoveTodaysEntriesToo) {
  ASSERT_TRUE(PutEntries({"2453796", "2453797", "2453798"}));
  bin().Purge(0);
  EXPECT_EQ(EntryNames(), "2453798.recycle ");
}

TEST_F(RecyclePurgeTest, ADateThatIsMissingOrNoNumberCountsAsZero) {
  ASSERT_TRUE(PutIndex("<recyclefile name=\"a.recycle\"/>" + Element("b.recycle", "") +
                       Element("c.recycle", "soon") + Element("d.recycle", "2453797")));
  bin().Purge(30);
  EXPECT_EQ(EntryNames(), "d.recycle ");
}

TEST_F(RecyclePurgeTest, AnUnreadableMailDateNeverAges) {
  ASSERT_TRUE(PutEntries({"25657560", "4294967295"}));
  bin().Purge(1);
  EXPECT_EQ(EntryNames(), "25657560.recycle 4294967295.recycle ");
}

TEST_F(RecyclePurgeTest, NegativeDaysDoNotOverflow) {
  ASSERT_TRUE(PutEntries({"2453797", "4294967295"}));
  bin().Purge(std::numeric_limits<std::int32_t>::min());
  EXPECT_EQ(EntryNames(), "4294967295.recycle ");
}

TEST_F(RecyclePurgeTest, AgeCountsFromTheMessagesOwnDateNotFromItsFiling) {
  ASSERT_TRUE(PutIndex(""));
  // Filed today: one message of forty days ago, one of yesterday.
  const std::string old = File("Date: Sat, 21 Jan 2006 08:00:00 +0000\r\nSubject: old\r\n\r\nx\r\n");
  const std::string recent = File("Date: Wed, 1 Mar 2006 08:00:00 +0000\r\nSubject: new\r\n\r\nx\r\n");
  ASSERT_EQ(Entries().size(), 2U);
  bin().Purge(30);
  EXPECT_EQ(EntryNames(), recent + " ");
  EXPECT_FALSE(HasFile(old));
  EXPECT_TRUE(HasFile(recent));
}

TEST_F(RecyclePurgeTest, RestoredEntriesAgeLikeAnyOther) {
  ASSERT_TRUE(PutIndex("<recyclefile name=\"a.recycle\" date=\"2453767\" restored=\"1\"/>"));
  ASSERT_TRUE(PutFile("a.recycle"));
  bin().Purge(30);
  EXPECT_EQ(EntryNames(), "");
  EXPECT_FALSE(HasFile("a.recycle"));
}

TEST_F(RecyclePurgeTest, AFileThatIsGoneOrCanNotBeDeletedLosesItsEntryAllTheSame) {
  ASSERT_TRUE(PutIndex(Element("gone.recycle", "1") + Element("folder.recycle", "1")));
  ASSERT_TRUE(PutFile("folder.recycle/something in a folder of that name", "x"));
  bin().Purge(30);
  EXPECT_EQ(EntryNames(), "");
}

TEST_F(RecyclePurgeTest, FilesThatAreNotInTheIndexStay) {
  ASSERT_TRUE(PutIndex(Element("a.recycle", "1")));
  ASSERT_TRUE(PutFile("a.recycle"));
  ASSERT_TRUE(PutFile("1_000000_1.recycle"));
  bin().Purge(30);
  EXPECT_EQ(MessageFiles(), std::vector<std::string>{"1_000000_1.recycle"});
}

TEST_F(RecyclePurgeTest, ADayThatCannotBeNotedPurgesNothing) {
  ASSERT_TRUE(PutEntries({"1", "2453797"}));
  ASSERT_TRUE(surroundings.Configure("RecycleOldMessagesLast=5"));
  const std::string before = Index();
  surroundings.directory.SetReadOnly("Quillbeaker.ini", true);
  bin().Purge(30);
  surroundings.directory.SetReadOnly("Quillbeaker.ini", false);
  EXPECT_EQ(Last(), 5);
  EXPECT_EQ(Index(), before);
  EXPECT_TRUE(HasFile("1.recycle"));
  bin().Purge(30);
  EXPECT_EQ(EntryNames(), "2453797.recycle ");
}

}  // namespace
}  // namespace quillbeaker
