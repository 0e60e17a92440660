// SPDX-License-Identifier: MIT
// Name and address split from a From field.

#include "message/mail_sender.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace quillbeaker {
namespace {

// "name|address"
std::string Split(std::string_view from) {
  const MailSender sender = SplitSender(from);
  return sender.name + "|" + sender.address;
}

TEST(SplitSender, TakesTheUsualForms) {
  EXPECT_EQ(Split("Bob Smith <a@b>"), "Bob Smith|a@b");
  EXPECT_EQ(Split("a@b (Bob Smith)"), "Bob Smith|a@b");
  EXPECT_EQ(Split("\"Bob\" <a@b>"), "Bob|a@b");
  EXPECT_EQ(Split("a@b"), "a@b|a@b");
  EXPECT_EQ(Split("<a@b>"), "a@b|a@b");
}

TEST(SplitSender, StripsBlanksAndQuotesAtBothEnds) {
  EXPECT_EQ(Split("\" Bob \"Smith\" \" <\" a@b\" >"), "Bob \"Smith|a@b");
  EXPECT_EQ(Split("  \"a@b\"  "), "a@b|a@b");
}

TEST(SplitSender, TheLastPieceIsTheAddress) {
  EXPECT_EQ(Split("friend@home <evil@x> <good@y>"), "friend@home|good@y");
  EXPECT_EQ(Split("Bob <a@b> (work)"), "Bob|(work)");
  EXPECT_EQ(Split("Bob <<a@b>>"), "Bob|a@b");
}

TEST(SplitSender, AngleBracketsOutrankParentheses) {
  EXPECT_EQ(Split("Bob (work) <a@b>"), "Bob (work)|a@b");
}

TEST(SplitSender, TheLastPieceInParenthesesIsTheName) {
  EXPECT_EQ(Split("a@b (Bob) (Smith)"), "Smith|a@b");
  EXPECT_EQ(Split("a@b (Bob) x"), "x|a@b");
}

TEST(SplitSender, AMissingNameIsTheWholeValue) {
  EXPECT_EQ(Split("(a@b)"), "(a@b)|a@b");
  EXPECT_EQ(Split("<>"), "<>|<>");
  EXPECT_EQ(Split("()"), "()|()");
  EXPECT_EQ(Split(""), "|");
}

TEST(SplitSender, UndoesAnEncodedWordInTheNameOnly) {
  EXPECT_EQ(Split("=?ISO-8859-1?Q?J=FCrgen_M?= <j@x>"), "J\xFCrgen M|j@x");
  EXPECT_EQ(Split("\"=?x?B?SGVsbG8=?=\" <j@x>"), "Hello|j@x");
  EXPECT_EQ(Split("=?x?Q?a=40b?="), "a@b|=?x?Q?a=40b?=");
  EXPECT_EQ(Split("Bob <=?x?Q?a?=>"), "Bob|=?x?Q?a?=");
}

TEST(SplitSender, StripsBehindTheDecoding) {
  EXPECT_EQ(Split("=?x?Q?_=22Bob=22_?= <a@b>"), "Bob|a@b");
}

TEST(SplitSender, CutsTheNameBeforeItIsStripped) {
  const MailSender sender = SplitSender("  " + std::string(300, 'n') + " <a@b>");
  EXPECT_EQ(sender.name, std::string(252, 'n'));
  EXPECT_EQ(sender.address, "a@b");
}

TEST(SplitSender, CutsTheAddressBeforeItIsStripped) {
  const MailSender sender = SplitSender("Bob < \"" + std::string(300, 'a') + "\">");
  EXPECT_EQ(sender.name, "Bob");
  EXPECT_EQ(sender.address, std::string(258, 'a'));
}

TEST(SplitSender, CutsAnEncodedNameBeforeItIsDecoded) {
  // Ten bytes of prefix, 244 of the encoded text: 81 groups of three and one "=" whose digits are cut off.
  std::string encoded = "=?abcde?Q?";
  ASSERT_EQ(encoded.size(), 10u);
  for (int i = 0; i < 90; ++i) encoded += "=41";
  const MailSender sender = SplitSender(encoded + "?= <a@b>");
  EXPECT_EQ(sender.name, std::string(81, 'A') + "=");
}

TEST(SplitSender, AnAddressTakenFromTheNameIsTheUncutOne) {
  const MailSender sender = SplitSender(std::string(300, 'x'));
  EXPECT_EQ(sender.name.size(), 254u);
  EXPECT_EQ(sender.address.size(), 260u);
  const MailSender shorter = SplitSender(std::string(257, 'x'));
  EXPECT_EQ(shorter.name.size(), 254u);
  EXPECT_EQ(shorter.address.size(), 257u);
}

TEST(SenderOf, ReadsTheFirstFromField) {
  MailMessage message;
  message.ParseText("Sender: no@x\r\nfrom: Bob\r\n <a@b>\r\nFrom: second@x\r\n\r\nFrom: body@x");
  const auto sender = SenderOf(message);
  ASSERT_TRUE(sender);
  EXPECT_EQ(sender->name, "Bob");
  EXPECT_EQ(sender->address, "a@b");
}

TEST(SenderOf, GivesNothingWithoutFromField) {
  MailMessage message;
  message.ParseText("Sender: a@b\r\n\r\nFrom: c@d");
  EXPECT_FALSE(SenderOf(message));
  const MailMessage empty;
  EXPECT_FALSE(SenderOf(empty));
}

TEST(SenderOf, AnEmptyFromFieldGivesAnEmptyAddress) {
  MailMessage message;
  message.ParseText("From: \r\n\r\n");
  const auto sender = SenderOf(message);
  ASSERT_TRUE(sender);
  EXPECT_EQ(sender->name, "");
  EXPECT_EQ(sender->address, "");
}

}  // namespace
}  // namespace quillbeaker
