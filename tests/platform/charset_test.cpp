// SPDX-License-Identifier: MIT
#include "platform/charset.h"

#include <gtest/gtest.h>

#include <string>

namespace quillbeaker {
namespace {

using Converted = std::optional<std::string>;

TEST(Charset, ConvertsTheCharacterSetsOfMail) {
  EXPECT_EQ(Utf8FromCharset("Gr\xFC\xDF", "ISO-8859-1"), Converted("Gr\xC3\xBC\xC3\x9F"));
  EXPECT_EQ(Utf8FromCharset("\x80", "windows-1252"), Converted("\xE2\x82\xAC"));
  EXPECT_EQ(Utf8FromCharset("\xA4", "iso-8859-15"), Converted("\xE2\x82\xAC"));
  EXPECT_EQ(Utf8FromCharset("\xF0\xD2\xC9", "KOI8-R"), Converted("\xD0\x9F\xD1\x80\xD0\xB8"));
  EXPECT_EQ(Utf8FromCharset("\xCF\xF0\xE8", "Windows-1251"), Converted("\xD0\x9F\xD1\x80\xD0\xB8"));
  EXPECT_EQ(Utf8FromCharset("\x93\xFA\x96\x7B", "Shift_JIS"), Converted("\xE6\x97\xA5\xE6\x9C\xAC"));
  EXPECT_EQ(Utf8FromCharset("\xC4\xE3\xBA\xC3", "gb2312"), Converted("\xE4\xBD\xA0\xE5\xA5\xBD"));
  EXPECT_EQ(Utf8FromCharset("", "koi8-r"), Converted(""));
  EXPECT_EQ(Utf8FromCharset("plain", "US-ASCII"), Converted("plain"));
}

TEST(Charset, RefusesWhatItDoesNotKnow) {
  for (const char* name : {"", "x-unknown", "utf-7", "utf-16", "koi8-r//IGNORE", "../../evil",
                           "a name that is longer than any that there is"}) {
    EXPECT_EQ(Utf8FromCharset("abc", name), std::nullopt) << name;
  }
}

TEST(Charset, RefusesBytesThatAreNotValidInIt) {
  EXPECT_EQ(Utf8FromCharset("a\xE4", "us-ascii"), std::nullopt);
  EXPECT_EQ(Utf8FromCharset("\x93", "shift_jis"), std::nullopt);  // cut off
  EXPECT_EQ(Utf8FromCharset("\xC4", "gbk"), std::nullopt);
}

}  // namespace
}  // namespace quillbeaker
