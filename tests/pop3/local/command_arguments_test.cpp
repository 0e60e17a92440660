// SPDX-License-Identifier: MIT
#include "pop3/local/command_arguments.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

namespace quillbeaker {
namespace {

// "server|user|port", or "refused". A name without a port has none here either.
std::string Split(std::string_view text) {
  const auto account = SplitAccountName(text);
  if (!account) {
    return "refused";
  }
  return account->server + "|" + account->user + "|" + (account->port ? std::to_string(*account->port) : "");
}

TEST(SplitAccountName, TakesTwoOrThreeFields) {
  EXPECT_EQ(Split("popserver&jane"), "popserver|jane|");
  EXPECT_EQ(Split("popserver&jane&995"), "popserver|jane|995");
  EXPECT_EQ(Split("popserver"), "refused");
  EXPECT_EQ(Split(""), "refused");
  EXPECT_EQ(Split("a&b&c&d"), "refused");
}

TEST(SplitAccountName, UndoesADoubledSeparatorOnlyBeforeASingleOne) {
  EXPECT_EQ(Split("srv&jo&&hn&110"), "srv|jo&hn|110");
  EXPECT_EQ(Split("srv&jo&&hn"), "refused");
  EXPECT_EQ(Split("s&&rv&jo"), "s&rv|jo|");
  EXPECT_EQ(Split("srv&a&&b&&c&7"), "srv|a&b&c|7");
}

TEST(SplitAccountName, AddsNoFieldForATrailingSeparator) {
  EXPECT_EQ(Split("srv&jo&"), "srv|jo|");
  EXPECT_EQ(Split("srv&jo&25&"), "srv|jo|25");
  EXPECT_EQ(Split("srv&"), "refused");
}

TEST(SplitAccountName, ReadsTenCharactersOfThePort) {
  EXPECT_EQ(Split("srv&jo&00000001109"), "srv|jo|110");
  EXPECT_EQ(Split("srv&jo&pop"), "srv|jo|0");
  EXPECT_EQ(Split("srv&jo&&"), "srv|jo|");
}

TEST(SplitAccountName, RefusesFieldsOver79Characters) {
  const std::string longest(79, 'x');
  EXPECT_EQ(Split(longest + "&" + longest), longest + "|" + longest + "|");
  EXPECT_EQ(Split(longest + "x&jo"), "refused");
  EXPECT_EQ(Split("srv&" + longest + "x"), "refused");
}

std::vector<int> Numbers(std::string_view arguments) {
  std::vector<int> numbers;
  while (const auto number = NumberArgument(arguments)) {
    numbers.push_back(*number);
  }
  return numbers;
}

TEST(NumberArgument, TakesDecimalOctalAndHexadecimal) {
  EXPECT_EQ(Numbers(" 12\r\n"), std::vector<int>({12}));
  EXPECT_EQ(Numbers(" 010\r\n"), std::vector<int>({8}));
  EXPECT_EQ(Numbers(" 0x1F 0X10"), std::vector<int>({31, 16}));
  EXPECT_EQ(Numbers(" 0\r\n"), std::vector<int>({0}));
  EXPECT_EQ(Numbers("\t-3 +4\r\n"), std::vector<int>({-3, 4}));
  EXPECT_EQ(Numbers("7"), std::vector<int>({7}));
}

TEST(NumberArgument, TakesNothingFromText) {
  EXPECT_TRUE(Numbers("\r\n").empty());
  EXPECT_TRUE(Numbers(" abc 3").empty());
  EXPECT_TRUE(Numbers("").empty());
  EXPECT_TRUE(Numbers(" -").empty());
}

TEST(NumberArgument, HoldsAtTheEndsOf32Bits) {
  EXPECT_EQ(Numbers("99999999999999999999"), std::vector<int>({2147483647}));
  EXPECT_EQ(Numbers("-99999999999999999999"), std::vector<int>({-2147483647 - 1}));
}

TEST(TextArgument, EndsAtTheFirstWhiteSpace) {
  EXPECT_EQ(TextArgument(" jane doe\r\n"), "jane");
  EXPECT_EQ(TextArgument("x\r\n"), "x");
  EXPECT_EQ(TextArgument(" \r\n"), "");
}

TEST(ArgumentsOf, EndsAtANul) {
  EXPECT_EQ(ArgumentsOf(std::string_view("PASS ab\0cd\r\n", 12), 4), " ab");
  EXPECT_EQ(ArgumentsOf("TOP", 3), "");
}

}  // namespace
}  // namespace quillbeaker
