// SPDX-License-Identifier: MIT
#include "stores/recycle_bin.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/recycle_fixture.h"

namespace quillbeaker {
namespace {

using test::kIndexHeader;
using test::kSpam;

class RecycleBinTest : public test::RecycleFixture {
 protected:
  void SetUp() override { ASSERT_TRUE(PutIndex("")); }
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

TEST_F(RecycleBinTest, AnIndexIsNotReplacedByTheSameBytes) {
  ASSERT_TRUE(PutIndex("<recyclefile name=\"a.recycle\" account=\"\" restored=\"1\"/>"));
  const FileState before = StateOfFile(bin().index_path());
  EXPECT_TRUE(bin().MarkRestored(Names({"a.recycle"}), true));
  EXPECT_TRUE(bin().MarkRestored(Names({"b.recycle"}), true));
  EXPECT_TRUE(bin().ClearAccount(Names({"a.recycle"})));
  EXPECT_TRUE(bin().RemoveEntries(Names({"b.recycle"})));
  EXPECT_TRUE(bin().DeleteMessages(Names({"b.recycle"})));
  EXPECT_EQ(StateOfFile(bin().index_path()), before);
  EXPECT_TRUE(bin().MarkRestored(Names({"a.recycle"}), false));
  EXPECT_NE(StateOfFile(bin().index_path()), before);
}

TEST_F(RecycleBinTest, AnyChangeBringsTheIndexIntoItsOwnForm) {
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

TEST_F(RecycleBinTest, AnIndexThatAnEditorSavedInUtf8IsReadAsWell) {
  ASSERT_TRUE(
      PutFile("recyclebin.xml",
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<recyclebin><recyclefile name=\"a.recycle\" "
              "subject=\"Gr\xC3\xBC\xC3\x9F"
              "e\" address=\"\xC3\xA4@b\"/></recyclebin>"));
  EXPECT_EQ(OnlyRow().subject,
            "Gr\xFC\xDF"
            "e");
  EXPECT_EQ(OnlyRow().address, "\xE4@b");
  EXPECT_TRUE(bin().MarkRestored(Names({"a.recycle"}), true));
  EXPECT_EQ(Index(), std::string(kIndexHeader) +
                         "<recyclebin><recyclefile name=\"a.recycle\" subject=\"Gr\xFC\xDF"
                         "e\" address=\"\xE4@b\" restored=\"1\"/></recyclebin>\n");
}

TEST_F(RecycleBinTest, TheProgramDirectoryMayHaveAnyName) {
  // "Prüfung %41 #日本" in UTF-8: neither a code page nor an address of the web may come between.
  const std::string name =
      "Pr\xC3\xBC"
      "fung %41 #\xE6\x97\xA5\xE6\x9C\xAC";
  ASSERT_TRUE(surroundings.directory.MakeFolder(name));
  Environment environment = surroundings.MakeEnvironment();
  environment.program_directory += name + kPathSeparator;
  Program strange(environment);
  RecycleBin strange_bin(strange);
  EXPECT_TRUE(strange_bin.RebuildIndex());
  MailMessage message;
  message.ParseText(kSpam);
  const DeletedMessage spam{&message, "cheap", 0.9};
  const std::vector<std::string> names = strange_bin.File(std::span(&spam, 1), "ann @ mailserver").names;
  ASSERT_EQ(names.size(), 1U);
  EXPECT_EQ(surroundings.directory.Get(name + "/recycle/" + names[0]), kSpam);
  ASSERT_TRUE(strange_bin.List().has_value());
  EXPECT_EQ(strange_bin.List()->size(), 1U);
  EXPECT_TRUE(strange_bin.DeleteMessages(names));
  EXPECT_FALSE(surroundings.directory.Has(name + "/recycle/" + names[0]));
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

TEST_F(RecycleBinTest, ADeletionThatIsStoppedLeavesTheRestWhereItWas) {
  const std::vector<std::string> names{"a.recycle", "c.recycle", "d.recycle"};
  ASSERT_TRUE(
      PutIndex("<recyclefile name=\"a.recycle\"/><recyclefile name=\"b.recycle\"/>"
               "<recyclefile name=\"c.recycle\" restored=\"1\"/><recyclefile name=\"d.recycle\"/>"));
  for (const std::string& name : names) ASSERT_TRUE(PutFile(name, "mail"));
  int asked = 0;
  EXPECT_TRUE(bin().DeleteWhile(names, [&asked] { return ++asked < 2; }));
  EXPECT_EQ(RowNames(), "b.recycle c.recycle d.recycle ");
  EXPECT_EQ(Entries().at(1)["restored"], "1");
  EXPECT_FALSE(HasFile("a.recycle"));
  EXPECT_TRUE(HasFile("c.recycle"));
  asked = -10;
  EXPECT_TRUE(bin().DeleteWhile(names, [&asked] { return ++asked < 2; }));
  EXPECT_EQ(RowNames(), "b.recycle ");
  EXPECT_FALSE(HasFile("d.recycle"));
}

}  // namespace
}  // namespace quillbeaker
