// SPDX-License-Identifier: MIT
#include "extras/language_choice.h"

#include <gtest/gtest.h>

#include <string>

#include "config/keys.h"
#include "support/test_program.h"

namespace quillbeaker {
namespace {

constexpr std::uint16_t kGerman = 0x407;
constexpr std::uint16_t kAustrianGerman = 0xC07;
constexpr std::uint16_t kSwissGerman = 0x807;
constexpr std::uint16_t kEnglish = 0x409;

class LanguageChoice : public testing::Test {
 protected:
  void PutFile(const std::string& name, int id) {
    ASSERT_TRUE(WriteWholeFile(
        program().PathOf(name),
        "[information]\nlanguage = " + std::to_string(id) + "\n[texts]\n140 = " + name + "\n", false));
  }
  void Set(std::string_view value) {
    ASSERT_TRUE(program().configuration.WriteString("QUILLBEAKER", "Language", value));
  }
  // Name of the file that is found for the user's language.
  std::string FoundFor(std::uint16_t id) {
    const auto language = FindLanguage(program().environment.program_directory, kLanguageFilePattern, id);
    return language ? language->information.file_name : "(none)";
  }
  Program& program() { return world_.program(); }

  test::TestProgram world_;
};

TEST_F(LanguageChoice, IsLeftToTheUsersLanguageWhileTheKeyIsEmpty) {
  EXPECT_EQ(ReadLanguageSetting(program()).kind, LanguageSetting::Kind::kByUser);
  Set("");
  EXPECT_EQ(ReadLanguageSetting(program()).kind, LanguageSetting::Kind::kByUser);
  EXPECT_FALSE(LoadSetLanguage(program()).has_value());
}

TEST_F(LanguageChoice, DefaultInAnyCaseIsTheBuiltInEnglish) {
  PutFile("default", kGerman);
  for (const std::string_view value : {"default", "DEFAULT", "Default"}) {
    Set(value);
    EXPECT_EQ(ReadLanguageSetting(program()).kind, LanguageSetting::Kind::kBuiltIn) << value;
    EXPECT_FALSE(LoadSetLanguage(program()).has_value()) << value;
  }
}

TEST_F(LanguageChoice, NamesAFileOfTheProgramDirectory) {
  PutFile("mine.Quillbeaker.language", kGerman);
  Set("mine.Quillbeaker.language");
  EXPECT_EQ(ReadLanguageSetting(program()).kind, LanguageSetting::Kind::kFile);
  const auto language = LoadSetLanguage(program());
  ASSERT_TRUE(language.has_value());
  EXPECT_EQ(language->texts.front().utf8, "mine.Quillbeaker.language");
  EXPECT_EQ(language->information.file_name, "mine.Quillbeaker.language");
}

TEST_F(LanguageChoice, NeverLeadsOutOfTheProgramDirectory) {
  ASSERT_TRUE(MakeDirectory(program().PathOf("sub")));
  PutFile("sub/mine", kGerman);
  for (const std::string_view value :
       {"sub/mine", "sub\\mine", "../mine", "..", "C:mine", "mine:stream", "a..b"}) {
    Set(value);
    EXPECT_EQ(ReadLanguageSetting(program()).kind, LanguageSetting::Kind::kBuiltIn) << value;
    EXPECT_FALSE(LoadSetLanguage(program()).has_value()) << value;
  }
}

TEST_F(LanguageChoice, MissingOrBrokenIsEnglishAndStaysInTheConfiguration) {
  Set("none.Quillbeaker.language");
  EXPECT_FALSE(LoadSetLanguage(program()).has_value());
  EXPECT_EQ(program().Read(keys::kLanguage), "none.Quillbeaker.language");
  ASSERT_TRUE(WriteWholeFile(program().PathOf("broken"), "\xff\xfe[", false));
  Set("broken");
  EXPECT_FALSE(LoadSetLanguage(program()).has_value());
  EXPECT_EQ(program().Read(keys::kLanguage), "broken");
}

TEST_F(LanguageChoice, ByTheUsersLanguageIsTheExactOneElseItsPrimaryLanguageElseNone) {
  EXPECT_EQ(FoundFor(kGerman), "(none)");
  PutFile("a.Quillbeaker.language", kSwissGerman);
  PutFile("b.quillbeaker.LANGUAGE", kGerman);
  PutFile("c.Quillbeaker.language", 0x40C);
  PutFile("other.language", kEnglish);
  EXPECT_EQ(FoundFor(kGerman), "b.quillbeaker.LANGUAGE");
  EXPECT_EQ(FoundFor(kSwissGerman), "a.Quillbeaker.language");
  EXPECT_EQ(FoundFor(kAustrianGerman), "a.Quillbeaker.language");
  EXPECT_EQ(FoundFor(kEnglish), "(none)");
}

TEST_F(LanguageChoice, ByTheUsersLanguagePassesOverBrokenFilesAndThoseWithoutALanguage) {
  ASSERT_TRUE(WriteWholeFile(program().PathOf("a.Quillbeaker.language"),
                             "[information]\nlanguage = 0x407\n[texts]\n140 = \xff\n", false));
  ASSERT_TRUE(WriteWholeFile(program().PathOf("b.Quillbeaker.language"), "[texts]\n140 = b\n", false));
  PutFile("'c.Quillbeaker.language", kGerman);  // the configuration would drop the apostrophe
  EXPECT_EQ(FoundFor(kGerman), "(none)");
  EXPECT_EQ(FoundFor(0), "(none)");
}

TEST_F(LanguageChoice, OnceMadeIsTheSettingFromThenOn) {
  const std::string name = "Fran\u00e7ais \u0420.Quillbeaker.language";
  PutFile(name, 0x40C);
  const auto found = FindLanguage(program().environment.program_directory, kLanguageFilePattern, 0x40C);
  ASSERT_TRUE(found.has_value());
  EXPECT_TRUE(WriteLanguageSetting(program(), found->information));
  EXPECT_EQ(ReadLanguageSetting(program()).file_name, name);
  EXPECT_TRUE(LoadSetLanguage(program()).has_value());
}

}  // namespace
}  // namespace quillbeaker
