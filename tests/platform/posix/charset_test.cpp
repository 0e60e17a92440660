// SPDX-License-Identifier: MIT
#include "platform/charset.h"

#include <gtest/gtest.h>

namespace quillbeaker {
namespace {

TEST(CharsetHere, ConvertsIso2022Jp) {
  EXPECT_EQ(Utf8FromCharset("\x1B$B\x46\x7C\x4B\x5C\x1B(B!", "ISO-2022-JP"),
            std::optional<std::string>("\xE6\x97\xA5\xE6\x9C\xAC!"));
  EXPECT_EQ(Utf8FromCharset("\x1B$B\x46", "iso-2022-jp"), std::nullopt);
}

TEST(CharsetHere, ConvertsMoreThanItsPiece) {
  const std::string many(10'000, '\xFC');
  const auto converted = Utf8FromCharset(many, "iso-8859-2");
  ASSERT_TRUE(converted);
  EXPECT_EQ(converted->size(), 20'000u);
}

}  // namespace
}  // namespace quillbeaker
