// SPDX-License-Identifier: MIT
// A fresh installation: every key that is read so far gives its documented default, and reading makes no
// file.
#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "config/keys.h"
#include "config/program.h"
#include "support/test_program.h"

namespace quillbeaker {
namespace {

struct IntegerCase {
  const IntegerKey& key;
  std::string_view section;
  std::string_view name;
  std::int32_t value;
};

void PrintTo(const IntegerCase& integer_case, std::ostream* out) {
  *out << integer_case.name;
}

// Names and values are written out a second time here, so that a slip in the one place they are kept in
// shows.
const IntegerCase kIntegerCases[] = {
    {keys::kEnable, "QUILLBEAKER", "Enable", 1},
    {keys::kAggressiveness, "QUILLBEAKER", "Aggressiveness", 50},
    {keys::kFilterWordEnable, "QUILLBEAKER", "FilterWordEnable", 1},
    {keys::kFilterWordHtml, "QUILLBEAKER", "FilterWordHTML", 1},
    {keys::kFilterLearningEnable, "QUILLBEAKER", "FilterLearningEnable", 1},
    {keys::kFilterMaxMessageSize, "QUILLBEAKER", "FilterMaxMessageSize", 65536},
    {keys::kUidChecking, "QUILLBEAKER", "UIDChecking", 1},
    {keys::kRecycleBinMaxDays, "QUILLBEAKER", "RecycleBinMaxDays", 30},
    {keys::kRecycleOldMessagesLast, "QUILLBEAKER", "RecycleOldMessagesLast", 0},
    {keys::kTrainingAreaMaxMemory, "QUILLBEAKER", "TrainingAreaMaxMemory", 2048},
    {keys::kLogFileClientMaxSize, "QUILLBEAKER", "LogFileClientMaxSize", 102400},
    {keys::kLogFileServerMaxSize, "QUILLBEAKER", "LogFileServerMaxSize", 102400},
    {keys::kAutoAbortOnTimeout, "QUILLBEAKER", "AutoAbortOnTimeout", 0},
    {keys::kRestoreAndTrust, "QUILLBEAKER", "RestoreAndTrust", 11},
    {keys::kConvertedSpamPoints096, "QUILLBEAKER", "ConvertedSpamPoints096", 0},
    {keys::kPort, "SERVER", "Port", 110},
    {keys::kTimeout, "SERVER", "Timeout", 60},
};

class IntegerDefault : public testing::TestWithParam<IntegerCase> {};

TEST_P(IntegerDefault, IsReadWithoutAFileAndMakesNone) {
  test::TestProgram surroundings;
  EXPECT_EQ(surroundings.program().Read(GetParam().key), GetParam().value);
  EXPECT_EQ(surroundings.directory.Names(), std::vector<std::string>());
}

TEST_P(IntegerDefault, GivesWayToTheValueUnderItsDocumentedName) {
  test::TestProgram surroundings;
  const std::string line =
      "[" + std::string(GetParam().section) + "]\r\n" + std::string(GetParam().name) + "=4711\r\n";
  ASSERT_TRUE(surroundings.directory.Put("Quillbeaker.ini", line));
  EXPECT_EQ(surroundings.program().Read(GetParam().key), 4711);
}

TEST_P(IntegerDefault, IsZeroNotTheDefaultForATextWithoutDigits) {
  test::TestProgram surroundings;
  const std::string line =
      "[" + std::string(GetParam().section) + "]\r\n" + std::string(GetParam().name) + "=abc\r\n";
  ASSERT_TRUE(surroundings.directory.Put("Quillbeaker.ini", line));
  EXPECT_EQ(surroundings.program().Read(GetParam().key), 0);
}

TEST_P(IntegerDefault, IsWrittenUnderItsDocumentedName) {
  test::TestProgram surroundings;
  EXPECT_TRUE(surroundings.program().Write(GetParam().key, -42));
  EXPECT_EQ(surroundings.directory.Get("Quillbeaker.ini").value_or("(missing)"),
            "[" + std::string(GetParam().section) + "]\r\n" + std::string(GetParam().name) + "=-42\r\n");
  EXPECT_EQ(surroundings.program().Read(GetParam().key), -42);
}

INSTANTIATE_TEST_SUITE_P(KeysThatAreRead, IntegerDefault, testing::ValuesIn(kIntegerCases),
                         [](const auto& key_case) { return std::string(key_case.param.name); });

class ConfigurationDefaults : public testing::Test {
 protected:
  test::TestProgram surroundings;
};

TEST_F(ConfigurationDefaults, LogNamesAreReadWithoutAFile) {
  EXPECT_EQ(surroundings.program().Read(keys::kLogFileClientFileName), "client.log");
  EXPECT_EQ(surroundings.program().Read(keys::kLogFileServerFileName), "server.log");
  EXPECT_EQ(surroundings.directory.Names(), std::vector<std::string>());
}

TEST_F(ConfigurationDefaults, LogNamesAreCutToTwoHundredAndFiftyNineCharacters) {
  ASSERT_TRUE(surroundings.Configure("LogFileClientFileName=" + std::string(300, 'c') +
                                     "\r\nLogFileServerFileName=" + std::string(259, 's')));
  EXPECT_EQ(surroundings.program().Read(keys::kLogFileClientFileName), std::string(259, 'c'));
  EXPECT_EQ(surroundings.program().Read(keys::kLogFileServerFileName), std::string(259, 's'));
}

TEST_F(ConfigurationDefaults, AChangedKeyActsAtTheNextRead) {
  Program& program = surroundings.program();
  EXPECT_EQ(program.Read(keys::kAggressiveness), 50);
  ASSERT_TRUE(surroundings.Configure("Aggressiveness=25"));
  EXPECT_EQ(program.Read(keys::kAggressiveness), 25);
  ASSERT_TRUE(surroundings.Configure("Aggressiveness=75"));
  EXPECT_EQ(program.Read(keys::kAggressiveness), 75);
  ASSERT_TRUE(surroundings.directory.Remove("Quillbeaker.ini"));
  EXPECT_EQ(program.Read(keys::kAggressiveness), 50);
}

TEST_F(ConfigurationDefaults, AKeyIsFoundInASectionSpeltInMixedCase) {
  ASSERT_TRUE(
      surroundings.directory.Put("Quillbeaker.ini", "[Quillbeaker]\nenable=0\n[server]\nport=2110\n"));
  EXPECT_EQ(surroundings.program().Read(keys::kEnable), 0);
  EXPECT_EQ(surroundings.program().Read(keys::kPort), 2110);
}

TEST_F(ConfigurationDefaults, PathsAreTheProgramDirectoryAndTheNameAsItStands) {
  const std::string directory = surroundings.directory.utf8();
  ASSERT_EQ(directory.back(), kPathSeparator);
  EXPECT_EQ(surroundings.program().PathOf("client.log"), directory + "client.log");
  EXPECT_EQ(surroundings.program().PathOf(""), directory);
  EXPECT_EQ(surroundings.program().PathOf("/etc/x"), directory + "/etc/x");
  EXPECT_EQ(surroundings.program().configuration.path(), directory + "Quillbeaker.ini");
  EXPECT_EQ(surroundings.program().spam_words.path(), directory + "spampoints.ini");
  EXPECT_EQ(surroundings.program().user_spam_words.path(), directory + "spampoints_user.ini");
}

TEST_F(ConfigurationDefaults, TodayIsTheDayNumberOfTheLocalDateNow) {
  // 2 March 2006, and the last moment of that year while it is already 2007 in UTC.
  EXPECT_EQ(surroundings.program().Today(), 2453797);
  surroundings.clock.local = CalendarTime{2006, 12, 0, 31, 23, 59, 59, 999};
  surroundings.clock.utc = CalendarTime{2007, 1, 1, 1, 0, 59, 59, 999};
  EXPECT_EQ(surroundings.program().Today(), 2454101);
  surroundings.clock.local = CalendarTime{2007, 1, 1, 1, 0, 0, 0, 0};
  EXPECT_EQ(surroundings.program().Today(), 2454102);
}

}  // namespace
}  // namespace quillbeaker
