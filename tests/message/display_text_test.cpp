// SPDX-License-Identifier: MIT
#include "message/display_text.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace quillbeaker {
namespace {

constexpr std::string_view kReplaced = "\xEF\xBF\xBD";

TEST(Latin1ToUtf8, GivesEveryByteTheCodePointOfItsNumber) {
  EXPECT_EQ(Latin1ToUtf8("a\x7F\x80\xE4\xFF"), "a\x7F\xC2\x80\xC3\xA4\xC3\xBF");
  EXPECT_EQ(Latin1ToUtf8(std::string_view("\0", 1)), std::string("\0", 1));
}

TEST(DisplayText, ShowsAsciiAsItIs) {
  EXPECT_EQ(DisplayText("Hello,\r\n\tworld ~"), "Hello,\r\n\tworld ~");
}

TEST(DisplayText, TakesValidUtf8ForWhatItIs) {
  EXPECT_EQ(DisplayText("Gr\xC3\xBC\xC3\x9F"
                        "e"),
            "Gr\xC3\xBC\xC3\x9F"
            "e");
  EXPECT_EQ(DisplayText("\xE2\x82\xAC \xF0\x9F\x98\x80"), "\xE2\x82\xAC \xF0\x9F\x98\x80");
}

TEST(DisplayText, ReadsAllElseAsWindows1252) {
  EXPECT_EQ(DisplayText("Gr\xFC\xDF"
                        "e"),
            "Gr\xC3\xBC\xC3\x9F"
            "e");
  EXPECT_EQ(DisplayText("\x80 10"), "\xE2\x82\xAC 10");    // the euro sign
  EXPECT_EQ(DisplayText("\x9F\xA0"), "\xC5\xB8\xC2\xA0");  // Y with diaeresis, no-break space
  EXPECT_EQ(DisplayText("\x81"), kReplaced);               // no character has this byte
}

TEST(DisplayText, DoesNotTakeBrokenUtf8ForUtf8) {
  EXPECT_EQ(DisplayText("\xC3"), "\xC3\x83");                           // cut off
  EXPECT_EQ(DisplayText("\xC0\xAF"), "\xC3\x80\xC2\xAF");               // overlong
  EXPECT_EQ(DisplayText("\xE0\x9F\xBF").substr(0, 2), "\xC3\xA0");      // overlong
  EXPECT_EQ(DisplayText("\xED\xA0\x80").substr(0, 2), "\xC3\xAD");      // surrogate
  EXPECT_EQ(DisplayText("\xF4\x90\xA0\xA0").substr(0, 2), "\xC3\xB4");  // beyond the last code point
  EXPECT_EQ(DisplayText("\xC3\xBC\xFC"), "\xC3\x83\xC2\xBC\xC3\xBC");   // one bad byte decides for all
}

TEST(DisplayText, ReplacesWhatCouldWriteOverTheScreen) {
  EXPECT_EQ(DisplayText("a\x1B[2Jb"), "a" + std::string(kReplaced) + "[2Jb");
  EXPECT_EQ(DisplayText("a\x08\x7F"), "a" + std::string(kReplaced) + std::string(kReplaced));
  EXPECT_EQ(DisplayText("x\xE2\x80\xAEtxt"), "x" + std::string(kReplaced) + "txt");  // right-to-left override
  EXPECT_EQ(DisplayText("x\xE2\x81\xA6y"), "x" + std::string(kReplaced) + "y");      // isolate
  EXPECT_EQ(DisplayText("\xC2\x9B"), kReplaced);                                     // a C1 control
}

TEST(DisplayLine, StaysOnOneLine) {
  EXPECT_EQ(DisplayLine("a\r\nb\tc\x1B[K"), "a  b c [K");
  EXPECT_EQ(DisplayLine("Gr\xFC\n"), "Gr\xC3\xBC ");
  EXPECT_EQ(DisplayLine("x\x7F"), "x" + std::string(kReplaced));
}

TEST(IsUtf8, TellsBytesFromText) {
  EXPECT_TRUE(IsUtf8(""));
  EXPECT_TRUE(IsUtf8("a\xC3\xBC"));
  EXPECT_FALSE(IsUtf8("a\xFC"));
  EXPECT_FALSE(IsUtf8("a\xC3"));
}

TEST(Latin1FromTyped, ConvertsWhatLatin1HasAndKeepsAllElse) {
  EXPECT_EQ(Latin1FromTyped("bob@x"), "bob@x");
  EXPECT_EQ(Latin1FromTyped("J\xC3\xB6rg \xC3\xBF"), "J\xF6rg \xFF");
  EXPECT_EQ(Latin1FromTyped("\xC3\xB6 \xE2\x82\xAC"), "\xC3\xB6 \xE2\x82\xAC");
  EXPECT_EQ(Latin1FromTyped("\xF6 \xC3"), "\xF6 \xC3");
}

TEST(FirstColumns, CutsNoCharacter) {
  EXPECT_EQ(FirstColumns("abc", 2), "ab");
  EXPECT_EQ(FirstColumns("abc", 3), "abc");
  EXPECT_EQ(FirstColumns("", 3), "");
  EXPECT_EQ(FirstColumns("a\xC3\xBC\xC3\x9F", 2), "a\xC3\xBC");
  EXPECT_EQ(FirstColumns("a\xE6\xBC\xA2z", 2), "a");  // two columns wide
  EXPECT_EQ(FirstColumns("a\xE6\xBC\xA2z", 3), "a\xE6\xBC\xA2");
  EXPECT_EQ(FirstColumns("\xFC\xFC\xFC", 2), "\xFC\xFC");
}

}  // namespace
}  // namespace quillbeaker
