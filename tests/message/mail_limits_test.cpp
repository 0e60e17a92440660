// SPDX-License-Identifier: MIT
// Mail with more header fields or more parts than are told apart: what stands beyond the limits stays text,
// and every byte is written back.
#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <string_view>

#include "message/mail_message.h"

namespace quillbeaker {
namespace {

constexpr std::size_t kMostFields = 2'000'000;
constexpr std::size_t kMostParts = 500'000;

std::string Repeat(std::string_view text, std::size_t times) {
  std::string all;
  all.reserve(text.size() * times);
  for (std::size_t i = 0; i < times; ++i) all.append(text);
  return all;
}

std::size_t CountParts(const MailMessage& message) {
  std::size_t count = 0;
  for (const MessagePart* part = message.root(); part != nullptr; part = NextPart(part)) ++count;
  return count;
}

// Equality of texts that are too long to be shown.
void ExpectWrittenBack(const MailMessage& message, const std::string& text) {
  const std::string written = message.Serialise().value_or("(nothing)");
  EXPECT_EQ(written.size(), text.size());
  EXPECT_TRUE(written == text) << "written back otherwise";
}

constexpr char kMultipart[] = "Content-Type: multipart/mixed; boundary=\"b\"\r\n\r\n";
constexpr char kPart[] = "\r\n--b\r\n\r\nz";

TEST(MailLimits, HeaderLinesBeyondTheLimitAreBody) {
  const std::string text = Repeat("X: v\r\n", kMostFields) + "Y: w\r\nZ: u\r\n\r\nbody";
  MailMessage message;
  message.ParseText(text);
  EXPECT_EQ(message.root()->fields.size(), kMostFields);
  EXPECT_EQ(message.root()->fields.back().name, "X");
  EXPECT_EQ(message.root()->body, "Y: w\r\nZ: u\r\n\r\nbody");
  EXPECT_FALSE(message.FindField("Y").has_value());
  ExpectWrittenBack(message, text);
}

TEST(MailLimits, ExactlyTheLimitOfHeaderLinesAreFields) {
  const std::string text = Repeat("X: v\r\n", kMostFields - 1) + "Y: w\r\n\r\nbody";
  MailMessage message;
  message.ParseText(text);
  EXPECT_EQ(message.root()->fields.size(), kMostFields);
  EXPECT_EQ(message.FindField("Y"), "w");
  EXPECT_EQ(message.root()->body, "\r\nbody");
  ExpectWrittenBack(message, text);
}

TEST(MailLimits, HeaderLinesOfAllPartsCountTogether) {
  const std::string half = Repeat("X: v\r\n", kMostFields / 2);
  const std::string text = kMultipart + ("\r\n--b\r\n" + half) + "\r\none\r\n--b\r\n" + half +
                           "Y: w\r\n\r\ntwo\r\n--b\r\nW: last\r\n\r\nthree\r\n--b--\r\n";
  MailMessage message;
  message.ParseText(text);
  ASSERT_EQ(CountParts(message), 4U);
  const MessagePart* second = message.root()->first_child->next;
  EXPECT_EQ(second->fields.size(), kMostFields / 2 - 1);  // the root has one
  EXPECT_EQ(second->body, "X: v\r\nY: w\r\n\r\ntwo");
  EXPECT_TRUE(second->next->fields.empty());
  EXPECT_EQ(second->next->body, "W: last\r\n\r\nthree");
  ExpectWrittenBack(message, text);
}

TEST(MailLimits, PartsBeyondTheLimitAreTextOfTheLastOne) {
  const std::string text = kMultipart + Repeat(kPart, kMostParts - 1) + kPart + kPart + "\r\n--b--\r\n";
  MailMessage message;
  message.ParseText(text);
  EXPECT_EQ(CountParts(message), kMostParts);
  EXPECT_EQ(message.root()->last_child->body, "\r\nz" + std::string(kPart) + kPart);
  ExpectWrittenBack(message, text);
}

TEST(MailLimits, ExactlyTheLimitOfPartsAreParts) {
  const std::string text = kMultipart + Repeat(kPart, kMostParts - 1) + "\r\n--b--\r\n";
  MailMessage message;
  message.ParseText(text);
  EXPECT_EQ(CountParts(message), kMostParts);
  EXPECT_EQ(message.root()->last_child->body, "\r\nz");
  ExpectWrittenBack(message, text);
}

// Behind a closing delimiter too, a part more is kept, with all that stands before it.
TEST(MailLimits, APartBeyondTheLimitBehindAClosingDelimiterIsKept) {
  const std::string text = kMultipart + Repeat(kPart, kMostParts - 1) +
                           "\r\n--b--\r\nbetween\r\n--b\r\n\r\nlast" + "\r\n--b--\r\n";
  MailMessage message;
  message.ParseText(text);
  EXPECT_EQ(CountParts(message), kMostParts);
  EXPECT_EQ(message.root()->last_child->body, "\r\nz\r\n--b--\r\nbetween\r\n--b\r\n\r\nlast");
  ExpectWrittenBack(message, text);
}

}  // namespace
}  // namespace quillbeaker
