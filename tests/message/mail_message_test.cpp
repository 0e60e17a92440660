// SPDX-License-Identifier: MIT
// The record of a mail: loaders, result codes, sizes, clearing and what bytes it keeps.

#include "message/mail_message.h"

#include <gtest/gtest.h>

#include <string>

#include "support/test_program.h"

namespace quillbeaker {
namespace {

TEST(MailMessage, IsEmptyWhenMade) {
  const MailMessage message;
  EXPECT_TRUE(message.empty());
  EXPECT_EQ(message.root(), nullptr);
  EXPECT_EQ(message.size(), 0u);
}

TEST(MailMessage, ResultCodesAreThoseOfTheContract) {
  EXPECT_EQ(static_cast<int>(MailMessage::kLoaded), 0);
  EXPECT_EQ(static_cast<int>(MailMessage::kLoadFailed), 1);
  EXPECT_EQ(static_cast<int>(MailMessage::kParsed), 1);
}

TEST(MailMessage, ParsesTextAndKnowsItsSize) {
  MailMessage message;
  const std::string text = "Subject: A\r\n\tB\r\n\r\nbody\r\n";
  EXPECT_EQ(message.ParseText(text), MailMessage::kParsed);
  EXPECT_FALSE(message.empty());
  EXPECT_EQ(message.size(), text.size());
  EXPECT_EQ(message.root()->body, "\r\nbody\r\n");
  EXPECT_EQ(message.root()->parent, nullptr);
  EXPECT_EQ(message.root()->first_child, nullptr);
  EXPECT_FALSE(message.root()->has_boundary);
}

TEST(MailMessage, AnEmptyTextParsesToSizeZero) {
  MailMessage message;
  EXPECT_EQ(message.ParseText(""), MailMessage::kParsed);
  EXPECT_EQ(message.size(), 0u);
  EXPECT_FALSE(message.FindField("Subject"));
}

TEST(MailMessage, ParsingAgainReplacesWhatWasThere) {
  MailMessage message;
  message.ParseText("Subject: old\r\nX: y\r\n\r\nold body");
  message.ParseText("From: new\r\n\r\n");
  EXPECT_FALSE(message.FindField("Subject"));
  EXPECT_EQ(message.FindField("From"), "new");
  EXPECT_EQ(message.size(), 13u);
  EXPECT_EQ(message.root()->fields.size(), 1u);
}

TEST(MailMessage, ClearEmptiesTheRecord) {
  MailMessage message;
  message.ParseText("Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n\r\nx\r\n--b--\r\n");
  message.AddField("X", "y");
  message.Clear();
  EXPECT_TRUE(message.empty());
  EXPECT_EQ(message.root(), nullptr);
  EXPECT_EQ(message.size(), 0u);
  EXPECT_FALSE(message.FindField("X"));
}

TEST(MailMessage, BodyOnlyReadsNoHeader) {
  MailMessage message;
  EXPECT_EQ(message.ParseBodyOnly("Subject: not a field\r\n\r\ntext"), MailMessage::kParsed);
  EXPECT_TRUE(message.root()->fields.empty());
  EXPECT_EQ(message.root()->body, "Subject: not a field\r\n\r\ntext");
  EXPECT_EQ(message.size(), 28u);
  EXPECT_FALSE(message.FindField("Subject"));
}

TEST(MailMessage, LoadsAFileWhole) {
  const test::TestDirectory directory;
  const std::string bytes("Subject: x\r\n\r\na\0b\xFF\x1A", 19);
  ASSERT_TRUE(directory.Put("a.eml", bytes));
  MailMessage message;
  EXPECT_EQ(message.LoadFromFile(directory.PathOf("a.eml")), MailMessage::kLoaded);
  EXPECT_EQ(message.size(), 19u);
  EXPECT_EQ(message.FindField(kHeaderSubject), "x");
  EXPECT_EQ(message.root()->body, std::string("\r\na\0b\xFF\x1A", 7));
}

TEST(MailMessage, LoadingAMissingFileFailsAndEmptiesTheRecord) {
  const test::TestDirectory directory;
  MailMessage message;
  message.ParseText("Subject: before\r\n\r\n");
  EXPECT_EQ(message.LoadFromFile(directory.PathOf("missing.eml")), MailMessage::kLoadFailed);
  EXPECT_TRUE(message.empty());
  EXPECT_EQ(message.size(), 0u);
  EXPECT_FALSE(message.FindField("Subject"));
  EXPECT_FALSE(directory.Has("missing.eml"));
}

TEST(MailMessage, LoadingAFolderFails) {
  const test::TestDirectory directory;
  ASSERT_TRUE(directory.MakeFolder("folder.eml"));
  MailMessage message;
  EXPECT_EQ(message.LoadFromFile(directory.PathOf("folder.eml")), MailMessage::kLoadFailed);
  EXPECT_TRUE(message.empty());
}

TEST(MailMessage, ANulIsAnOrdinaryByteInHeaderAndBody) {
  MailMessage message;
  const std::string text("Subject: a\0b\r\nX: y\r\n\r\nfirst\0second\r\nend", 39);
  message.ParseText(text);
  EXPECT_EQ(message.size(), 39u);
  EXPECT_EQ(message.FindField(kHeaderSubject), std::string("a\0b", 3));
  EXPECT_EQ(message.FindField("X"), "y");
  EXPECT_EQ(message.root()->body, std::string("\r\nfirst\0second\r\nend", 19));
}

TEST(MailMessage, APartOfAMessageKnowsItsPlaceInTheTree) {
  MailMessage message;
  message.ParseText(
      "Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n\r\none\r\n--b\r\n\r\ntwo\r\n--b--\r\n");
  const MessagePart* root = message.root();
  const MessagePart* one = root->first_child;
  ASSERT_NE(one, nullptr);
  const MessagePart* two = one->next;
  ASSERT_NE(two, nullptr);
  EXPECT_EQ(root->last_child, two);
  EXPECT_EQ(one->parent, root);
  EXPECT_EQ(two->parent, root);
  EXPECT_EQ(two->next, nullptr);
  EXPECT_EQ(NextPart(root), one);
  EXPECT_EQ(NextPart(one), two);
  EXPECT_EQ(NextPart(two), nullptr);
}

}  // namespace
}  // namespace quillbeaker
