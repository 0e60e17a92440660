// SPDX-License-Identifier: MIT
#include "config/settings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "config/ascii.h"
#include "support/test_program.h"

namespace quillbeaker {
namespace {

const Setting& Named(std::string_view name) {
  const Setting* setting = FindSetting(name);
  EXPECT_NE(setting, nullptr) << name;
  return setting ? *setting : AllSettings().front();
}

std::string Shown(std::string_view name, std::string_view file) {
  return ShownValue(Named(name), IniDocument(file));
}

// The text that would be stored, or the fault's number in brackets.
std::string Stored(std::string_view name, std::string_view shown) {
  const StoredValue value = StoredForm(Named(name), shown);
  if (value.fault == SettingFault::kNone) return value.text;
  EXPECT_EQ(value.text, "");
  return '<' + std::to_string(static_cast<int>(value.fault)) + '>';
}

std::string Fault(SettingFault fault) {
  return '<' + std::to_string(static_cast<int>(fault)) + '>';
}

// The cells of a row of the documentation's table, without the marks of code.
std::vector<std::string> CellsOf(std::string line) {
  std::erase(line, '`');
  std::vector<std::string> cells;
  std::size_t begin = 1;
  for (std::size_t end = line.find('|', begin); end != line.npos; end = line.find('|', begin)) {
    cells.emplace_back(TrimBlanks(std::string_view(line).substr(begin, end - begin)));
    begin = end + 1;
  }
  return cells;
}

struct DocumentedKey {
  std::string unit;
  std::string standard;
};

std::map<std::pair<std::string, std::string>, DocumentedKey> DocumentedKeys() {
  std::map<std::pair<std::string, std::string>, DocumentedKey> keys;
  std::ifstream page{std::filesystem::path(QUILLBEAKER_FORMATS_PAGE)};
  for (std::string line; std::getline(page, line);) {
    if (!line.starts_with("| `QUILLBEAKER` |") && !line.starts_with("| `SERVER` |")) continue;
    const std::vector<std::string> cells = CellsOf(line);
    if (cells.size() < 5) continue;
    const bool is_new = keys.try_emplace({cells[0], cells[1]}, DocumentedKey{cells[2], cells[3]}).second;
    EXPECT_TRUE(is_new) << cells[1];
  }
  return keys;
}

std::string StoredDefault(const Setting& setting) {
  return setting.number ? std::to_string(setting.number->default_value)
                        : std::string(setting.text->default_value);
}

TEST(Settings, TheDocumentationListsExactlyTheseWithTheirDefaults) {
  auto documented = DocumentedKeys();
  for (const Setting& setting : AllSettings()) {
    std::string section(setting.section());
    std::transform(section.begin(), section.end(), section.begin(), ToUpperAscii);
    const auto found = documented.find({section, std::string(setting.name())});
    ASSERT_NE(found, documented.end()) << setting.name() << " is not documented";
    const std::string standard = found->second.standard == "empty" ? "" : found->second.standard;
    EXPECT_EQ(standard, StoredDefault(setting)) << setting.name();
    EXPECT_EQ(found->second.unit == "0 or 1",
              setting.kind() == SettingKind::kFlag || setting.name() == keys::kConvertedSpamPoints096.name)
        << setting.name();
    EXPECT_EQ(found->second.unit == "days", setting.kind() == SettingKind::kDays) << setting.name();
    documented.erase(found);
  }
  for (const auto& [key, row] : documented) ADD_FAILURE() << key.second << " is documented and no setting";
}

TEST(Settings, EveryNameIsThereOnceAndFoundInAnyCase) {
  std::set<std::string> names;
  for (const Setting& setting : AllSettings()) {
    EXPECT_NE(setting.number == nullptr, setting.text == nullptr);
    const std::string lower = LowerAscii(setting.name());
    EXPECT_TRUE(names.insert(lower).second) << lower;
    EXPECT_EQ(FindSetting(lower), &setting);
  }
  EXPECT_EQ(FindSetting("Nothing"), nullptr);
  EXPECT_EQ(FindSetting(""), nullptr);
}

TEST(Settings, EveryDefaultIsOneThatAPersonMayChoose) {
  for (const Setting& setting : AllSettings()) {
    if (setting.kind() == SettingKind::kKept) continue;
    const StoredValue stored = StoredForm(setting, ShownDefault(setting));
    EXPECT_EQ(stored.fault, SettingFault::kNone) << setting.name();
    EXPECT_EQ(stored.text, StoredDefault(setting)) << setting.name();
  }
}

TEST(Settings, ThreeKeysAreWrittenInTheOtherSpellingOfTheirSection) {
  std::set<std::string_view> names;
  for (const Setting& setting : AllSettings()) {
    if (setting.section() == "Quillbeaker") names.insert(setting.name());
  }
  EXPECT_EQ(names, (std::set<std::string_view>{"AutoCheckForUpdates", "AutoCheckForUpdatesDays",
                                               "ShowPredefinedWords"}));
}

TEST(Settings, NumbersAreShownInTheirUnit) {
  EXPECT_EQ(Shown("LogFileClientMaxSize", ""), "100");
  EXPECT_EQ(Shown("LogFileClientMaxSize", "[QUILLBEAKER]\nLogFileClientMaxSize=2047\n"), "1");
  EXPECT_EQ(Shown("FilterMaxMessageSize", "[quillbeaker]\nfiltermaxmessagesize=0\n"), "0");
  EXPECT_EQ(Shown("RecycleBinMaxDays", "[QUILLBEAKER]\nRecycleBinMaxDays=7 days\n"), "7");
  EXPECT_EQ(Shown("RecycleBinMaxDays", "[QUILLBEAKER]\nRecycleBinMaxDays=\n"), "0");
  EXPECT_EQ(Shown("Language", "[QUILLBEAKER]\nLanguage=" + std::string(400, 'x')), std::string(259, 'x'));
}

TEST(Settings, NumbersAreStoredInTheFilesUnit) {
  EXPECT_EQ(Stored("LogFileClientMaxSize", "100"), "102400");
  EXPECT_EQ(Stored("TrainingAreaMaxMemory", "100"), "100");
  EXPECT_EQ(Stored("RecycleBinMaxDays", "007"), "7");
}

TEST(Settings, ASizeInKilobytesNeverLeavesThirtyTwoBits) {
  EXPECT_EQ(Stored("LogFileServerMaxSize", "2097151"), "2147482624");
  EXPECT_EQ(Stored("LogFileServerMaxSize", "2097152"), "2147483647");
  EXPECT_EQ(Stored("LogFileServerMaxSize", "999999999"), "2147483647");
}

TEST(Settings, OnlyWholeNumbersOfNineDigitsAreTaken) {
  for (const char* text : {"", " ", "abc", "-1", "+1", "1.5", "1e3", "0x10", "12 ", " 12", "1000000000",
                           "99999999999999999999"}) {
    EXPECT_EQ(Stored("RecycleBinMaxDays", text), Fault(SettingFault::kNotANumber)) << text;
  }
  EXPECT_EQ(Stored("RecycleBinMaxDays", std::string_view("1\0", 2)), Fault(SettingFault::kNotANumber));
  EXPECT_EQ(Stored("RecycleBinMaxDays", "999999999"), "999999999");
}

TEST(Settings, LimitsAndChoicesAreKept) {
  EXPECT_EQ(Stored("Port", "0"), Fault(SettingFault::kOutOfLimits));
  EXPECT_EQ(Stored("Port", "65535"), "65535");
  EXPECT_EQ(Stored("Port", "65536"), Fault(SettingFault::kOutOfLimits));
  EXPECT_EQ(Stored("Enable", "2"), Fault(SettingFault::kOutOfLimits));
  EXPECT_EQ(Stored("Aggressiveness", "75"), "75");
  EXPECT_EQ(Stored("Aggressiveness", "60"), Fault(SettingFault::kNoChoice));
  EXPECT_EQ(Stored("TrayDblClk", "40004"), "40004");
  EXPECT_EQ(Stored("TrayDblClk", "40013"), Fault(SettingFault::kNoChoice));
  EXPECT_EQ(Stored("Security", "StartTLS"), "starttls");
  EXPECT_EQ(Stored("Security", "ssl"), Fault(SettingFault::kNoChoice));
  EXPECT_EQ(Stored("Security", ""), Fault(SettingFault::kNoChoice));
  EXPECT_EQ(Stored("RecycleOldMessagesLast", "1"), Fault(SettingFault::kKept));
}

TEST(Settings, ATextIsOneLineThatItsReaderTakesWhole) {
  EXPECT_EQ(Stored("LogFileClientFileName", "a\r\nPort=1"), "a  Port=1");
  EXPECT_EQ(Stored("LogFileClientFileName", ""), "");
  EXPECT_EQ(Stored("LogFileClientFileName", std::string(259, 'x')), std::string(259, 'x'));
  EXPECT_EQ(Stored("LogFileClientFileName", std::string(260, 'x')), Fault(SettingFault::kTooLong));
}

TEST(SettingChanges, EachFileIsWrittenOnce) {
  test::TestProgram one;
  ASSERT_TRUE(one.Configure("Enable=1"));
  SettingChanges changes;
  changes.Set(Named("Enable"), "0");
  changes.Set(Named("ShowPredefinedWords"), "0");
  changes.Set(Named("Port"), "2110");
  changes.user_spam_words.push_back({"PROBABILITIES", "free", "70"});
  EXPECT_EQ(changes.Save(one.program()), "");
  EXPECT_EQ(one.directory.Get("Quillbeaker.ini"),
            "[QUILLBEAKER]\r\nEnable=0\r\nShowPredefinedWords=0\r\n[SERVER]\r\nPort=2110\r\n");
  EXPECT_EQ(one.directory.Get("spampoints_user.ini"), "[PROBABILITIES]\r\nfree=70\r\n");
  EXPECT_TRUE(changes.configuration.empty());
  EXPECT_TRUE(changes.user_spam_words.empty());
}

TEST(SettingChanges, NoChangeMakesNoFile) {
  test::TestProgram one;
  SettingChanges changes;
  EXPECT_EQ(changes.Save(one.program()), "");
  EXPECT_EQ(one.directory.Names(), std::vector<std::string>());
}

TEST(SettingChanges, WhatCouldNotBeSavedIsNamedAndKeptForTheNextTry) {
  test::TestProgram one;
  ASSERT_TRUE(one.Configure("Enable=1"));
  ASSERT_TRUE(one.directory.Put("spampoints_user.ini", "[PROBABILITIES]\r\n"));
  one.directory.SetReadOnly("spampoints_user.ini", true);
  SettingChanges changes;
  changes.Set(Named("Enable"), "0");
  changes.user_spam_words.push_back({"PROBABILITIES", "free", "70"});
  EXPECT_EQ(changes.Save(one.program()), one.program().PathOf("spampoints_user.ini"));
  EXPECT_EQ(changes.configuration.size(), 1u) << "it comes last: its notices follow from its being saved";
  EXPECT_EQ(changes.user_spam_words.size(), 1u);
  EXPECT_EQ(one.directory.Get("Quillbeaker.ini").value_or("").find("Enable=0"), std::string::npos);
  one.directory.SetReadOnly("spampoints_user.ini", false);
  EXPECT_EQ(changes.Save(one.program()), "");
  EXPECT_EQ(one.directory.Get("spampoints_user.ini"), "[PROBABILITIES]\r\nfree=70\r\n");
  EXPECT_NE(one.directory.Get("Quillbeaker.ini").value_or("").find("Enable=0"), std::string::npos);
}

}  // namespace
}  // namespace quillbeaker
