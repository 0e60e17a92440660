// SPDX-License-Identifier: MIT
// What filing a message writes: its file and its entry in the index.
#include <gtest/gtest.h>

#include <clocale>
#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "platform/files.h"
#include "support/recycle_fixture.h"

namespace quillbeaker {
namespace {

using test::kIndexHeader;
using test::kSpam;

class RecycleFilingTest : public test::RecycleFixture {
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

TEST_F(RecycleFilingTest, FilesAMessageUnderTheDayTheTimeAndTheTick) {
  EXPECT_EQ(File(kSpam), "2453797_130405_3e8.recycle");
  EXPECT_EQ(GetFile("2453797_130405_3e8.recycle"), kSpam);
}

TEST_F(RecycleFilingTest, PadsTheTimeInTheNameWithZeros) {
  surroundings.clock.local = CalendarTime{2003, 2, 3, 5, 1, 2, 3, 0};
  surroundings.clock.ticks = 0x1A2B3C4;
  EXPECT_EQ(File(kSpam), "2452676_010203_1a2b3c4.recycle");
  surroundings.clock.local = CalendarTime{2003, 2, 3, 5, 23, 15, 7, 0};
  EXPECT_EQ(File(kSpam), "2452676_231507_1a2b3c4.recycle");
}

TEST_F(RecycleFilingTest, KeepsTheMessageAsItIsSerialisedNotAsItCame) {
  // The line without a colon is dropped and the value of 104 characters folded behind its tenth word.
  const std::string words = "word00 word01 word02 word03 word04 word05 word06 word07 word08 word09";
  const std::string rest = "word10 word11 word12 word13 word14";
  const std::string name = File("Subject: " + words + " " + rest + "\r\nno colon here\r\n\r\nBuy now\r\n");
  EXPECT_EQ(GetFile(name), "Subject: " + words + "\r\n\t" + rest + "\r\n\r\nBuy now\r\n");
}

TEST_F(RecycleFilingTest, WritesTheEntryUnindentedWithItsAttributesInOrder) {
  File(kSpam, "cheap, offer", 0.98712);
  EXPECT_EQ(
      Index(),
      std::string(kIndexHeader) +
          "<recyclebin><recyclefile name=\"2453797_130405_3e8.recycle\" date=\"2452676\" time=\"22:15\" "
          "subject=\"Cheap offer\" spamwords=\"cheap, offer\" probability=\"0.9871\" "
          "account=\"ann @ mailserver\" sender=\"Sales\" address=\"sales@example.org\" size=\"" +
          std::to_string(sizeof(kSpam) - 1) + "\"/></recyclebin>\n");
}

TEST_F(RecycleFilingTest, AppendsBehindTheEntriesThatAreThere) {
  ASSERT_TRUE(PutIndex("<recyclefile name=\"1_000000_1.recycle\"/>"));
  File(kSpam);
  surroundings.clock.ticks = 0xabc;
  File(kSpam);
  EXPECT_EQ(EntryNames(), "1_000000_1.recycle 2453797_130405_3e8.recycle 2453797_130405_abc.recycle ");
}

TEST_F(RecycleFilingTest, TakesTheDateFromTheMessageInUtc) {
  const test::IndexElement entry = EntryOf("Date: Tue, 4 Feb 03 23:30:00 -0200\r\n");
  EXPECT_EQ(entry["date"], "2452676");
  EXPECT_EQ(entry["time"], "01:30");
}

TEST_F(RecycleFilingTest, TakesTheLocalMomentOfFilingForAMessageWithoutDate) {
  const test::IndexElement entry = EntryOf("Subject: x\r\n");
  EXPECT_EQ(entry["date"], "2453797");
  EXPECT_EQ(entry["time"], "13:04");
}

TEST_F(RecycleFilingTest, AnUnreadableDateIsNotTheDateOfFiling) {
  const test::IndexElement entry = EntryOf("Date: some day soon\r\n");
  // Day 0, month 0 and, as "soon" is no number, the year 2000: 0 + 275 + 365*1999 + 499 - 19 + 4 + 1721119.
  EXPECT_EQ(entry["date"], "2451513");
  EXPECT_EQ(entry["time"], "00:00");
}

TEST_F(RecycleFilingTest, ADateFieldWithNothingInItGivesTheDayThatNeverAges) {
  const test::IndexElement entry = EntryOf("Date: \r\n");
  EXPECT_EQ(entry["date"], "25657560");
  EXPECT_EQ(entry["time"], "00:00");
}

TEST_F(RecycleFilingTest, AnAbsurdTimeStaysFiveCharactersLong) {
  // 99 hours and 99 of the zone are 198, which wraps once: 174 of the next day.
  const test::IndexElement entry = EntryOf("Date: 1 Jan 2003 99:00 -9900\r\n");
  EXPECT_EQ(entry["date"], "2452642");
  EXPECT_EQ(entry["time"], "99:00");
}

TEST_F(RecycleFilingTest, StoresTheSubjectDecoded) {
  const test::IndexElement entry =
      EntryOf("Subject: Re: =?ISO-8859-1?Q?Gr=FC=DFe?= =?ISO-8859-1?Q?_und?= x\r\n");
  EXPECT_EQ(entry["subject"],
            "Re: Gr\xFC\xDF"
            "e");
  EXPECT_EQ(OnlyRow().subject,
            "Re: Gr\xFC\xDF"
            "e");
}

TEST_F(RecycleFilingTest, LeavesTheSubjectOutOnlyWhenTheMessageHasNone) {
  EXPECT_FALSE(EntryOf("To: x\r\n").Has("subject"));
  ASSERT_TRUE(PutIndex(""));
  EXPECT_EQ(EntryOf("Subject:\r\n")["subject"], "");
}

TEST_F(RecycleFilingTest, LeavesOutWhatIsNotGiven) {
  File(kSpam, "", 0, "");
  ASSERT_EQ(Entries().size(), 1U);
  EXPECT_EQ(Entries()[0].Order(), "name date time subject sender address size ");
}

TEST_F(RecycleFilingTest, WritesAProbabilityAboveZeroWithFourDecimals) {
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

TEST_F(RecycleFilingTest, SplitsTheSenderFromTheFromField) {
  const test::IndexElement entry = EntryOf("From: =?ISO-8859-1?Q?B=F6b_Smith?= <bob@example.org>\r\n");
  EXPECT_EQ(entry["sender"],
            "B\xF6"
            "b Smith");
  EXPECT_EQ(entry["address"], "bob@example.org");
}

TEST_F(RecycleFilingTest, SenderAndAddressAreThereEvenWhenTheMessageHasNone) {
  const test::IndexElement entry = EntryOf("Subject: x\r\n");
  EXPECT_EQ(entry["sender"], "");
  EXPECT_EQ(entry["address"], "");
}

TEST_F(RecycleFilingTest, TheSizeIsThatOfTheTextThatWasParsed) {
  const std::string text = "Subject: x\r\nno colon here\r\n\r\nBuy now\r\n";
  File(text);
  ASSERT_EQ(Entries().size(), 1U);
  EXPECT_EQ(Entries()[0]["size"], std::to_string(text.size()));
  EXPECT_EQ(OnlyRow().size, text.size());
}

TEST_F(RecycleFilingTest, AnyByteOfMailLeavesTheIndexReadable) {
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

TEST_F(RecycleFilingTest, FilesManyMessagesOfOneTickUnderDistinctNames) {
  MailMessage message;
  message.ParseText(kSpam);
  const std::vector<DeletedMessage> spam(30, DeletedMessage{&message, "cheap", 0.9});
  const std::vector<std::string> names = bin().File(spam, "ann @ mailserver").names;
  ASSERT_EQ(names.size(), 30U);
  for (int i = 0; i < 30; ++i) {
    char tick[9];
    std::snprintf(tick, sizeof tick, "%x", 1000 + i);
    EXPECT_EQ(names[static_cast<std::size_t>(i)], std::string("2453797_130405_") + tick + ".recycle");
  }
  EXPECT_EQ(MessageFiles().size(), 30U);
  EXPECT_EQ(Entries().size(), 30U);
}

TEST_F(RecycleFilingTest, NeverOverwritesAFileThatIsThere) {
  ASSERT_TRUE(PutFile("2453797_130405_3e8.recycle", "first"));
  ASSERT_TRUE(PutFile("2453797_130405_3e9.recycle", "second"));
  EXPECT_EQ(File(kSpam), "2453797_130405_3ea.recycle");
  EXPECT_EQ(GetFile("2453797_130405_3e8.recycle"), "first");
  EXPECT_EQ(GetFile("2453797_130405_3e9.recycle"), "second");
}

TEST_F(RecycleFilingTest, NamesStayDistinctWhereTheTickCounterWraps) {
  surroundings.clock.ticks = 0xFFFFFFFF;
  const std::string first = File(kSpam);
  const std::string second = File(kSpam);
  EXPECT_EQ(first, "2453797_130405_ffffffff.recycle");
  EXPECT_NE(second, first);
  EXPECT_EQ(second.substr(0, 15), "2453797_130405_");
  EXPECT_EQ(MessageFiles().size(), 2U);
}

TEST_F(RecycleFilingTest, ReservesNamesThatAreFreeAndGivenOnce) {
  ASSERT_TRUE(PutFile("2453797_130405_3e9.recycle", "there before"));
  EXPECT_EQ(bin().ReserveNames(2), Names({"2453797_130405_3e8.recycle", "2453797_130405_3ea.recycle"}));
  EXPECT_EQ(File(kSpam), "2453797_130405_3eb.recycle");
  // Neither a clock that is set back nor the lack of files brings a name a second time.
  surroundings.clock.local.second = 6;
  EXPECT_EQ(bin().ReserveNames(1), Names({"2453797_130406_3e8.recycle"}));
  surroundings.clock.local.second = 5;
  EXPECT_EQ(bin().ReserveNames(2), Names({"2453797_130405_3ec.recycle", "2453797_130405_3ed.recycle"}));
  EXPECT_EQ(MessageFiles().size(), 2U);
}

TEST_F(RecycleFilingTest, FilesUnderTheReservedNames) {
  MailMessage message;
  message.ParseText(kSpam);
  const std::vector<std::string> reserved = bin().ReserveNames(2);
  const DeletedMessage spam[] = {
      {&message, "a", 0.9, reserved[1]}, {&message, "b", 0.9, {}}, {&message, "c", 0.9, reserved[0]}};
  const FilingResult filing = bin().File(spam, "ann @ mailserver");
  EXPECT_TRUE(filing.written);
  EXPECT_FALSE(filing.index_unusable);
  EXPECT_EQ(filing.names, (std::vector<std::string>{reserved[1], "2453797_130405_3ea.recycle", reserved[0]}));
  EXPECT_EQ(EntryNames(), reserved[1] + " 2453797_130405_3ea.recycle " + reserved[0] + " ");
  EXPECT_EQ(GetFile(reserved[0]), kSpam);
}

TEST_F(RecycleFilingTest, TellsBeforeEachMessageThatItIsAtWork) {
  MailMessage message;
  message.ParseText(kSpam);
  const DeletedMessage spam[] = {{&message, "a", 0.9, {}}, {nullptr, "b", 0.9, {}}, {&message, "c", 0.9, {}}};
  std::vector<std::size_t> files;
  bin().File(spam, "ann @ mailserver", [&] { files.push_back(MessageFiles().size()); });
  EXPECT_EQ(files, (std::vector<std::size_t>{0, 1, 1}));
}

TEST_F(RecycleFilingTest, AReservedNameThatWasTakenMeanwhileIsNotOverwritten) {
  MailMessage message;
  message.ParseText(kSpam);
  const std::vector<std::string> reserved = bin().ReserveNames(1);
  ASSERT_TRUE(PutFile(reserved[0], "of another program"));
  const DeletedMessage spam[] = {{&message, "a", 0.9, reserved[0]},
                                 {&message, "b", 0.9, "../outside.recycle"},
                                 {&message, "c", 0.9, {}}};
  const FilingResult filing = bin().File(spam, "ann @ mailserver");
  EXPECT_EQ(filing.names, (std::vector<std::string>{"", "", "2453797_130405_3e9.recycle"}));
  EXPECT_EQ(filing.written.path, bin().directory() + reserved[0]);
  EXPECT_EQ(filing.written.code, std::errc::file_exists);
  EXPECT_EQ(filing.name_taken, (std::vector<std::size_t>{0}));
  EXPECT_EQ(GetFile(reserved[0]), "of another program");
  EXPECT_FALSE(surroundings.directory.Has("outside.recycle"));
  EXPECT_EQ(EntryNames(), "2453797_130405_3e9.recycle ");
}

// An erase that was cut off leaves such a file. A repair may list it between the question and the filing.
TEST_F(RecycleFilingTest, AReservedNameWhoseFileHoldsTheMailAlreadyIsUsedAndListedOnce) {
  MailMessage message;
  message.ParseText(kSpam);
  const std::string listed = File(kSpam);
  ASSERT_TRUE(PutFile("unlisted.recycle", kSpam));
  const DeletedMessage spam[] = {{&message, "a", 0.9, "unlisted.recycle"}, {&message, "b", 0.9, listed}};
  const FilingResult filing = bin().File(spam, "ann @ mailserver");
  EXPECT_TRUE(filing.written);
  EXPECT_EQ(filing.names, (std::vector<std::string>{"unlisted.recycle", listed}));
  EXPECT_EQ(EntryNames(), "unlisted.recycle " + listed + " ");
  EXPECT_EQ(GetFile("unlisted.recycle"), kSpam);
}

TEST_F(RecycleFilingTest, HoldsWhatIsThereListedAndTheSameMail) {
  MailMessage message;
  message.ParseText(kSpam);
  MailMessage other;
  other.ParseText("Subject: other\r\n\r\nBuy now\r\n");
  const MailMessage empty;
  const std::string kept = File(kSpam);
  const std::string gone = File(kSpam);
  const std::string changed = File(kSpam);
  ASSERT_TRUE(surroundings.directory.Remove("recycle/" + gone));
  ASSERT_TRUE(PutFile(changed, std::string(kSpam) + "x"));
  ASSERT_TRUE(PutFile("unlisted.recycle", kSpam));
  const FiledMessage filed[] = {
      {kept, &message}, {gone, &message}, {changed, &message}, {"unlisted.recycle", &message}, {kept, &other},
      {kept, nullptr},  {kept, &empty},   {"", &message},      {"../recyclebin.xml", &message}};
  using enum Holding;
  EXPECT_EQ(bin().HoldingsOf(filed).holdings,
            (std::vector<Holding>{kListed, kNothing, kNothing, kFileOnly, kNothing, kNothing, kNothing,
                                  kNothing, kNothing}));
  ASSERT_TRUE(PutFile("recyclebin.xml", "<other/>"));
  EXPECT_EQ(bin().HoldingsOf(std::span(filed, 1)).holdings, std::vector<Holding>{kNothing});
  EXPECT_FALSE(bin().HoldingsOf(std::span(filed, 1)).index_unusable);
  EXPECT_TRUE(bin().HoldingsOf({}).holdings.empty());
}

#ifndef _WIN32
// No index is made that would lose sight of mail because it cannot be read for a moment.
TEST_F(RecycleFilingTest, NothingIsFiledWhileADamagedIndexListsWhatCannotBeRead) {
  const std::string name = File(kSpam);
  const std::string damaged = Index().substr(0, 60);
  ASSERT_TRUE(PutFile("recyclebin.xml", damaged));
  const std::filesystem::path file = surroundings.directory.path() / "recycle" / name;
  std::error_code error;
  std::filesystem::resize_file(file, kMostFileBytes + 1, error);  // a hole
  if (error) GTEST_SKIP() << "no room for a hole of that size";
  MailMessage message;
  message.ParseText("Subject: other\r\n\r\nBuy now\r\n");
  const DeletedMessage spam[] = {{&message, "a", 0.9, {}}};
  const FilingResult refused = bin().File(spam, "ann @ mailserver");
  EXPECT_TRUE(refused.index_unusable);
  EXPECT_EQ(refused.written.path, bin().directory() + name);
  EXPECT_EQ(Index(), damaged);
  EXPECT_EQ(MessageFiles(), std::vector<std::string>{name});
  ASSERT_TRUE(PutFile(name, kSpam));
  EXPECT_TRUE(bin().File(spam, "ann @ mailserver").written);
  EXPECT_NE(EntryNames().find(name), std::string::npos);
}
#endif

// Were it taken for one that is not held, it would be filed a second time.
TEST_F(RecycleFilingTest, OfAnIndexThatCannotBeReadItIsNotKnownWhatItHolds) {
  MailMessage message;
  message.ParseText(kSpam);
  const std::string name = File(kSpam);
  const FiledMessage filed{name, &message};
  const std::string index = Index();
  ASSERT_TRUE(surroundings.directory.Remove("recycle/recyclebin.xml"));
  ASSERT_TRUE(surroundings.directory.MakeFolder("recycle/recyclebin.xml"));
  const HoldingResult unknown = bin().HoldingsOf(std::span(&filed, 1));
  EXPECT_TRUE(unknown.index_unusable);
  EXPECT_EQ(unknown.why.path, bin().index_path());
  EXPECT_EQ(unknown.holdings, std::vector<Holding>{Holding::kNothing});
  ASSERT_TRUE(surroundings.directory.Remove("recycle/recyclebin.xml"));
  ASSERT_TRUE(PutFile("recyclebin.xml", index.substr(0, index.size() - 4)));
  const HoldingResult rebuilt = bin().HoldingsOf(std::span(&filed, 1));
  EXPECT_FALSE(rebuilt.index_unusable);
  EXPECT_EQ(rebuilt.holdings, std::vector<Holding>{Holding::kListed});
  EXPECT_EQ(EntryNames(), name + " ");
  EXPECT_TRUE(HasFile("recyclebin.xml.bad"));
}

TEST_F(RecycleFilingTest, HoldsAMailThatItsFilingWroteOtherwiseThanItCame) {
  const std::string text = "Subject: x\nno colon here\n\n.dot\nBuy now\n";
  MailMessage message;
  message.ParseText(text);
  const std::string name = File(text);
  EXPECT_NE(GetFile(name), text);
  const FiledMessage filed{name, &message};
  EXPECT_EQ(bin().HoldingsOf(std::span(&filed, 1)).holdings, std::vector<Holding>{Holding::kListed});
}

TEST_F(RecycleFilingTest, FilesOfACutOffFilingAreRemovedOnlyWhenAReadableIndexLacksThem) {
  const std::string listed = File(kSpam);
  const auto put_all = [&] {
    return PutFile("lost.recycle") && PutFile("unnamed.recycle") &&
           surroundings.directory.Put("out.recycle", "x");
  };
  const std::vector<std::string> names{listed,           "lost.recycle",   "missing.recycle",
                                       "../out.recycle", "recyclebin.xml", ""};
  ASSERT_TRUE(put_all());
  const std::string index = Index();
  for (const std::string_view unreadable : {"", "<other/>", "<recyclebin>"}) {
    ASSERT_TRUE(PutFile("recyclebin.xml", unreadable));
    EXPECT_EQ(bin().RemoveUnlisted(names), 0U) << unreadable;
  }
  ASSERT_TRUE(surroundings.directory.Remove("recycle/recyclebin.xml"));
  EXPECT_EQ(bin().RemoveUnlisted(names), 0U);
  EXPECT_EQ(MessageFiles().size(), 3U);
  ASSERT_TRUE(PutFile("recyclebin.xml", index));
  EXPECT_EQ(bin().RemoveUnlisted(names), 1U);
  EXPECT_EQ(MessageFiles(), (std::vector<std::string>{listed, "unnamed.recycle"}));
  EXPECT_EQ(Index(), index);
  EXPECT_TRUE(surroundings.directory.Has("out.recycle"));
}

TEST_F(RecycleFilingTest, AnEmptyMessageHasNothingToKeep) {
  const MailMessage none;
  MailMessage empty;
  empty.ParseText("");
  MailMessage message;
  message.ParseText(kSpam);
  const DeletedMessage spam[] = {{&none, "a", 0.9}, {&message, "b", 0.9}, {&empty, "c", 0.9}};
  const std::vector<std::string> names = bin().File(spam, "ann @ mailserver").names;
  EXPECT_EQ(names, (std::vector<std::string>{"", "2453797_130405_3e8.recycle", ""}));
  EXPECT_EQ(MessageFiles(), std::vector<std::string>{"2453797_130405_3e8.recycle"});
  EXPECT_EQ(EntryNames(), "2453797_130405_3e8.recycle ");
}

TEST_F(RecycleFilingTest, WithoutAnIndexTheFilesAreWrittenAllTheSame) {
  ASSERT_TRUE(surroundings.directory.Remove("recycle/recyclebin.xml"));
  const std::string name = File(kSpam, "cheap", 0.9);
  EXPECT_EQ(name, "2453797_130405_3e8.recycle");
  EXPECT_EQ(GetFile(name), kSpam);
  EXPECT_FALSE(HasFile("recyclebin.xml"));
}

TEST_F(RecycleFilingTest, AProbabilityHasADecimalPointInEveryLocale) {
  const char* chosen = nullptr;
  for (const char* const name :
       {"de_DE.UTF-8", "de_DE.utf8", "de_DE", "fr_FR.UTF-8", "German_Germany.1252"}) {
    chosen = std::setlocale(LC_ALL, name);
    if (chosen != nullptr) break;
  }
  if (chosen == nullptr) GTEST_SKIP() << "no locale with a decimal comma here";
  File(kSpam, "cheap", 0.98712);
  const double read = OnlyRow().probability;
  std::setlocale(LC_ALL, "C");
  EXPECT_EQ(Entries().at(0)["probability"], "0.9871");
  EXPECT_DOUBLE_EQ(read, 0.9871);
}

}  // namespace
}  // namespace quillbeaker
