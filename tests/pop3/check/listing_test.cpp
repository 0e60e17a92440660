// SPDX-License-Identifier: MIT
// What is made of a server's answers to LIST and UIDL.
#include "pop3/check/listing.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "pop3/recording_observer.h"
#include "pop3/scripted_pop3_server.h"
#include "pop3/upstream/login.h"
#include "pop3/upstream/message_listing.h"
#include "pop3/watch.h"
#include "support/test_program.h"

namespace quillbeaker {
namespace {

class ListingTest : public ::testing::Test {
 protected:
  ListingTest() : server_({"1", "22", "333"}) { world_.Configure("AutoAbortOnTimeout=1", ""); }

  ListingResult List() {
    EXPECT_TRUE(
        LogIn(world_.program(), client_, {"127.0.0.1", server_.port(), "jane", "secret"}, 1, 0).logged_in);
    return ListMailbox(world_.program(), client_, mailbox_);
  }
  const MessageEntry& Entry(std::uint32_t number) { return *mailbox_.FindByServerNumber(number); }

  test::TestProgram world_;
  ScriptedPop3Server server_;
  RecordingObserver observer_;
  Watch watch_{observer_};
  Pop3Client client_{world_.program(), watch_};
  Mailbox mailbox_;
};

TEST_F(ListingTest, HasEachMessageWithSizeAndId) {
  const ListingResult result = List();
  EXPECT_TRUE(result.listed);
  EXPECT_TRUE(result.whole);
  ASSERT_EQ(mailbox_.size(), 3u);
  EXPECT_EQ(Entry(3).size, 3u);
  EXPECT_EQ(Entry(3).unique_id, "uid3");
  EXPECT_TRUE(Entry(3).unique_id_is_its_own);
}

TEST_F(ListingTest, ANumberThatIsListedTwiceIsOneMessage) {
  server_.Answer("LIST", "+OK\r\n1 10\r\n2 20\r\n1 99\r\n.\r\n");
  server_.Answer("UIDL", "+OK\r\n1 uid1\r\n2 uid2\r\n.\r\n");
  EXPECT_TRUE(List().whole);
  ASSERT_EQ(mailbox_.size(), 2u);
  EXPECT_EQ(Entry(1).size, 10u);
}

TEST_F(ListingTest, AnIdThatSeveralMessagesHaveIsNobodysOwn) {
  server_.Answer("UIDL", "+OK\r\n1 same\r\n2 same\r\n3 other\r\n.\r\n");
  EXPECT_TRUE(List().whole);
  EXPECT_EQ(Entry(1).unique_id, "same");
  EXPECT_FALSE(Entry(1).unique_id_is_its_own);
  EXPECT_FALSE(Entry(2).unique_id_is_its_own);
  EXPECT_TRUE(Entry(3).unique_id_is_its_own);
}

TEST_F(ListingTest, ALineOfAnUnlistedMessageEndsTheReadingOfIds) {
  server_.Answer("UIDL", "+OK\r\n1 uid1\r\n9 uid9\r\n2 uid2\r\n3 uid3\r\n.\r\n");
  const ListingResult result = List();
  EXPECT_TRUE(result.listed);
  EXPECT_FALSE(result.whole);
  EXPECT_EQ(Entry(1).unique_id, "uid1");
  EXPECT_FALSE(Entry(2).unique_id.has_value());
}

TEST_F(ListingTest, IdsThatLeaveAMessageOutAreNotTheWholeMailbox) {
  server_.Answer("UIDL", "+OK\r\n1 uid1\r\n3 uid3\r\n.\r\n");
  EXPECT_FALSE(List().whole);
  EXPECT_EQ(Entry(3).unique_id, "uid3");
}

TEST_F(ListingTest, ARefusedUidlLeavesTheMessagesWithoutIds) {
  server_.Answer("UIDL", "-ERR what?\r\n");
  const ListingResult result = List();
  EXPECT_TRUE(result.listed);
  EXPECT_FALSE(result.whole);
  EXPECT_EQ(mailbox_.size(), 3u);
  EXPECT_TRUE(client_.is_open());
}

// More lines than any mailbox may have: a server that goes on for ever.
std::string EndlessReply() {
  std::string reply = "+OK\r\n";
  for (std::size_t i = 0; i <= kMaxListedMessages; ++i) reply += "1\r\n";
  return reply + ".\r\n";
}

TEST_F(ListingTest, AListWithoutEndGivesTheServerUp) {
  server_.Answer("LIST", EndlessReply());
  EXPECT_FALSE(List().listed);
  EXPECT_TRUE(mailbox_.empty());
  EXPECT_FALSE(client_.is_open());
}

TEST_F(ListingTest, IdsWithoutEndGiveTheServerUp) {
  server_.Answer("UIDL", EndlessReply());
  const ListingResult result = List();
  EXPECT_TRUE(result.listed);
  EXPECT_FALSE(result.whole);
  EXPECT_FALSE(Entry(1).unique_id.has_value());
  EXPECT_FALSE(client_.is_open());
}

TEST_F(ListingTest, AServerThatHasGoneListsNothing) {
  server_.Answer("PASS secret", "+OK\r\n");
  server_.Answer("LIST", ScriptedPop3Server::kClose);
  EXPECT_FALSE(List().listed);
  // The next command is not even asked.
  EXPECT_FALSE(ListMailbox(world_.program(), client_, mailbox_).listed);
  EXPECT_EQ(server_.commands().back(), "LIST");
}

}  // namespace
}  // namespace quillbeaker
