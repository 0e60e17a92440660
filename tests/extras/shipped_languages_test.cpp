// SPDX-License-Identifier: MIT
// The language files that come with the program, read as the program reads them. What a translator could get
// wrong beyond that is held against the resources by tools/check_languages.py.

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "config/texts.h"
#include "extras/language_choice.h"
#include "extras/language_file.h"
#include "platform/files.h"

namespace quillbeaker {
namespace {

const std::string kDirectory = QUILLBEAKER_LANGUAGE_DIRECTORY;

std::vector<std::string> ShippedFiles() {
  return ListFiles(kDirectory, ".Quillbeaker.language");
}

TEST(ShippedLanguages, AreReadWithoutAComplaint) {
  ASSERT_EQ(ShippedFiles().size(), 5u);
  for (const std::string& name : ShippedFiles()) {
    const auto language = LoadLanguage(kDirectory, name);
    ASSERT_TRUE(language.has_value()) << name;
    for (const LanguageComplaint& complaint : language->complaints) {
      ADD_FAILURE() << name << ", line " << complaint.line << ": problem "
                    << static_cast<int>(complaint.problem);
    }
    EXPECT_EQ(SetTranslatedTexts(language->texts), 0u) << name;
    EXPECT_NE(TextOf(Text::kCrashQuestion), EnglishText(Text::kCrashQuestion)) << name;
    EXPECT_EQ(language->commands.contains({121, 40002}), true) << name;
    EXPECT_FALSE(language->information.name.empty()) << name;
    EXPECT_FALSE(language->information.author.empty()) << name;
  }
  SetTranslatedTexts({});
}

// A mail program's user name is made of them, and a line that ends within one would be copied wrongly.
TEST(ShippedLanguages, NoLineIsBrokenWithinBrackets) {
  for (const std::string& name : ShippedFiles()) {
    const auto language = LoadLanguage(kDirectory, name);
    ASSERT_TRUE(language.has_value()) << name;
    SetTranslatedTexts(language->texts);
    const std::string text(TextOf(Text::kWrongUserName));
    int parts = 0;
    for (std::size_t begin = text.find('['); begin != text.npos; begin = text.find('[', begin + 1), ++parts) {
      const std::size_t end = text.find(']', begin);
      ASSERT_NE(end, text.npos) << name;
      EXPECT_GE(text.find_first_of(" -", begin), end) << name << ": " << text;
    }
    EXPECT_EQ(parts, 3) << name << ": " << text;
  }
  SetTranslatedTexts({});
}

TEST(ShippedLanguages, AreFoundForTheirUsers) {
  struct User {
    std::uint16_t language;
    const char* file;
  };
  for (const User& user : {User{0x407, "German"}, User{0xC07, "German"}, User{0x40C, "French"},
                           User{0xC0C, "French"}, User{0xC0A, "Spanish"}, User{0x80A, "Spanish"},
                           User{0x410, "Italian"}, User{0x413, "Dutch"}, User{0x813, "Dutch"}}) {
    const auto language = FindLanguage(kDirectory, kLanguageFilePattern, user.language);
    ASSERT_TRUE(language.has_value()) << user.language;
    EXPECT_EQ(language->information.file_name, std::string(user.file) + ".Quillbeaker.language");
  }
  EXPECT_FALSE(FindLanguage(kDirectory, kLanguageFilePattern, 0x409).has_value());
  EXPECT_FALSE(FindLanguage(kDirectory, kLanguageFilePattern, 0x411).has_value());
}

// The console's own texts, 300 to 399 and 700 to 799, may stay English.
TEST(ShippedLanguages, HaveEveryTextOfTheWindows) {
  for (const std::string& name : ShippedFiles()) {
    const auto language = LoadLanguage(kDirectory, name);
    ASSERT_TRUE(language.has_value()) << name;
    std::set<int> numbers;
    for (const TranslatedText& text : language->texts) {
      numbers.insert(text.number);
    }
    for (const TextRow& row : AllTexts()) {
      const int number = static_cast<int>(row.text);
      if ((number >= 300 && number <= 399) || (number >= 700 && number <= 799)) {
        continue;
      }
      EXPECT_EQ(numbers.contains(number), row.kind != TextKind::kKept) << name << ": " << number;
    }
  }
}

}  // namespace
}  // namespace quillbeaker
