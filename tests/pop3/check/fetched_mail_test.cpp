// SPDX-License-Identifier: MIT
#include "pop3/check/fetched_mail.h"

#include <gtest/gtest.h>

#include <string>

#include "support/full_disk.h"
#include "support/test_program.h"

namespace quillbeaker {
namespace {

constexpr std::uint64_t kMegabyte = 1024 * 1024;

std::string MailOf(char letter) {
  std::string mail = "Subject: mail\r\n\r\n";
  for (int line = 0; line < 10'000; ++line) mail += std::string(60, letter) + "\r\n";
  return mail;
}

class FetchedMailTest : public ::testing::Test {
 protected:
  FetchedMailTest() { world_.Configure("", "[SERVER]\r\nSessionMegabytes=1\r\n"); }

  test::TestProgram world_;
  MessageEntry first_;
  MessageEntry second_;
};

TEST_F(FetchedMailTest, WhatIsBeyondTheLimitWaitsInTheFileAndComesBackAsItWas) {
  FetchedMail fetched(world_.program(), 0);
  ASSERT_TRUE(fetched.Hold(first_, MailOf('a')));
  ASSERT_TRUE(fetched.Hold(second_, MailOf('b')));
  EXPECT_FALSE(first_.spilled_offset);
  ASSERT_TRUE(second_.spilled_offset);
  EXPECT_NE(second_.message, nullptr) << "it is judged first";
  FetchedMail::Settle(first_);
  FetchedMail::Settle(second_);
  EXPECT_NE(first_.message, nullptr);
  EXPECT_EQ(second_.message, nullptr);
  EXPECT_TRUE(second_.is_fetched());
  EXPECT_EQ(second_.size, MailOf('b').size());
  EXPECT_EQ(fetched.MessageOf(first_)->Serialise(), MailOf('a'));
  EXPECT_EQ(fetched.MessageOf(second_)->Serialise(), MailOf('b'));
}

TEST_F(FetchedMailTest, WhatIsHeldElsewhereCounts) {
  FetchedMail fetched(world_.program(), kMegabyte / 2);
  ASSERT_TRUE(fetched.Hold(first_, MailOf('a')));
  EXPECT_TRUE(first_.spilled_offset);
  MessageEntry small;
  ASSERT_TRUE(fetched.Hold(small, "Subject: small\r\n\r\nx"));
  EXPECT_FALSE(small.spilled_offset);
  FetchedMail none(world_.program(), 2 * kMegabyte);
  ASSERT_TRUE(none.Hold(second_, "Subject: small\r\n\r\nx"));
  EXPECT_TRUE(second_.spilled_offset);
}

TEST_F(FetchedMailTest, SaysWhyThereIsNoRoom) {
  FetchedMail fetched(world_.program(), 2 * kMegabyte);
  const test::FullDisk full(100);
  if (!full.active()) GTEST_SKIP() << "this system cannot be told to refuse writes";
  EXPECT_FALSE(fetched.Hold(first_, MailOf('a')));
  EXPECT_FALSE(first_.is_fetched());
  EXPECT_FALSE(fetched.why().empty());
}

TEST_F(FetchedMailTest, NothingIsThereOfAMessageThatWasNeverFetched) {
  const FetchedMail fetched(world_.program(), 0);
  EXPECT_EQ(fetched.MessageOf(first_), nullptr);
}

}  // namespace
}  // namespace quillbeaker
