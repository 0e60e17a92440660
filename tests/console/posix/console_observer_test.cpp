// SPDX-License-Identifier: MIT
// What is shown where no terminal is: the lines alone. tests/e2e shows it on one.
#include "console/console_observer.h"

#include <gtest/gtest.h>

#include <string>

#include "support/test_program.h"

namespace quillbeaker {
namespace {

class ConsoleObserverTest : public ::testing::Test {
 protected:
  static constexpr const char* kAccount = "ann @ pop.example.org";

  std::string Shown(const std::function<void()>& tell) {
    testing::internal::CaptureStdout();
    tell();
    return testing::internal::GetCapturedStdout();
  }
  std::string LineAtTheEnd() {
    CheckSummary summary;
    summary.account = kAccount;
    summary.logged_in = summary.finished = true;
    return Shown([&] { observer.SessionEnds(summary); });
  }

  test::TestProgram one;
  ConsoleObserver observer{one.program()};
};

TEST_F(ConsoleObserverTest, TellsOfTroubleInALineOfItsOwn) {
  EXPECT_EQ(Shown([this] { observer.ServerGone(kAccount); }),
            "13:04:05 ann @ pop.example.org: the connection to the server was lost\n");
  EXPECT_EQ(Shown([this] { observer.DeletionsUnconfirmed(kAccount, 3, "-ERR locked"); }),
            "13:04:05 ann @ pop.example.org: the server did not confirm the deletion of 3 messages (-ERR "
            "locked)\n");
  EXPECT_EQ(
      Shown([this] { observer.MailNotKept(kAccount, 2, "recycle: No space left on device"); }),
      "13:04:05 ann @ pop.example.org: 2 spam messages could not be kept in the recycle bin and stay on "
      "the server (recycle: No space left on device)\n");
  EXPECT_EQ(Shown([this] { observer.RestoredMailStays(kAccount, 2); }),
            "13:04:05 ann @ pop.example.org: 2 restored messages could not be taken out of the recycle bin "
            "and will be delivered again\n");
  EXPECT_EQ(Shown([this] { observer.ClientGaveUp(kAccount, 310, 1000); }),
            "13:04:05 ann @ pop.example.org: the mail program gave up; 310 of 1000 are ready for its next "
            "try\n");
}

TEST_F(ConsoleObserverTest, ARefusedMessageIsToldOnceAtTheEnd) {
  EXPECT_EQ(Shown([this] {
              observer.ShowStatus("Message 7 could not be received: -ERR no such message");
              observer.MessageRefused(kAccount, 7, "-ERR no such message");
            }),
            "");
  EXPECT_EQ(
      LineAtTheEnd(),
      "13:04:05 ann @ pop.example.org: 0 messages, 0 new, 0 known, 0 spam, 0 deleted. Message 7 could not "
      "be received: -ERR no such message\n");
}

TEST_F(ConsoleObserverTest, AClearedStatusIsNotToldAtTheEnd) {
  observer.ShowStatus("The Spam-Filter has been disabled");
  observer.ShowStatus({});
  EXPECT_EQ(LineAtTheEnd(),
            "13:04:05 ann @ pop.example.org: 0 messages, 0 new, 0 known, 0 spam, 0 deleted.\n");
}

}  // namespace
}  // namespace quillbeaker
