// SPDX-License-Identifier: MIT
#include "extras/crash_report.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace quillbeaker {
namespace {

constexpr std::array<CrashFrame, 3> kFrames{
    {{"Quillbeaker.exe", 0x1a2b3}, {"ntdll.dll", 0x70}, {"", 0xdeadbeef}}};

CrashFacts Facts(std::string_view time = "2026-11-22 03:04:05 UTC") {
  return {.version = "1.7.1",
          .time = time,
          .thread = "listener",
          .thread_id = 1234,
          .code = 0xC0000005,
          .frames = kFrames};
}

std::string Written(std::string_view former, const CrashFacts& facts, std::size_t room = kLongestCrashFile) {
  std::string text(room, '\0');
  text.resize(WriteCrashFile(former, facts, text));
  return text;
}

std::size_t Reports(const std::string& file) {
  std::size_t count = 0;
  for (std::size_t at = 0; (at = file.find("--- Quillbeaker ", at)) != file.npos; ++at) ++count;
  return count;
}

const std::string kReport =
    "--- Quillbeaker 1.7.1, 2026-11-22 03:04:05 UTC\r\n"
    "thread: listener (1234)\r\n"
    "code: 0xC0000005\r\n"
    "frames:\r\n"
    "  Quillbeaker.exe+0x1A2B3\r\n"
    "  ntdll.dll+0x70\r\n"
    "  0xDEADBEEF\r\n";

TEST(WriteCrashFile, TellsWhereTheProgramFailed) {
  EXPECT_EQ(Written("", Facts()), kReport);
}

TEST(WriteCrashFile, WritesTheExampleOfThePageOnFormats) {
  std::ifstream in(QUILLBEAKER_FORMATS_PAGE, std::ios::binary);
  const std::string page{std::istreambuf_iterator<char>(in), {}};
  std::string shown;
  for (const char byte : kReport) {
    if (byte != '\r') shown += byte;
  }
  EXPECT_NE(page.find("<!-- example: crash.txt -->\n```\n" + shown + "```\n"), page.npos);
}

TEST(WriteCrashFile, KeepsTheLastThreeReports) {
  std::string file;
  for (const char* time : {"first", "second", "third", "fourth", "fifth"}) file = Written(file, Facts(time));
  EXPECT_EQ(Reports(file), 3U);
  EXPECT_EQ(file.find("second"), file.npos);
  EXPECT_TRUE(file.starts_with("--- Quillbeaker 1.7.1, third\r\n"));
  EXPECT_LT(file.find("fourth"), file.find("fifth"));
}

TEST(WriteCrashFile, AddsToWhatAPersonOrACutLeftThere) {
  EXPECT_EQ(Written("my notes\r\n", Facts()), kReport);
  EXPECT_EQ(Written("my notes\r\n" + kReport + "more notes", Facts()), kReport + "more notes\r\n" + kReport);
  EXPECT_EQ(Written("notes --- Quillbeaker is no beginning\n", Facts()), kReport);
  EXPECT_EQ(Written("--- Quillbeaker ", Facts()), "--- Quillbeaker \r\n" + kReport);
  EXPECT_EQ(Written(std::string(100000, '\0'), Facts()), kReport);
}

TEST(WriteCrashFile, TheNewReportHasRoomWhateverIsThere) {
  const std::string filling = "--- Quillbeaker " + std::string(kLongestCrashFile, 'x') + "\r\n";
  EXPECT_EQ(Written(filling, Facts()), kReport);
  EXPECT_EQ(Written(filling + kReport, Facts()), kReport + kReport);
  EXPECT_EQ(Written(kReport + filling, Facts()), kReport);
}

TEST(WriteCrashFile, LongReportsFitThreeTimes) {
  const std::string name(200, 'n');
  const std::vector<CrashFrame> frames(kMostCrashFrames + 10, CrashFrame{name, ~std::uint64_t{0}});
  CrashFacts facts = Facts();
  facts.frames = frames;
  std::string file;
  for (int i = 0; i < 4; ++i) file = Written(file, facts);
  EXPECT_EQ(Reports(file), 3U);
  EXPECT_EQ(std::count(file.begin(), file.end(), '+'), static_cast<std::ptrdiff_t>(3 * kMostCrashFrames));
  EXPECT_TRUE(file.ends_with("+0xFFFFFFFFFFFFFFFF\r\n"));
  EXPECT_LT(file.size(), kLongestCrashFile);
}

TEST(WriteCrashFile, WritesNoFurtherThanItsRoom) {
  for (std::size_t room = 0; room <= kReport.size(); ++room) {
    EXPECT_EQ(Written(kReport, Facts(), room), kReport.substr(0, room));
  }
}

}  // namespace
}  // namespace quillbeaker
