// SPDX-License-Identifier: MIT
#include "pop3/upstream/message_listing.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace quillbeaker {
namespace {

// "number:size" of each line, separated by blanks.
std::string Listed(std::string_view reply) {
  std::string text;
  const auto messages = ParseListReply(reply).value();  // a range-for would not keep the optional alive
  for (const ListedMessage& message : messages) {
    text += std::to_string(message.number) + ":" + std::to_string(message.size) + " ";
  }
  return text;
}

std::string Ids(std::string_view reply) {
  std::string text;
  const auto ids = ParseUidlReply(reply).value();  // a range-for would not keep the optional alive
  for (const ListedUniqueId& id : ids) {
    text += std::to_string(id.number) + ":" + std::string(id.unique_id) + " ";
  }
  return text;
}

TEST(ParseListReply, ReadsNumbersAndSizes) {
  EXPECT_EQ(Listed("1 120\r\n2\t300"), "1:120 2:300 ");
  EXPECT_EQ(Listed(""), "");
}

TEST(ParseListReply, TakesALineWithoutSizeForSizeZero) {
  EXPECT_EQ(Listed("2"), "2:0 ");
}

TEST(ParseListReply, LeavesOutNumbersThatNoMessageCanHave) {
  EXPECT_EQ(Listed("0 5\r\nabc 5\r\n-1 5\r\n65535 6\r\n65536 7\r\n99999999999999999999 8"), "65535:6 ");
}

TEST(ParseListReply, HoldsSizesAt32Bits) {
  EXPECT_EQ(Listed("1 4294967295\r\n2 99999999999999999999"), "1:4294967295 2:4294967295 ");
}

TEST(ParseListReply, PassesOverEmptyLines) {
  EXPECT_EQ(Listed("\r\n1 5\r\n\r\n2 6\r\n"), "1:5 2:6 ");
}

TEST(ParseListReply, RefusesMoreLinesThanAnyMailboxHas) {
  std::string reply;
  for (std::size_t line = 0; line <= kMaxListedMessages; ++line) {
    reply += "1\r\n";
  }
  EXPECT_FALSE(ParseListReply(reply).has_value());
}

TEST(ParseUidlReply, TakesTheRestOfTheLine) {
  EXPECT_EQ(Ids("1 abc\r\n2\tdef ghi\r\nnonsense\r\n3 jkl"), "1:abc 2:def ghi 3:jkl ");
}

// Whoever asked LIST before finds no message for them, which ends the reading.
TEST(ParseUidlReply, GivesNumbersThatNoMessageCanHaveToo) {
  EXPECT_EQ(Ids("0 zero\r\nabc none\r\n70000 large\r\n1 one"), "0:zero 0:none 70000:large 1:one ");
}

TEST(ParseUidlReply, CutsAnIdAt254Bytes) {
  const std::string reply = "1 " + std::string(300, 'u');
  EXPECT_EQ(Ids(reply), "1:" + std::string(254, 'u') + " ");
}

TEST(HasCapability, LooksAtTheFirstWordOfEachLine) {
  EXPECT_TRUE(HasCapability("TOP\r\nPipelining\r\nUIDL", "PIPELINING"));
  EXPECT_TRUE(HasCapability("SASL PLAIN", "SASL"));
  EXPECT_FALSE(HasCapability("X-PIPELINING\r\nIMPLEMENTATION PIPELINING", "PIPELINING"));
  EXPECT_FALSE(HasCapability("", "PIPELINING"));
}

}  // namespace
}  // namespace quillbeaker
