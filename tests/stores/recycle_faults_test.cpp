// SPDX-License-Identifier: MIT
// The recycle bin among damaged indexes, doctored names, full disks, killed processes and other threads.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "support/full_disk.h"
#include "support/recycle_fixture.h"

namespace quillbeaker {
namespace {

using test::kSpam;

class RecycleFaultsTest : public test::RecycleFixture {
 protected:
  void SetUp() override { ASSERT_TRUE(PutIndex("")); }
};

TEST_F(RecycleFaultsTest, AMessageWhoseFileCanNotBeWrittenIsSaidToBeNotFiled) {
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
    names = bin().File(spam, "ann @ mailserver").names;
  }
  ASSERT_EQ(names.size(), 3U);
  EXPECT_NE(names[0], "");
  EXPECT_EQ(names[1], "");
  EXPECT_NE(names[2], "");
  // No part of it is left behind, on the disk or in the index.
  EXPECT_EQ(MessageFiles(), (std::vector<std::string>{names[0], names[2]}));
  EXPECT_EQ(EntryNames(), names[0] + " " + names[2] + " ");
}

TEST_F(RecycleFaultsTest, WithoutItsDirectoryNothingIsFiled) {
  bin();
  std::filesystem::remove_all(surroundings.directory.path() / "recycle");
  EXPECT_EQ(File(kSpam), "");
  EXPECT_FALSE(bin().List().has_value());
}

TEST_F(RecycleFaultsTest, AnIndexWithAnotherRootIsLeftAloneByEverything) {
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

// Of a damaged index it is not known what it lists, so nothing is changed by it and no file goes.
TEST_F(RecycleFaultsTest, ADamagedIndexIsLeftAloneByAllThatDoesNotRebuildIt) {
  ASSERT_TRUE(PutFile("a.recycle"));
  for (const std::string text :
       {"", "<recyclebin><recyclefile name=\"a.recycle\"", "<recyclebin>\x01</recyclebin>",
        "<!DOCTYPE recyclebin [<!ENTITY a \"b\">]><recyclebin><recyclefile "
        "name=\"a.recycle\" restored=\"1\"/></recyclebin>"}) {
    ASSERT_TRUE(PutFile("recyclebin.xml", text));
    EXPECT_FALSE(bin().List().has_value()) << text;
    EXPECT_FALSE(bin().MarkRestored(Names({"a.recycle"}), true));
    EXPECT_FALSE(bin().ClearAccount(Names({"a.recycle"})));
    EXPECT_FALSE(bin().RemoveEntries(Names({"a.recycle"})));
    EXPECT_FALSE(bin().DeleteMessages(Names({"a.recycle"})));
    EXPECT_FALSE(bin().Empty());
    EXPECT_TRUE(bin().RestoredFor("x", 2000).names.empty());
    bin().Purge(0);
    EXPECT_TRUE(program().Write(keys::kRecycleOldMessagesLast, 0));
    EXPECT_TRUE(bin().File({}, "ann @ mailserver").written);
    EXPECT_EQ(Index(), text);
  }
  EXPECT_TRUE(HasFile("a.recycle"));
  EXPECT_FALSE(HasFile("recyclebin.xml.bad"));
}

TEST_F(RecycleFaultsTest, FilingRebuildsADamagedIndexBeforeItAddsToIt) {
  const std::string damaged =
      "<recyclebin><recyclefile name=\"2453796_130405_1.recycle\" account=\"bob @ srv\" restored=\"1\"/><rec";
  ASSERT_TRUE(PutFile("recyclebin.xml", damaged));
  ASSERT_TRUE(PutFile("2453796_130405_1.recycle"));
  const std::string name = File(kSpam, "cheap", 0.9);
  EXPECT_EQ(GetFile("recyclebin.xml.bad"), damaged);
  ASSERT_EQ(EntryNames(), "2453796_130405_1.recycle " + name + " ");
  EXPECT_EQ(Entries()[0]["account"], "bob @ srv");
  EXPECT_EQ(Entries()[0]["restored"], "1");
  EXPECT_EQ(Entries()[1]["spamwords"], "cheap");
  EXPECT_TRUE(Index().starts_with(std::string(test::kIndexHeader) + "<recyclebin><recyclefile "));
}

TEST_F(RecycleFaultsTest, ADamagedIndexThatCannotBeReplacedStopsTheFiling) {
  ASSERT_TRUE(PutFile("recyclebin.xml", "<recyclebin"));
  ASSERT_TRUE(PutFile("old.recycle"));
  MailMessage message;
  message.ParseText(kSpam);
  const DeletedMessage spam{&message, "a", 0.9};
  surroundings.directory.SetReadOnly("recycle/recyclebin.xml", true);
  const FilingResult filing = bin().File(std::span(&spam, 1), "ann @ mailserver");
  surroundings.directory.SetReadOnly("recycle/recyclebin.xml", false);
  EXPECT_TRUE(filing.index_unusable);
  EXPECT_EQ(filing.names, std::vector<std::string>{""});
  EXPECT_EQ(filing.written.path, bin().index_path());
  EXPECT_EQ(MessageFiles(), std::vector<std::string>{"old.recycle"});
  EXPECT_EQ(Index(), "<recyclebin");
}

TEST_F(RecycleFaultsTest, NoFileGoesWhileTheIndexCannotBeReadOrSaved) {
  const std::string elements = "<recyclefile name=\"a.recycle\" date=\"1\" restored=\"1\"/>";
  const auto delete_all = [this] {
    EXPECT_FALSE(bin().DeleteMessages(Names({"a.recycle"})));
    EXPECT_FALSE(bin().Empty());
    EXPECT_TRUE(program().Write(keys::kRecycleOldMessagesLast, 0));
    bin().Purge(30);
    EXPECT_TRUE(HasFile("a.recycle"));
  };
  ASSERT_TRUE(PutFile("a.recycle"));
  ASSERT_TRUE(PutIndex(elements));
  surroundings.directory.SetReadOnly("recycle/recyclebin.xml", true);
  delete_all();
  surroundings.directory.SetReadOnly("recycle/recyclebin.xml", false);
  EXPECT_EQ(EntryNames(), "a.recycle ");
  ASSERT_TRUE(PutFile("recyclebin.xml", "<other>" + elements + "</other>"));
  delete_all();
  ASSERT_TRUE(surroundings.directory.Remove("recycle/recyclebin.xml"));
  delete_all();
  ASSERT_TRUE(surroundings.directory.MakeFolder("recycle/recyclebin.xml"));
  delete_all();
}

// A folder is there and gives no bytes, as a file does on a failing disk or with too many files open.
TEST_F(RecycleFaultsTest, NothingIsFiledWhileTheIndexIsThereAndCannotBeRead) {
  ASSERT_TRUE(surroundings.directory.Remove("recycle/recyclebin.xml"));
  ASSERT_TRUE(surroundings.directory.MakeFolder("recycle/recyclebin.xml"));
  MailMessage message;
  message.ParseText(kSpam);
  const DeletedMessage spam[] = {{&message, "a", 0.9, {}}, {&message, "b", 0.9, {}}};
  const FilingResult filing = bin().File(spam, "ann @ mailserver");
  EXPECT_TRUE(filing.index_unusable);
  EXPECT_EQ(filing.names, (std::vector<std::string>{"", ""}));
  EXPECT_EQ(filing.written.path, bin().index_path());
  EXPECT_TRUE(filing.written.Text().starts_with(bin().index_path() + ": ")) << filing.written.Text();
  EXPECT_TRUE(MessageFiles().empty());
  EXPECT_FALSE(bin().RebuildIndex());
}

TEST_F(RecycleFaultsTest, AFullDiskSaysSo) {
  MailMessage message;
  message.ParseText("Subject: big\r\n\r\n" + std::string(100000, 'x') + "\r\n");
  const DeletedMessage spam{&message, "b", 0.9, {}};
  bin();
  FilingResult filing;
  {
    const test::FullDisk full(20000);
    if (!full.active()) GTEST_SKIP() << "this system cannot be told to refuse writes";
    filing = bin().File(std::span(&spam, 1), "ann @ mailserver");
  }
  EXPECT_FALSE(filing.index_unusable);
  EXPECT_EQ(filing.written.code, std::errc::file_too_large);
  EXPECT_EQ(filing.written.path, bin().directory() + "2453797_130405_3e8.recycle");
}

TEST_F(RecycleFaultsTest, AMissingIndexListsNothingAndIsNotMade) {
  ASSERT_TRUE(surroundings.directory.Remove("recycle/recyclebin.xml"));
  EXPECT_FALSE(bin().List().has_value());
  EXPECT_FALSE(bin().MarkRestored(Names({"a.recycle"}), true));
  EXPECT_FALSE(bin().ClearAccount(Names({"a.recycle"})));
  EXPECT_FALSE(bin().RemoveEntries(Names({"a.recycle"})));
  EXPECT_FALSE(bin().Empty());
  EXPECT_FALSE(HasFile("recyclebin.xml"));
}

TEST_F(RecycleFaultsTest, OnlyABareMessageFileNameHasAPath) {
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

TEST_F(RecycleFaultsTest, ADoctoredNameInTheIndexReachesNoFileOutside) {
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

TEST_F(RecycleFaultsTest, AFullDiskLeavesTheOldIndexWhole) {
  ASSERT_TRUE(PutIndex("<recyclefile name=\"a.recycle\" subject=\"" + std::string(500, 's') + "\"/>"));
  const std::string before = Index();
  bin();
  bool marked = true;
  {
    const test::FullDisk full(100);
    if (!full.active()) GTEST_SKIP() << "this system cannot be told to refuse writes";
    marked = static_cast<bool>(bin().MarkRestored(Names({"a.recycle"}), true));
  }
  EXPECT_FALSE(marked);
  EXPECT_EQ(Index(), before);
  EXPECT_TRUE(bin().MarkRestored(Names({"a.recycle"}), true));
}

TEST_F(RecycleFaultsTest, AReadOnlyIndexStaysAsItIs) {
  ASSERT_TRUE(PutIndex("<recyclefile name=\"a.recycle\"/>"));
  const std::string before = Index();
  surroundings.directory.SetReadOnly("recycle/recyclebin.xml", true);
  EXPECT_FALSE(bin().MarkRestored(Names({"a.recycle"}), true));
  EXPECT_EQ(Index(), before);
  surroundings.directory.SetReadOnly("recycle/recyclebin.xml", false);
}

TEST_F(RecycleFaultsTest, WithAReadOnlyIndexNothingIsFiled) {
  ASSERT_TRUE(PutIndex("<recyclefile name=\"a.recycle\"/>"));
  const std::string before = Index();
  MailMessage message;
  message.ParseText(kSpam);
  const DeletedMessage spam[] = {{&message, "a", 0.9}, {&message, "b", 0.9}};
  surroundings.directory.SetReadOnly("recycle/recyclebin.xml", true);
  EXPECT_EQ(bin().File(spam, "ann @ mailserver").names, (std::vector<std::string>{"", ""}));
  EXPECT_TRUE(MessageFiles().empty());
  EXPECT_EQ(RowNames(), "a.recycle ");
  EXPECT_EQ(Index(), before);
  surroundings.directory.SetReadOnly("recycle/recyclebin.xml", false);
  EXPECT_NE(File(kSpam), "");
}

TEST_F(RecycleFaultsTest, AProcessKilledAtAnyMomentLeavesAWholeIndex) {
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

TEST_F(RecycleFaultsTest, SomeoneWhoReadsTheIndexAlwaysFindsAWholeOne) {
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

TEST_F(RecycleFaultsTest, TheWindowAndTheMailCheckDoNotUndoEachOthersChanges) {
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

}  // namespace
}  // namespace quillbeaker
