// SPDX-License-Identifier: MIT
#include "extras/setting_text.h"

#include <gtest/gtest.h>

#include <string>

#include "support/test_program.h"

namespace quillbeaker {
namespace {

class SettingText : public testing::Test {
 protected:
  const Setting& Named(std::string_view name) { return *FindSetting(name); }
  std::string Shown(std::string_view name) {
    return ReadableValue(Named(name), *one.program().configuration.Read());
  }
  StoredValue Typed(std::string_view name, std::string_view utf8) {
    return StoredFromTyped(one.program(), Named(name), utf8);
  }

  test::TestProgram one;
};

TEST_F(SettingText, ALogsNameIsTypedAndReadAsUtf8AndKeptAsTheFilesBytes) {
  const StoredValue stored = Typed("LogFileClientFileName", "\xC3\xBC.log");
  ASSERT_EQ(stored.fault, SettingFault::kNone);
  EXPECT_EQ(stored.text, "\xFC.log");
  ASSERT_TRUE(one.Configure("LogFileClientFileName=" + stored.text));
  EXPECT_EQ(Shown("LogFileClientFileName"), "\xC3\xBC.log");
}

TEST_F(SettingText, ALanguageMustBeThere) {
  EXPECT_EQ(Typed("Language", "").fault, SettingFault::kNone);
  EXPECT_EQ(Typed("Language", "Default").fault, SettingFault::kNone);
  EXPECT_EQ(Typed("Language", "Mine.Quillbeaker.language").fault, SettingFault::kNoSuchLanguage);
  ASSERT_TRUE(
      one.directory.Put("Mine.Quillbeaker.language", "[information]\nname = Mine\nlanguage = 0x0407\n"));
  EXPECT_EQ(Typed("Language", "Mine.Quillbeaker.language").text, "Mine.Quillbeaker.language");
  EXPECT_EQ(Typed("Language", "../Mine.Quillbeaker.language").fault, SettingFault::kNoSuchLanguage);
  ASSERT_TRUE(one.directory.Put("Broken.Quillbeaker.language", std::string("\0", 1)));
  EXPECT_EQ(Typed("Language", "Broken.Quillbeaker.language").fault, SettingFault::kNoSuchLanguage);
}

TEST_F(SettingText, OnlyPortAndLanguageWaitForTheNextStart) {
  std::string names;
  for (const Setting& setting : AllSettings()) {
    if (ActsAtNextStart(setting)) names += std::string(setting.name()) + ' ';
  }
  EXPECT_EQ(names, "Language Port ");
}

}  // namespace
}  // namespace quillbeaker
