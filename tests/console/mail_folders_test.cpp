// SPDX-License-Identifier: MIT
// Which mails stand in files, folders, Maildirs and mboxes, in which order, and what is left out and why.

#include "console/mail_folders.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "console/mail_fingerprint.h"
#include "support/test_program.h"

namespace quillbeaker {
namespace {

class MailFoldersTest : public testing::Test {
 protected:
  void Put(std::string_view name, std::string_view bytes) { ASSERT_TRUE(directory_.Put(name, bytes)); }
  bool Add(std::string_view name, LearnKind kind = LearnKind::kGood) {
    return mails_.Add(directory_.PathOf(name), kind);
  }
  std::vector<std::string> Texts() {
    std::vector<std::string> texts(mails_.size());
    for (std::size_t i = 0; i < texts.size(); ++i) EXPECT_TRUE(mails_.Read(i, texts[i]));
    return texts;
  }
  std::uint64_t Left(LeftOut reason) const { return mails_.left_out(reason).count; }

  test::TestDirectory directory_;
  MailFolders mails_;
};

using Mails = std::vector<std::string>;

TEST_F(MailFoldersTest, AFileIsOneMailWithCrLf) {
  Put("one.eml", "A: 1\n\none\r\ntwo\n");
  ASSERT_TRUE(Add("one.eml", LearnKind::kSpam));
  EXPECT_EQ(Texts(), Mails{"A: 1\r\n\r\none\r\ntwo\r\n"});
  EXPECT_EQ(mails_.KindOf(0), LearnKind::kSpam);
  EXPECT_EQ(mails_.count(LearnKind::kSpam), 1U);
  EXPECT_EQ(mails_.count(LearnKind::kGood), 0U);
}

TEST_F(MailFoldersTest, WhatIsNotThereIsToldApart) {
  EXPECT_FALSE(Add("missing"));
  EXPECT_EQ(mails_.size(), 0U);
  EXPECT_EQ(Left(LeftOut::kUnreadable), 0U);
}

TEST_F(MailFoldersTest, AnMboxIsKnownByItsContent) {
  Put("Inbox",
      "From a Sat Nov 21 15:06:00 2026\nA: 1\n\n>From here\n\nFrom b Sat Nov 21 15:06:01 2026\nB: "
      "2\n\ntwo\n");
  ASSERT_TRUE(Add("Inbox"));
  EXPECT_EQ(Texts(), (Mails{"A: 1\r\n\r\nFrom here\r\n", "B: 2\r\n\r\ntwo\r\n"}));
}

TEST_F(MailFoldersTest, AFolderIsReadWithTheFoldersBelowItInTheOrderOfNames) {
  Put("mail/b.eml", "B: 1\n");
  Put("mail/a.eml", "A: 1\n");
  Put("mail/below/c", "C: 1\n");
  Put("mail/also/box", "From a\nD: 1\n");
  ASSERT_TRUE(Add("mail"));
  EXPECT_EQ(Texts(), (Mails{"A: 1\r\n", "B: 1\r\n", "D: 1\r\n", "C: 1\r\n"}));
}

TEST_F(MailFoldersTest, HiddenNamesAndWhatIsNoMailStayOutOfFolders) {
  Put("mail/.hidden", "A: 1\n");
  Put("mail/.below/a.eml", "A: 1\n");
  Put("mail/list.txt", "mv 0001 0002\n");
  Put("mail/blank.txt", "\nA: 1\n");
  Put("mail/colon.txt", ": 1\n");
  Put("mail/empty", "");
  Put("mail/good.eml", "X-Odd : spaced\n");
  ASSERT_TRUE(Add("mail"));
  EXPECT_EQ(Texts(), Mails{"X-Odd : spaced\r\n"});
  EXPECT_EQ(Left(LeftOut::kNoMail), 4U);
  EXPECT_EQ(mails_.left_out(LeftOut::kNoMail).first, directory_.PathOf("mail/blank.txt"));
}

TEST_F(MailFoldersTest, WhatIsNamedItselfIsReadWhateverItIs) {
  Put(".note", "just a note\n");
  ASSERT_TRUE(Add(".note"));
  EXPECT_EQ(Texts(), Mails{"just a note\r\n"});
  Put("empty", "");
  ASSERT_TRUE(Add("empty"));
  EXPECT_EQ(Left(LeftOut::kNoMail), 1U);
}

TEST_F(MailFoldersTest, OfAMaildirCurAndNewAreRead) {
  Put("Maildir/cur/1.host", "A: 1\n");
  Put("Maildir/new/2.host", "no field\n");
  Put("Maildir/tmp/3.host", "C: 1\n");
  Put("Maildir/subscriptions", "D: 1\n");
  Put("Maildir/.Spam/cur/4.host", "E: 1\n");
  Put("Maildir/other/5", "F: 1\n");
  ASSERT_TRUE(Add("Maildir"));
  EXPECT_EQ(Texts(), (Mails{"A: 1\r\n", "no field\r\n"}));
}

TEST_F(MailFoldersTest, AMaildirBelowAFolderIsKnownToo) {
  Put("mail/box/cur/1", "A: 1\n");
  Put("mail/box/tmp/2", "B: 1\n");
  ASSERT_TRUE(directory_.MakeFolder("mail/box/new"));
  ASSERT_TRUE(Add("mail"));
  EXPECT_EQ(Texts(), Mails{"A: 1\r\n"});
}

TEST_F(MailFoldersTest, EqualMailsCountOnce) {
  Put("a.eml", "A: 1\n\none\n");
  Put("b.eml", "A: 1\r\n\r\none\r\n");
  Put("box", "From a\nA: 1\n\none\n\nFrom b Sat Nov 21 15:06:01 2026\nA: 1\n\none!\n");
  ASSERT_TRUE(Add("a.eml") && Add("b.eml") && Add("box"));
  EXPECT_EQ(Texts(), (Mails{"A: 1\r\n\r\none\r\n", "A: 1\r\n\r\none!\r\n"}));
  EXPECT_EQ(Left(LeftOut::kRepeated), 2U);
  ASSERT_TRUE(Add("a.eml", LearnKind::kSpam));
  EXPECT_EQ(mails_.size(), 2U);
  EXPECT_EQ(Left(LeftOut::kRepeated), 2U);
  EXPECT_EQ(Left(LeftOut::kBothKinds), 1U);
}

TEST_F(MailFoldersTest, AMailThatIsGoneMeanwhileIsNotRead) {
  Put("a.eml", "A: 1\n");
  Put("b.eml", "B: 1\n");
  Put("c.eml", "C: 1 and more\n");
  ASSERT_TRUE(Add("a.eml") && Add("b.eml") && Add("c.eml"));
  mails_.FinishAdding();
  ASSERT_TRUE(directory_.Remove("a.eml"));
  Put("c.eml", "C: 1\n");
  std::string text;
  EXPECT_FALSE(mails_.Read(0, text));
  EXPECT_TRUE(mails_.Read(1, text));
  EXPECT_EQ(text, "B: 1\r\n");
  EXPECT_FALSE(mails_.Read(2, text));
}

TEST_F(MailFoldersTest, WhoWatchesHearsOfEveryMail) {
  Put("box", "From a\nA: 1\n\nFrom b Sat Nov 21 15:06:01 2026\nB: 1\n");
  std::vector<std::size_t> told;
  MailFolders mails([&](std::size_t found) { told.push_back(found); });
  ASSERT_TRUE(mails.Add(directory_.PathOf("box"), LearnKind::kGood));
  EXPECT_EQ(told, (std::vector<std::size_t>{1, 2}));
}

// An mbox of several pieces as it is read, with mails across their edges.
TEST_F(MailFoldersTest, ALargeMboxIsSplitAtTheRightPlaces) {
  std::string box;
  Mails expected;
  for (int i = 0; i < 700; ++i) {
    const std::string number = std::to_string(i);
    const std::string padding(static_cast<std::size_t>(i * 7 % 1500), 'x');
    box += "From a Sat Nov 21 15:06:01 2026\nNumber: " + number + "\n\n" + padding + "\n\n";
    expected.push_back("Number: " + number + "\r\n\r\n" + padding + "\r\n");
  }
  Put("box", box);
  ASSERT_TRUE(Add("box"));
  EXPECT_EQ(Texts(), expected);
}

TEST(MailFingerprint, DiffersByOneByte) {
  EXPECT_EQ(FingerprintOf("abc"), FingerprintOf(std::string("abc")));
  EXPECT_NE(FingerprintOf("abc"), FingerprintOf("abd"));
  EXPECT_NE(FingerprintOf(""), FingerprintOf(std::string_view("\0", 1)));
}

}  // namespace
}  // namespace quillbeaker
