// SPDX-License-Identifier: MIT
#include "message/header_text.h"

#include <gtest/gtest.h>

namespace quillbeaker {
namespace {

TEST(HeaderToShow, DecodesEveryEncodedWord) {
  EXPECT_EQ(HeaderToShow("Re: =?ISO-8859-1?Q?Gr=FC=DFe?= =?ISO-8859-1?Q?_und?= x"),
            "Re: Gr\xC3\xBC\xC3\x9F"
            "e und x");
  EXPECT_EQ(HeaderToShow("=?koi8-r?B?8NLJ?= and =?UTF-8*en?q?=C3=BC?="),
            "\xD0\x9F\xD1\x80\xD0\xB8 and \xC3\xBC");
  // A character that two words share.
  EXPECT_EQ(HeaderToShow("=?utf-8?q?=C3?= =?utf-8?q?=BC?="), "\xC3\xBC");
  EXPECT_EQ(HeaderToShow("=?koi8-r?q?=F0?=\t=?windows-1251?q?=CF?="), "\xD0\x9F\xD0\x9F");
}

TEST(HeaderToShow, ShowsTheRestAsBytesAreShown) {
  EXPECT_EQ(HeaderToShow("Gr\xFC\xDF"), "Gr\xC3\xBC\xC3\x9F");
  EXPECT_EQ(HeaderToShow("=?x-unknown?q?=FC?="), "\xC3\xBC");
  EXPECT_EQ(HeaderToShow("=?utf-8?q?a=0D=0Ab=E2=80=AE?="), "a  b\xEF\xBF\xBD");
}

TEST(HeaderToShow, LeavesBadWordsAsTheyAre) {
  for (const char* bad :
       {"", "=?", "=?utf-8", "=?utf-8?q", "=?utf-8?q?open", "=?utf-8?x?a?=", "a =? b ?= c"}) {
    EXPECT_EQ(HeaderToShow(bad), bad);
  }
}

}  // namespace
}  // namespace quillbeaker
