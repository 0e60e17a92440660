// SPDX-License-Identifier: MIT

// What the learning of a whole mail check costs: as many writes for 500 messages as for one.

#include <gtest/gtest.h>
#include <sys/syscall.h>

#include <deque>
#include <string>
#include <vector>

#include "pop3/check/quit_learning.h"
#include "stores/posix/traced_process.h"
#include "support/test_program.h"

namespace quillbeaker {
namespace {

using test::TracedEnd;

// How often a file was replaced while so many friends' and strangers' mails were learnt and kept; -1 when no
// process may be traced.
int ReplacedFiles(int friends, int strangers) {
  test::TestProgram world;
  EXPECT_TRUE(world.Configure("", "[SENDERS]\r\nann@friends.example=Ann,2\r\n"));
  std::deque<MailMessage> messages;
  std::vector<const MailMessage*> pointers;
  for (int i = 0; i < friends + strangers; ++i) {
    const std::string sender = i < friends ? "ann@friends.example" : "joe@example.org";
    messages.emplace_back().ParseText("From: " + sender + "\r\n\r\nnumber" + std::to_string(i) + " \r\n");
    pointers.push_back(&messages.back());
  }
  int renamed = 0;
  const TracedEnd end = test::RunTraced([&] { LearnFromMail(world.program(), pointers); },
                                        [&](std::uint64_t number) {
                                          if (number == SYS_renameat || number == SYS_renameat2) ++renamed;
#ifdef SYS_rename
                                          if (number == SYS_rename) ++renamed;
#endif
                                          return true;
                                        });
  return end == TracedEnd::kFinished ? renamed : -1;
}

TEST(QuitLearningCostTest, ListsAndIndexAreWrittenOnceHoweverManyMessagesThereAre) {
  const int one = ReplacedFiles(1, 0);
  if (one < 0) GTEST_SKIP() << "no process may be traced here";
  EXPECT_EQ(one, 2);  // the two word lists
  EXPECT_EQ(ReplacedFiles(500, 0), 2);
  EXPECT_EQ(ReplacedFiles(0, 500), 1);  // the index
  EXPECT_EQ(ReplacedFiles(250, 250), 3);
}

}  // namespace
}  // namespace quillbeaker
