// SPDX-License-Identifier: MIT
#include "platform/environment.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>

#include "platform/files.h"

namespace quillbeaker {
namespace {

TEST(SystemEnvironment, DirectoryEndsInOneSeparator) {
  const std::string separator(1, kPathSeparator);
  EXPECT_EQ(SystemEnvironment("a").program_directory, "a" + separator);
  EXPECT_EQ(SystemEnvironment("a" + separator).program_directory, "a" + separator);
}

TEST(SystemEnvironment, UtcIsTheWorldsClock) {
  const Environment environment = SystemEnvironment("a");
  for (int attempt = 0; attempt < 3; ++attempt) {  // the second may turn in between
    const auto now = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
    const CalendarTime utc = environment.utc_time();
    const std::chrono::year_month_day date(std::chrono::floor<std::chrono::days>(now));
    const std::chrono::hh_mm_ss time(now - std::chrono::floor<std::chrono::days>(now));
    if (utc.second != time.seconds().count() && attempt < 2) continue;
    EXPECT_EQ(utc.year, static_cast<int>(date.year()));
    EXPECT_EQ(utc.month, static_cast<unsigned>(date.month()));
    EXPECT_EQ(utc.day, static_cast<unsigned>(date.day()));
    EXPECT_EQ(utc.hour, time.hours().count());
    EXPECT_EQ(utc.minute, time.minutes().count());
    EXPECT_EQ(utc.second, time.seconds().count());
    EXPECT_LT(utc.milliseconds, 1000);
    EXPECT_EQ(utc.day_of_week, std::chrono::weekday(std::chrono::sys_days(date)).c_encoding());
    return;
  }
}

TEST(SystemEnvironment, LocalTimeIsInStepWithUtc) {
  const Environment environment = SystemEnvironment("a");
  const CalendarTime utc = environment.utc_time();
  const CalendarTime local = environment.local_time();
  // Zones differ by whole quarters of an hour.
  const int seconds = (local.minute * 60 + local.second) - (utc.minute * 60 + utc.second);
  EXPECT_LE((seconds + 3600) % 900, 5);
}

TEST(SystemEnvironment, TicksAreMilliseconds) {
  const Environment environment = SystemEnvironment("a");
  const std::uint32_t before = environment.tick_count();
  std::this_thread::sleep_for(std::chrono::milliseconds(120));
  const std::uint32_t passed = environment.tick_count() - before;
  EXPECT_GE(passed, 90u);
  EXPECT_LT(passed, 20000u);
}

TEST(ExecutableDirectory, HoldsTheTestProgram) {
  const std::string directory = ExecutableDirectory();
  ASSERT_TRUE(directory.ends_with(kPathSeparator));
  EXPECT_FALSE(ListFiles(directory, "").empty());
  const bool found = FileExists(directory + "platform_tests") || FileExists(directory + "platform_tests.exe");
  EXPECT_TRUE(found) << directory;
}

}  // namespace
}  // namespace quillbeaker
