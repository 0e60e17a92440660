// SPDX-License-Identifier: MIT
// Encoded words (RFC 2047) of header values: the first is undone, what follows it is dropped.

#include <gtest/gtest.h>

#include <string>

#include "message/decoded_text.h"

namespace quillbeaker {
namespace {

TEST(DecodeEncodedWord, DropsEverythingBehindTheFirstWord) {
  EXPECT_EQ(DecodeEncodedWord("Re: =?ISO-8859-1?Q?Gr=FC=DFe?= =?ISO-8859-1?Q?_und?= x"),
            "Re: Gr\xFC\xDF"
            "e");
  EXPECT_EQ(DecodeEncodedWord("=?x?B?SGVsbG8=?= and more"), "Hello");
}

TEST(DecodeEncodedWord, TakesBothEncodingsInEitherCase) {
  EXPECT_EQ(DecodeEncodedWord("=?utf-8?q?a_b?="), "a b");
  EXPECT_EQ(DecodeEncodedWord("=?utf-8?Q?a_b?="), "a b");
  EXPECT_EQ(DecodeEncodedWord("=?utf-8?b?SGVsbG8=?="), "Hello");
  EXPECT_EQ(DecodeEncodedWord("=?utf-8?B?SGVsbG8?="), "Hello");
}

TEST(DecodeEncodedWord, LeavesValuesWithoutEncodedWord) {
  EXPECT_EQ(DecodeEncodedWord("plain_value =41 ?= x"), "plain_value =41 ?= x");
  EXPECT_EQ(DecodeEncodedWord(""), "");
  EXPECT_EQ(DecodeEncodedWord("="), "=");
}

TEST(DecodeEncodedWord, StopsAtTheFirstThatIsMalformed) {
  EXPECT_EQ(DecodeEncodedWord("a =?x?K?b?= c"), "a =?x?K?b?= c");
  EXPECT_EQ(DecodeEncodedWord("a =?x?Qb?= c"), "a =?x?Qb?= c");
  EXPECT_EQ(DecodeEncodedWord("=?foo =?utf-8?Q?a?= b"), "=?foo =?utf-8?Q?a?= b");
  EXPECT_EQ(DecodeEncodedWord("=?x?K?a?= =?x?Q?b?="), "=?x?K?a?= =?x?Q?b?=");
}

TEST(DecodeEncodedWord, ATruncatedPrefixStaysAsItIs) {
  for (const char* value : {"a =?", "a =?x", "a =?x?", "a =?x?Q", "a =?x?B"})
    EXPECT_EQ(DecodeEncodedWord(value), value);
}

TEST(DecodeEncodedWord, WithoutEndRunsToTheEndOfTheValue) {
  EXPECT_EQ(DecodeEncodedWord("a =?x?Q?b_c=41"), "a b cA");
  EXPECT_EQ(DecodeEncodedWord("a =?x?B?SGVsbG8"), "a Hello");
  EXPECT_EQ(DecodeEncodedWord("a =?x?Q?"), "a ");
}

TEST(DecodeEncodedWord, TheEndIsSearchedBehindThePrefix) {
  EXPECT_EQ(DecodeEncodedWord("=?x?Q?=41?="), "A");
  EXPECT_EQ(DecodeEncodedWord("a =?x?Q?"
                              "?= b"),
            "a ");
}

TEST(DecodeEncodedWord, TheCharsetMayBeOfAnyLength) {
  EXPECT_EQ(DecodeEncodedWord("=?" + std::string(200, 'c') + "?Q?a_b?= x"), "a b");
  EXPECT_EQ(DecodeEncodedWord("=??Q?a_b?= x"), "a b");
}

TEST(DecodeEncodedWord, DecodesInPlaceWithTheBytesThatStandThere) {
  EXPECT_EQ(DecodeEncodedWord("=?x?Q?a=00b?="), "a=b");
  EXPECT_EQ(DecodeEncodedWord("=?x?Q?b=?="), "b=");
  EXPECT_EQ(DecodeEncodedWord("=?x?Q?b=4?= tail"), "b=4");
}

TEST(DecodeEncodedWord, MayGiveAnyByte) {
  EXPECT_EQ(DecodeEncodedWord("=?x?Q?a=0D=0AX:_b?="), "a\r\nX: b");
  EXPECT_EQ(DecodeEncodedWord("=?x?B?AEE=?="), std::string("\0A", 2));
}

}  // namespace
}  // namespace quillbeaker
