// SPDX-License-Identifier: MIT
// Mail made to hurt: what a stranger may send must cost time in proportion to its size, no stack, and nothing
// of its bytes. The time limits are wide enough for a loaded machine under sanitizers and still far below
// what quadratic work takes.

#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "message/decoded_text.h"
#include "message/mail_date.h"
#include "message/mail_message.h"
#include "message/mail_sender.h"

namespace quillbeaker {
namespace {

constexpr double kSecondsAllowed = 20;

class Stopwatch {
 public:
  double Seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
  }

 private:
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

std::string Repeat(std::string_view text, std::size_t times) {
  std::string all;
  all.reserve(text.size() * times);
  for (std::size_t i = 0; i < times; ++i) all.append(text);
  return all;
}

std::string Multipart(std::string_view boundary) {
  return std::string("Content-Type: multipart/mixed; boundary=\"").append(boundary).append("\"\r\n\r\n");
}

std::size_t CountParts(const MailMessage& message) {
  std::size_t count = 0;
  for (const MessagePart* part = message.root(); part != nullptr; part = NextPart(part)) ++count;
  return count;
}

// Parses, decodes and writes back; returns what was written.
std::string Work(MailMessage& message, std::string text) {
  message.ParseText(std::move(text));
  std::string decoded;
  DecodeText(message, true, decoded);
  return message.Serialise().value();
}

TEST(HostileMessage, MillionHeaderLinesAreLinear) {
  std::string text;
  for (int i = 0; i < 1000000; ++i) text += "X-" + std::to_string(i) + ": v\r\n";
  text += "\r\nbody";
  const Stopwatch watch;
  MailMessage message;
  const std::string written = Work(message, text);
  EXPECT_LT(watch.Seconds(), kSecondsAllowed);
  ASSERT_EQ(message.root()->fields.size(), 1000000u);
  EXPECT_EQ(message.root()->fields.back().name, "X-999999");
  EXPECT_EQ(written, text);
}

TEST(HostileMessage, MillionContinuationLinesAreOneValue) {
  const Stopwatch watch;
  MailMessage message;
  message.ParseText("Subject: a" + Repeat("\r\n b", 1000000) + "\r\n\r\nbody");
  EXPECT_LT(watch.Seconds(), kSecondsAllowed);
  ASSERT_EQ(message.root()->fields.size(), 1u);
  EXPECT_EQ(message.root()->fields[0].full_value, "a" + Repeat(" b", 1000000));
  // The blank behind the colon counts, and the one that the cut leaves at the end goes.
  EXPECT_EQ(message.root()->fields[0].value.size(), kMaxHeaderValue - 2);
  EXPECT_EQ(message.root()->body, "\r\nbody");
}

TEST(HostileMessage, HundredThousandDelimitersAreLinear) {
  const std::string text = Multipart("b") + Repeat("\r\n--b\r\nX: y\r\n\r\nz", 100000) + "\r\n--b--\r\n";
  const Stopwatch watch;
  MailMessage message;
  const std::string written = Work(message, text);
  EXPECT_LT(watch.Seconds(), kSecondsAllowed);
  EXPECT_EQ(CountParts(message), 100001u);
  EXPECT_EQ(written.size(), text.size());
}

TEST(HostileMessage, TenThousandFoldNestingKeepsEveryLevel) {
  constexpr std::size_t kLevels = 10000;
  std::string text = Multipart("level0.");
  for (std::size_t i = 0; i < kLevels; ++i) {
    text += "\r\n--level" + std::to_string(i) + ".\r\n" + Multipart("level" + std::to_string(i + 1) + ".");
  }
  // As many delimiters again, each of the innermost level, which a search down the chain would reach last.
  text += Repeat("\r\n--level" + std::to_string(kLevels) + ".\r\n\r\nleaf", kLevels);
  const Stopwatch watch;
  MailMessage message;
  const std::string written = Work(message, text);
  EXPECT_LT(watch.Seconds(), kSecondsAllowed);
  EXPECT_EQ(CountParts(message), 1 + 2 * kLevels);
  std::size_t depth = 0;
  const MessagePart* part = message.root();
  for (; part->first_child != nullptr; part = part->first_child) ++depth;
  EXPECT_EQ(depth, kLevels + 1);
  MailMessage again;
  EXPECT_EQ(Work(again, written), written);
}

// Each boundary is the beginning of the one before it, so that the longest delimiter lines match all of them
// (the root's wins) and each level's own line is told from those above it by its last byte only.
TEST(HostileMessage, BoundariesThatBeginAlikeAreLinear) {
  std::string text = Multipart("x" + std::string(3000, 'a'));
  for (std::size_t length = 3000; length > 1; --length) {
    const std::string boundary = "x" + std::string(length, 'a');
    text += "\r\n--" + boundary + "\r\n" + Multipart(boundary.substr(0, length));
  }
  text += Repeat("\r\n--x" + std::string(3000, 'a') + "\r\n\r\n.", 3000);
  text += Repeat("\r\n--y" + std::string(3000, 'a') + "\r\n\r\n.", 3000);
  const Stopwatch watch;
  MailMessage message;
  Work(message, text);
  EXPECT_LT(watch.Seconds(), kSecondsAllowed);
  EXPECT_EQ(CountParts(message), 1u + 2999 + 3000);
}

TEST(HostileMessage, EmptyBoundaryMatchesEveryDashedLine) {
  const std::string text = Multipart("") + Repeat("\r\n--anything\r\n\r\nz", 100000);
  const Stopwatch watch;
  MailMessage message;
  Work(message, text);
  EXPECT_LT(watch.Seconds(), kSecondsAllowed);
  EXPECT_EQ(CountParts(message), 100001u);
}

TEST(HostileMessage, UnmatchedDelimitersStayText) {
  const std::string body = "\r\n" + Repeat("--c\r\n", 1000000);
  const Stopwatch watch;
  MailMessage message;
  const std::string written = Work(message, "Content-Type: multipart/mixed; boundary=b\r\n" + body);
  EXPECT_LT(watch.Seconds(), kSecondsAllowed);
  EXPECT_EQ(message.root()->body, body);
  EXPECT_EQ(CountParts(message), 1u);
}

TEST(HostileMessage, CarriageReturnsWithoutLineFeedsAreOneHeaderLine) {
  const std::string rest(2000000, '\r');
  const Stopwatch watch;
  MailMessage message;
  message.ParseText("Subject: " + rest);
  EXPECT_LT(watch.Seconds(), kSecondsAllowed);
  ASSERT_EQ(message.root()->fields.size(), 1u);
  EXPECT_EQ(message.root()->fields[0].full_value, rest);
}

TEST(HostileMessage, HtmlOfTagsOnlyIsLinear) {
  const Stopwatch watch;
  std::string tags = Repeat("<a>", 1000000) + "x";
  RemoveHtml(tags);
  EXPECT_EQ(tags, "x");
  std::string open(3000000, '<');
  RemoveHtml(open);
  EXPECT_EQ(open, std::string(3000000, '<'));
  std::string blanks = Repeat("&nbsp;", 500000) + Repeat("&nbsp", 500000);
  RemoveHtml(blanks);
  EXPECT_EQ(blanks, std::string(500000, ' ') + Repeat("&nbsp", 500000));
  EXPECT_LT(watch.Seconds(), kSecondsAllowed);
}

TEST(HostileMessage, EncodingsOfNothingButEscapesAreLinear) {
  const Stopwatch watch;
  std::string quoted = Repeat("=41", 1000000);
  DecodeQuotedPrintable(quoted);
  EXPECT_EQ(quoted, std::string(1000000, 'A'));
  std::string underlines(1000000, '_');
  DecodeQuotedPrintable(underlines);
  EXPECT_EQ(underlines, std::string(1000000, ' '));
  std::string skipped = Repeat("!Q!U!F!B!", 500000);
  DecodeBase64(skipped);
  EXPECT_EQ(skipped, Repeat("AAA", 500000));
  EXPECT_LT(watch.Seconds(), kSecondsAllowed);
}

TEST(HostileMessage, NulBytesAreOrdinaryEverywhere) {
  using namespace std::string_literals;
  const std::string text =
      "Sub\0ject: a\0b\r\nFrom: x\0y <a@b\0c>\r\nContent-Type: multipart/mixed; "
      "boundary=\"n\0n\"\r\n\r\nin\0tro"
      "\r\n--n\0n\r\n\r\none\0two\r\n--n\0n--\r\n"s;
  MailMessage message;
  EXPECT_EQ(Work(message, text), text);
  EXPECT_EQ(message.size(), text.size());
  EXPECT_EQ(message.FindField("sub\0ject"s), "a\0b"s);
  ASSERT_NE(message.root()->first_child, nullptr);
  EXPECT_EQ(message.root()->body, "\r\nin\0tro"s);
  EXPECT_EQ(message.root()->first_child->body, "\r\none\0two"s);
  const auto sender = SenderOf(message);
  ASSERT_TRUE(sender.has_value());
  EXPECT_EQ(sender->name, "x\0y"s);
  EXPECT_EQ(sender->address, "a@b\0c"s);
  std::string decoded;
  ASSERT_TRUE(DecodeText(message, false, decoded));
  EXPECT_EQ(decoded, "\r\none\0two"s);
}

// What mail is made of, so that random texts reach past the first line.
const std::vector<std::string>& Pieces() {
  using namespace std::string_literals;
  static const std::vector<std::string> pieces = {"\r\n"s,
                                                  "\r\n\r\n"s,
                                                  "\r"s,
                                                  "\n"s,
                                                  " "s,
                                                  "\t"s,
                                                  ":"s,
                                                  "--"s,
                                                  "\r\n--"s,
                                                  "b1"s,
                                                  "b2"s,
                                                  "B1"s,
                                                  "\0"s,
                                                  "\xFF"s,
                                                  "="s,
                                                  "=3D"s,
                                                  "=\r\n"s,
                                                  "=00"s,
                                                  "_"s,
                                                  "<"s,
                                                  ">"s,
                                                  "<br>"s,
                                                  "&nbsp;"s,
                                                  "QUJD"s,
                                                  "?="s,
                                                  "=?x?Q?"s,
                                                  "=?x?B?"s,
                                                  ";"s,
                                                  "\""s,
                                                  "Content-Type: multipart/mixed; boundary=b1\r\n"s,
                                                  "Content-Type: multipart/mixed; boundary=\"b2\"\r\n"s,
                                                  "Content-Type: multipart/mixed; boundary=\r\n"s,
                                                  "Content-Type: text/html\r\n"s,
                                                  "Content-Transfer-Encoding: quoted-printable\r\n"s,
                                                  "Content-Transfer-Encoding: base64\r\n"s,
                                                  "Date: Tue, 4 Feb 2003 23:30:00 -0200\r\n"s,
                                                  "From: a <b@c>\r\n"s,
                                                  "\r\n--b1\r\n"s,
                                                  "\r\n--b1--\r\n"s,
                                                  "\r\n--b2\r\n"s,
                                                  "\r\n--b2--\r\n"s,
                                                  "words of text"s};
  return pieces;
}

std::string RandomMail(std::mt19937& random) {
  const auto& pieces = Pieces();
  std::string text;
  const std::size_t count = random() % 40;
  for (std::size_t i = 0; i < count; ++i) {
    if (random() % 8 == 0) {
      text.push_back(static_cast<char>(random() % 256));
    } else {
      text += pieces[random() % pieces.size()];
    }
  }
  return text;
}

bool IsInside(std::string_view part, std::string_view whole) {
  return part.empty() ||
         (part.data() >= whole.data() && part.data() + part.size() <= whole.data() + whole.size());
}

// The promises that hold for any bytes at all.
TEST(HostileMessage, RandomMailKeepsThePromises) {
  std::mt19937 random(20031202);
  std::string decoded;
  for (int round = 0; round < 20000; ++round) {
    const std::string text = RandomMail(random);
    MailMessage message;
    ASSERT_EQ(message.ParseText(text), MailMessage::kParsed);
    ASSERT_EQ(message.size(), text.size());
    for (const MessagePart* part = message.root(); part != nullptr; part = NextPart(part)) {
      for (const HeaderField& field : part->fields) {
        ASSERT_LE(field.name.size(), kMaxHeaderName);
        ASSERT_LE(field.value.size(), kMaxHeaderValue);
        ASSERT_TRUE(IsInside(field.name, field.full_name));
        ASSERT_TRUE(IsInside(field.value, field.full_value));
      }
      ASSERT_TRUE(part->first_child == nullptr || part->has_boundary);
      for (const MessagePart* child = part->first_child; child != nullptr; child = child->next) {
        ASSERT_EQ(child->parent, part);
      }
    }
    for (const bool strip : {false, true}) {
      ASSERT_EQ(DecodeText(message, strip, decoded), !text.empty());
      if (!text.empty()) {
        ASSERT_LT(decoded.size(), text.size());
      }
    }
    CalendarTime date;
    ASSERT_EQ(ReadDate(message, date) == kDateRead, message.FindField(kHeaderDate).has_value());
    ASSERT_EQ(SenderOf(message).has_value(), message.FindField(kHeaderFrom).has_value());
    ASSERT_TRUE(message.Serialise().has_value());
  }
}

}  // namespace
}  // namespace quillbeaker
