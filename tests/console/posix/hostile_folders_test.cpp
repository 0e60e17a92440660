// SPDX-License-Identifier: MIT
// Folders with what a stranger may leave in them: pipes, links in a circle, files that may not be read,
// holes.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "console/mail_folders.h"
#include "support/test_program.h"

namespace quillbeaker {
namespace {

class HostileFoldersTest : public testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(directory_.Put("mail/a.eml", "A: 1\n")); }
  bool Add(std::string_view name) { return mails_.Add(directory_.PathOf(name), LearnKind::kGood); }
  const MailFolders::Count& Left(LeftOut reason) const { return mails_.left_out(reason); }

  test::TestDirectory directory_;
  MailFolders mails_;
};

TEST_F(HostileFoldersTest, PipesAndBrokenLinksAreNotWaitedFor) {
  ASSERT_EQ(mkfifo(directory_.PathOf("mail/pipe").c_str(), 0600), 0);
  std::filesystem::create_symlink("nowhere", directory_.path() / "mail/broken");
  ASSERT_TRUE(Add("mail"));
  EXPECT_EQ(mails_.size(), 1U);
  EXPECT_EQ(Left(LeftOut::kNoFile).count, 2U);
  EXPECT_EQ(Left(LeftOut::kNoFile).first, directory_.PathOf("mail/broken"));
  ASSERT_TRUE(Add("mail/pipe"));
  EXPECT_EQ(Left(LeftOut::kUnreadable).count, 1U);
}

TEST_F(HostileFoldersTest, LinksToFoldersAreNotFollowedAndLinksToFilesAre) {
  std::filesystem::create_directory_symlink("..", directory_.path() / "mail/circle");
  ASSERT_TRUE(directory_.Put("b.eml", "B: 1\n"));
  std::filesystem::create_symlink("../b.eml", directory_.path() / "mail/link.eml");
  ASSERT_TRUE(Add("mail"));
  EXPECT_EQ(mails_.size(), 2U);
  EXPECT_EQ(Left(LeftOut::kNoFile).count, 1U);
  // Named itself, a link is followed.
  std::filesystem::create_directory_symlink("mail", directory_.path() / "named");
  ASSERT_TRUE(Add("named"));
  EXPECT_EQ(Left(LeftOut::kRepeated).count, 2U);
}

TEST_F(HostileFoldersTest, WhatMayNotBeReadIsCounted) {
  if (geteuid() == 0) GTEST_SKIP() << "the superuser may read everything";
  ASSERT_TRUE(directory_.Put("mail/closed.eml", "C: 1\n"));
  ASSERT_EQ(chmod(directory_.PathOf("mail/closed.eml").c_str(), 0), 0);
  ASSERT_TRUE(Add("mail"));
  EXPECT_EQ(mails_.size(), 1U);
  EXPECT_EQ(Left(LeftOut::kUnreadable).count, 1U);
  EXPECT_EQ(Left(LeftOut::kUnreadable).first, directory_.PathOf("mail/closed.eml"));
}

TEST_F(HostileFoldersTest, AFileOfHolesIsNoMailWhateverItBeginsWith) {
  ASSERT_TRUE(directory_.Put("mail/hole.eml", "H: 1\n"));
  ASSERT_TRUE(directory_.Put("mail/hole.mbox", "From a\nH: 1\n"));
  ASSERT_EQ(truncate(directory_.PathOf("mail/hole.eml").c_str(), off_t{1} << 40), 0);
  ASSERT_EQ(truncate(directory_.PathOf("mail/hole.mbox").c_str(), off_t{1} << 28), 0);
  ASSERT_TRUE(Add("mail"));
  EXPECT_EQ(mails_.size(), 1U);
  EXPECT_EQ(Left(LeftOut::kTooLarge).count, 2U);
}

}  // namespace
}  // namespace quillbeaker
