// SPDX-License-Identifier: MIT
// How a body is walked into parts: which boundary a part declares, which lines are delimiters, whose text
// ends where.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "message/mail_message.h"

namespace quillbeaker {
namespace {

// The boundary that a Content-Type value declares, or "(none)".
std::string BoundaryOf(const std::string& content_type) {
  MailMessage message;
  message.ParseText("Content-Type: " + content_type + "\r\n\r\nbody");
  if (!message.root()->has_boundary) return "(none)";
  return std::string(message.root()->boundary);
}

std::vector<const MessagePart*> ChildrenOf(const MessagePart* part) {
  std::vector<const MessagePart*> children;
  for (const MessagePart* child = part->first_child; child != nullptr; child = child->next)
    children.push_back(child);
  return children;
}

std::vector<std::string> ChildBodiesOf(const MailMessage& message) {
  std::vector<std::string> bodies;
  for (const MessagePart* child : ChildrenOf(message.root())) bodies.emplace_back(child->body);
  return bodies;
}

// A multipart/mixed message with boundary XY and this body behind the header block's empty line.
std::string Mixed(const std::string& body) {
  return "Content-Type: multipart/mixed; boundary=XY\r\n\r\n" + body;
}

using Bodies = std::vector<std::string>;

TEST(Boundary, IsReadFromAMultipartType) {
  EXPECT_EQ(BoundaryOf("multipart/mixed; boundary=XY"), "XY");
  EXPECT_EQ(BoundaryOf("MULTIPART/mixed; BOUNDARY=XY"), "XY");
  EXPECT_EQ(BoundaryOf("multipart/mixed; boundary=XY; charset=x"), "XY");
  EXPECT_EQ(BoundaryOf("multipart/mixed; charset=x; boundary=XY"), "XY");
}

TEST(Boundary, LosesBlanksAndOneSurroundingPairOfQuotes) {
  EXPECT_EQ(BoundaryOf("multipart/alternative; boundary=\"XY\""), "XY");
  EXPECT_EQ(BoundaryOf("multipart/alternative; boundary = \t\"X Y\" ; x=y"), "X Y");
  EXPECT_EQ(BoundaryOf("multipart/alternative; boundary=\"\"XY\"\""), "\"XY\"");
  EXPECT_EQ(BoundaryOf("multipart/alternative; boundary=\"XY"), "\"XY");
}

TEST(Boundary, InQuotesIsCutAtASemicolonAllTheSame) {
  EXPECT_EQ(BoundaryOf("multipart/mixed; boundary=\"a;b\""), "\"a");
}

TEST(Boundary, WithoutEqualsSignBeginsRightAfterTheWord) {
  EXPECT_EQ(BoundaryOf("multipart/mixed; boundary XY"), "XY");
}

TEST(Boundary, MayBeEmptyAndIsOneAllTheSame) {
  EXPECT_EQ(BoundaryOf("multipart/mixed; boundary=\"\""), "");
  EXPECT_EQ(BoundaryOf("multipart/mixed; boundary="), "");
}

TEST(Boundary, IsNotReadFromOtherTypes) {
  EXPECT_EQ(BoundaryOf("text/plain; boundary=XY"), "(none)");
  EXPECT_EQ(BoundaryOf("multipart/mixed"), "(none)");
  MailMessage message;
  message.ParseText("X-Type: multipart/mixed; boundary=XY\r\n\r\n--XY\r\n\r\ntext");
  EXPECT_FALSE(message.root()->has_boundary);
}

TEST(Boundary, IsTakenFromTheFullValueBehindTheLookUpLimit) {
  EXPECT_EQ(BoundaryOf("multipart/mixed; x=" + std::string(1100, 'x') + "; boundary=XY"), "XY");
}

TEST(BodyWalk, CutsEachPartAtTheLineEndBeforeTheNextDelimiter) {
  MailMessage message;
  message.ParseText(
      Mixed("preamble\r\n--XY\r\nContent-Type: "
            "text/plain\r\n\r\none\r\n\r\n--XY\r\n\r\ntwo\r\n--XY--\r\nepilogue"));
  EXPECT_EQ(message.root()->body, "\r\npreamble");
  EXPECT_EQ(ChildBodiesOf(message), (Bodies{"\r\none\r\n", "\r\ntwo"}));
  const auto children = ChildrenOf(message.root());
  EXPECT_EQ(FindPartField(*children[0], kHeaderContentType), "text/plain");
  EXPECT_TRUE(children[1]->fields.empty());
}

TEST(BodyWalk, WithoutPreambleTheMultipartsOwnBodyIsEmpty) {
  MailMessage message;
  message.ParseText(Mixed("--XY\r\n\r\none\r\n--XY--\r\n"));
  EXPECT_EQ(message.root()->body, "");
  EXPECT_EQ(ChildBodiesOf(message), (Bodies{"\r\none"}));
}

TEST(BodyWalk, WithoutMatchingDelimiterTheBodyStaysOneText) {
  MailMessage message;
  message.ParseText(Mixed("a\r\n--other\r\nb\r\n-XY\r\n --XY\r\nx--XY\r\n"));
  EXPECT_EQ(message.root()->body, "\r\na\r\n--other\r\nb\r\n-XY\r\n --XY\r\nx--XY\r\n");
  EXPECT_EQ(message.root()->first_child, nullptr);
}

TEST(BodyWalk, WithoutClosingDelimiterTheLastPartRunsToTheEnd) {
  MailMessage message;
  message.ParseText(Mixed("--XY\r\n\r\none\r\n--XY\r\n\r\ntwo\r\nend\r\n"));
  EXPECT_EQ(ChildBodiesOf(message), (Bodies{"\r\none", "\r\ntwo\r\nend\r\n"}));
}

TEST(BodyWalk, ComparesBoundariesWithoutRegardToCase) {
  MailMessage message;
  message.ParseText(Mixed("--xy\r\n\r\none\r\n--Xy\r\n\r\ntwo\r\n--xY--\r\nrest"));
  EXPECT_EQ(ChildBodiesOf(message), (Bodies{"\r\none", "\r\ntwo"}));
}

TEST(BodyWalk, ComparesTheLengthOfTheBoundaryOnly) {
  MailMessage message;
  message.ParseText(Mixed("--XYZ\r\n\r\none\r\n--XY trailing\r\n\r\ntwo\r\n--XY--trailing\r\nrest"));
  EXPECT_EQ(ChildBodiesOf(message), (Bodies{"\r\none", "\r\ntwo"}));
}

TEST(BodyWalk, AnEmptyBoundaryMatchesEveryLineOfTwoDashes) {
  MailMessage message;
  message.ParseText(
      "Content-Type: multipart/mixed; "
      "boundary=\"\"\r\n\r\npre\r\n--anything\r\n\r\none\r\n--\r\n\r\ntwo\r\n----\r\nrest");
  EXPECT_EQ(message.root()->body, "\r\npre");
  EXPECT_EQ(ChildBodiesOf(message), (Bodies{"\r\none", "\r\ntwo"}));
}

TEST(BodyWalk, AHeaderBlockRunsThroughDelimiterLinesToItsEmptyLine) {
  MailMessage message;
  message.ParseText(Mixed("--XY\r\nA: 1\r\n--XY\r\nB: 2\r\n\r\ntext\r\n--XY--\r\n"));
  const auto children = ChildrenOf(message.root());
  ASSERT_EQ(children.size(), 1u);
  ASSERT_EQ(children[0]->fields.size(), 2u);
  EXPECT_EQ(children[0]->fields[1].name, "B");
  EXPECT_EQ(children[0]->body, "\r\ntext");
}

TEST(BodyWalk, APartWhoseHeaderNeverEndsEndsTheWalk) {
  MailMessage message;
  message.ParseText(Mixed("--XY\r\n\r\none\r\n--XY\r\nA: 1\r\nB: 2"));
  const auto children = ChildrenOf(message.root());
  ASSERT_EQ(children.size(), 2u);
  EXPECT_EQ(children[1]->fields.size(), 2u);
  EXPECT_EQ(children[1]->body, "");
}

TEST(BodyWalk, GoesOnBehindAClosingDelimiter) {
  MailMessage message;
  message.ParseText(Mixed("--XY\r\n\r\none\r\n--XY--\r\nbetween\r\n--XY\r\n\r\ntwo\r\n--XY--\r\n"));
  EXPECT_EQ(ChildBodiesOf(message), (Bodies{"\r\none", "\r\ntwo"}));
}

TEST(BodyWalk, AClosingDelimiterBeforeAnyOpeningEndsIt) {
  MailMessage message;
  message.ParseText(Mixed("pre\r\n--XY--\r\n--XY\r\n\r\none\r\n"));
  EXPECT_EQ(message.root()->body, "\r\npre");
  EXPECT_EQ(message.root()->first_child, nullptr);
}

TEST(BodyWalk, EndsWhenThereWereMoreClosingsThanOpenings) {
  MailMessage message;
  message.ParseText(Mixed("--XY\r\n\r\none\r\n--XY--\r\n--XY--\r\n--XY\r\n\r\ntwo\r\n"));
  EXPECT_EQ(ChildBodiesOf(message), (Bodies{"\r\none"}));
}

TEST(BodyWalk, EveryOpeningAllowsOneMoreClosing) {
  MailMessage message;
  message.ParseText(Mixed("--XY\r\n\r\none\r\n--XY\r\n\r\ntwo\r\n--XY--\r\n--XY--\r\n--XY\r\n\r\nthree\r\n"));
  EXPECT_EQ(ChildBodiesOf(message), (Bodies{"\r\none", "\r\ntwo", "\r\nthree\r\n"}));
}

TEST(BodyWalk, KeepsNulBytesInParts) {
  MailMessage message;
  message.ParseText(Mixed(std::string("--XY\r\n\r\na\0b\r\n--XY\r\n\r\nc\0d\r\n--XY--\r\n", 34)));
  EXPECT_EQ(ChildBodiesOf(message), (Bodies{std::string("\r\na\0b", 5), std::string("\r\nc\0d", 5)}));
}

TEST(BodyWalk, NestedFirstMultipartKeepsAllLeavesAndWhatFollows) {
  MailMessage message;
  message.ParseText(
      Mixed("--XY\r\nContent-Type: multipart/alternative; boundary=inner\r\n\r\n"
            "--inner\r\nContent-Type: text/plain\r\n\r\nplain\r\n"
            "--inner\r\nContent-Type: text/html\r\n\r\n<p>html\r\n"
            "--inner--\r\n"
            "--XY\r\nContent-Type: application/pdf\r\n\r\nPDF\r\n"
            "--XY--\r\n"));
  const auto top = ChildrenOf(message.root());
  ASSERT_EQ(top.size(), 2u);
  EXPECT_EQ(top[0]->boundary, "inner");
  const auto inner = ChildrenOf(top[0]);
  ASSERT_EQ(inner.size(), 2u);
  EXPECT_EQ(inner[0]->body, "\r\nplain");
  EXPECT_EQ(inner[1]->body, "\r\n<p>html");
  EXPECT_EQ(inner[1]->parent, top[0]);
  EXPECT_EQ(top[1]->body, "\r\nPDF");
  EXPECT_EQ(FindPartField(*top[1], kHeaderContentType), "application/pdf");
  // Parents before children, children in the order of the text.
  EXPECT_EQ(NextPart(message.root()), top[0]);
  EXPECT_EQ(NextPart(top[0]), inner[0]);
  EXPECT_EQ(NextPart(inner[0]), inner[1]);
  EXPECT_EQ(NextPart(inner[1]), top[1]);
  EXPECT_EQ(NextPart(top[1]), nullptr);
}

TEST(BodyWalk, ADelimiterOfTheRootEndsAnInnerMultipartThatWasNeverClosed) {
  MailMessage message;
  message.ParseText(
      Mixed("--XY\r\nContent-Type: multipart/alternative; boundary=inner\r\n\r\n"
            "--inner\r\n\r\nplain\r\n"
            "--XY\r\n\r\nsecond\r\n--XY--\r\n"));
  const auto top = ChildrenOf(message.root());
  ASSERT_EQ(top.size(), 2u);
  EXPECT_EQ(ChildrenOf(top[0]).size(), 1u);
  EXPECT_EQ(top[0]->first_child->body, "\r\nplain");
  EXPECT_EQ(top[1]->body, "\r\nsecond");
}

TEST(BodyWalk, ALaterMultipartStaysOneUndividedText) {
  MailMessage message;
  message.ParseText(
      Mixed("--XY\r\nContent-Type: text/plain\r\n\r\nfirst\r\n"
            "--XY\r\nContent-Type: multipart/alternative; boundary=inner\r\n\r\n"
            "--inner\r\n\r\nplain\r\n--inner\r\n\r\nhtml\r\n--inner--\r\n"
            "--XY--\r\n"));
  const auto top = ChildrenOf(message.root());
  ASSERT_EQ(top.size(), 2u);
  EXPECT_TRUE(top[1]->has_boundary);
  EXPECT_EQ(top[1]->boundary, "inner");
  EXPECT_EQ(top[1]->first_child, nullptr);
  EXPECT_EQ(top[1]->body, "\r\n--inner\r\n\r\nplain\r\n--inner\r\n\r\nhtml\r\n--inner--");
}

TEST(BodyWalk, TheOutermostOfEqualBoundariesWins) {
  MailMessage message;
  message.ParseText(
      Mixed("--XY\r\nContent-Type: multipart/alternative; boundary=XY\r\n\r\n"
            "--XY\r\n\r\none\r\n--XY\r\n\r\ntwo\r\n--XY--\r\n"));
  const auto top = ChildrenOf(message.root());
  ASSERT_EQ(top.size(), 3u);
  EXPECT_EQ(top[0]->first_child, nullptr);
  EXPECT_EQ(top[1]->body, "\r\none");
  EXPECT_EQ(top[2]->body, "\r\ntwo");
}

TEST(BodyWalk, AnOuterBoundaryThatIsAPrefixOfTheInnerOneTakesItsDelimiters) {
  MailMessage message;
  message.ParseText(
      Mixed("--XY\r\nContent-Type: multipart/alternative; boundary=XYinner\r\n\r\n"
            "--XYinner\r\n\r\none\r\n--XYinner--\r\n\r\ntwo\r\n--XY--\r\n"));
  // "--XYinner" equals the root's boundary over its length, and "inner--" behind it does not begin with "--".
  const auto top = ChildrenOf(message.root());
  ASSERT_EQ(top.size(), 3u);
  EXPECT_EQ(top[0]->first_child, nullptr);
  EXPECT_EQ(top[1]->body, "\r\none");
  EXPECT_EQ(top[2]->body, "\r\ntwo");
}

TEST(BodyWalk, BodyOnlyTextHasNoPartsSinceNothingDeclaresABoundary) {
  MailMessage message;
  message.ParseBodyOnly("Content-Type: multipart/mixed; boundary=XY\r\n\r\n--XY\r\n\r\none\r\n--XY--\r\n");
  EXPECT_EQ(message.root()->first_child, nullptr);
  EXPECT_EQ(message.root()->body.size(), message.size());
}

TEST(BodyWalk, AHundredThousandDelimitersMakeAsManyParts) {
  std::string body;
  for (int i = 0; i < 100'000; ++i) body += "--XY\r\n\r\nx\r\n";
  MailMessage message;
  message.ParseText(Mixed(body));
  EXPECT_EQ(ChildrenOf(message.root()).size(), 100'000u);
  ASSERT_NE(message.root()->last_child, nullptr);
  EXPECT_EQ(message.root()->last_child->body, "\r\nx\r\n");
  const auto text = message.Serialise();
  ASSERT_TRUE(text);
  // The fields' line, then per part CR LF, delimiter and body, then the closing line.
  EXPECT_EQ(text->size(), 44u + 99'999u * (2 + 6 + 3) + (2 + 6 + 5) + 10u);
}

TEST(BodyWalk, TenThousandfoldNestingNeedsNoStack) {
  constexpr int kDepth = 10'000;
  std::string text;
  for (int i = 0; i < kDepth; ++i) {
    char boundary[16];
    std::snprintf(boundary, sizeof boundary, "b%05d", i);
    text += "Content-Type: multipart/mixed; boundary=";
    text += boundary;
    text += "\r\n\r\n--";
    text += boundary;
    text += "\r\n";
  }
  text += "Content-Type: text/plain\r\n\r\ninnermost";
  MailMessage message;
  message.ParseText(std::move(text));
  int depth = 0;
  const MessagePart* part = message.root();
  while (part->first_child != nullptr) {
    ASSERT_EQ(part->first_child, part->last_child);
    part = part->first_child;
    ++depth;
  }
  EXPECT_EQ(depth, kDepth);
  EXPECT_EQ(part->body, "\r\ninnermost");
  const auto written = message.Serialise();
  ASSERT_TRUE(written);
  MailMessage again;
  again.ParseText(*written);
  EXPECT_EQ(again.Serialise(), written);
}

TEST(BodyWalk, ManyDelimiterLikeLinesCostLinearTime) {
  std::string body;
  for (int i = 0; i < 1'000'000; ++i) body += "--no\r\n";
  MailMessage message;
  message.ParseText(Mixed(body));
  EXPECT_EQ(message.root()->first_child, nullptr);
  EXPECT_EQ(message.root()->body.size(), body.size() + 2);
}

}  // namespace
}  // namespace quillbeaker
