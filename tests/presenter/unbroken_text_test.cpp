// SPDX-License-Identifier: MIT
#include "ui/presenter/unbroken_text.h"

#include <gtest/gtest.h>

namespace quillbeaker {
namespace {

TEST(Unbroken, HyphensThatBeginAWordHoldItTogether) {
  EXPECT_EQ(Unbroken(L"-ERR no"),
            L"\x2011"
            L"ERR no");
  EXPECT_EQ(Unbroken(L"received: -ERR no"),
            L"received: \x2011"
            L"ERR no");
  EXPECT_EQ(Unbroken(L"refused (-ERR no)"),
            L"refused (\x2011"
            L"ERR no)");
  EXPECT_EQ(Unbroken(L"one\n-ERR"),
            L"one\n\x2011"
            L"ERR");
}

TEST(Unbroken, EverythingElseMayBeBroken) {
  for (const wchar_t* text :
       {L"", L"-", L"- 12 messages deleted", L"Spam-Nachrichten", L"a - b", L"end -", L"e-mail-"}) {
    EXPECT_EQ(Unbroken(text), text);
  }
}

}  // namespace
}  // namespace quillbeaker
