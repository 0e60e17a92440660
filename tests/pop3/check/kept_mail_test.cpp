// SPDX-License-Identifier: MIT
#include "pop3/check/kept_mail.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>

namespace quillbeaker {
namespace {

std::shared_ptr<const MailMessage> MailOf(std::size_t size) {
  auto message = std::make_shared<MailMessage>();
  message->ParseText(std::string(size, 'x'));
  return message;
}

const MailboxName kAnn{"pop.example.org", 110, "ann"};
const MailboxName kBob{"pop.example.org", 110, "bob"};

class KeptMailTest : public ::testing::Test {
 protected:
  KeptMailTest() {
    environment_.tick_count = [this] { return now_; };
  }
  bool Keep(const MailboxName& mailbox, const std::string& id, std::size_t size) {
    return kept_.Keep(mailbox, id, static_cast<std::uint32_t>(size), MailOf(size), 1000);
  }

  std::uint32_t now_ = 4'294'000'000;  // shortly before the counter wraps
  Environment environment_;
  KeptMail kept_{environment_};
};

// A client that is answered at its next try may still go without QUIT: its mail is not fetched a third time.
TEST_F(KeptMailTest, HandsAMessageOutUntilItsMailboxIsForgotten) {
  ASSERT_TRUE(Keep(kAnn, "a", 10));
  EXPECT_TRUE(kept_.Has(kAnn, "a", 10));
  const auto message = kept_.Share(kAnn, "a", 10);
  ASSERT_NE(message, nullptr);
  EXPECT_EQ(message->size(), 10u);
  EXPECT_EQ(kept_.Share(kAnn, "a", 10), message);
  EXPECT_EQ(kept_.bytes(), 10u);
  kept_.Forget(kAnn);
  EXPECT_EQ(kept_.Share(kAnn, "a", 10), nullptr);
  EXPECT_EQ(kept_.bytes(), 0u);
}

TEST_F(KeptMailTest, TellsMailboxesIdsAndSizesApart) {
  ASSERT_TRUE(Keep(kAnn, "a", 10));
  EXPECT_FALSE(kept_.Has(kBob, "a", 10));
  EXPECT_FALSE(kept_.Has({"pop.example.org", 995, "ann"}, "a", 10));
  EXPECT_FALSE(kept_.Has(kAnn, "A", 10));
  EXPECT_FALSE(kept_.Has(kAnn, "a", 11));
}

TEST_F(KeptMailTest, TakesNothingInWhenItIsFull) {
  EXPECT_TRUE(Keep(kAnn, "a", 600));
  EXPECT_FALSE(Keep(kAnn, "b", 401));
  EXPECT_TRUE(Keep(kAnn, "c", 400));
  EXPECT_EQ(kept_.bytes(), 1000u);
}

TEST_F(KeptMailTest, GivesUpTheOtherMailboxThatHasWaitedLongest) {
  const MailboxName eve{"pop.example.org", 110, "eve"};
  ASSERT_TRUE(Keep(kAnn, "a", 300));
  ASSERT_TRUE(Keep(kBob, "b", 300));
  ASSERT_TRUE(Keep(kAnn, "c", 300));
  ASSERT_TRUE(Keep(eve, "d", 300));
  EXPECT_FALSE(kept_.Has(kBob, "b", 300));
  EXPECT_TRUE(kept_.Has(kAnn, "a", 300));
  EXPECT_TRUE(kept_.Has(kAnn, "c", 300));
}

TEST_F(KeptMailTest, GivesUpNoMailboxForAMessageThatNeverFits) {
  ASSERT_TRUE(Keep(kAnn, "a", 300));
  EXPECT_FALSE(Keep(kBob, "b", 1001));
  EXPECT_TRUE(kept_.Has(kAnn, "a", 300));
}

// Empty header lines and parts take many times their text.
TEST_F(KeptMailTest, CountsTheMemoryOfAMessageAndNotItsText) {
  auto message = std::make_shared<MailMessage>();
  std::string text;
  for (int i = 0; i < 200; ++i) text += "a:\r\n";
  message->ParseText(text);
  EXPECT_FALSE(kept_.Keep(kAnn, "a", 800, message, 1000));
  EXPECT_TRUE(kept_.Keep(kAnn, "a", 800, message, 4000));
  EXPECT_GE(kept_.bytes(), 200 * sizeof(std::string_view));
  kept_.Forget(kAnn);
  EXPECT_EQ(kept_.bytes(), 0u);
}

TEST_F(KeptMailTest, ForgetsAMailboxAfterHalfAnHour) {
  ASSERT_TRUE(Keep(kAnn, "a", 10));
  now_ += KeptMail::kMinutes * 60 * 1000 - 1;
  EXPECT_TRUE(kept_.Has(kAnn, "a", 10));
  now_ += 1;
  EXPECT_FALSE(kept_.Has(kAnn, "a", 10));
  EXPECT_EQ(kept_.bytes(), 0u);
}

TEST_F(KeptMailTest, ForgetsOneMailboxWhenAsked) {
  ASSERT_TRUE(Keep(kAnn, "a", 10));
  ASSERT_TRUE(Keep(kBob, "b", 20));
  kept_.Forget(kAnn);
  EXPECT_FALSE(kept_.Has(kAnn, "a", 10));
  EXPECT_EQ(kept_.bytes(), 20u);
}

}  // namespace
}  // namespace quillbeaker
