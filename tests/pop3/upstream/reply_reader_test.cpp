// SPDX-License-Identifier: MIT
#include "pop3/upstream/reply_reader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace quillbeaker {
namespace {

// Hands a text out in pieces of the given sizes, the last size repeating; then says that the server has
// closed.
ReplySource PiecesOf(std::string_view text, std::vector<std::size_t> sizes,
                     std::size_t* longest_ask = nullptr) {
  return [text, sizes, longest_ask, piece = std::size_t{0}, at = std::size_t{0}](
             char* buffer, std::size_t capacity) mutable -> std::ptrdiff_t {
    if (longest_ask != nullptr) {
      *longest_ask = std::max(*longest_ask, capacity);
    }
    const std::size_t size = sizes[std::min(piece++, sizes.size() - 1)];
    const std::size_t count = std::min({size, capacity, text.size() - at});
    std::memcpy(buffer, text.data() + at, count);
    at += count;
    return static_cast<std::ptrdiff_t>(count);
  };
}

constexpr std::string_view kListing = "+OK 2 messages\r\n1 120\r\n2 .\r\n.x\r\n.\r\n";

TEST(ReplyReader, GivesTheSameTextAtEverySplit) {
  for (std::size_t first = 1; first < kListing.size(); ++first) {
    for (std::size_t second = 1; second + first <= kListing.size(); ++second) {
      const Reply reply = ReadReply(PiecesOf(kListing, {first, second, kListing.size()}),
                                    {.terminator = kMultilineEnd, .limit = kMaxListing}, {});
      ASSERT_EQ(reply.status, ReplyStatus::kComplete) << first << " " << second;
      ASSERT_EQ(reply.text, kListing);
    }
  }
}

TEST(ReplyReader, GrowsBeyondItsFirstCapacity) {
  const std::string text = "+OK " + std::string(100'000, 'x') + "\r\n.\r\n";
  std::size_t longest_ask = 0;
  const Reply reply = ReadReply(
      PiecesOf(text, {1460}, &longest_ask),
      {.terminator = kMultilineEnd, .expected_size = 7, .chunk_size = 512, .limit = kMaxMessage}, {});
  EXPECT_EQ(reply.status, ReplyStatus::kComplete);
  EXPECT_EQ(reply.text, text);
  EXPECT_LE(longest_ask, 512u);
}

TEST(ReplyReader, RefusesAFormatThatCannotBeRead) {
  const auto source = PiecesOf(kListing, {100});
  EXPECT_EQ(ReadReply(source, {.terminator = ""}, {}).status, ReplyStatus::kUnusable);
  EXPECT_EQ(ReadReply(source, {.terminator = kLineEnd, .expected_size = 0}, {}).status,
            ReplyStatus::kUnusable);
  EXPECT_EQ(ReadReply(source, {.terminator = kLineEnd, .chunk_size = 0}, {}).status, ReplyStatus::kUnusable);
}

TEST(ReplyReader, FailsAtOnceOnARefusalInAnyCase) {
  for (const std::string_view text : {"-ERR no such message\r\n", "-err no\r\n", "-Err"}) {
    const Reply reply =
        ReadReply(PiecesOf(text, {1}), {.terminator = kMultilineEnd, .limit = kMaxListing}, {});
    EXPECT_EQ(reply.status, ReplyStatus::kRefused);
    EXPECT_EQ(reply.text.size(), 4u);
  }
}

TEST(ReplyReader, TakesTheEndOfTheConnectionForALostReply) {
  const Reply reply = ReadReply(PiecesOf("+OK half a line", {4}), {.terminator = kLineEnd}, {});
  EXPECT_EQ(reply.status, ReplyStatus::kLost);
}

TEST(ReplyReader, StopsAtTheLimit) {
  const std::string endless(300'000, 'x');
  const Reply reply =
      ReadReply(PiecesOf(endless, {1000}), {.terminator = kLineEnd, .limit = kMaxStatusLine}, {});
  EXPECT_EQ(reply.status, ReplyStatus::kLost);
  EXPECT_EQ(reply.text.size(), kMaxStatusLine);
}

TEST(ReplyReader, TakesNulForAnOrdinaryByte) {
  const std::string text("+OK\r\nab\0cd\r\n.\r\n", 15);
  const Reply reply = ReadReply(PiecesOf(text, {3}), {.terminator = kMultilineEnd, .limit = kMaxMessage}, {});
  EXPECT_EQ(reply.status, ReplyStatus::kComplete);
  EXPECT_EQ(reply.text, text);
}

TEST(ReplyReader, TakesARefusalForOneAlsoWhenCancelled) {
  const auto cancelled = [](std::size_t) { return false; };
  for (const std::size_t piece : {1u, 2u, 4u, 100u}) {
    const Reply reply = ReadReply(PiecesOf("-ERR gone\r\n", {piece}),
                                  {.terminator = kMultilineEnd, .limit = kMaxListing}, cancelled);
    EXPECT_EQ(reply.status, ReplyStatus::kRefused) << piece;
  }
}

TEST(ReplyReader, CancelsBeforeItLooksForTheEnd) {
  std::size_t seen = 0;
  const auto progress = [&seen](std::size_t bytes) {
    seen += bytes;
    return seen < 10;
  };
  const Reply reply =
      ReadReply(PiecesOf(kListing, {6}), {.terminator = kMultilineEnd, .limit = kMaxListing}, progress);
  EXPECT_EQ(reply.status, ReplyStatus::kCancelled);
  EXPECT_EQ(reply.text, kListing.substr(0, 12));
}

TEST(SkipReply, FindsTheTerminatorAcrossEverySplit) {
  for (std::size_t already = 0; already <= kListing.size(); ++already) {
    for (const std::size_t size : {1u, 2u, 3u, 100u}) {
      EXPECT_TRUE(SkipReply(PiecesOf(kListing.substr(already), {size}), kListing.substr(0, already),
                            kMultilineEnd, kMaxListing));
    }
  }
}

TEST(SkipReply, FailsWhenTheServerClosesOrNeverEnds) {
  EXPECT_FALSE(SkipReply(PiecesOf("rest of a line", {5}), "-ERR ", kLineEnd, kMaxStatusLine));
  const std::string endless(200'000, 'x');
  EXPECT_FALSE(SkipReply(PiecesOf(endless, {1000}), "-ERR ", kLineEnd, kMaxStatusLine));
}

}  // namespace
}  // namespace quillbeaker
