// SPDX-License-Identifier: MIT
// Start-up of the recycle bin: message files dropped into it are taken in, and a lost index is made anew.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "platform/exclusive_file.h"
#include "support/recycle_fixture.h"

namespace quillbeaker {
namespace {

using test::kIndexHeader;
using test::kSpam;

// 5 February 2003, 12:00:00 UTC.
constexpr std::time_t kDropped = 1044446400;

class RecycleRebuildTest : public test::RecycleFixture {
 protected:
  // Drops a file that was last written at that moment.
  [[nodiscard]] bool Drop(std::string_view name, std::time_t written = kDropped,
                          std::string_view bytes = kSpam) {
    if (!PutFile(name, bytes)) return false;
    const auto moment = std::chrono::system_clock::from_time_t(written);
    std::error_code error;
    std::filesystem::last_write_time(surroundings.directory.path() / "recycle" / test::PathOfUtf8(name),
                                     std::chrono::file_clock::from_sys(moment), error);
    return !error;
  }
  // The name that a file written at that moment of local time gets, with this tick.
  static std::string NameOf(std::time_t written, const char* tick) {
    const std::tm local = *std::localtime(&written);
    // Days from 1 January 1970, counted by the calendar of the local date.
    const auto date = std::chrono::sys_days{std::chrono::year{local.tm_year + 1900} /
                                            std::chrono::month{static_cast<unsigned>(local.tm_mon + 1)} /
                                            std::chrono::day{static_cast<unsigned>(local.tm_mday)}};
    char name[64];
    std::snprintf(name, sizeof name, "%d_%02d%02d%02d_%s.recycle",
                  static_cast<int>(date.time_since_epoch().count()) + 2440588, local.tm_hour, local.tm_min,
                  local.tm_sec, tick);
    return name;
  }
};

TEST_F(RecycleRebuildTest, ADroppedFileIsNamedAfterTheTimeItWasWritten) {
  ASSERT_TRUE(Drop("x.eml"));
  bin().TakeInDroppedFiles();
  EXPECT_FALSE(HasFile("x.eml"));
  EXPECT_EQ(MessageFiles(), std::vector<std::string>{NameOf(kDropped, "3e8")});
  EXPECT_EQ(GetFile(NameOf(kDropped, "3e8")), kSpam);
}

TEST_F(RecycleRebuildTest, SummerTimeIsAppliedAsItWasWhenTheFileWasWritten) {
  constexpr std::time_t kJuly = 1057003201;  // 30 June 2003, 20:00:01 UTC
  ASSERT_TRUE(Drop("x.eml", kJuly));
  bin().TakeInDroppedFiles();
  EXPECT_EQ(MessageFiles(), std::vector<std::string>{NameOf(kJuly, "3e8")});
}

TEST_F(RecycleRebuildTest, ADroppedFileIsMovedNotRewritten) {
  // What a serialised copy would change: bare line feeds, a line without colon, a long header line.
  const std::string bytes =
      "no colon\nSubject: " + std::string(40, 'a') + " " + std::string(40, 'b') + "\n\n.\nx";
  ASSERT_TRUE(Drop("x.eml", kDropped, bytes));
  bin().TakeInDroppedFiles();
  EXPECT_EQ(GetFile(NameOf(kDropped, "3e8")), bytes);
}

TEST_F(RecycleRebuildTest, SeveralFilesOfOneMomentGetDistinctNames) {
  ASSERT_TRUE(Drop("a.eml", kDropped, "a"));
  ASSERT_TRUE(Drop("b.eml", kDropped, "b"));
  ASSERT_TRUE(Drop("c d.eml", kDropped, "c"));
  ASSERT_TRUE(Drop(NameOf(kDropped, "3e8"), kDropped, "there before"));
  bin().TakeInDroppedFiles();
  EXPECT_EQ(MessageFiles(), (std::vector<std::string>{NameOf(kDropped, "3e8"), NameOf(kDropped, "3e9"),
                                                      NameOf(kDropped, "3ea"), NameOf(kDropped, "3eb")}));
  EXPECT_EQ(GetFile(NameOf(kDropped, "3e8")), "there before");
  std::string taken =
      GetFile(NameOf(kDropped, "3e9")) + GetFile(NameOf(kDropped, "3ea")) + GetFile(NameOf(kDropped, "3eb"));
  std::sort(taken.begin(), taken.end());
  EXPECT_EQ(taken, "abc");
}

TEST_F(RecycleRebuildTest, TheProgressWindowIsAskedForOnceAndBeforeTheFirstFileMoves) {
  ASSERT_TRUE(Drop("a.eml"));
  ASSERT_TRUE(Drop("b.eml"));
  int calls = 0;
  bin().TakeInDroppedFiles([&] {
    ++calls;
    EXPECT_TRUE(HasFile("a.eml"));
    EXPECT_TRUE(HasFile("b.eml"));
  });
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(MessageFiles().size(), 2U);
  bin().TakeInDroppedFiles([&] { ++calls; });
  EXPECT_EQ(calls, 1);
}

TEST_F(RecycleRebuildTest, WithNothingDroppedNothingHappens) {
  ASSERT_TRUE(PutFile("1_000000_1.recycle"));
  int calls = 0;
  bin().TakeInDroppedFiles([&] { ++calls; });
  EXPECT_EQ(calls, 0);
  EXPECT_EQ(MessageFiles(), std::vector<std::string>{"1_000000_1.recycle"});
}

TEST_F(RecycleRebuildTest, OnlyRegularFilesOfThatEndingAreTakenIn) {
  ASSERT_TRUE(Drop("a.emlx"));
  ASSERT_TRUE(Drop("b.eml.txt"));
  ASSERT_TRUE(Drop("eml"));
  ASSERT_TRUE(PutFile("folder.eml/inside.eml"));
  int calls = 0;
  bin().TakeInDroppedFiles([&] { ++calls; });
  EXPECT_EQ(calls, 0);
  EXPECT_EQ(MessageFiles(), std::vector<std::string>());
  EXPECT_TRUE(HasFile("a.emlx"));
  EXPECT_TRUE(HasFile("folder.eml/inside.eml"));
}

TEST_F(RecycleRebuildTest, ALinkIsNotTakenIn) {
  ASSERT_TRUE(surroundings.directory.Put("outside.txt", "precious"));
  bin();
  std::error_code error;
  std::filesystem::create_symlink(surroundings.directory.path() / "outside.txt",
                                  surroundings.directory.path() / "recycle" / "x.eml", error);
  if (error) GTEST_SKIP() << "no links here";
  bin().TakeInDroppedFiles();
  EXPECT_EQ(MessageFiles(), std::vector<std::string>());
  EXPECT_EQ(surroundings.directory.Get("outside.txt"), "precious");
}

TEST_F(RecycleRebuildTest, AFileThatCanNotBeMovedDoesNotHoldUpTheStart) {
  ASSERT_TRUE(Drop("x.eml"));
  bin();
  const std::filesystem::path recycle = surroundings.directory.path() / "recycle";
  // Held open where that forbids renaming, in a directory that forbids it elsewhere (though not to an
  // administrator).
  const auto held = ExclusiveFile::Open(surroundings.directory.PathOf("recycle/x.eml"));
  ASSERT_NE(held, nullptr);
  std::filesystem::permissions(recycle,
                               std::filesystem::perms::owner_read | std::filesystem::perms::owner_exec);
  std::error_code error;
  std::filesystem::rename(recycle / "x.eml", recycle / "probe", error);
  if (!error) {
    std::filesystem::permissions(recycle, std::filesystem::perms::owner_all);
    GTEST_SKIP() << "nothing can be made unmovable for this user";
  }
  const auto started = std::chrono::steady_clock::now();
  bin().TakeInDroppedFiles();
  EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(10));
  std::filesystem::permissions(recycle, std::filesystem::perms::owner_all);
  EXPECT_TRUE(HasFile("x.eml"));
  EXPECT_EQ(MessageFiles(), std::vector<std::string>());
}

TEST_F(RecycleRebuildTest, ATakenInFileIsListedOnlyAfterTheIndexWasLostAndMadeAnew) {
  ASSERT_TRUE(PutIndex("<recyclefile name=\"1_000000_1.recycle\"/>"));
  ASSERT_TRUE(Drop("x.eml"));
  const std::string before = Index();
  bin().TakeInDroppedFiles();
  EXPECT_FALSE(bin().RebuildIndex());
  EXPECT_EQ(Index(), before);
  EXPECT_EQ(RowNames(), "1_000000_1.recycle ");
  ASSERT_TRUE(surroundings.directory.Remove("recycle/recyclebin.xml"));
  bin().TakeInDroppedFiles();
  EXPECT_TRUE(bin().RebuildIndex());
  EXPECT_EQ(RowNames(), NameOf(kDropped, "3e8") + " ");
}

// A filing that was killed leaves such files. Restored, one of them would reach a client as an empty mail.
TEST_F(RecycleRebuildTest, AnEmptyFileGetsNoEntry) {
  ASSERT_TRUE(PutFile("2452676_231507_1.recycle", ""));
  ASSERT_TRUE(PutFile("2452676_231507_2.recycle"));
  EXPECT_TRUE(bin().RebuildIndex());
  EXPECT_EQ(RowNames(), "2452676_231507_2.recycle ");
  const RepairReport report = bin().Repair();
  EXPECT_TRUE(report.done);
  EXPECT_EQ(report.adopted + report.unreadable, 0u);
  EXPECT_EQ(RowNames(), "2452676_231507_2.recycle ");
  EXPECT_TRUE(HasFile("2452676_231507_1.recycle"));
}

TEST_F(RecycleRebuildTest, WithoutMessagesTheNewIndexIsEmpty) {
  EXPECT_TRUE(bin().RebuildIndex());
  EXPECT_EQ(Index(), std::string(kIndexHeader) + "<recyclebin/>\n");
  EXPECT_FALSE(bin().RebuildIndex());
  EXPECT_EQ(RowNames(), "");
}

TEST_F(RecycleRebuildTest, TheNewIndexIsIndentedAndWithoutWhatOnlyTheMailCheckKnew) {
  ASSERT_TRUE(PutFile("2452676_231507_1a2b3c4.recycle"));
  EXPECT_TRUE(bin().RebuildIndex());
  EXPECT_EQ(Index(),
            std::string(kIndexHeader) +
                "<recyclebin>\n"
                "  <recyclefile name=\"2452676_231507_1a2b3c4.recycle\" date=\"2452676\" time=\"22:15\" "
                "subject=\"Cheap offer\" sender=\"Sales\" address=\"sales@example.org\" size=\"" +
                std::to_string(sizeof(kSpam) - 1) +
                "\"/>\n"
                "</recyclebin>\n");
}

TEST_F(RecycleRebuildTest, AMessageWithoutDateGetsTheMomentOfTheRebuild) {
  ASSERT_TRUE(PutFile("2452676_231507_1.recycle", "Subject: x\r\n\r\ny\r\n"));
  EXPECT_TRUE(bin().RebuildIndex());
  ASSERT_EQ(Entries().size(), 1U);
  EXPECT_EQ(Entries()[0]["date"], "2453797");
  EXPECT_EQ(Entries()[0]["time"], "13:04");
}

TEST_F(RecycleRebuildTest, EveryMessageFileIsFoundAgainAndNothingElse) {
  ASSERT_TRUE(PutFile("1_000000_1.recycle"));
  ASSERT_TRUE(PutFile("2_000000_2.recycle", "Subject: \xE4\x01\r\n\r\n"));
  ASSERT_TRUE(PutFile("3_000000_3.recycle"));
  ASSERT_TRUE(PutFile("notes.txt"));
  ASSERT_TRUE(PutFile("4_000000_4.recycle.bak"));
  ASSERT_TRUE(PutFile("folder.recycle/5_000000_5.recycle"));
  EXPECT_TRUE(bin().RebuildIndex());
  EXPECT_EQ(EntryNames(), "1_000000_1.recycle 2_000000_2.recycle 3_000000_3.recycle ");
  EXPECT_TRUE(test::IsXmlWithRoot(Index(), "recyclebin"));
}

TEST_F(RecycleRebuildTest, MessagesFiledWithoutAnIndexComeBackWithTheRebuild) {
  const std::string name = File(kSpam, "cheap", 0.9);
  EXPECT_EQ(RowNames(), "(nothing)");
  EXPECT_TRUE(bin().RebuildIndex());
  const RecycleEntry row = OnlyRow();
  EXPECT_EQ(row.name, name);
  EXPECT_EQ(row.subject, "Cheap offer");
  EXPECT_EQ(row.spam_words, "");
  EXPECT_EQ(row.probability, 0.0);
  EXPECT_EQ(row.account, "");
  EXPECT_FALSE(row.restored);
}

TEST_F(RecycleRebuildTest, AnIndexThatParsesIsNotMadeAnewHoweverWrongItIs) {
  ASSERT_TRUE(PutFile("1_000000_1.recycle"));
  for (const std::string text : {"<other/>", "<recyclebin/>"}) {
    ASSERT_TRUE(PutFile("recyclebin.xml", text));
    EXPECT_FALSE(bin().RebuildIndex());
    EXPECT_EQ(Index(), text);
  }
  EXPECT_FALSE(HasFile("recyclebin.xml.bad"));
}

TEST_F(RecycleRebuildTest, ADamagedIndexIsKeptBesideTheNewOneAndNeverOverwritten) {
  ASSERT_TRUE(PutFile("1_000000_1.recycle"));
  const std::string damaged[] = {"", "no index at all", "<recyclebin>"};
  for (const std::string& text : damaged) {
    ASSERT_TRUE(PutFile("recyclebin.xml", text));
    EXPECT_TRUE(bin().RebuildIndex());
    EXPECT_EQ(EntryNames(), "1_000000_1.recycle ");
  }
  EXPECT_EQ(GetFile("recyclebin.xml.bad"), damaged[0]);
  EXPECT_EQ(GetFile("recyclebin.xml.bad2"), damaged[1]);
  EXPECT_EQ(GetFile("recyclebin.xml.bad3"), damaged[2]);
}

// What an index of two entries keeps, cut off after every byte: of a file that the cut left whole all that
// only the mail check knew, of every other one the message's own words.
TEST_F(RecycleRebuildTest, WhatADamagedIndexStillSaysIsTakenOver) {
  const std::string first =
      "<recyclefile name=\"1_000000_1.recycle\" date=\"7\" time=\"01:02\" subject=\"old\" "
      "spamwords=\"ch&amp;ap, \xE4\" probability=\"0.9871\" account=\"ann \xF6 @ srv\" sender=\"x\" "
      "address=\"y\" size=\"1\" restored=\"1\"/>";
  const std::string whole = kIndexHeader + std::string("<recyclebin>") + first +
                            "<recyclefile name=\"2_000000_2.recycle\" account=\"bob @ srv\"/></recyclebin>";
  ASSERT_TRUE(PutFile("1_000000_1.recycle"));
  ASSERT_TRUE(PutFile("2_000000_2.recycle"));
  const std::size_t end_of_first = whole.find(first) + first.size();
  const std::size_t end_of_second = whole.find("</recyclebin>");
  for (std::size_t cut = 0; cut < whole.size() - 1; ++cut) {
    SCOPED_TRACE(whole.substr(0, cut));
    ASSERT_TRUE(PutFile("recyclebin.xml", whole.substr(0, cut)));
    ASSERT_TRUE(bin().RebuildIndex());
    const auto rows = bin().List();
    ASSERT_TRUE(rows && rows->size() == 2);
    const RecycleEntry& one = rows->front();
    EXPECT_EQ(one.subject, "Cheap offer");
    EXPECT_EQ(one.day, 2452676);
    EXPECT_EQ(one.size, sizeof(kSpam) - 1);
    if (cut >= end_of_first) {
      EXPECT_EQ(one.account, "ann \xF6 @ srv");
      EXPECT_EQ(one.spam_words, "ch&ap, \xE4");
      EXPECT_DOUBLE_EQ(one.probability, 0.9871);
      EXPECT_TRUE(one.restored);
    } else {
      // An attribute is there whole or not at all.
      EXPECT_TRUE(one.account.empty() || one.account == "ann \xF6 @ srv") << one.account;
      EXPECT_TRUE(one.spam_words.empty() || one.spam_words == "ch&ap, \xE4") << one.spam_words;
    }
    EXPECT_EQ(rows->back().account, cut >= end_of_second ? "bob @ srv" : rows->back().account);
    EXPECT_TRUE(rows->back().account.empty() || rows->back().account == "bob @ srv");
    ASSERT_TRUE(surroundings.directory.Remove("recycle/recyclebin.xml.bad"));
  }
}

TEST_F(RecycleRebuildTest, EntriesAreFoundWhereverTheDamageLeftThem) {
  ASSERT_TRUE(PutFile("1_000000_1.recycle"));
  ASSERT_TRUE(PutFile("2_000000_2.recycle"));
  ASSERT_TRUE(PutFile("3_000000_3.recycle"));
  // The first tag is not closed, so that the parser takes the second entry for its child; the third has a
  // root of its own. Of the second there are two, and of a fourth no file.
  ASSERT_TRUE(PutFile("recyclebin.xml",
                      "<recyclebin><recyclefile name=\"1_000000_1.recycle\" account=\"a\">"
                      "<recyclefile name=\"2_000000_2.recycle\" account=\"b\"/>"
                      "<recyclefile name=\"2_000000_2.recycle\" account=\"c\"/>"
                      "<recyclefile name=\"4_000000_4.recycle\" account=\"d\"/>"
                      "<x><recyclefile name=\"3_000000_3.recycle\" restored=\"1\"/></x></recyclebin>"));
  EXPECT_TRUE(bin().RebuildIndex());
  const std::vector<test::IndexElement> entries = Entries();
  ASSERT_EQ(EntryNames(), "1_000000_1.recycle 2_000000_2.recycle 3_000000_3.recycle ");
  EXPECT_EQ(entries[0]["account"], "a");
  EXPECT_EQ(entries[1]["account"], "b");
  EXPECT_EQ(entries[2]["restored"], "1");
}

TEST_F(RecycleRebuildTest, AnIndexWithADocumentTypeIsRebuiltBare) {
  ASSERT_TRUE(PutFile("1_000000_1.recycle"));
  const std::string text =
      "<!DOCTYPE recyclebin [<!ENTITY a \"b\">]><recyclebin><recyclefile name=\"1_000000_1.recycle\" "
      "account=\"&a;\" restored=\"1\"/></recyclebin>";
  ASSERT_TRUE(PutFile("recyclebin.xml", text));
  EXPECT_TRUE(bin().RebuildIndex());
  ASSERT_EQ(EntryNames(), "1_000000_1.recycle ");
  EXPECT_EQ(Entries()[0].Order(), "name date time subject sender address size ");
  EXPECT_EQ(GetFile("recyclebin.xml.bad"), text);
}

TEST_F(RecycleRebuildTest, RepairAdoptsFilesAndDropsEntriesAndKeepsTheRest) {
  ASSERT_TRUE(PutFile("1_000000_1.recycle"));
  ASSERT_TRUE(PutFile("2_000000_2.recycle"));
  ASSERT_TRUE(PutFile("old.eml"));
  ASSERT_TRUE(PutFile("unlisted.eml"));
  ASSERT_TRUE(
      PutIndex("<recyclefile name=\"2_000000_2.recycle\" account=\"ann @ srv\"/><note/>"
               "<recyclefile name=\"lost.recycle\" restored=\"1\"/><recyclefile name=\"old.eml\"/>"
               "<recyclefile name=\"../recyclebin.xml\"/><recyclefile/>"));
  const RepairReport report = bin().Repair();
  EXPECT_TRUE(report.done);
  EXPECT_FALSE(report.index_was_missing || report.index_was_damaged);
  EXPECT_EQ(report.adopted, 1U);
  EXPECT_EQ(report.dropped, 3U);
  EXPECT_EQ(report.unreadable, 0U);
  EXPECT_EQ(EntryNames(), "2_000000_2.recycle old.eml 1_000000_1.recycle ");
  EXPECT_EQ(Entries()[0]["account"], "ann @ srv");
  EXPECT_EQ(Entries()[2]["subject"], "Cheap offer");
  EXPECT_NE(Index().find("<note/>"), std::string::npos);
  EXPECT_TRUE(HasFile("unlisted.eml"));
}

TEST_F(RecycleRebuildTest, RepairOfWhatIsInOrderWritesNothing) {
  ASSERT_TRUE(PutFile("1_000000_1.recycle"));
  ASSERT_TRUE(PutIndex("<recyclefile name=\"1_000000_1.recycle\"/>"));
  const FileState before = StateOfFile(bin().index_path());
  const RepairReport report = bin().Repair();
  EXPECT_TRUE(report.done);
  EXPECT_EQ(report.adopted + report.dropped + report.unreadable, 0U);
  EXPECT_EQ(StateOfFile(bin().index_path()), before);
}

TEST_F(RecycleRebuildTest, RepairRebuildsAMissingOrDamagedIndex) {
  ASSERT_TRUE(PutFile("1_000000_1.recycle"));
  RepairReport report = bin().Repair();
  EXPECT_TRUE(report.done);
  EXPECT_TRUE(report.index_was_missing);
  EXPECT_EQ(report.adopted, 0U);
  EXPECT_EQ(EntryNames(), "1_000000_1.recycle ");
  EXPECT_NE(Index().find("\n  <recyclefile "), std::string::npos);
  ASSERT_TRUE(PutFile("recyclebin.xml", "<recyclebin"));
  report = bin().Repair();
  EXPECT_TRUE(report.done);
  EXPECT_TRUE(report.index_was_damaged);
  EXPECT_EQ(EntryNames(), "1_000000_1.recycle ");
  EXPECT_EQ(GetFile("recyclebin.xml.bad"), "<recyclebin");
}

TEST_F(RecycleRebuildTest, RepairLeavesAForeignOrUnreadableIndexAlone) {
  ASSERT_TRUE(PutFile("1_000000_1.recycle"));
  ASSERT_TRUE(PutFile("recyclebin.xml", "<other/>"));
  RepairReport report = bin().Repair();
  EXPECT_FALSE(report.done);
  EXPECT_EQ(report.done.path, bin().index_path());
  EXPECT_EQ(Index(), "<other/>");
  ASSERT_TRUE(surroundings.directory.Remove("recycle/recyclebin.xml"));
  ASSERT_TRUE(surroundings.directory.MakeFolder("recycle/recyclebin.xml"));
  report = bin().Repair();
  EXPECT_FALSE(report.done);
  EXPECT_FALSE(report.done.IsMissing());
}

}  // namespace
}  // namespace quillbeaker
