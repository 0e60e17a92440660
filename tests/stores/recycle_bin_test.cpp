// SPDX-License-Identifier: MIT
#include "stores/recycle_bin.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "support/full_disk.h"
#include "support/recycle_fixture.h"

namespace quillbeaker {
namespace {

using test::kIndexHeader;
using test::kSpam;

class RecycleBinTest : public test::RecycleFixture {
 protected:
  void SetUp() override { ASSERT_TRUE(PutIndex("")); }
  // Files a message with this header line more and gives its entry.
  test::IndexElement EntryOf(std::string_view header_lines) {
    File(std::string(header_lines) + "\r\nBuy now\r\n");
    const std::vector<test::IndexElement> entries = Entries();
    EXPECT_EQ(entries.size(), 1U);
    return entries.empty() ? test::IndexElement{} : entries[0];
  }
};

TEST_F(RecycleBinTest, MakesItsDirectoryBesideTheProgram) {
  test::TestProgram fresh;
  EXPECT_FALSE(fresh.directory.Has("recycle"));
  const RecycleBin first(fresh.program());
  EXPECT_TRUE(fresh.directory.Has("recycle"));
  EXPECT_EQ(first.directory(), fresh.directory.utf8() + "recycle" + kPathSeparator);
  // There is nothing wrong with one that is there already.
  const RecycleBin second(fresh.program());
  EXPECT_EQ(second.directory(), first.directory());
}

TEST_F(RecycleBinTest, FilesAMessageUnderTheDayTheTimeAndTheTick) {
  EXPECT_EQ(File(kSpam), "2453797_130405_3e8.recycle");
  EXPECT_EQ(GetFile("2453797_130405_3e8.recycle"), kSpam);
}

TEST_F(RecycleBinTest, PadsTheTimeInTheNameWithZeros) {
  surroundings.clock.local = CalendarTime{2003, 2, 3, 5, 1, 2, 3, 0};
  surroundings.clock.ticks = 0x1A2B3C4;
  EXPECT_EQ(File(kSpam), "2452676_010203_1a2b3c4.recycle");
  surroundings.clock.local = CalendarTime{2003, 2, 3, 5, 23, 15, 7, 0};
  EXPECT_EQ(File(kSpam), "2452676_231507_1a2b3c4.recycle");
}

TEST_F(RecycleBinTest, KeepsTheMessageAsItIsSerialisedNotAsItCame) {
  // The line without a colon is dropped and the value of 104 characters folded behind its tenth word.
  const std::string words = "word00 word01 word02 word03 word04 word05 word06 word07 word08 word09";
  const std::string rest = "word10 word11 word12 word13 word14";
  const std::string name = File("Subject: " + words + " " + rest + "\r\nno colon here\r\n\r\nBuy now\r\n");
  EXPECT_EQ(GetFile(name), "Subject: " + words + "\r\n\t" + rest + "\r\n\r\nBuy now\r\n");
}

TEST_F(RecycleBinTest, WritesTheEntryUnindentedWithItsAttributesInOrder) {
  File(kSpam, "cheap, offer", 0.98712);
  EXPECT_EQ(
      Index(),
      std::string(kIndexHeader) +
          "<recyclebin><recyclefile name=\"2453797_130405_3e8.recycle\" date=\"2452676\" time=\"22:15\" "
          "subject=\"Cheap offer\" spamwords=\"cheap, offer\" probability=\"0.9871\" "
          "account=\"ann @ mailserver\" sender=\"Sales\" address=\"sales@example.org\" size=\"" +
          std::to_string(sizeof(kSpam) - 1) + "\"/></recyclebin>\n");
}

TEST_F(RecycleBinTest, AppendsBehindTheEntriesThatAreThere) {
  ASSERT_TRUE(PutIndex("<recyclefile name=\"1_000000_1.recycle\"/>"));
  File(kSpam);
  surroundings.clock.ticks = 0xabc;
  File(kSpam);
  EXPECT_EQ(EntryNames(), "1_000000_1.recycle 2453797_130405_3e8.recycle 2453797_130405_abc.recycle ");
}

TEST_F(RecycleBinTest, TakesTheDateFromTheMessageInUtc) {
  const test::IndexElement entry = EntryOf("Date: Tue, 4 Feb 03 23:30:00 -0200\r\n");
  EXPECT_EQ(entry["date"], "2452676");
  EXPECT_EQ(entry["time"], "01:30");
}

TEST_F(RecycleBinTest, TakesTheLocalMomentOfFilingForAMessageWithoutDate) {
  const test::IndexElement entry = EntryOf("Subject: x\r\n");
  EXPECT_EQ(entry["date"], "2453797");
  EXPECT_EQ(entry["time"], "13:04");
}

TEST_F(RecycleBinTest, AnUnreadableDateIsNotTheDateOfFiling) {
  const test::IndexElement entry = EntryOf("Date: some day soon\r\n");
  // Day 0, month 0 and, as "soon" is no number, the year 2000: 0 + 275 + 365*1999 + 499 - 19 + 4 + 1721119.
  EXPECT_EQ(entry["date"], "2451513");
  EXPECT_EQ(entry["time"], "00:00");
}

TEST_F(RecycleBinTest, ADateFieldWithNothingInItGivesTheDayThatNeverAges) {
  const test::IndexElement entry = EntryOf("Date: \r\n");
  EXPECT_EQ(entry["date"], "25657560");
  EXPECT_EQ(entry["time"], "00:00");
}

TEST_F(RecycleBinTest, AnAbsurdTimeStaysFiveCharactersLong) {
  // 99 hours and 99 of the zone are 198, which wraps once: 174 of the next day.
  const test::IndexElement entry = EntryOf("Date: 1 Jan 2003 99:00 -9900\r\n");
  EXPECT_EQ(entry["date"], "2452642");
  EXPECT_EQ(entry["time"], "99:00");
}

TEST_F(RecycleBinTest, StoresTheSubjectDecoded) {
  const test::IndexElement entry =
      EntryOf("Subject: Re: =?ISO-8859-1?Q?Gr=FC=DFe?= =?ISO-8859-1?Q?_und?= x\r\n");
  EXPECT_EQ(entry["subject"],
            "Re: Gr\xFC\xDF"
            "e");
  EXPECT_EQ(OnlyRow().subject,
            "Re: Gr\xFC\xDF"
            "e");
}

TEST_F(RecycleBinTest, LeavesTheSubjectOutOnlyWhenTheMessageHasNone) {
  EXPECT_FALSE(EntryOf("To: x\r\n").Has("subject"));
  ASSERT_TRUE(PutIndex(""));
  EXPECT_EQ(EntryOf("Subject:\r\n")["subject"], "");
}

TEST_F(RecycleBinTest, LeavesOutWhatIsNotGiven) {
  File(kSpam, "", 0, "");
  ASSERT_EQ(Entries().size(), 1U);
  EXPECT_EQ(Entries()[0].Order(), "name date time subject sender address size ");
}

TEST_F(RecycleBinTest, WritesAProbabilityAboveZeroWithFourDecimals) {
  EXPECT_FALSE(EntryOf("Subject: x\r\n").Has("probability"));
  const std::pair<double, std::string> cases[] = {{0.98712, "0.9871"}, {1.1, "1.1000"},
                                                  {0.00001, "0.0000"}, {0.99999, "1.0000"},
                                                  {12.5, "12.5000"},   {-0.5, "(missing)"}};
  for (const auto& [probability, text] : cases) {
    ASSERT_TRUE(PutIndex(""));
    File(kSpam, "", probability);
    ASSERT_EQ(Entries().size(), 1U);
    EXPECT_EQ(Entries()[0]["probability"], text);
  }
}

TEST_F(RecycleBinTest, SplitsTheSenderFromTheFromField) {
  const test::IndexElement entry = EntryOf("From: =?ISO-8859-1?Q?B=F6b_Smith?= <bob@example.org>\r\n");
  EXPECT_EQ(entry["sender"],
            "B\xF6"
            "b Smith");
  EXPECT_EQ(entry["address"], "bob@example.org");
}

TEST_F(RecycleBinTest, SenderAndAddressAreThereEvenWhenTheMessageHasNone) {
  const test::IndexElement entry = EntryOf("Subject: x\r\n");
  EXPECT_EQ(entry["sender"], "");
  EXPECT_EQ(entry["address"], "");
}

TEST_F(RecycleBinTest, TheSizeIsThatOfTheTextThatWasParsed) {
  const std::string text = "Subject: x\r\nno colon here\r\n\r\nBuy now\r\n";
  File(text);
  ASSERT_EQ(Entries().size(), 1U);
  EXPECT_EQ(Entries()[0]["size"], std::to_string(text.size()));
  EXPECT_EQ(OnlyRow().size, text.size());
}

TEST_F(RecycleBinTest, AnyByteOfMailLeavesTheIndexReadable) {
  File(
      "From: N\x02\xE4me <s\xE4\x01les@example.org>\r\nSubject: "
      "=?x?Q?a=01=08b=0Ac=1F<&>\"'\x80=E4?=\r\n\r\n.\r\n",
      "w\x03ord \xDF", 0.5, "a\x04nn \xFC @ srv");
  EXPECT_TRUE(test::IsXmlWithRoot(Index(), "recyclebin"));
  const RecycleEntry row = OnlyRow();
  EXPECT_EQ(row.subject, "a  b\nc <&>\"'\x80\xE4");
  EXPECT_EQ(row.sender, "N \xE4me");
  EXPECT_EQ(row.address, "s\xE4 les@example.org");
  EXPECT_TRUE(row.has_address);
  EXPECT_EQ(row.spam_words, "w ord \xDF");
  EXPECT_EQ(row.account, "a nn \xFC @ srv");
  // The file holds the bytes as they stand: its encoding is ISO-8859-1.
  EXPECT_NE(Index().find("s\xE4 les@example.org"), std::string::npos);
  EXPECT_EQ(Index().find("\xC3\xA4"), std::string::npos);
}

TEST_F(RecycleBinTest, FilesManyMessagesOfOneTickUnderDistinctNames) {
  MailMessage message;
  message.ParseText(kSpam);
  const std::vector<DeletedMessage> spam(30, DeletedMessage{&message, "cheap", 0.9});
  const std::vector<std::string> names = bin().File(spam, "ann @ mailserver");
  ASSERT_EQ(names.size(), 30U);
  for (int i = 0; i < 30; ++i) {
    char tick[9];
    std::snprintf(tick, sizeof tick, "%x", 1000 + i);
    EXPECT_EQ(names[static_cast<std::size_t>(i)], std::string("2453797_130405_") + tick + ".recycle");
  }
  EXPECT_EQ(MessageFiles().size(), 30U);
  EXPECT_EQ(Entries().size(), 30U);
}

TEST_F(RecycleBinTest, NeverOverwritesAFileThatIsThere) {
  ASSERT_TRUE(PutFile("2453797_130405_3e8.recycle", "first"));
  ASSERT_TRUE(PutFile("2453797_130405_3e9.recycle", "second"));
  EXPECT_EQ(File(kSpam), "2453797_130405_3ea.recycle");
  EXPECT_EQ(GetFile("2453797_130405_3e8.recycle"), "first");
  EXPECT_EQ(GetFile("2453797_130405_3e9.recycle"), "second");
}

TEST_F(RecycleBinTest, NamesStayDistinctWhereTheTickCounterWraps) {
  surroundings.clock.ticks = 0xFFFFFFFF;
  const std::string first = File(kSpam);
  const std::string second = File(kSpam);
  EXPECT_EQ(first, "2453797_130405_ffffffff.recycle");
  EXPECT_NE(second, first);
  EXPECT_EQ(second.substr(0, 15), "2453797_130405_");
  EXPECT_EQ(MessageFiles().size(), 2U);
}

TEST_F(RecycleBinTest, AnEmptyMessageHasNothingToKeep) {
  const MailMessage none;
  MailMessage empty;
  empty.ParseText("");
  MailMessage message;
  message.ParseText(kSpam);
  const DeletedMessage spam[] = {{&none, "a", 0.9}, {&message, "b", 0.9}, {&empty, "c", 0.9}};
  const std::vector<std::string> names = bin().File(spam, "ann @ mailserver");
  EXPECT_EQ(names, (std::vector<std::string>{"", "2453797_130405_3e8.recycle", ""}));
  EXPECT_EQ(MessageFiles(), std::vector<std::string>{"2453797_130405_3e8.recycle"});
  EXPECT_EQ(EntryNames(), "2453797_130405_3e8.recycle ");
}

TEST_F(RecycleBinTest, AMessageWhoseFileCanNotBeWrittenIsSaidToBeNotFiled) {
  MailMessage small;
  small.ParseText(kSpam);
  MailMessage big;
  big.ParseText("Subject: big\r\n\r\n" + std::string(100000, 'x') + "\r\n");
  const DeletedMessage spam[] = {{&small, "a", 0.9}, {&big, "b", 0.9}, {&small, "c", 0.9}};
  bin();
  std::vector<std::string> names;
  {
    const test::FullDisk full(20000);
    if (!full.active()) GTEST_SKIP() << "this system cannot be told to refuse writes";
    names = bin().File(spam, "ann @ mailserver");
  }
  ASSERT_EQ(names.size(), 3U);
  EXPECT_NE(names[0], "");
  EXPECT_EQ(names[1], "");
  EXPECT_NE(names[2], "");
  // No part of it is left behind, on the disk or in the index.
  EXPECT_EQ(MessageFiles(), (std::vector<std::string>{names[0], names[2]}));
  EXPECT_EQ(EntryNames(), names[0] + " " + names[2] + " ");
}

TEST_F(RecycleBinTest, WithoutItsDirectoryNothingIsFiled) {
  bin();
  std::filesystem::remove_all(surroundings.directory.path() / "recycle");
  EXPECT_EQ(File(kSpam), "");
  EXPECT_FALSE(bin().List().has_value());
}

TEST_F(RecycleBinTest, WithoutAnIndexTheFilesAreWrittenAllTheSame) {
  ASSERT_TRUE(surroundings.directory.Remove("recycle/recyclebin.xml"));
  const std::string name = File(kSpam, "cheap", 0.9);
  EXPECT_EQ(name, "2453797_130405_3e8.recycle");
  EXPECT_EQ(GetFile(name), kSpam);
  EXPECT_FALSE(HasFile("recyclebin.xml"));
}

TEST_F(RecycleBinTest, AnIndexWithAnotherRootIsLeftAloneByEverything) {
  const std::string other =
      "<trainingarea><recyclefile name=\"a.recycle\" date=\"1\" restored=\"1\"/></trainingarea>";
  ASSERT_TRUE(PutFile("recyclebin.xml", other));
  ASSERT_TRUE(PutFile("a.recycle"));
  EXPECT_NE(File(kSpam), "");
  EXPECT_FALSE(bin().List().has_value());
  EXPECT_FALSE(bin().MarkRestored(Names({"a.recycle"}), true));
  EXPECT_FALSE(bin().ClearAccount(Names({"a.recycle"})));
  EXPECT_FALSE(bin().RemoveEntries(Names({"a.recycle"})));
  EXPECT_FALSE(bin().Empty());
  EXPECT_TRUE(bin().RestoredFor("x", 2000).names.empty());
  bin().Purge(0);
  EXPECT_FALSE(bin().RebuildIndex());
  EXPECT_EQ(Index(), other);
  EXPECT_TRUE(HasFile("a.recycle"));
}

TEST_F(RecycleBinTest, AnUnreadableIndexIsLeftAloneByEverything) {
  for (const std::string text :
       {"", "<recyclebin><recyclefile name=\"a.recycle\"", "<recyclebin>\x01</recyclebin>",
        "<!DOCTYPE recyclebin [<!ENTITY a \"b\">]><recyclebin><recyclefile "
        "name=\"a.recycle\"/></recyclebin>"}) {
    ASSERT_TRUE(PutFile("recyclebin.xml", text));
    EXPECT_NE(File(kSpam), "");
    EXPECT_FALSE(bin().List().has_value()) << text;
    EXPECT_FALSE(bin().MarkRestored(Names({"a.recycle"}), true));
    EXPECT_FALSE(bin().RebuildIndex());
    EXPECT_EQ(Index(), text);
  }
}

TEST_F(RecycleBinTest, ListsTheEntriesAsRows) {
  ASSERT_TRUE(
      PutIndex("<recyclefile name=\"2452676_231507_1a2b3c4.recycle\" date=\"2452676\" time=\"22:15\" "
               "subject=\"Gr\xFC\xDF"
               "e &amp; more\" spamwords=\"cheap, \xE4\" probability=\"0.9871\" "
               "account=\"ann \xF6 @ mailserver\" sender=\"S\xE4les\" address=\"s\xE4@b\" size=\"2345\" "
               "restored=\"1\"/>"));
  const RecycleEntry row = OnlyRow();
  EXPECT_EQ(row.name, "2452676_231507_1a2b3c4.recycle");
  EXPECT_EQ(row.day, 2452676);
  EXPECT_EQ(row.minutes, 22 * 60 + 15);
  EXPECT_EQ(row.subject,
            "Gr\xFC\xDF"
            "e & more");
  EXPECT_EQ(row.spam_words, "cheap, \xE4");
  EXPECT_DOUBLE_EQ(row.probability, 0.9871);
  EXPECT_EQ(row.account, "ann \xF6 @ mailserver");
  EXPECT_EQ(row.sender, "S\xE4les");
  EXPECT_EQ(row.address, "s\xE4@b");
  EXPECT_TRUE(row.has_address);
  EXPECT_EQ(row.size, 2345U);
  EXPECT_TRUE(row.restored);
}

TEST_F(RecycleBinTest, WhatAnEntryLacksIsEmptyOrZeroInItsRow) {
  ASSERT_TRUE(PutIndex("<recyclefile name=\"a.recycle\"/>"));
  const RecycleEntry row = OnlyRow();
  EXPECT_EQ(row.name, "a.recycle");
  EXPECT_EQ(row.day, 0);
  EXPECT_EQ(row.minutes, 0);
  EXPECT_EQ(row.size, 0U);
  EXPECT_EQ(row.probability, 0.0);
  EXPECT_FALSE(row.has_address);
  EXPECT_FALSE(row.restored);
  EXPECT_EQ(row.subject + row.spam_words + row.account + row.sender + row.address, "");
}

TEST_F(RecycleBinTest, ATimeCountsOnlyWhenItHasFiveCharacters) {
  const std::pair<std::string, int> cases[] = {{"22:15", 1335}, {"00:01", 1},   {"09:05", 545},
                                               {"9:05", 0},     {"009:05", 0},  {"", 0},
                                               {"09.05", 545},  {"22:15:07", 0}};
  for (const auto& [time, minutes] : cases) {
    ASSERT_TRUE(PutIndex("<recyclefile name=\"a.recycle\" time=\"" + time + "\"/>"));
    EXPECT_EQ(OnlyRow().minutes, minutes) << time;
  }
}

TEST_F(RecycleBinTest, AnEntryIsRestoredWhenItsMarkBeginsWithOne) {
  const std::pair<std::string, bool> cases[] = {{"1", true},  {"1x", true}, {"10", true},
                                                {"0", false}, {"", false},  {"01", false}};
  for (const auto& [mark, restored] : cases) {
    ASSERT_TRUE(PutIndex("<recyclefile name=\"a.recycle\" restored=\"" + mark + "\"/>"));
    EXPECT_EQ(OnlyRow().restored, restored) << mark;
  }
}

TEST_F(RecycleBinTest, ListingSkipsOtherElementsAndWritesNothing) {
  ASSERT_TRUE(PutIndex(
      "\n  <note name=\"n.recycle\"/>\n  <recyclefile name=\"a.recycle\"/><recyclefiles name=\"b.recycle\"/>"
      "<!-- <recyclefile name=\"c.recycle\"/> -->"));
  const std::string before = Index();
  EXPECT_EQ(RowNames(), "a.recycle ");
  EXPECT_EQ(Index(), before);
}

TEST_F(RecycleBinTest, AMissingIndexListsNothingAndIsNotMade) {
  ASSERT_TRUE(surroundings.directory.Remove("recycle/recyclebin.xml"));
  EXPECT_FALSE(bin().List().has_value());
  EXPECT_FALSE(bin().MarkRestored(Names({"a.recycle"}), true));
  EXPECT_FALSE(bin().ClearAccount(Names({"a.recycle"})));
  EXPECT_FALSE(bin().RemoveEntries(Names({"a.recycle"})));
  EXPECT_FALSE(bin().Empty());
  EXPECT_FALSE(HasFile("recyclebin.xml"));
}

TEST_F(RecycleBinTest, MarksAndUnmarksAnEntryAsRestored) {
  File(kSpam);
  const std::vector<std::string> names{"2453797_130405_3e8.recycle"};
  EXPECT_FALSE(Entries().at(0).Has("restored"));
  EXPECT_TRUE(bin().MarkRestored(names, true));
  EXPECT_EQ(Entries().at(0)["restored"], "1");
  EXPECT_EQ(Entries().at(0).Order(), "name date time subject account sender address size restored ");
  EXPECT_TRUE(OnlyRow().restored);
  EXPECT_TRUE(bin().MarkRestored(names, false));
  EXPECT_EQ(Entries().at(0)["restored"], "0");
  EXPECT_FALSE(OnlyRow().restored);
  EXPECT_TRUE(bin().MarkRestored(names, true));
  EXPECT_EQ(Entries().at(0)["restored"], "1");
  EXPECT_TRUE(HasFile(names[0]));
}

TEST_F(RecycleBinTest, MarkingAMissingEntryChangesNothingButSavesAllTheSame) {
  // Written by another hand: a save is seen by its form.
  ASSERT_TRUE(PutFile("recyclebin.xml",
                      "<recyclebin><recyclefile name='a.recycle' date='5'></recyclefile></recyclebin>"));
  EXPECT_TRUE(bin().MarkRestored(Names({"b.recycle"}), true));
  EXPECT_EQ(Index(), std::string(kIndexHeader) +
                         "<recyclebin><recyclefile name=\"a.recycle\" date=\"5\"/></recyclebin>\n");
}

TEST_F(RecycleBinTest, ANameMatchesByteForByte) {
  ASSERT_TRUE(PutIndex("<recyclefile name=\"abc.recycle\"/>"));
  EXPECT_TRUE(bin().MarkRestored(Names({"ABC.recycle"}), true));
  EXPECT_TRUE(bin().MarkRestored(Names({"bc.recycle"}), true));
  EXPECT_FALSE(Entries().at(0).Has("restored"));
}

TEST_F(RecycleBinTest, MarksSeveralEntriesAtOnceAndTheFirstOfEqualNames) {
  ASSERT_TRUE(PutIndex(
      "<recyclefile name=\"a.recycle\"/><recyclefile name=\"b.recycle\"/><recyclefile name=\"a.recycle\"/>"
      "<recyclefile name=\"c.recycle\"/>"));
  EXPECT_TRUE(bin().MarkRestored(Names({"a.recycle", "missing.recycle", "c.recycle"}), true));
  const std::vector<test::IndexElement> entries = Entries();
  ASSERT_EQ(entries.size(), 4U);
  EXPECT_EQ(entries[0]["restored"], "1");
  EXPECT_FALSE(entries[1].Has("restored"));
  EXPECT_FALSE(entries[2].Has("restored"));
  EXPECT_EQ(entries[3]["restored"], "1");
}

TEST_F(RecycleBinTest, ClearingTheAccountLeavesItEmpty) {
  ASSERT_TRUE(
      PutIndex("<recyclefile name=\"a.recycle\" account=\"ann @ srv\" size=\"1\"/>"
               "<recyclefile name=\"b.recycle\" account=\"ann @ srv\"/><recyclefile name=\"c.recycle\"/>"));
  EXPECT_TRUE(bin().ClearAccount(Names({"a.recycle", "c.recycle"})));
  EXPECT_EQ(Index(), std::string(kIndexHeader) +
                         "<recyclebin><recyclefile name=\"a.recycle\" account=\"\" size=\"1\"/>"
                         "<recyclefile name=\"b.recycle\" account=\"ann @ srv\"/>"
                         "<recyclefile name=\"c.recycle\" account=\"\"/></recyclebin>\n");
}

TEST_F(RecycleBinTest, RemovingAnEntryKeepsItsFile) {
  ASSERT_TRUE(PutIndex("<recyclefile name=\"a.recycle\"/><note/><recyclefile name=\"b.recycle\"/>"));
  ASSERT_TRUE(PutFile("a.recycle"));
  EXPECT_TRUE(bin().RemoveEntries(Names({"a.recycle"})));
  EXPECT_EQ(Index(), std::string(kIndexHeader) +
                         "<recyclebin><note/><recyclefile name=\"b.recycle\"/></recyclebin>\n");
  EXPECT_TRUE(HasFile("a.recycle"));
}

TEST_F(RecycleBinTest, DeletingTakesFilesAndEntriesAway) {
  ASSERT_TRUE(PutIndex(
      "<recyclefile name=\"a.recycle\"/><recyclefile name=\"b.recycle\"/><recyclefile name=\"lost.recycle\"/>"
      "<recyclefile name=\"old.eml\"/>"));
  ASSERT_TRUE(PutFile("a.recycle"));
  ASSERT_TRUE(PutFile("b.recycle"));
  ASSERT_TRUE(PutFile("old.eml"));
  EXPECT_TRUE(bin().DeleteMessages(Names({"a.recycle", "lost.recycle", "old.eml"})));
  EXPECT_EQ(EntryNames(), "b.recycle ");
  EXPECT_EQ(MessageFiles(), std::vector<std::string>{"b.recycle"});
  EXPECT_FALSE(HasFile("old.eml"));
}

TEST_F(RecycleBinTest, AFileThatCanNotBeDeletedLosesItsEntryAllTheSame) {
  ASSERT_TRUE(PutIndex("<recyclefile name=\"a.recycle\"/>"));
  ASSERT_TRUE(PutFile("a.recycle/something in a folder of that name", "x"));
  EXPECT_TRUE(bin().DeleteMessages(Names({"a.recycle"})));
  EXPECT_EQ(EntryNames(), "");
}

TEST_F(RecycleBinTest, EmptyingDeletesEverythingThatIsListed) {
  ASSERT_TRUE(
      PutIndex("<recyclefile name=\"a.recycle\"/><note/><recyclefile name=\"b.recycle\" restored=\"1\"/>"));
  ASSERT_TRUE(PutFile("a.recycle"));
  ASSERT_TRUE(PutFile("b.recycle"));
  ASSERT_TRUE(PutFile("unlisted.recycle"));
  EXPECT_TRUE(bin().Empty());
  EXPECT_EQ(Index(), std::string(kIndexHeader) + "<recyclebin><note/></recyclebin>\n");
  EXPECT_EQ(MessageFiles(), std::vector<std::string>{"unlisted.recycle"});
}

TEST_F(RecycleBinTest, OnlyABareMessageFileNameHasAPath) {
  const std::string directory = bin().directory();
  EXPECT_EQ(bin().PathOfMessage("2452676_231507_1a2b3c4.recycle"),
            directory + "2452676_231507_1a2b3c4.recycle");
  EXPECT_EQ(bin().PathOfMessage("x.eml"), directory + "x.eml");
  for (const std::string_view name :
       {"", "../x.recycle", "..\\x.recycle", "a/b.recycle", "a\\b.recycle", "/x.recycle", "\\x.recycle",
        "C:x.recycle", "x:y.recycle", "x..recycle", "..recycle", "..", ".", "recyclebin.xml", "x.recycle.txt",
        "x", "recycle", "eml"}) {
    EXPECT_EQ(bin().PathOfMessage(name), "") << name;
  }
  // A NUL would cut the path where the system reads it.
  EXPECT_EQ(bin().PathOfMessage(std::string_view("recyclebin.xml\0.recycle", 23)), "");
  EXPECT_EQ(bin().PathOfMessage("a\nb.recycle"), "");
}

TEST_F(RecycleBinTest, ADoctoredNameInTheIndexReachesNoFileOutside) {
  ASSERT_TRUE(surroundings.directory.Put("outside.recycle", "precious"));
  ASSERT_TRUE(surroundings.directory.Put("recycle/inner/inside.recycle", "precious"));
  ASSERT_TRUE(surroundings.directory.Put("recycle/notes.txt", "precious"));
  const std::string elements =
      "<recyclefile name=\"../outside.recycle\" date=\"1\"/><recyclefile name=\"..\\outside.recycle\" "
      "date=\"1\"/>"
      "<recyclefile name=\"inner/inside.recycle\" date=\"1\"/><recyclefile name=\"inner\\inside.recycle\" "
      "date=\"1\"/>"
      "<recyclefile name=\"notes.txt\" date=\"1\"/><recyclefile name=\"recyclebin.xml\" date=\"1\"/>"
      "<recyclefile name=\"\" date=\"1\"/><recyclefile date=\"1\"/>";
  ASSERT_TRUE(PutIndex(elements));
  bin().DeleteMessages(
      Names({"../outside.recycle", "..\\outside.recycle", "inner/inside.recycle", "notes.txt", ""}));
  ASSERT_TRUE(PutIndex(elements));
  EXPECT_TRUE(bin().Empty());
  EXPECT_EQ(EntryNames(), "");
  ASSERT_TRUE(PutIndex(elements));
  bin().Purge(30);
  EXPECT_EQ(EntryNames(), "");
  EXPECT_EQ(surroundings.directory.Get("outside.recycle"), "precious");
  EXPECT_EQ(surroundings.directory.Get("recycle/inner/inside.recycle"), "precious");
  EXPECT_EQ(surroundings.directory.Get("recycle/notes.txt"), "precious");
}

TEST_F(RecycleBinTest, AFullDiskLeavesTheOldIndexWhole) {
  ASSERT_TRUE(PutIndex("<recyclefile name=\"a.recycle\" subject=\"" + std::string(500, 's') + "\"/>"));
  const std::string before = Index();
  bin();
  bool marked = true;
  {
    const test::FullDisk full(100);
    if (!full.active()) GTEST_SKIP() << "this system cannot be told to refuse writes";
    marked = bin().MarkRestored(Names({"a.recycle"}), true);
  }
  EXPECT_FALSE(marked);
  EXPECT_EQ(Index(), before);
  EXPECT_TRUE(bin().MarkRestored(Names({"a.recycle"}), true));
}

TEST_F(RecycleBinTest, AReadOnlyIndexStaysAsItIs) {
  ASSERT_TRUE(PutIndex("<recyclefile name=\"a.recycle\"/>"));
  const std::string before = Index();
  surroundings.directory.SetReadOnly("recycle/recyclebin.xml", true);
  EXPECT_FALSE(bin().MarkRestored(Names({"a.recycle"}), true));
  EXPECT_EQ(Index(), before);
  surroundings.directory.SetReadOnly("recycle/recyclebin.xml", false);
}

TEST_F(RecycleBinTest, AProcessKilledAtAnyMomentLeavesAWholeIndex) {
  if (kPathSeparator == '\\') GTEST_SKIP() << "needs a process that can be split in two";
  testing::FLAGS_gtest_death_test_style = "fast";
  std::string elements;
  for (int i = 0; i < 2000; ++i)
    elements += "<recyclefile name=\"" + std::to_string(i) + ".recycle\" date=\"2453797\"/>";
  ASSERT_TRUE(PutIndex(elements));
  bin();
  for (int round = 0; round < 25; ++round) {
    EXPECT_EXIT(
        {
          std::thread killer([round] {
            std::this_thread::sleep_for(std::chrono::microseconds(500 + 1777 * round));
            std::_Exit(7);
          });
          for (;;) bin().MarkRestored(Names({"1.recycle"}), true);
        },
        testing::ExitedWithCode(7), "");
    const std::string index = Index();
    ASSERT_TRUE(test::IsXmlWithRoot(index, "recyclebin")) << "round " << round;
    ASSERT_EQ(test::ElementsOf(index, "recyclefile").size(), 2000U) << "round " << round;
  }
  // What the killed ones left behind is in nobody's way.
  EXPECT_TRUE(bin().MarkRestored(Names({"2.recycle"}), true));
  EXPECT_EQ(Entries().at(2)["restored"], "1");
}

TEST_F(RecycleBinTest, SomeoneWhoReadsTheIndexAlwaysFindsAWholeOne) {
  std::string elements;
  for (int i = 0; i < 500; ++i) elements += "<recyclefile name=\"" + std::to_string(i) + ".recycle\"/>";
  ASSERT_TRUE(PutIndex(elements));
  bin();
  std::atomic<bool> done{false};
  std::thread writer([this, &done] {
    for (int i = 0; i < 60; ++i) bin().MarkRestored(Names({"7.recycle"}), i % 2 == 0);
    done = true;
  });
  RecycleBin reader(program());
  int lists = 0;
  int broken = 0;
  do {
    const auto rows = reader.List();
    ++lists;
    if (!rows || rows->size() != 500) ++broken;
  } while (!done);
  writer.join();
  EXPECT_GT(lists, 0);
  EXPECT_EQ(broken, 0);
}

TEST_F(RecycleBinTest, TheWindowAndTheMailCheckDoNotUndoEachOthersChanges) {
  std::string elements;
  for (int i = 0; i < 40; ++i) elements += "<recyclefile name=\"" + std::to_string(i) + ".recycle\"/>";
  ASSERT_TRUE(PutIndex(elements));
  RecycleBin window(program());
  RecycleBin mail_check(program());
  MailMessage message;
  message.ParseText(kSpam);
  std::thread filing([&] {
    for (int i = 0; i < 40; ++i) {
      const DeletedMessage spam{&message, "cheap", 0.9};
      mail_check.File(std::span(&spam, 1), "ann @ mailserver");
    }
  });
  for (int i = 0; i < 40; ++i)
    window.MarkRestored(std::vector<std::string>{std::to_string(i) + ".recycle"}, true);
  filing.join();
  const std::vector<test::IndexElement> entries = Entries();
  ASSERT_EQ(entries.size(), 80U);
  int restored = 0;
  for (const test::IndexElement& entry : entries) restored += entry["restored"] == "1" ? 1 : 0;
  EXPECT_EQ(restored, 40);
  EXPECT_EQ(MessageFiles().size(), 40U);
}

TEST_F(RecycleBinTest, NewFilesAreForTheUserAlone) {
  if (kPathSeparator == '\\') GTEST_SKIP() << "no file modes here: files take the directory's rights";
  test::TestProgram fresh;
  RecycleBin private_bin(fresh.program());
  ASSERT_TRUE(private_bin.RebuildIndex());
  MailMessage message;
  message.ParseText(kSpam);
  const DeletedMessage spam{&message, "", 0};
  private_bin.File(std::span(&spam, 1), "ann @ mailserver");
  using std::filesystem::perms;
  EXPECT_EQ(std::filesystem::status(fresh.directory.path() / "recycle").permissions(), perms::owner_all);
  for (const auto& entry : std::filesystem::directory_iterator(fresh.directory.path() / "recycle")) {
    EXPECT_EQ(entry.status().permissions(), perms::owner_read | perms::owner_write) << entry.path();
  }
}

}  // namespace
}  // namespace quillbeaker
