// SPDX-License-Identifier: MIT
#include "config/ini_document.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace quillbeaker {
namespace {

// What a look-up gives, with "(missing)" in the place of nothing, so that a failure shows both.
std::string Found(const IniDocument& document, std::string_view section, std::string_view key) {
  const std::optional<std::string_view> value = document.Find(section, key);
  return value ? std::string(*value) : "(missing)";
}

// The entries of a section as text: key, "=" when there is one, value, each followed by "|".
std::string Listed(const IniDocument& document, std::string_view section) {
  std::string text;
  for (const IniEntry& entry : document.Section(section)) {
    text += entry.key;
    if (entry.has_value) text += '=';
    text += entry.value;
    text += '|';
  }
  return text;
}

TEST(IniDocument, FindsAKeyInItsSection) {
  const IniDocument document("[QUILLBEAKER]\r\nEnable=1\r\n[SERVER]\r\nPort=2110\r\n");
  EXPECT_EQ(Found(document, "QUILLBEAKER", "Enable"), "1");
  EXPECT_EQ(Found(document, "SERVER", "Port"), "2110");
  EXPECT_EQ(Found(document, "QUILLBEAKER", "Port"), "(missing)");
  EXPECT_EQ(Found(document, "SENDERS", "Port"), "(missing)");
}

TEST(IniDocument, SectionAndKeyMatchWithoutRegardToCase) {
  const IniDocument document("[Quillbeaker]\r\nAutoCheckForUpdates=7\r\n");
  EXPECT_EQ(Found(document, "QUILLBEAKER", "autocheckforupdates"), "7");
  EXPECT_EQ(Found(document, "quillbeaker", "AUTOCHECKFORUPDATES"), "7");
  EXPECT_EQ(Listed(document, "qUILLbEAKER"), "AutoCheckForUpdates=7|");
}

TEST(IniDocument, CaseIsFoldedForAsciiLettersOnly) {
  const IniDocument document("[A]\r\n\xC4=upper\r\n\xE4=lower\r\n");
  EXPECT_EQ(Found(document, "A", "\xC4"), "upper");
  EXPECT_EQ(Found(document, "A", "\xE4"), "lower");
}

TEST(IniDocument, LineFeedAloneEndsALineToo) {
  const IniDocument document("[A]\nx=1\ny=2\r\n[B]\nz=3");
  EXPECT_EQ(Found(document, "A", "x"), "1");
  EXPECT_EQ(Found(document, "A", "y"), "2");
  EXPECT_EQ(Found(document, "B", "z"), "3");
}

TEST(IniDocument, KeyAndValueAreTrimmedOfBlanks) {
  const IniDocument document("[A]\r\n  x   =   one two  \r\n");
  EXPECT_EQ(Found(document, "A", "x"), "one two");
  EXPECT_EQ(Listed(document, "A"), "x=one two|");
}

TEST(IniDocument, TheValueBeginsBehindTheFirstEqualsSign) {
  const IniDocument document("[A]\r\nx=a=b=c\r\n");
  EXPECT_EQ(Found(document, "A", "x"), "a=b=c");
}

TEST(IniDocument, AnEmptyValueIsFoundAsEmpty) {
  const IniDocument document("[A]\r\nx=\r\n");
  EXPECT_EQ(Found(document, "A", "x"), "");
}

TEST(IniDocument, LinesThatBeginWithASemicolonAreSkipped) {
  const IniDocument document("[A]\r\n;x=1\r\ny=2;3\r\n;[B]\r\nz=4\r\n");
  EXPECT_EQ(Found(document, "A", "x"), "(missing)");
  EXPECT_EQ(Found(document, "A", ";x"), "(missing)");
  EXPECT_EQ(Found(document, "A", "y"), "2;3");
  EXPECT_EQ(Found(document, "A", "z"), "4");
  EXPECT_EQ(Listed(document, "A"), "y=2;3|z=4|");
}

TEST(IniDocument, AKeyMayBeginWithANumberSign) {
  const IniDocument document("[PROBABILITIES]\r\n#1=40\r\n");
  EXPECT_EQ(Found(document, "PROBABILITIES", "#1"), "40");
  EXPECT_EQ(Listed(document, "PROBABILITIES"), "#1=40|");
}

TEST(IniDocument, OfEqualKeysTheFirstCounts) {
  const IniDocument document("[A]\r\nx=first\r\nX=second\r\n");
  EXPECT_EQ(Found(document, "A", "x"), "first");
  EXPECT_EQ(Found(document, "A", "X"), "first");
}

TEST(IniDocument, OfEqualSectionsTheFirstCounts) {
  const IniDocument document("[A]\r\nx=first\r\n[B]\r\n[a]\r\nx=second\r\ny=third\r\n");
  EXPECT_EQ(Found(document, "A", "x"), "first");
  EXPECT_EQ(Found(document, "A", "y"), "(missing)");
  EXPECT_EQ(Listed(document, "a"), "x=first|");
}

TEST(IniDocument, OnePairOfQuotesIsTakenOffWhereASingleKeyIsRead) {
  const IniDocument document(
      "[A]\r\ndouble=\"one\"\r\nsingle='two'\r\ninside=a\"b\"c\r\nmixed=\"three'\r\nopen=\"four\r\n"
      "twice=\"\"five\"\"\r\nnested=\"'six'\"\r\nblanks=\"  seven  \"\r\nempty=\"\"\r\n");
  EXPECT_EQ(Found(document, "A", "double"), "one");
  EXPECT_EQ(Found(document, "A", "single"), "two");
  EXPECT_EQ(Found(document, "A", "inside"), "a\"b\"c");
  EXPECT_EQ(Found(document, "A", "mixed"), "\"three'");
  EXPECT_EQ(Found(document, "A", "open"), "\"four");
  EXPECT_EQ(Found(document, "A", "twice"), "\"five\"");
  EXPECT_EQ(Found(document, "A", "nested"), "'six'");
  EXPECT_EQ(Found(document, "A", "blanks"), "  seven  ");
  EXPECT_EQ(Found(document, "A", "empty"), "");
}

TEST(IniDocument, ASingleQuoteCharacterIsNoPair) {
  const IniDocument document("[A]\r\nx=\"\r\ny='\r\n");
  EXPECT_EQ(Found(document, "A", "x"), "\"");
  EXPECT_EQ(Found(document, "A", "y"), "'");
}

TEST(IniDocument, QuotesStayWhereAWholeSectionIsRead) {
  const IniDocument document("[SENDERS]\r\na@b=\"Bob\",2\r\nc@d=\"x\"\r\ne@f='y'\r\n");
  EXPECT_EQ(Listed(document, "SENDERS"), "a@b=\"Bob\",2|c@d=\"x\"|e@f='y'|");
}

TEST(IniDocument, ASectionListsItsLinesInFileOrderWithRepetitions) {
  const IniDocument document("[A]\r\n\r\nb=2\r\n   \r\na=1\r\nB=3\r\n; c=4\r\n[C]\r\nd=5\r\n");
  EXPECT_EQ(Listed(document, "A"), "b=2|a=1|B=3|");
  EXPECT_EQ(Listed(document, "missing"), "");
}

TEST(IniDocument, ALineWithoutEqualsSignIsAKeyWithoutValue) {
  const IniDocument document("[PROBABILITIES]\r\n  cheap pills  \r\nx=\r\n");
  const std::vector<IniEntry> entries = document.Section("PROBABILITIES");
  ASSERT_EQ(entries.size(), 2U);
  EXPECT_EQ(entries[0].key, "cheap pills");
  EXPECT_FALSE(entries[0].has_value);
  EXPECT_EQ(entries[0].value, "");
  EXPECT_EQ(entries[1].key, "x");
  EXPECT_TRUE(entries[1].has_value);
  EXPECT_EQ(Found(document, "PROBABILITIES", "cheap pills"), "(missing)");
}

TEST(IniDocument, LinesBeforeTheFirstSectionBelongToNone) {
  const IniDocument document("x=0\r\n[A]\r\nx=1\r\n");
  EXPECT_EQ(Found(document, "A", "x"), "1");
  EXPECT_EQ(Listed(document, "A"), "x=1|");
  EXPECT_EQ(document.Serialise(), "x=0\r\n[A]\r\nx=1\r\n");
}

TEST(IniDocument, EightBitAndZeroBytesAreOrdinary) {
  const std::string bytes("[A]\r\nx=\xE4\0\xFF!\r\ny=2\r\n", 18);
  const IniDocument document(bytes);
  EXPECT_EQ(Found(document, "A", "x"), std::string("\xE4\0\xFF!", 4));
  EXPECT_EQ(Found(document, "A", "y"), "2");
  EXPECT_EQ(document.Serialise(), bytes);
}

TEST(IniDocument, AnEmptyTextHasNothingAndSerialisesToNothing) {
  const IniDocument document("");
  EXPECT_EQ(Found(document, "A", "x"), "(missing)");
  EXPECT_EQ(document.Serialise(), "");
  EXPECT_EQ(IniDocument().Serialise(), "");
}

TEST(IniDocument, SerialisingEndsEveryLineWithCarriageReturnAndLineFeed) {
  EXPECT_EQ(IniDocument("[A]\r\nx=1\n\n; note\r\nlast").Serialise(), "[A]\r\nx=1\r\n\r\n; note\r\nlast\r\n");
}

TEST(IniDocument, AFileWhoseLinesAllEndInLineFeedKeepsThemSo) {
  IniDocument document("[A]\nx=1\n\n; note\nlast");
  EXPECT_EQ(document.Serialise(), "[A]\nx=1\n\n; note\nlast\n");
  EXPECT_TRUE(document.Set("A", "x", "2"));
  EXPECT_TRUE(document.Set("B", "y", "3"));
  EXPECT_EQ(document.Serialise(), "[A]\nx=2\n\n; note\nlast\n[B]\ny=3\n");
}

TEST(IniDocument, WhatItDoesNotUnderstandSurvivesAsItStood) {
  const std::string bytes =
      "; heading\r\nodd line\r\n\r\n[A]\r\n  spaced =  value  \r\n[unclosed\r\n=no key\r\n[B] "
      "behind\r\n\"x\"=\"y\"\r\n";
  EXPECT_EQ(IniDocument(bytes).Serialise(), bytes);
}

TEST(IniDocument, SettingChangesOneLineAndLeavesTheOthersAsTheyStood) {
  IniDocument document(
      "; first comment\r\n[A]\r\n  odd   =  kept  \r\nx=1\r\n; second "
      "comment\r\nunknown\r\nX=2\r\n\r\n[B]\r\nx=3\r\n");
  document.Set("a", "x", "new");
  EXPECT_EQ(document.Serialise(),
            "; first comment\r\n[A]\r\n  odd   =  kept  \r\nx=new\r\n; second "
            "comment\r\nunknown\r\nX=2\r\n\r\n[B]\r\nx=3\r\n");
  EXPECT_EQ(Found(document, "A", "X"), "new");
}

TEST(IniDocument, SettingANewKeyAddsItAtTheEndOfItsSection) {
  IniDocument document("[A]\r\nx=1\r\n[B]\r\ny=2\r\n");
  document.Set("A", "z", "3");
  EXPECT_EQ(document.Serialise(), "[A]\r\nx=1\r\nz=3\r\n[B]\r\ny=2\r\n");
  EXPECT_EQ(Found(document, "A", "z"), "3");
  document.Set("B", "last", "4");
  EXPECT_EQ(document.Serialise(), "[A]\r\nx=1\r\nz=3\r\n[B]\r\ny=2\r\nlast=4\r\n");
}

TEST(IniDocument, SettingANewKeyGoesToTheFirstOfEqualSections) {
  IniDocument document("[A]\r\nx=1\r\n[a]\r\ny=2\r\n");
  document.Set("A", "y", "3");
  EXPECT_EQ(document.Serialise(), "[A]\r\nx=1\r\ny=3\r\n[a]\r\ny=2\r\n");
}

TEST(IniDocument, SettingInAMissingSectionAddsTheSectionAtTheEnd) {
  IniDocument document("[A]\r\nx=1\r\n");
  document.Set("SERVER", "Port", "2110");
  EXPECT_EQ(document.Serialise(), "[A]\r\nx=1\r\n[SERVER]\r\nPort=2110\r\n");
  IniDocument empty;
  empty.Set("SERVER", "Port", "2110");
  EXPECT_EQ(empty.Serialise(), "[SERVER]\r\nPort=2110\r\n");
  EXPECT_EQ(Found(empty, "server", "port"), "2110");
}

TEST(IniDocument, SettingBehindALastLineWithoutEndKeepsThatLineWhole) {
  IniDocument document("[A]\r\nx=1");
  document.Set("A", "y", "2");
  EXPECT_EQ(document.Serialise(), "[A]\r\nx=1\r\ny=2\r\n");
}

TEST(IniDocument, AQuotedValueIsGivenBackWithItsQuotes) {
  for (const std::string value : {"\"x\"", "'x'", "\"\"", "\"a\" and \"b\"", "\"'x'\"", "''"}) {
    IniDocument document;
    document.Set("A", "k", value);
    EXPECT_EQ(Found(document, "A", "k"), value);
    EXPECT_EQ(Found(IniDocument(document.Serialise()), "A", "k"), value);
  }
}

TEST(IniDocument, AnyOtherValueIsWrittenWithoutQuotesOfItsOwn) {
  IniDocument document;
  document.Set("A", "k", "one \"two\" three");
  document.Set("A", "l", "'");
  EXPECT_EQ(document.Serialise(), "[A]\r\nk=one \"two\" three\r\nl='\r\n");
  EXPECT_EQ(Found(document, "A", "k"), "one \"two\" three");
  EXPECT_EQ(Found(document, "A", "l"), "'");
}

TEST(IniDocument, AKeyThatAFileCanNotHoldIsRefused) {
  const std::string bytes = "[A]\r\nx=1\r\n";
  for (const std::string_view key : {"", "a=b", "=", ";x", "[x", "[B]"}) {
    IniDocument document(bytes);
    EXPECT_FALSE(document.Set("A", key, "2")) << key;
    EXPECT_FALSE(document.Set("New", key, "2")) << key;
    EXPECT_EQ(document.Serialise(), bytes) << key;
  }
  IniDocument document(bytes);
  EXPECT_TRUE(document.Set("A", "a;[b", "2"));
  EXPECT_EQ(Found(IniDocument(document.Serialise()), "A", "a;[b"), "2");
}

TEST(IniDocument, ControlBytesThatAreSetBecomeBlanks) {
  IniDocument document;
  EXPECT_TRUE(document.Set("A", "k\r\n[S]", "v\r\n[T]\tx\x1F!"));
  EXPECT_EQ(document.Serialise(), "[A]\r\nk  [S]=v  [T] x !\r\n");
}

TEST(IniDocument, AByteOrderMarkIsKeptAndHidesNothing) {
  const std::string bytes = "\xEF\xBB\xBF[A]\r\nx=1\r\n";
  IniDocument document(bytes);
  EXPECT_EQ(Found(document, "A", "x"), "1");
  EXPECT_EQ(document.Serialise(), bytes);
}

TEST(IniDocument, RemovingTakesTheFirstLineOfTheKeyAway) {
  IniDocument document("[A]\r\n; note\r\nx=1\r\nX=2\r\ny=3\r\n");
  EXPECT_TRUE(document.Remove("a", "x"));
  EXPECT_EQ(document.Serialise(), "[A]\r\n; note\r\nX=2\r\ny=3\r\n");
  EXPECT_EQ(Found(document, "A", "x"), "2");
  EXPECT_TRUE(document.Remove("A", "x"));
  EXPECT_EQ(Found(document, "A", "x"), "(missing)");
  EXPECT_FALSE(document.Remove("A", "x"));
  EXPECT_FALSE(document.Remove("B", "y"));
  EXPECT_EQ(document.Serialise(), "[A]\r\n; note\r\ny=3\r\n");
}

TEST(IniDocument, AKeyThatWasRemovedCanBeSetAgain) {
  IniDocument document("[A]\r\nx=1\r\ny=2\r\n");
  ASSERT_TRUE(document.Remove("A", "x"));
  document.Set("A", "x", "3");
  EXPECT_EQ(document.Serialise(), "[A]\r\ny=2\r\nx=3\r\n");
  EXPECT_EQ(Found(document, "A", "x"), "3");
}

TEST(IniDocument, ACopyIsIndependentOfItsOriginal) {
  IniDocument original("[A]\r\nx=1\r\n");
  IniDocument copy = original;
  copy.Set("A", "x", "2");
  copy.Set("A", "y", "3");
  EXPECT_EQ(Found(original, "A", "x"), "1");
  EXPECT_EQ(Found(original, "A", "y"), "(missing)");
  original = IniDocument("[B]\r\nz=4\r\n");
  EXPECT_EQ(Found(copy, "A", "x"), "2");
  EXPECT_EQ(Found(copy, "A", "y"), "3");
}

TEST(IniDocument, ASectionHasNoLimitOfSizeAndIsFilledInLinearTime) {
  constexpr int kKeys = 100000;
  const auto started = std::chrono::steady_clock::now();
  IniDocument document;
  document.Set("OTHER", "x", "1");
  document.Set("SENDERS", "first", "1");
  document.Set("OTHER", "y", "1");
  for (int i = 0; i < kKeys; ++i) document.Set("SENDERS", "user" + std::to_string(i) + "@example.org", ",1");
  const IniDocument again(document.Serialise());
  int found = 0;
  for (int i = 0; i < kKeys; ++i) {
    if (again.Find("senders", "USER" + std::to_string(i) + "@EXAMPLE.ORG") == ",1") ++found;
  }
  EXPECT_EQ(found, kKeys);
  EXPECT_EQ(again.Section("SENDERS").size(), static_cast<std::size_t>(kKeys) + 1);
  EXPECT_EQ(Found(again, "OTHER", "y"), "1");
  // Quadratic work over 100,000 keys takes minutes.
  EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(30));
}

TEST(IniDocument, AnyBytesAtAllAreTakenAndSerialiseToTheSameTextTwice) {
  std::mt19937 random(20060302);
  constexpr std::string_view kAlphabet("[]=;\"' \t\r\nabA\0\xE4#", 16);
  for (int round = 0; round < 2000; ++round) {
    std::string bytes;
    const std::size_t length = random() % 60;
    while (bytes.size() < length) bytes.push_back(kAlphabet[random() % kAlphabet.size()]);
    // With its line end added, such a last line would look like one of a file with both kinds of ends.
    while (!bytes.empty() && bytes.back() == '\r') bytes.pop_back();
    const std::string once = IniDocument(bytes).Serialise();
    EXPECT_EQ(IniDocument(once).Serialise(), once);
    IniDocument changed(bytes);
    changed.Set("a", "b", "value");
    EXPECT_EQ(Found(changed, "A", "B"), "value");
    EXPECT_EQ(Found(IniDocument(changed.Serialise()), "A", "B"), "value") << bytes;
  }
}

}  // namespace
}  // namespace quillbeaker
