// SPDX-License-Identifier: MIT
#include "stores/unique_id_store.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "support/full_disk.h"
#include "support/index_text.h"
#include "support/test_program.h"

namespace quillbeaker {
namespace {

constexpr char kHeader[] = "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n";

// The clock stands on 2 March 2006, day 2453797.
class UniqueIdStoreTest : public testing::Test {
 protected:
  Program& program() { return surroundings.program(); }
  bool Put(std::string_view body) {
    return surroundings.directory.Put("uniqueid.xml", kHeader + std::string(body));
  }
  std::string Get() const { return surroundings.directory.Get("uniqueid.xml").value_or("(missing)"); }
  // The file's entries as "uid date|uid date|".
  std::string Entries() const {
    std::string text;
    for (const test::IndexElement& mail : test::ElementsOf(Get(), "mail"))
      text += mail["uid"] + " " + mail["date"] + "|";
    return text;
  }
  // Opens the store and closes it again.
  void Purge() {
    const auto store = UniqueIdStore::Open(program());
    ASSERT_NE(store, nullptr);
    EXPECT_TRUE(store->PurgeAndClose());
  }

  test::TestProgram surroundings;
};

TEST_F(UniqueIdStoreTest, AMissingFileIsMadeAtOnceAndEmpty) {
  const auto store = UniqueIdStore::Open(program());
  ASSERT_NE(store, nullptr);
  EXPECT_EQ(Get(), std::string(kHeader) + "<uniqueid/>\n");
  EXPECT_FALSE(store->Contains("anything"));
}

TEST_F(UniqueIdStoreTest, AnUnparsableFileIsReplacedAtOnceByAnEmptyOne) {
  for (const std::string_view bytes : {"", "not xml at all", "<uniqueid><mail uid=\"a\" date=\"2453797\"/>",
                                       "<uniqueid><mail uid=\"a\x01\" date=\"2453797\"/></uniqueid>"}) {
    ASSERT_TRUE(surroundings.directory.Put("uniqueid.xml", bytes));
    const auto store = UniqueIdStore::Open(program());
    ASSERT_NE(store, nullptr) << bytes;
    EXPECT_EQ(Get(), std::string(kHeader) + "<uniqueid/>\n");
    EXPECT_FALSE(store->Contains("a"));
  }
}

TEST_F(UniqueIdStoreTest, ADocumentWithATypeDefinitionCountsAsUnparsable) {
  ASSERT_TRUE(
      Put("<!DOCTYPE uniqueid [<!ENTITY a \"aaaaaaaaaa\"><!ENTITY b \"&a;&a;&a;&a;\">]>\n"
          "<uniqueid><mail uid=\"&b;\" date=\"2453797\"/><mail uid=\"x\" date=\"2453797\"/></uniqueid>\n"));
  const auto store = UniqueIdStore::Open(program());
  ASSERT_NE(store, nullptr);
  EXPECT_FALSE(store->Contains("x"));
  EXPECT_EQ(Get(), std::string(kHeader) + "<uniqueid/>\n");
}

TEST_F(UniqueIdStoreTest, AnotherRootLeavesTheStoreUnusedAndTheFileUntouched) {
  ASSERT_TRUE(Put("<recyclebin><mail uid=\"a\" date=\"1\"/></recyclebin>"));
  const std::string before = Get();
  EXPECT_EQ(UniqueIdStore::Open(program()), nullptr);
  EXPECT_EQ(UniqueIdStore::Open(program()), nullptr);
  EXPECT_EQ(Get(), before);
  ASSERT_TRUE(Put("<UniqueId/>"));
  EXPECT_EQ(UniqueIdStore::Open(program()), nullptr);
  // Once it is mended by hand the store is used again.
  ASSERT_TRUE(Put("<uniqueid/>"));
  EXPECT_NE(UniqueIdStore::Open(program()), nullptr);
}

TEST_F(UniqueIdStoreTest, ContainsComparesByteForByte) {
  ASSERT_TRUE(
      Put("<uniqueid><mail uid=\"AB\" date=\"2453797\"/><mail uid=\"x&amp;&quot;y\" "
          "date=\"2453797\"/></uniqueid>"));
  const auto store = UniqueIdStore::Open(program());
  ASSERT_NE(store, nullptr);
  EXPECT_TRUE(store->Contains("AB"));
  EXPECT_FALSE(store->Contains("ab"));
  EXPECT_FALSE(store->Contains("Ab"));
  EXPECT_FALSE(store->Contains("A"));
  EXPECT_FALSE(store->Contains("ABC"));
  EXPECT_FALSE(store->Contains(""));
  EXPECT_TRUE(store->Contains("x&\"y"));
  EXPECT_FALSE(store->Contains("x&amp;&quot;y"));
}

TEST_F(UniqueIdStoreTest, AddedIdsStandInTheFileFormattedWithTodaysDay) {
  const auto store = UniqueIdStore::Open(program());
  ASSERT_NE(store, nullptr);
  store->Add("0000001a3f6b2c11");
  EXPECT_TRUE(store->Contains("0000001a3f6b2c11"));
  store->Add("AAAAE2kR3lAAAAAD");
  EXPECT_TRUE(store->PurgeAndClose());
  EXPECT_EQ(Get(), std::string(kHeader) +
                       "<uniqueid>\n"
                       "  <mail uid=\"0000001a3f6b2c11\" date=\"2453797\"/>\n"
                       "  <mail uid=\"AAAAE2kR3lAAAAAD\" date=\"2453797\"/>\n"
                       "</uniqueid>\n");
}

TEST_F(UniqueIdStoreTest, AddAppendsBehindWhatIsThere) {
  ASSERT_TRUE(Put("<uniqueid>\n  <mail uid=\"old\" date=\"2453790\"/>\n</uniqueid>\n"));
  const auto store = UniqueIdStore::Open(program());
  ASSERT_NE(store, nullptr);
  store->Add("new");
  store->Add("newer");
  EXPECT_TRUE(store->PurgeAndClose());
  EXPECT_EQ(Entries(), "old 2453790|new 2453797|newer 2453797|");
  EXPECT_EQ(test::ElementsOf(Get(), "mail").at(1).Order(), "uid date ");
}

TEST_F(UniqueIdStoreTest, TheDayIsTheLocalOneAtTheMomentOfTheCall) {
  surroundings.clock.local = CalendarTime{2005, 12, 6, 31, 23, 59, 59, 0};  // day 2453736
  surroundings.clock.utc = CalendarTime{2006, 1, 0, 1, 1, 59, 59, 0};
  const auto store = UniqueIdStore::Open(program());
  ASSERT_NE(store, nullptr);
  store->Add("before midnight");
  surroundings.clock.local = CalendarTime{2006, 1, 0, 1, 0, 0, 0, 0};
  store->Add("after midnight");
  EXPECT_TRUE(store->PurgeAndClose());
  EXPECT_EQ(Entries(), "before midnight 2453736|after midnight 2453737|");
}

TEST_F(UniqueIdStoreTest, AddDoesNotLookForAnExistingEntry) {
  ASSERT_TRUE(Put("<uniqueid><mail uid=\"a\" date=\"2453790\"/></uniqueid>"));
  const auto store = UniqueIdStore::Open(program());
  ASSERT_NE(store, nullptr);
  store->Add("a");
  EXPECT_TRUE(store->PurgeAndClose());
  EXPECT_EQ(Entries(), "a 2453790|a 2453797|");
}

TEST_F(UniqueIdStoreTest, AnIdAddedTwiceInOneRunLeavesTwoElements) {
  const auto store = UniqueIdStore::Open(program());
  ASSERT_NE(store, nullptr);
  store->Add("a");
  store->Add("a");
  EXPECT_TRUE(store->PurgeAndClose());
  EXPECT_EQ(Entries(), "a 2453797|a 2453797|");
}

TEST_F(UniqueIdStoreTest, RefreshDatesTheFirstOfEqualIdsOnly) {
  ASSERT_TRUE(
      Put("<uniqueid><mail uid=\"b\" date=\"2453780\"/><mail uid=\"a\" date=\"2453781\"/>"
          "<mail uid=\"a\" date=\"2453782\"/><mail uid=\"A\" date=\"2453783\"/></uniqueid>"));
  const auto store = UniqueIdStore::Open(program());
  ASSERT_NE(store, nullptr);
  store->Refresh("a");
  EXPECT_TRUE(store->PurgeAndClose());
  EXPECT_EQ(Entries(), "b 2453780|a 2453797|a 2453782|A 2453783|");
}

TEST_F(UniqueIdStoreTest, RefreshOfAnUnknownIdAddsNothing) {
  ASSERT_TRUE(Put("<uniqueid><mail uid=\"a\" date=\"2453790\"/></uniqueid>"));
  const auto store = UniqueIdStore::Open(program());
  ASSERT_NE(store, nullptr);
  store->Refresh("b");
  store->Refresh("");
  EXPECT_TRUE(store->PurgeAndClose());
  EXPECT_EQ(Entries(), "a 2453790|");
}

TEST_F(UniqueIdStoreTest, AnEntryExactlyThirtyDaysOldIsKeptAndAnOlderOneGoes) {
  ASSERT_TRUE(
      Put("<uniqueid><mail uid=\"kept\" date=\"2453767\"/><mail uid=\"gone\" date=\"2453766\"/>"
          "<mail uid=\"new\" date=\"2453797\"/></uniqueid>"));
  Purge();
  EXPECT_EQ(Entries(), "kept 2453767|new 2453797|");
}

TEST_F(UniqueIdStoreTest, TheAgeIsTheRecycleBinsSetting) {
  ASSERT_TRUE(surroundings.Configure("RecycleBinMaxDays=5"));
  ASSERT_TRUE(
      Put("<uniqueid><mail uid=\"kept\" date=\"2453792\"/><mail uid=\"gone\" date=\"2453791\"/></uniqueid>"));
  Purge();
  EXPECT_EQ(Entries(), "kept 2453792|");
}

TEST_F(UniqueIdStoreTest, ZeroDaysKeepOnlyTodaysEntries) {
  ASSERT_TRUE(surroundings.Configure("RecycleBinMaxDays=0"));
  ASSERT_TRUE(
      Put("<uniqueid><mail uid=\"yesterday\" date=\"2453796\"/><mail uid=\"today\" date=\"2453797\"/>"
          "<mail uid=\"b\" date=\"2453795\"/></uniqueid>"));
  Purge();
  EXPECT_EQ(Entries(), "today 2453797|");
}

TEST_F(UniqueIdStoreTest, AMissingOrUnreadableDateCountsAsZero) {
  ASSERT_TRUE(
      Put("<uniqueid><mail uid=\"a\"/><mail uid=\"b\" date=\"\"/><mail uid=\"c\" date=\"soon\"/>"
          "<mail uid=\"d\" date=\"2453797\"/></uniqueid>"));
  Purge();
  EXPECT_EQ(Entries(), "d 2453797|");
}

TEST_F(UniqueIdStoreTest, MoreDaysThanThereEverWereRemoveNothing) {
  for (const std::string days : {"9999999", "2147483647", "99999999999"}) {
    ASSERT_TRUE(surroundings.Configure("RecycleBinMaxDays=" + days));
    ASSERT_TRUE(
        Put("<uniqueid><mail uid=\"a\" date=\"0\"/><mail uid=\"b\" date=\"2453797\"/><mail "
            "uid=\"c\"/></uniqueid>"));
    Purge();
    EXPECT_EQ(test::ElementsOf(Get(), "mail").size(), 3U) << days;
  }
}

TEST_F(UniqueIdStoreTest, ADateFarAheadNeverAges) {
  ASSERT_TRUE(
      Put("<uniqueid><mail uid=\"a\" date=\"25657560\"/><mail uid=\"b\" date=\"4294967295\"/></uniqueid>"));
  Purge();
  EXPECT_EQ(Entries(), "a 25657560|b 4294967295|");
}

TEST_F(UniqueIdStoreTest, AnIdPastItsAgeThatWasRefreshedBeforeThePurgeStays) {
  ASSERT_TRUE(
      Put("<uniqueid><mail uid=\"still there\" date=\"2453000\"/><mail uid=\"gone\" "
          "date=\"2453000\"/></uniqueid>"));
  const auto store = UniqueIdStore::Open(program());
  ASSERT_NE(store, nullptr);
  EXPECT_TRUE(store->Contains("still there"));
  store->Refresh("still there");
  EXPECT_TRUE(store->PurgeAndClose());
  EXPECT_EQ(Entries(), "still there 2453797|");
}

TEST_F(UniqueIdStoreTest, OfEachIdTheFirstAndTheLastElementStay) {
  ASSERT_TRUE(
      Put("<uniqueid><mail uid=\"a\" date=\"2453791\"/><mail uid=\"b\" date=\"2453790\"/>"
          "<mail uid=\"a\" date=\"2453792\"/><mail uid=\"a\" date=\"2453793\"/></uniqueid>"));
  const auto store = UniqueIdStore::Open(program());
  ASSERT_NE(store, nullptr);
  store->Add("a");
  EXPECT_TRUE(store->PurgeAndClose());
  EXPECT_EQ(Entries(), "a 2453791|b 2453790|a 2453797|");
}

TEST_F(UniqueIdStoreTest, AgeIsJudgedBeforeTheFirstAndTheLastAreCounted) {
  ASSERT_TRUE(
      Put("<uniqueid><mail uid=\"a\" date=\"2453000\"/><mail uid=\"a\" date=\"2453791\"/>"
          "<mail uid=\"a\" date=\"2453792\"/><mail uid=\"a\" date=\"2453793\"/><mail uid=\"a\" "
          "date=\"1\"/></uniqueid>"));
  Purge();
  EXPECT_EQ(Entries(), "a 2453791|a 2453793|");
}

TEST_F(UniqueIdStoreTest, ManyRunsOverTheSameMailboxKeepTheFileBounded) {
  for (int run = 0; run < 25; ++run) {
    const auto store = UniqueIdStore::Open(program());
    ASSERT_NE(store, nullptr);
    for (int i = 0; i < 50; ++i) store->Add("uid" + std::to_string(i));
    EXPECT_TRUE(store->PurgeAndClose());
  }
  EXPECT_EQ(test::ElementsOf(Get(), "mail").size(), 100U);
}

TEST_F(UniqueIdStoreTest, OtherElementsAreIgnoredAndSurvive) {
  ASSERT_TRUE(
      Put("<uniqueid><mails uid=\"a\" date=\"1\"/><note uid=\"b\" date=\"1\"/><mail uid=\"c\" "
          "date=\"2453797\"/></uniqueid>"));
  const auto store = UniqueIdStore::Open(program());
  ASSERT_NE(store, nullptr);
  EXPECT_FALSE(store->Contains("a"));
  EXPECT_FALSE(store->Contains("b"));
  EXPECT_TRUE(store->Contains("c"));
  store->Refresh("b");
  EXPECT_TRUE(store->PurgeAndClose());
  const std::string after = Get();
  EXPECT_EQ(test::ElementsOf(after, "mails").size(), 1U);
  ASSERT_EQ(test::ElementsOf(after, "note").size(), 1U);
  EXPECT_EQ(test::ElementsOf(after, "note")[0]["date"], "1");
}

TEST_F(UniqueIdStoreTest, AnIdOfAnyBytesIsFoundAgainAndTheFileStaysReadable) {
  const std::string ids[] = {"a\x01z",
                             "\xE4\xF6\xFC",
                             "\xC3\xA4",
                             "<&>\"'",
                             "x\x1Fy",
                             "\x7F\x80\x9F",
                             std::string(254, 'u'),
                             std::string("n\0l", 3)};
  {
    const auto store = UniqueIdStore::Open(program());
    ASSERT_NE(store, nullptr);
    for (const std::string& id : ids) store->Add(id);
    EXPECT_TRUE(store->PurgeAndClose());
  }
  EXPECT_TRUE(test::IsXmlWithRoot(Get(), "uniqueid"));
  const auto store = UniqueIdStore::Open(program());
  ASSERT_NE(store, nullptr);
  for (const std::string& id : ids) EXPECT_TRUE(store->Contains(id)) << testing::PrintToString(id);
  EXPECT_FALSE(store->Contains("\xE4\xF6"));
  store->Refresh("a\x01z");
  EXPECT_TRUE(store->PurgeAndClose());
  const std::vector<test::IndexElement> mails = test::ElementsOf(Get(), "mail");
  ASSERT_EQ(mails.size(), 8U);
  EXPECT_EQ(mails[0]["uid"], "a z");
  EXPECT_EQ(mails[1]["uid"], "\xE4\xF6\xFC");
  EXPECT_EQ(mails[2]["uid"], "\xC3\xA4");
  EXPECT_EQ(mails[3]["uid"], "<&>\"'");
  EXPECT_EQ(mails[4]["uid"], "x y");
  EXPECT_EQ(mails[7]["uid"], "n l");
}

TEST_F(UniqueIdStoreTest, AFileInAnotherLayoutIsRewritten) {
  ASSERT_TRUE(
      surroundings.directory.Put("uniqueid.xml", "<uniqueid><mail date='2453797' uid='a'/></uniqueid>"));
  Purge();
  EXPECT_EQ(Get().substr(0, sizeof(kHeader) - 1), kHeader);
  EXPECT_EQ(Entries(), "a 2453797|");
}

TEST_F(UniqueIdStoreTest, AFileThatWouldGetItsOwnBytesIsLeftAlone) {
  const std::string path = surroundings.directory.PathOf("uniqueid.xml");
  Purge();
  FileState before = StateOfFile(path);
  Purge();
  EXPECT_EQ(StateOfFile(path), before);
  const auto store = UniqueIdStore::Open(program());
  ASSERT_NE(store, nullptr);
  store->Add("a");
  EXPECT_TRUE(store->PurgeAndClose());
  EXPECT_NE(StateOfFile(path), before);
  before = StateOfFile(path);
  const auto again = UniqueIdStore::Open(program());
  ASSERT_NE(again, nullptr);
  again->Refresh("a");
  EXPECT_TRUE(again->PurgeAndClose());
  EXPECT_EQ(StateOfFile(path), before);
}

TEST_F(UniqueIdStoreTest, AFileThatCanNotBeReadIsLeftAlone) {
  // What cannot be read as a file: the same as one whose reading fails.
  ASSERT_TRUE(surroundings.directory.MakeFolder("uniqueid.xml"));
  EXPECT_EQ(UniqueIdStore::Open(program()), nullptr);
  EXPECT_TRUE(std::filesystem::is_directory(surroundings.directory.PathOf("uniqueid.xml")));
}

TEST_F(UniqueIdStoreTest, ASecondRunReadsWhatTheFirstWrote) {
  {
    const auto store = UniqueIdStore::Open(program());
    ASSERT_NE(store, nullptr);
    store->Add("a");
    EXPECT_TRUE(store->PurgeAndClose());
  }
  surroundings.clock.local = CalendarTime{2006, 4, 6, 1, 0, 0, 0, 0};  // exactly thirty days later
  {
    const auto store = UniqueIdStore::Open(program());
    ASSERT_NE(store, nullptr);
    EXPECT_TRUE(store->Contains("a"));
    EXPECT_TRUE(store->PurgeAndClose());
  }
  EXPECT_EQ(Entries(), "a 2453797|");
  surroundings.clock.local = CalendarTime{2006, 4, 0, 2, 0, 0, 0, 0};
  Purge();
  EXPECT_EQ(Entries(), "");
}

TEST_F(UniqueIdStoreTest, AStoreThatIsDroppedWithoutClosingDoesNotHoldUpTheNext) {
  {
    const auto store = UniqueIdStore::Open(program());
    ASSERT_NE(store, nullptr);
    store->Add("a");
  }
  const auto store = UniqueIdStore::Open(program());
  ASSERT_NE(store, nullptr);
  store->Add("b");
  EXPECT_TRUE(store->PurgeAndClose());
  EXPECT_NE(Entries().find("b 2453797|"), std::string::npos);
}

TEST_F(UniqueIdStoreTest, RunsOfSeveralThreadsLoseNothing) {
  Program& shared = program();
  std::vector<std::thread> threads;
  for (int t = 0; t < 3; ++t) {
    threads.emplace_back([&shared, t] {
      for (int run = 0; run < 10; ++run) {
        const auto store = UniqueIdStore::Open(shared);
        if (!store) continue;
        store->Add("t" + std::to_string(t) + "r" + std::to_string(run));
        store->PurgeAndClose();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  const auto store = UniqueIdStore::Open(shared);
  ASSERT_NE(store, nullptr);
  for (int t = 0; t < 3; ++t) {
    for (int run = 0; run < 10; ++run) {
      EXPECT_TRUE(store->Contains("t" + std::to_string(t) + "r" + std::to_string(run)));
    }
  }
}

TEST_F(UniqueIdStoreTest, AReadOnlyFileStaysAsItIs) {
  ASSERT_TRUE(Put("<uniqueid><mail uid=\"a\" date=\"2453797\"/></uniqueid>"));
  const std::string before = Get();
  surroundings.directory.SetReadOnly("uniqueid.xml", true);
  const auto store = UniqueIdStore::Open(program());
  ASSERT_NE(store, nullptr);
  EXPECT_TRUE(store->Contains("a"));
  store->Add("b");
  EXPECT_FALSE(store->PurgeAndClose());
  EXPECT_EQ(Get(), before);
  surroundings.directory.SetReadOnly("uniqueid.xml", false);
}

TEST_F(UniqueIdStoreTest, AFullDiskLeavesTheOldFileWhole) {
  ASSERT_TRUE(Put("<uniqueid><mail uid=\"" + std::string(200, 'a') + "\" date=\"2453797\"/></uniqueid>"));
  const std::string before = Get();
  const auto store = UniqueIdStore::Open(program());
  ASSERT_NE(store, nullptr);
  store->Add("b");
  bool saved = true;
  {
    const test::FullDisk full(100);
    if (!full.active()) GTEST_SKIP() << "this system cannot be told to refuse writes";
    saved = store->PurgeAndClose();
  }
  EXPECT_FALSE(saved);
  EXPECT_EQ(Get(), before);
}

TEST_F(UniqueIdStoreTest, TheProgramDirectoryMayHaveAnyName) {
  // "Prüfung %41 #日本" in UTF-8: neither a code page nor an address of the web may come between.
  const std::string name =
      "Pr\xC3\xBC"
      "fung %41 #\xE6\x97\xA5\xE6\x9C\xAC";
  ASSERT_TRUE(surroundings.directory.MakeFolder(name));
  Environment environment = surroundings.MakeEnvironment();
  environment.program_directory += name + kPathSeparator;
  Program strange(environment);
  {
    const auto store = UniqueIdStore::Open(strange);
    ASSERT_NE(store, nullptr);
    store->Add("a");
    EXPECT_TRUE(store->PurgeAndClose());
  }
  EXPECT_TRUE(surroundings.directory.Has(name + "/uniqueid.xml"));
  const auto store = UniqueIdStore::Open(strange);
  ASSERT_NE(store, nullptr);
  EXPECT_TRUE(store->Contains("a"));
}

TEST_F(UniqueIdStoreTest, LookingUpManyIdsAmongManyIsLinear) {
  constexpr int kIds = 50000;
  std::string body = "<uniqueid>";
  for (int i = 0; i < kIds; ++i) body += "<mail uid=\"uid" + std::to_string(i) + "\" date=\"2453797\"/>";
  ASSERT_TRUE(Put(body + "</uniqueid>"));
  const auto started = std::chrono::steady_clock::now();
  const auto store = UniqueIdStore::Open(program());
  ASSERT_NE(store, nullptr);
  int found = 0;
  for (int i = 0; i < kIds; ++i) {
    const std::string uid = "uid" + std::to_string(i);
    if (store->Contains(uid)) ++found;
    store->Refresh(uid);
    store->Add(uid);
  }
  EXPECT_TRUE(store->PurgeAndClose());
  EXPECT_EQ(found, kIds);
  // Scanning the list for each id takes minutes.
  EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(30));
}

}  // namespace
}  // namespace quillbeaker
