// SPDX-License-Identifier: MIT
#include "ui/presenter/trouble_notices.h"

#include <gtest/gtest.h>

#include <string>

namespace quillbeaker {
namespace {

class TroubleNoticesTest : public ::testing::Test {
 protected:
  static MailTrouble Of(Trouble trouble, std::uint32_t number = 0, std::string words = {}) {
    return {
        .trouble = trouble, .account = "ann @ pop.example.org", .number = number, .words = std::move(words)};
  }
  static MailTrouble GaveUp(std::uint32_t ready, std::uint32_t total) {
    return {.trouble = Trouble::kClientGaveUp,
            .account = "ann @ pop.example.org",
            .number = ready,
            .total = total};
  }
  // Long enough for nothing of before to be shown with it.
  void Later(std::chrono::seconds by = std::chrono::minutes(1)) { now += by; }
  std::string Told(const MailTrouble& trouble) { return notices.Tell(trouble).value_or("nothing"); }

  std::chrono::steady_clock::time_point now{std::chrono::hours(100)};
  TroubleNotices notices{[this] { return now; }};
};

TEST_F(TroubleNoticesTest, EachHasItsWords) {
  EXPECT_EQ(Told(Of(Trouble::kMessageRefused, 3, "-ERR no such message")),
            "ann @ pop.example.org: message 3 could not be received (-ERR no such message)");
  Later();
  EXPECT_EQ(Told(Of(Trouble::kServerGone)), "ann @ pop.example.org: the connection to the server was lost");
  Later();
  EXPECT_EQ(Told(Of(Trouble::kDeletionsUnconfirmed, 12, "-ERR locked")),
            "ann @ pop.example.org: the server did not confirm the deletion of 12 messages (-ERR locked)");
  Later();
  EXPECT_EQ(
      Told(Of(Trouble::kMailNotKept, 2, "/home/ann/recycle: No space left on device")),
      "ann @ pop.example.org: 2 spam messages could not be kept in the recycle bin and stay on the server "
      "(/home/ann/recycle: No space left on device)");
  Later();
  EXPECT_EQ(
      Told(Of(Trouble::kRestoredMailStays, 2)),
      "ann @ pop.example.org: 2 restored messages could not be taken out of the recycle bin and will be "
      "delivered again");
  Later();
  EXPECT_EQ(Told(GaveUp(310, 1000)),
            "ann @ pop.example.org: the mail program gave up; 310 of 1000 are ready for its next try");
}

TEST_F(TroubleNoticesTest, BytesAreMadeFitToBeShown) {
  EXPECT_EQ(
      Told({.trouble = Trouble::kServerGone, .account = "\xE4\x1B[2J\r\n @ x"}).find_first_of("\x1B\r\n"),
      std::string::npos);
}

TEST_F(TroubleNoticesTest, TellsTheSameAgainAfterAnHour) {
  for (const Trouble trouble :
       {Trouble::kMessageRefused, Trouble::kServerGone, Trouble::kDeletionsUnconfirmed}) {
    EXPECT_NE(Told(Of(trouble, 1, "-ERR a 17")), "nothing");
    Later(std::chrono::minutes(59));
    EXPECT_EQ(Told(Of(trouble, 1, "-ERR a 18")), "nothing");
    Later();
    EXPECT_NE(Told(Of(trouble, 1, "-ERR a 19")), "nothing");
    Later();
  }
}

TEST_F(TroubleNoticesTest, TellsWhatIsNewAtOnce) {
  EXPECT_NE(Told(Of(Trouble::kMessageRefused, 3, "-ERR no")), "nothing");
  EXPECT_NE(Told(Of(Trouble::kMessageRefused, 4, "-ERR no")), "nothing");
  EXPECT_NE(Told(Of(Trouble::kMessageRefused, 4, "-ERR locked")), "nothing");
  EXPECT_NE(Told(Of(Trouble::kDeletionsUnconfirmed, 3, "-ERR no")), "nothing");
  EXPECT_EQ(Told(Of(Trouble::kDeletionsUnconfirmed, 4, "-ERR no")), "nothing");
  MailTrouble of_bob = Of(Trouble::kDeletionsUnconfirmed, 3, "-ERR no");
  of_bob.account = "bob @ pop.example.org";
  EXPECT_NE(Told(of_bob), "nothing");
}

TEST_F(TroubleNoticesTest, TellsWhenMoreIsReadyForTheNextTry) {
  EXPECT_NE(Told(GaveUp(100, 1000)), "nothing");
  Later();
  EXPECT_NE(Told(GaveUp(210, 1000)), "nothing");
  Later();
  EXPECT_EQ(Told(GaveUp(210, 1000)), "nothing");
}

TEST_F(TroubleNoticesTest, TellsOnceADayThatMailCouldNotBeKept) {
  EXPECT_NE(Told(Of(Trouble::kMailNotKept, 2, "recycle: No space left on device")), "nothing");
  MailTrouble of_bob = Of(Trouble::kMailNotKept, 5, "recycle: Read-only file system");
  of_bob.account = "bob @ pop.example.org";
  Later(std::chrono::hours(23) + std::chrono::minutes(59));
  EXPECT_EQ(Told(of_bob), "nothing");
  Later();
  EXPECT_NE(Told(of_bob), "nothing");
  EXPECT_EQ(Told(Of(Trouble::kMailNotKept, 2)), "nothing");
}

TEST_F(TroubleNoticesTest, TroublesOfOneMomentAreShownTogether) {
  const std::string gone = Told(Of(Trouble::kServerGone));
  Later(std::chrono::seconds(2));
  const std::string both = Told(Of(Trouble::kDeletionsUnconfirmed, 12));
  EXPECT_EQ(both, "ann @ pop.example.org: the server did not confirm the deletion of 12 messages\n" + gone);
  Later(std::chrono::seconds(6));
  EXPECT_EQ(Told(Of(Trouble::kMailNotKept, 1)).find('\n'), std::string::npos);
}

TEST(FitNotice, CutsWhatIsTooLongAndNoCharacter) {
  EXPECT_EQ(FitNotice(L"", 10), L"");
  EXPECT_EQ(FitNotice(L"0123456789", 10), L"0123456789");
  EXPECT_EQ(FitNotice(L"0123456789a", 10), L"0123456...");
  EXPECT_EQ(FitNotice(L"012345\xD83D\xDE00xyz", 10), L"012345...");
}

}  // namespace
}  // namespace quillbeaker
