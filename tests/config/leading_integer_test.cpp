// SPDX-License-Identifier: MIT

#include "config/leading_integer.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string_view>

namespace quillbeaker {
namespace {

constexpr std::int32_t kMax = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t kMin = std::numeric_limits<std::int32_t>::min();

TEST(LeadingInteger, ReadsLeadingDecimalDigits) {
  EXPECT_EQ(LeadingInteger<std::int32_t>("12"), 12);
  EXPECT_EQ(LeadingInteger<std::int32_t>("12x"), 12);
  EXPECT_EQ(LeadingInteger<std::int32_t>("010"), 10);
  EXPECT_EQ(LeadingInteger<std::int32_t>("0x10"), 0);
  EXPECT_EQ(LeadingInteger<std::int32_t>("7 8"), 7);
  EXPECT_EQ(LeadingInteger<std::int32_t>("3.9"), 3);
}

TEST(LeadingInteger, TakesBlanksAndAMinusBeforeTheDigits) {
  EXPECT_EQ(LeadingInteger<std::int32_t>("-1"), -1);
  EXPECT_EQ(LeadingInteger<std::int32_t>("  42"), 42);
  EXPECT_EQ(LeadingInteger<std::int32_t>("  -42"), -42);
  EXPECT_EQ(LeadingInteger<std::int32_t>("-0"), 0);
}

TEST(LeadingInteger, IsZeroWithoutDigits) {
  for (const std::string_view text : {"", "abc", "-", "--1", "- 1", "+5", "x12", "   ", ".5"}) {
    EXPECT_EQ(LeadingInteger<std::int32_t>(text), 0) << text;
  }
}

TEST(LeadingInteger, SaturatesAtTheEndsOfThirtyTwoBits) {
  EXPECT_EQ(LeadingInteger<std::int32_t>("2147483647"), kMax);
  EXPECT_EQ(LeadingInteger<std::int32_t>("2147483648"), kMax);
  EXPECT_EQ(LeadingInteger<std::int32_t>("4294967296"), kMax);
  EXPECT_EQ(LeadingInteger<std::int32_t>("99999999999999999999999999999999"), kMax);
  EXPECT_EQ(LeadingInteger<std::int32_t>("-2147483648"), kMin);
  EXPECT_EQ(LeadingInteger<std::int32_t>("-2147483649"), kMin);
  EXPECT_EQ(LeadingInteger<std::int32_t>("-99999999999999999999999999999999"), kMin);
  EXPECT_EQ(LeadingInteger<std::int32_t>("00000000000000000000000000000012"), 12);
}

TEST(LeadingInteger, AnUnsignedNumberHasNoSignAndUsesAllItsBits) {
  EXPECT_EQ(LeadingInteger<std::uint32_t>("12,"), 12U);
  EXPECT_EQ(LeadingInteger<std::uint32_t>(" \t12"), 12U);
  EXPECT_EQ(LeadingInteger<std::uint32_t>("-1"), 0U);
  EXPECT_EQ(LeadingInteger<std::uint32_t>(""), 0U);
  EXPECT_EQ(LeadingInteger<std::uint32_t>("4294967295"), 4294967295U);
  EXPECT_EQ(LeadingInteger<std::uint32_t>("4294967296"), 4294967295U);
  EXPECT_EQ(LeadingInteger<std::uint32_t>("99999999999999999999999999x"), 4294967295U);
}

}  // namespace
}  // namespace quillbeaker
