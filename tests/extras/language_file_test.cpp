// SPDX-License-Identifier: MIT
#include "extras/language_file.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/test_program.h"

namespace quillbeaker {
namespace {

constexpr std::string_view kGerman =
    "; a translation\n"
    "[information]\n"
    "name = Deutsch\n"
    "language = 0x0407\n"
    "author = A. Translator\n"
    "\n"
    "[texts]\n"
    "140 = L\u00f6schen\n"
    "163 = - %i Nachrichten gel\u00f6scht\n"
    "[dialog 108]\n"
    "caption = Einstellungen\n"
    "2 = Abbrechen\n"
    "[menu 120]\n"
    "popup 0 = Nachricht\n"
    "40008 = Nachricht &anzeigen\\tEingabe\n";

// The complaints as "line:problem".
std::vector<std::pair<std::size_t, LanguageProblem>> ComplaintsOf(std::string_view bytes) {
  std::vector<std::pair<std::size_t, LanguageProblem>> found;
  const auto language = ParseLanguage(bytes);
  EXPECT_TRUE(language.has_value());
  for (const LanguageComplaint& complaint : language.value_or(Language()).complaints) {
    found.emplace_back(complaint.line, complaint.problem);
  }
  return found;
}

using Complaints = std::vector<std::pair<std::size_t, LanguageProblem>>;

// The one text of a file that gives only this line to text 140.
std::string TextOfLine(const std::string& line) {
  const auto language = ParseLanguage("[texts]\n" + line + "\n");
  return language && language->texts.size() == 1 ? language->texts.front().utf8 : "(none)";
}

void ExpectGerman(const std::optional<Language>& language) {
  ASSERT_TRUE(language.has_value());
  EXPECT_EQ(language->information.name, "Deutsch");
  EXPECT_EQ(language->information.id, 0x407);
  EXPECT_EQ(language->information.author, "A. Translator");
  ASSERT_EQ(language->texts.size(), 2u);
  EXPECT_EQ(language->texts[0].number, 140);
  EXPECT_EQ(language->texts[0].utf8, "L\u00f6schen");
  EXPECT_EQ(language->controls.at({108, kCaption}), "Einstellungen");
  EXPECT_EQ(language->controls.at({108, 2}), "Abbrechen");
  EXPECT_EQ(language->popups.at({120, "0"}), "Nachricht");
  EXPECT_EQ(language->commands.at({120, 40008}), "Nachricht &anzeigen\tEingabe");
  EXPECT_TRUE(language->complaints.empty());
}

TEST(LanguageFile, HoldsInformationTextsDialogsAndMenus) {
  ExpectGerman(ParseLanguage(kGerman));
}

TEST(LanguageFile, MayBeginWithAByteOrderMarkAndEndItsLinesAsWindowsDoes) {
  std::string windows = "\xEF\xBB\xBF";
  for (const char c : kGerman) {
    windows += c == '\n' ? "\r\n" : std::string(1, c);
  }
  ExpectGerman(ParseLanguage(windows));
}

TEST(LanguageFile, NamesSectionsAndKeysWithoutRegardToCaseAndBlanks) {
  const auto language = ParseLanguage(
      "  [ TEXTS ]\n 140=a\n[Dialog   108]\nCAPTION=b\n[MENU 0x79]\nPopUp 1.0 = c\n[Information]\nLanguage = "
      "1031\n");
  ASSERT_TRUE(language.has_value());
  EXPECT_TRUE(language->complaints.empty());
  EXPECT_EQ(language->texts.front().utf8, "a");
  EXPECT_EQ(language->controls.at({108, kCaption}), "b");
  EXPECT_EQ(language->popups.at({121, "1.0"}), "c");
  EXPECT_EQ(language->information.id, 0x407);
}

TEST(LanguageFile, TakesEscapesOutAndLeavesOtherBlanksIn) {
  EXPECT_EQ(TextOfLine("140 = a\\nb\\tc\\\\n"), "a\nb\tc\\n");
  EXPECT_EQ(TextOfLine("140 =  a "), " a ");
  EXPECT_EQ(TextOfLine("140=a"), "a");
  EXPECT_EQ(TextOfLine("140 = a = b ; c"), "a = b ; c");
  EXPECT_EQ(TextOfLine("140 = \"&a\""), "\"&a\"");
}

TEST(LanguageFile, LeavesOutATextThatIsMalformed) {
  using enum LanguageProblem;
  EXPECT_EQ(ComplaintsOf("[texts]\n140 = \\q\n141 = a\\\n142 = a\x01"
                         "b\n145 = a\tb\n147 = a\rb\n148 = \x7f\n"),
            (Complaints{{2, kMalformedText},
                        {3, kMalformedText},
                        {4, kMalformedText},
                        {5, kMalformedText},
                        {6, kMalformedText},
                        {7, kMalformedText}}));
  EXPECT_EQ(TextOfLine("140 = \\q"), "(none)");
}

TEST(LanguageFile, AnEmptyTextIsNotTranslatedYet) {
  const auto language = ParseLanguage("[texts]\n140 =\n141 = \n[dialog 108]\ncaption =\n");
  ASSERT_TRUE(language.has_value());
  EXPECT_TRUE(language->texts.empty());
  EXPECT_TRUE(language->controls.empty());
  EXPECT_TRUE(language->complaints.empty());
}

TEST(LanguageFile, OfTwoEntriesTheFirstStands) {
  using enum LanguageProblem;
  const std::string twice =
      "[information]\nname = a\nname = b\nlanguage = 7\nlanguage = 9\n"
      "[texts]\n140 = a\n140 = b\n[dialog 108]\n2 = a\n2 = b\n[menu 121]\n3 = a\n3 = b\npopup 0 = a\npopup 0 "
      "= b\n";
  EXPECT_EQ(ComplaintsOf(twice), (Complaints{{3, kDuplicate},
                                             {5, kDuplicate},
                                             {8, kDuplicate},
                                             {11, kDuplicate},
                                             {14, kDuplicate},
                                             {16, kDuplicate}}));
  const auto language = ParseLanguage(twice);
  EXPECT_EQ(language->information.name, "a");
  EXPECT_EQ(language->information.id, 7);
  EXPECT_EQ(language->texts.front().utf8, "a");
  EXPECT_EQ(language->controls.at({108, 2}), "a");
  EXPECT_EQ(language->commands.at({121, 3}), "a");
  EXPECT_EQ(language->popups.at({121, "0"}), "a");
}

TEST(LanguageFile, LeavesOutWhatItDoesNotKnow) {
  using enum LanguageProblem;
  EXPECT_EQ(
      ComplaintsOf(
          "stray = a\n[pictures]\n1 = a\n[dialog]\n[dialog x]\n[texts 1]\n[dialog 108\n[dialog 70000]\n"
          "[texts]\nno entry\nx = a\n0 = a\n70000 = a\n121 = a\n183 = a\n202 = a\n"
          "[dialog 108]\nx = a\n-1 = a\n[menu 120]\npopup = a\npopup . = a\npopup 0..1 = a\npopup x = a\n"
          "[information]\ncolour = red\nlanguage = German\n"),
      (Complaints{{1, kNoEntry},        {2, kUnknownSection}, {4, kUnknownSection}, {5, kUnknownSection},
                  {6, kUnknownSection}, {7, kUnknownSection}, {8, kUnknownSection}, {10, kNoEntry},
                  {11, kUnknownKey},    {12, kUnknownKey},    {13, kUnknownKey},    {14, kUnknownText},
                  {15, kUnknownText},   {16, kUnknownText},   {18, kUnknownKey},    {19, kUnknownKey},
                  {21, kUnknownKey},    {22, kUnknownKey},    {23, kUnknownKey},    {24, kUnknownKey},
                  {26, kUnknownKey},    {27, kMalformedText}}));
}

TEST(LanguageFile, RefusesFormatsWithOtherConversions) {
  using enum LanguageProblem;
  const std::string wrong =
      "[texts]\n114 = Verbinde\n115 = %i von %i (%s)\n127 = %n\n163 = %s\n169 = 100% sicher, %s\n"
      "[dialog 128]\n1040 = H\u00f6chstens %s (%i)\n1041 = %f\n1039 = 100%\n"
      "[dialog 136]\n1024 = %s\n[dialog 137]\n1024 = %i\n";
  EXPECT_EQ(ComplaintsOf(wrong), (Complaints{{2, kOtherConversions},
                                             {3, kOtherConversions},
                                             {4, kOtherConversions},
                                             {5, kOtherConversions},
                                             {8, kOtherConversions},
                                             {9, kOtherConversions},
                                             {12, kOtherConversions}}));
  const auto right = ParseLanguage(
      "[dialog 128]\n1040 = Maximum: %i (%s)\n1041 = Schnitt: %.2f\n[dialog 136]\n1024 = %s (%s)?\n");
  EXPECT_TRUE(right->complaints.empty());
  EXPECT_EQ(right->controls.size(), 3u);
}

TEST(LanguageFile, IsBrokenWhenItIsNoUtf8OrTooLarge) {
  EXPECT_FALSE(ParseLanguage("[texts]\n140 = L\xf6schen\n").has_value());
  EXPECT_FALSE(ParseLanguage("[texts]\n140 = \xed\xa0\x80\n").has_value());
  EXPECT_FALSE(ParseLanguage(std::string_view("[texts]\n\0", 9)).has_value());
  std::string large(kMostLanguageFileBytes, '\n');
  EXPECT_TRUE(ParseLanguage(large).has_value());
  large += '\n';
  EXPECT_FALSE(ParseLanguage(large).has_value());
}

TEST(LanguageFile, LeavesOutATextThatIsTooLong) {
  using enum LanguageProblem;
  const std::string longest(kMostTranslatedBytes, 'x');
  EXPECT_EQ(TextOfLine("140 = " + longest), longest);
  EXPECT_EQ(ComplaintsOf("[texts]\n140 = " + longest + "x"), (Complaints{{2, kTooLong}}));
}

TEST(LanguageFile, AnEmptyOneHasNoTexts) {
  const auto language = ParseLanguage("");
  ASSERT_TRUE(language.has_value());
  EXPECT_EQ(language->information.id, 0);
  EXPECT_TRUE(language->texts.empty());
}

TEST(LanguageFile, IsLoadedWithItsName) {
  test::TestDirectory directory;
  ASSERT_TRUE(WriteWholeFile(directory.PathOf("d.Quillbeaker.language"), kGerman, false));
  const auto language = LoadLanguage(directory.utf8(), "d.Quillbeaker.language");
  ExpectGerman(language);
  EXPECT_EQ(language->information.file_name, "d.Quillbeaker.language");
  EXPECT_FALSE(LoadLanguage(directory.utf8(), "none.Quillbeaker.language").has_value());
  ASSERT_TRUE(MakeDirectory(directory.PathOf("folder")));
  EXPECT_FALSE(LoadLanguage(directory.utf8(), "folder").has_value());
  ASSERT_TRUE(WriteWholeFile(directory.PathOf("big"), std::string(kMostLanguageFileBytes + 1, '\n'), false));
  EXPECT_FALSE(LoadLanguage(directory.utf8(), "big").has_value());
}

}  // namespace
}  // namespace quillbeaker
