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

TEST_F(RecycleRebuildTest, AnIndexThatIsThereIsNotMadeAnewHoweverWrongItIs) {
  ASSERT_TRUE(PutFile("1_000000_1.recycle"));
  for (const std::string text : {"", "<other/>", "no index at all", "<recyclebin/>"}) {
    ASSERT_TRUE(PutFile("recyclebin.xml", text));
    EXPECT_FALSE(bin().RebuildIndex());
    EXPECT_EQ(Index(), text);
  }
}

}  // namespace
}  // namespace quillbeaker
