// SPDX-License-Identifier: MIT
#include "config/log_file.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <string>

#include "platform/files.h"
#include "support/test_program.h"

namespace quillbeaker {
namespace {

class LogFileTest : public testing::Test {
 protected:
  std::string Path(std::string_view name = "client.log") const { return directory.PathOf(name); }
  std::string Get(std::string_view name = "client.log") const {
    return directory.Get(name).value_or("(missing)");
  }
  // Of the file as it stands on the disk, which an open log lets nobody read on some systems.
  std::uintmax_t Size() const { return std::filesystem::file_size(directory.path() / "client.log"); }
  // Opens a file of these bytes under the limit and closes it again without writing.
  std::string Trimmed(std::string_view bytes, std::int64_t limit) {
    EXPECT_TRUE(directory.Put("client.log", bytes));
    LogFile log;
    EXPECT_TRUE(log.Open(Path(), limit));
    log.Close();
    return Get();
  }

  test::TestDirectory directory;
};

TEST_F(LogFileTest, IsClosedAndDisabledUntilItIsOpened) {
  LogFile log;
  EXPECT_FALSE(log.is_open());
  EXPECT_FALSE(log.enabled);
  log.WriteLine("nothing");
  log.Close();
  EXPECT_EQ(directory.Names(), std::vector<std::string>());
}

TEST_F(LogFileTest, OpeningMakesTheFileAndEnablesIt) {
  LogFile log;
  EXPECT_TRUE(log.Open(Path(), 1000));
  EXPECT_TRUE(log.is_open());
  EXPECT_TRUE(log.enabled);
  log.Close();
  EXPECT_EQ(Get(), "");
}

TEST_F(LogFileTest, LinesEndInCarriageReturnAndLineFeed) {
  LogFile log;
  ASSERT_TRUE(log.Open(Path(), 1000));
  log.WriteLine("one");
  log.WriteLine("");
  log.WriteLine(std::string_view("t\0\xE4o", 4));
  log.WriteLine("three\r\nfour\r\n.");
  log.Close();
  EXPECT_EQ(Get(), std::string("one\r\n\r\nt\0\xE4o\r\nthree\r\nfour\r\n.\r\n", 29));
}

TEST_F(LogFileTest, AnExistingFileIsAppendedTo) {
  ASSERT_TRUE(directory.Put("client.log", "before\r\n"));
  LogFile log;
  ASSERT_TRUE(log.Open(Path(), 1000));
  log.WriteLine("after");
  log.Close();
  ASSERT_TRUE(log.Open(Path(), 1000));
  log.WriteLine("again");
  log.Close();
  EXPECT_EQ(Get(), "before\r\nafter\r\nagain\r\n");
}

TEST_F(LogFileTest, ALineWrittenWhileDisabledIsLeftOut) {
  LogFile log;
  ASSERT_TRUE(log.Open(Path(), 1000));
  log.WriteLine("C: USER jane");
  log.enabled = false;
  log.WriteLine("C: PASS secret");
  log.enabled = true;
  log.WriteLine("S: +OK");
  log.Close();
  EXPECT_EQ(Get(), "C: USER jane\r\nS: +OK\r\n");
}

TEST_F(LogFileTest, ClosingDisablesAndLaterLinesAreLost) {
  LogFile log;
  ASSERT_TRUE(log.Open(Path(), 1000));
  log.WriteLine("one");
  log.Close();
  EXPECT_FALSE(log.is_open());
  EXPECT_FALSE(log.enabled);
  log.WriteLine("two");
  log.enabled = true;
  log.WriteLine("three");
  log.Close();
  EXPECT_EQ(Get(), "one\r\n");
}

TEST_F(LogFileTest, ReopeningEnablesAgain) {
  LogFile log;
  ASSERT_TRUE(log.Open(Path(), 1000));
  log.enabled = false;
  ASSERT_TRUE(log.Open(Path(), 1000));
  EXPECT_TRUE(log.enabled);
}

TEST_F(LogFileTest, APathThatCanNotBeOpenedIsSilentlyNoLog) {
  ASSERT_TRUE(directory.MakeFolder("folder"));
  LogFile log;
  EXPECT_FALSE(log.Open(Path("folder"), 1000));
  EXPECT_FALSE(log.is_open());
  log.WriteLine("nothing");
  EXPECT_FALSE(log.Open(Path("nowhere/client.log"), 1000));
  EXPECT_FALSE(log.is_open());
  log.WriteLine("nothing");
  log.Close();
  EXPECT_FALSE(directory.Has("nowhere"));
}

TEST_F(LogFileTest, TheDirectoryItselfIsNoLog) {
  // What an empty configured name would come to.
  LogFile log;
  EXPECT_FALSE(log.Open(directory.utf8(), 1000));
  EXPECT_FALSE(log.is_open());
}

TEST_F(LogFileTest, AFailedOpenHasClosedTheLogBefore) {
  LogFile log;
  ASSERT_TRUE(log.Open(Path(), 1000));
  log.WriteLine("one");
  EXPECT_FALSE(log.Open(Path("nowhere/client.log"), 1000));
  EXPECT_FALSE(log.is_open());
  log.WriteLine("two");
  log.Close();
  EXPECT_EQ(Get(), "one\r\n");
}

TEST_F(LogFileTest, AFileOfExactlyTheLimitStays) {
  EXPECT_EQ(Trimmed("ab\r\ncd\r\n", 8), "ab\r\ncd\r\n");
  EXPECT_EQ(Trimmed("no line feed", 12), "no line feed");
}

TEST_F(LogFileTest, OneByteMoreIsCutBehindTheFirstLineFeed) {
  // Size 8, limit 7: reading starts at offset 1; the first LF behind it is at 3.
  EXPECT_EQ(Trimmed("ab\r\ncd\r\n", 7), "cd\r\n");
}

TEST_F(LogFileTest, ALineFeedRightAtTheOffsetCounts) {
  // Size 8, limit 5: offset 3 is the LF itself.
  EXPECT_EQ(Trimmed("ab\r\ncd\r\n", 5), "cd\r\n");
}

TEST_F(LogFileTest, ALineThatBeginsRightAtTheOffsetIsLost) {
  // Size 12, limit 8: offset 4 is the second line's first byte, so what is kept begins behind that line's LF.
  EXPECT_EQ(Trimmed("ab\r\ncd\r\nef\r\n", 8), "ef\r\n");
}

TEST_F(LogFileTest, WithoutALineFeedBehindTheOffsetNothingIsKept) {
  EXPECT_EQ(Trimmed("ab\r\ncdefgh", 5), "");
  EXPECT_EQ(Trimmed("abcdefgh", 7), "");
  EXPECT_EQ(Trimmed("ab\r\ncd\r\n", 1), "");
}

TEST_F(LogFileTest, ALimitOfZeroEmptiesTheFile) {
  EXPECT_EQ(Trimmed("ab\r\ncd\r\n", 0), "");
  EXPECT_EQ(Trimmed("", 0), "");
}

TEST_F(LogFileTest, ANegativeLimitIsZero) {
  EXPECT_EQ(Trimmed("ab\r\ncd\r\n", -1), "");
  EXPECT_EQ(Trimmed("ab\r\ncd\r\n", std::numeric_limits<std::int64_t>::min()), "");
}

TEST_F(LogFileTest, AnEnormousLimitCutsNothing) {
  EXPECT_EQ(Trimmed("ab\r\ncd\r\n", std::int64_t{2147483647} * 1024), "ab\r\ncd\r\n");
  EXPECT_EQ(Trimmed("ab\r\ncd\r\n", std::int64_t{4294967296}), "ab\r\ncd\r\n");
  EXPECT_EQ(Trimmed("ab\r\ncd\r\n", std::numeric_limits<std::int64_t>::max()), "ab\r\ncd\r\n");
}

TEST_F(LogFileTest, GrowsPastItsLimitAndIsTrimmedOnlyAtClose) {
  LogFile log;
  ASSERT_TRUE(log.Open(Path(), 100));
  for (int i = 0; i < 1000; ++i) log.WriteLine("01234567");
  log.Flush();
  EXPECT_EQ(std::filesystem::file_size(directory.path() / "client.log"), 10000U);
  log.Close();
  // Offset 9900 is the first byte of a line, which goes: nine lines are left.
  std::string expected;
  for (int i = 0; i < 9; ++i) expected += "01234567\r\n";
  EXPECT_EQ(Get(), expected);
}

TEST_F(LogFileTest, GathersLinesUntilItIsFlushed) {
  ASSERT_TRUE(directory.Put("client.log", "before\r\n"));
  LogFile log;
  ASSERT_TRUE(log.Open(Path(), 1000));
  log.WriteLine("one");
  log.WriteLine("two");
  EXPECT_EQ(Size(), 8U);
  log.Flush();
  EXPECT_EQ(Size(), 18U);
  log.Flush();
  EXPECT_EQ(Size(), 18U);
  log.Close();
  EXPECT_EQ(Get(), "before\r\none\r\ntwo\r\n");
}

TEST_F(LogFileTest, FlushesWhatWasTakenBeforeItWasDisabled) {
  LogFile log;
  ASSERT_TRUE(log.Open(Path(), 1000));
  log.WriteLine("C: USER jane");
  log.enabled = false;
  log.WriteLine("C: PASS secret");
  log.Flush();
  EXPECT_EQ(Size(), 14U);
  log.Close();
  EXPECT_EQ(Get(), "C: USER jane\r\n");
}

TEST_F(LogFileTest, WritesByItselfWhenMoreThan64KiloBytesWait) {
  LogFile log;
  ASSERT_TRUE(log.Open(Path(), 1000000));
  const std::string line(8190, 'x');
  for (int i = 0; i < 8; ++i) log.WriteLine(line);
  EXPECT_EQ(Size(), 0U);
  log.WriteLine(line);
  EXPECT_EQ(Size(), 9U * 8192U);
  log.WriteLine(line);
  EXPECT_EQ(Size(), 9U * 8192U);
  log.WriteLine(std::string(100000, 'y'));
  EXPECT_EQ(Size(), 10U * 8192U + 100002U);
}

TEST_F(LogFileTest, IsWritingOnlyWhileOpenAndEnabled) {
  LogFile log;
  EXPECT_FALSE(log.IsWriting());
  log.enabled = true;
  EXPECT_FALSE(log.IsWriting());
  ASSERT_TRUE(log.Open(Path(), 1000));
  EXPECT_TRUE(log.IsWriting());
  log.enabled = false;
  EXPECT_FALSE(log.IsWriting());
  log.Close();
  EXPECT_FALSE(log.IsWriting());
}

TEST_F(LogFileTest, IsTrimmedWhileOpenWhen16MegaBytesBeyondItsLimit) {
  constexpr std::uint64_t kLine = 1 << 20;
  LogFile log;
  ASSERT_TRUE(log.Open(Path(), 1000));
  const std::string line(kLine - 2, 'x');
  for (int i = 0; i < 16; ++i) log.WriteLine(line);
  EXPECT_EQ(Size(), 16 * kLine);
  log.WriteLine(std::string(996, 'y'));
  log.WriteLine("");
  log.Flush();
  EXPECT_EQ(Size(), 16 * kLine + 1000);
  log.WriteLine("the last");
  log.Flush();
  // What is kept begins after the first line end among the last thousand bytes.
  EXPECT_EQ(Size(), 12U);
  log.WriteLine("more");
  log.Close();
  EXPECT_EQ(Get(), "\r\nthe last\r\nmore\r\n");
}

TEST_F(LogFileTest, NeverGrowsFarBeyondItsLimit) {
  LogFile log;
  ASSERT_TRUE(log.Open(Path(), 5000));
  const std::string line(99998, 'x');
  std::uintmax_t largest = 0;
  for (int i = 0; i < 1000; ++i) {
    log.WriteLine(line);
    largest = std::max(largest, Size());
  }
  EXPECT_GT(largest, 16U * 1000U * 1000U);
  EXPECT_LE(largest, (std::uintmax_t{16} << 20) + 5000U);
}

TEST_F(LogFileTest, AnOversizedFileIsTrimmedByTheFirstFlush) {
  ASSERT_TRUE(directory.Put("client.log", std::string((16 << 20) + 2000, 'x') + "\r\n"));
  LogFile log;
  ASSERT_TRUE(log.Open(Path(), 1000));
  log.WriteLine("new");
  log.Flush();
  EXPECT_EQ(Size(), 5U);
}

TEST_F(LogFileTest, ASecondOpenTrimsAndClosesTheFirst) {
  ASSERT_TRUE(directory.Put("first.log", "ab\r\ncd\r\n"));
  LogFile log;
  ASSERT_TRUE(log.Open(Path("first.log"), 7));
  ASSERT_TRUE(log.Open(Path("second.log"), 1000));
  EXPECT_EQ(Get("first.log"), "cd\r\n");
  log.WriteLine("x");
  log.Close();
  EXPECT_EQ(Get("first.log"), "cd\r\n");
  EXPECT_EQ(Get("second.log"), "x\r\n");
}

TEST_F(LogFileTest, DestructionTrimsAndCloses) {
  {
    LogFile log;
    ASSERT_TRUE(log.Open(Path(), 7));
    log.WriteLine("ab");
    log.WriteLine("cd");
  }
  EXPECT_EQ(Get(), "cd\r\n");
}

TEST_F(LogFileTest, IsSharedWithNobodyWhileItIsOpen) {
  if (kPathSeparator != '\\') GTEST_SKIP() << "this system lets others read an open file";
  LogFile log;
  ASSERT_TRUE(log.Open(Path(), 1000));
  LogFile second;
  EXPECT_FALSE(second.Open(Path(), 1000));
  EXPECT_FALSE(ReadWholeFile(Path()).has_value());
  log.Close();
  EXPECT_TRUE(second.Open(Path(), 1000));
}

TEST_F(LogFileTest, IsForTheUserAlone) {
  if (kPathSeparator == '\\') GTEST_SKIP() << "no file modes here: files take the directory's rights";
  LogFile log;
  ASSERT_TRUE(log.Open(Path(), 1000));
  EXPECT_EQ(std::filesystem::status(directory.path() / "client.log").permissions(),
            std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

TEST(LogPath, IsTheProgramDirectoryAndTheNameAsItStands) {
  EXPECT_EQ(LogPath("/opt/quillbeaker/", "client.log"), "/opt/quillbeaker/client.log");
  EXPECT_EQ(LogPath("/opt/quillbeaker/", "a b%41.txt"), "/opt/quillbeaker/a b%41.txt");
  EXPECT_EQ(LogPath("/opt/quillbeaker/", "logs/client.log"), "/opt/quillbeaker/logs/client.log");
}

TEST(LogPath, IsEmptyForANameThatCouldLeadElsewhere) {
  for (const std::string_view name : {"", "..", "../x.log", "..\\x.log", "logs/../../x", "a..b", "/etc/x",
                                      "\\x", "\\\\host\\x", "C:x.log", "C:\\x.log", "x:stream"}) {
    EXPECT_EQ(LogPath("/opt/quillbeaker/", name), "") << name;
  }
}

TEST(LogPath, IsEmptyForAFileThatTheProgramKeepsItsDataIn) {
  for (const std::string_view name :
       {"Quillbeaker.ini", "QUILLBEAKER.INI", "./uniqueid.xml", ".\\spampoints.ini", "spampoints_user.ini",
        "windows.ini", "crash.txt", "recycle/recyclebin.xml", "recycle\\x.log", ".//Training/client.log",
        "providers.ini", "German.Quillbeaker.language", "uniqueid.xml.lock", "Quillbeaker.ini.new",
        "Quillbeaker.exe", "bin/help.exe"}) {
    EXPECT_EQ(LogPath("/opt/quillbeaker/", name), "") << name;
  }
  EXPECT_EQ(LogPath("/opt/quillbeaker/", "logs/recycle.log"), "/opt/quillbeaker/logs/recycle.log");
  EXPECT_EQ(LogPath("/opt/quillbeaker/", "recycle.log"), "/opt/quillbeaker/recycle.log");
}

TEST(LogPath, IsEmptyForWhatWindowsTakesForOneOfTheseFiles) {
  for (const std::string_view name :
       {"Quillbeaker.ini.", "Quillbeaker.ini ", "uniqueid.xml . .", "recycle./x.log", "training /x.log",
        "./. /windows.ini.", "QUILLB~1.INI", "quillb~2", "RECYCL~1/x.log", ".", "./", " "}) {
    EXPECT_EQ(LogPath("/opt/quillbeaker/", name), "") << name;
  }
  EXPECT_EQ(LogPath("/opt/quillbeaker/", "client.log~"), "/opt/quillbeaker/client.log~");
  EXPECT_EQ(LogPath("/opt/quillbeaker/", "~client.log"), "/opt/quillbeaker/~client.log");
}

TEST(LogLines, BeginWithTheTimeOfDayAndTheSide) {
  const CalendarTime time{2003, 2, 3, 5, 9, 8, 7, 0};
  EXPECT_EQ(TimedLine(time, 'C', "STAT"), "09:08:07 C: STAT");
  EXPECT_EQ(TimedLine(CalendarTime{2003, 2, 3, 5, 23, 59, 0, 0}, 'S', "+OK Ready"), "23:59:00 S: +OK Ready");
  EXPECT_EQ(TimedLine(time, 'S', ""), "09:08:07 S: ");
}

TEST(LogLines, LoseOneTrailingLineEndAndNoMore) {
  const CalendarTime time{2003, 2, 3, 5, 9, 8, 7, 0};
  EXPECT_EQ(TimedLine(time, 'C', "STAT\r\n"), "09:08:07 C: STAT");
  EXPECT_EQ(TimedLine(time, 'C', "STAT\r\n\r\n"), "09:08:07 C: STAT\r\n");
  EXPECT_EQ(TimedLine(time, 'C', "STAT\n"), "09:08:07 C: STAT\n");
  EXPECT_EQ(TimedLine(time, 'C', "\r\n"), "09:08:07 C: ");
}

TEST(LogLines, KeepAMultiLineReplyAsOneEntry) {
  const CalendarTime time{2003, 2, 3, 5, 9, 8, 7, 0};
  EXPECT_EQ(TimedLine(time, 'S', "+OK 2 messages\r\n1 120\r\n2 95\r\n.\r\n"),
            "09:08:07 S: +OK 2 messages\r\n1 120\r\n2 95\r\n.");
}

TEST(LogLines, MarkersHaveNineBlanksInPlaceOfTheTime) {
  EXPECT_EQ(MarkerLine('C', "PASS ********"), "         C: PASS ********");
  EXPECT_EQ(MarkerLine('S', "(message completely transferred)"),
            "         S: (message completely transferred)");
}

TEST(LogLines, BannersBeginWithAnEmptyLine) {
  const CalendarTime time{2003, 2, 3, 5, 9, 8, 7, 0};
  EXPECT_EQ(BannerLine("Client", time), "\r\nClient Log started at: 05.02.2003 - 09:08:07");
  EXPECT_EQ(BannerLine("Server", CalendarTime{812, 12, 0, 31, 23, 59, 58, 0}),
            "\r\nServer Log started at: 31.12.0812 - 23:59:58");
}

}  // namespace
}  // namespace quillbeaker
