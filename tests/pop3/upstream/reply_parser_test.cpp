// SPDX-License-Identifier: MIT
#include "pop3/upstream/reply_parser.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>

namespace quillbeaker {
namespace {

using State = ReplyParser::State;

constexpr std::string_view kListing = "+OK 2 messages\r\n1 120\r\n2 .\r\n.x\r\n.\r\n";
constexpr std::string_view kListed = "1 120\r\n2 .\r\n.x";

// Hands the text over in pieces of one size; gives how many bytes were taken.
std::size_t Feed(ReplyParser& parser, std::string_view text, std::size_t piece) {
  std::size_t taken = 0;
  while (taken < text.size() && !parser.ended()) taken += parser.Take(text.substr(taken, piece));
  return taken;
}

TEST(ReplyParser, GivesTheSameBodyAtEverySplit) {
  for (std::size_t first = 0; first <= kListing.size(); ++first) {
    for (std::size_t second = first; second <= kListing.size(); ++second) {
      ReplyParser parser(ReplyKind::kListing);
      parser.Take(kListing.substr(0, first));
      parser.Take(kListing.substr(first, second - first));
      parser.Take(kListing.substr(second));
      ASSERT_EQ(parser.state(), State::kComplete) << first << " " << second;
      ASSERT_EQ(parser.status_line(), "+OK 2 messages");
      ASSERT_EQ(parser.TakeBody(), kListed);
    }
  }
}

TEST(ReplyParser, TakesNothingBeyondTheReply) {
  for (const std::size_t piece : {1u, 2u, 3u, 7u, 1000u}) {
    ReplyParser parser(ReplyKind::kListing);
    EXPECT_EQ(Feed(parser, std::string(kListing) + "+OK next\r\n", piece), kListing.size()) << piece;
    ReplyParser line(ReplyKind::kStatus);
    EXPECT_EQ(Feed(line, "+OK\r\n+OK\r\n", piece), 5u) << piece;
  }
}

TEST(ReplyParser, ReadsAnEmptyBody) {
  for (const std::size_t piece : {1u, 2u, 3u, 5u, 100u}) {
    ReplyParser parser(ReplyKind::kMessage);
    EXPECT_EQ(Feed(parser, "+OK\r\n.\r\nrest", piece), 8u) << piece;
    EXPECT_EQ(parser.state(), State::kComplete);
    EXPECT_EQ(parser.TakeBody(), "");
  }
}

TEST(ReplyParser, KeepsTheDotsOfAMessageStuffed) {
  ReplyParser parser(ReplyKind::kMessage, 7);
  const std::string body = "..a\r\n" + std::string(100'000, 'x') + "\r\n..";
  Feed(parser, "+OK\r\n" + body + "\r\n.\r\n", 1460);
  EXPECT_EQ(parser.TakeBody(), body);
}

TEST(ReplyParser, CopiesNoMessageIntoItsStatusLine) {
  ReplyParser parser(ReplyKind::kMessage);
  parser.Take("+OK\r\n" + std::string(50'000, 'x') + "\r\n.\r\n");
  EXPECT_EQ(parser.state(), State::kComplete);
  EXPECT_LT(parser.status_line().capacity(), 100u);
}

TEST(ReplyParser, HasNoMoreMemoryReadyThanAServerIsBelieved) {
  for (const std::size_t announced : {std::size_t{20'000}, kMaxReserved, kMaxMessage}) {
    ReplyParser parser(ReplyKind::kMessage, announced);
    parser.Prepare();
    Feed(parser, "+OK\r\nab\r\n.\r\n", 3);
    const std::string body = parser.TakeBody();
    EXPECT_EQ(body, "ab");
    EXPECT_GE(body.capacity(), std::min(announced, kMaxReserved));
    EXPECT_LE(body.capacity(), 2 * std::min(announced, kMaxReserved));
  }
}

TEST(ReplyParser, KnowsARefusalAtItsFourthByteInAnyCase) {
  for (const std::string_view text : {"-ERR no such message\r\n", "-err no\r\n", "-Err"}) {
    ReplyParser parser(ReplyKind::kMessage);
    parser.Take(text.substr(0, 3));
    EXPECT_EQ(parser.state(), State::kReading);
    parser.Take(text.substr(3, 1));
    EXPECT_EQ(parser.state(), State::kRefused);
    EXPECT_FALSE(parser.ended());
  }
}

TEST(ReplyParser, EndsARefusalWithItsLine) {
  ReplyParser parser(ReplyKind::kMessage);
  EXPECT_EQ(Feed(parser, "-ERR gone\r\n+OK\r\n.\r\n", 3), 11u);
  EXPECT_TRUE(parser.ended());
  EXPECT_EQ(parser.state(), State::kRefused);
  EXPECT_EQ(parser.status_line(), "-ERR gone");
}

TEST(ReplyParser, StopsAtAStatusLineWithoutAnEnd) {
  for (const ReplyKind kind : {ReplyKind::kStatus, ReplyKind::kMessage}) {
    ReplyParser parser(kind);
    const std::size_t taken = Feed(parser, std::string(300'000, 'x'), 1000);
    EXPECT_EQ(parser.state(), State::kTooLong);
    EXPECT_LE(taken, kMaxStatusLine + 2);
  }
}

TEST(ReplyParser, StopsAtAListingWithoutAnEnd) {
  ReplyParser parser(ReplyKind::kListing);
  parser.Take("+OK\r\n");
  const std::string megabyte(1024 * 1024, 'x');
  std::size_t taken = 0;
  while (!parser.ended() && taken <= 2 * kMaxListing) taken += parser.Take(megabyte);
  EXPECT_EQ(parser.state(), State::kTooLong);
  EXPECT_LE(taken, kMaxListing + 2 * megabyte.size());
}

TEST(ReplyParser, TakesNulForAnOrdinaryByte) {
  using namespace std::string_literals;
  ReplyParser parser(ReplyKind::kMessage);
  Feed(parser, "+OK\r\nab\0cd\r\n.\r\n"s, 3);
  EXPECT_EQ(parser.TakeBody(), "ab\0cd"s);
}

TEST(ReplyParser, FindsTheEndOfWhatItDiscardsWhereverThatBegins) {
  for (const std::string_view text :
       {kListing, std::string_view("+OK\r\n.\r\n"), std::string_view("+OK\r\n..\r\n.\r\n")}) {
    for (std::size_t kept = 0; kept < text.size(); ++kept) {
      for (const std::size_t piece : {1u, 2u, 3u, 100u}) {
        ReplyParser parser(ReplyKind::kListing);
        parser.Take(text.substr(0, kept));
        parser.Discard();
        const std::string rest = std::string(text.substr(kept)) + "behind";
        EXPECT_EQ(Feed(parser, rest, piece), text.size() - kept) << kept << " " << piece;
        EXPECT_EQ(parser.state(), State::kComplete);
      }
    }
  }
}

}  // namespace
}  // namespace quillbeaker
