// SPDX-License-Identifier: MIT
#include "pop3/check/mailbox.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <utility>
#include <vector>

namespace quillbeaker {
namespace {

Mailbox ListOf(std::initializer_list<std::uint32_t> numbers) {
  Mailbox list;
  for (const std::uint32_t number : numbers) {
    MessageEntry entry;
    entry.server_number = number;
    entry.client_number = number;
    list.Insert(std::move(entry));
  }
  return list;
}

TEST(Mailbox, StandsAgainstTheOrderOfInsertion) {
  Mailbox list = ListOf({5, 9, 2});
  std::vector<std::uint32_t> numbers;
  for (const MessageEntry& entry : list) {
    numbers.push_back(entry.server_number);
  }
  EXPECT_EQ(numbers, std::vector<std::uint32_t>({2, 9, 5}));
}

TEST(Mailbox, FindsByTheServersNumberUntilItIsRenumbered) {
  Mailbox list = ListOf({5, 9, 2});
  EXPECT_EQ(list.FindByClientNumber(9), list.FindByServerNumber(9));
  EXPECT_EQ(list.FindByClientNumber(1), nullptr);
  list.ClearNumbers();
  EXPECT_EQ(list.FindByClientNumber(9), nullptr);
  list.NumberNext(*list.FindByServerNumber(2));
  list.NumberNext(*list.FindByServerNumber(5));
  EXPECT_EQ(list.FindByClientNumber(1)->server_number, 2u);
  EXPECT_EQ(list.FindByClientNumber(2)->server_number, 5u);
  EXPECT_EQ(list.FindByClientNumber(3), nullptr);
  EXPECT_EQ(list.FindByServerNumber(9)->client_number, kUnnumbered);
}

TEST(Mailbox, ReachesNothingByNumbersBelowOne) {
  Mailbox list = ListOf({1, 2});
  list.ClearNumbers();
  list.FindByServerNumber(1)->client_number = kHiddenFromClient;
  EXPECT_EQ(list.FindByClientNumber(-1), nullptr);
  EXPECT_EQ(list.FindByClientNumber(0), nullptr);
}

}  // namespace
}  // namespace quillbeaker
