// SPDX-License-Identifier: MIT
// How the header block becomes fields: splitting, unfolding, trimming, limits, kinds and look-ups.

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "message/mail_message.h"

namespace quillbeaker {
namespace {

// The value of the first field of the name in a message of this text, or "(none)".
std::string ValueOf(std::string text, std::string_view name) {
  MailMessage message;
  message.ParseText(std::move(text));
  return std::string(message.FindField(name).value_or("(none)"));
}

TEST(ParseHeaderLine, SplitsAtTheColonAndTrimsBothSides) {
  const auto field = ParseHeaderLine("subject:   Hello  ");
  ASSERT_TRUE(field);
  EXPECT_EQ(field->name, "subject");
  EXPECT_EQ(field->value, "Hello");
  EXPECT_EQ(field->kind, 64);
}

TEST(ParseHeaderLine, TrimsTabsToo) {
  const auto field = ParseHeaderLine("\t From \t:\t a@b.example \t");
  ASSERT_TRUE(field);
  EXPECT_EQ(field->name, "From");
  EXPECT_EQ(field->value, "a@b.example");
  EXPECT_EQ(field->kind, kHeaderFrom);
}

TEST(ParseHeaderLine, OnlyTheFirstColonSplits) {
  const auto field = ParseHeaderLine("X-Time: 10:20:30");
  ASSERT_TRUE(field);
  EXPECT_EQ(field->name, "X-Time");
  EXPECT_EQ(field->value, "10:20:30");
}

TEST(ParseHeaderLine, GivesNothingWithoutColon) {
  EXPECT_FALSE(ParseHeaderLine("no colon here"));
  EXPECT_FALSE(ParseHeaderLine(""));
}

TEST(ParseHeaderLine, NameAndValueMayBeEmpty) {
  const auto field = ParseHeaderLine(":");
  ASSERT_TRUE(field);
  EXPECT_EQ(field->name, "");
  EXPECT_EQ(field->value, "");
  EXPECT_EQ(field->kind, kHeaderOther);
}

TEST(ParseHeaderLine, KindFollowsTheNameWithoutRegardToCase) {
  const std::vector<std::pair<std::string, int>> kinds = {{"To", 2},
                                                          {"tO", 2},
                                                          {"From", 4},
                                                          {"FROM", 4},
                                                          {"Content-Type", 8},
                                                          {"content-type", 8},
                                                          {"BCC", 16},
                                                          {"bcc", 16},
                                                          {"CC", 32},
                                                          {"Cc", 32},
                                                          {"Subject", 64},
                                                          {"SUBJECT", 64},
                                                          {"Date", 128},
                                                          {"date", 128},
                                                          {"Received", 1},
                                                          {"Subjects", 1},
                                                          {"Subjec", 1},
                                                          {"X-To", 1},
                                                          {"Content-Transfer-Encoding", 1}};
  for (const auto& [name, kind] : kinds) {
    const auto field = ParseHeaderLine(name + ": v");
    ASSERT_TRUE(field) << name;
    EXPECT_EQ(static_cast<int>(field->kind), kind) << name;
  }
}

TEST(ParseHeaderLine, NameIsCutAt254BytesAndTheFullOneIsKept) {
  const std::string name(300, 'n');
  const std::string line = name + ": v";
  const auto field = ParseHeaderLine(line);
  ASSERT_TRUE(field);
  EXPECT_EQ(field->name, std::string(254, 'n'));
  EXPECT_EQ(field->full_name, name);
}

TEST(ParseHeaderLine, NameIsCutBeforeItIsTrimmed) {
  const std::string line = "  " + std::string(300, 'n') + ": v";
  const auto field = ParseHeaderLine(line);
  ASSERT_TRUE(field);
  EXPECT_EQ(field->name, std::string(252, 'n'));
  EXPECT_EQ(field->full_name, std::string(300, 'n'));
}

TEST(ParseHeaderLine, ValueIsCutAt1023BytesAndTheFullOneIsKept) {
  const std::string line = "X:" + std::string(2000, 'v');
  const auto field = ParseHeaderLine(line);
  ASSERT_TRUE(field);
  EXPECT_EQ(field->value, std::string(1023, 'v'));
  EXPECT_EQ(field->full_value, std::string(2000, 'v'));
}

TEST(ParseHeaderLine, ValueOfExactlyTheLimitIsWhole) {
  const std::string line = "X:" + std::string(1023, 'v');
  const auto field = ParseHeaderLine(line);
  ASSERT_TRUE(field);
  EXPECT_EQ(field->value.size(), 1023u);
}

TEST(ParseHeaderLine, ValueIsCutBeforeItIsTrimmed) {
  // 10 blanks, 1000 letters, 13 blanks fill the limit; what stands behind them is cut off before the blanks
  // are trimmed.
  const std::string line =
      "X:" + std::string(10, ' ') + std::string(1000, 'v') + std::string(13, ' ') + "tail";
  const auto field = ParseHeaderLine(line);
  ASSERT_TRUE(field);
  EXPECT_EQ(field->value, std::string(1000, 'v'));
  EXPECT_EQ(field->full_value, std::string(1000, 'v') + std::string(13, ' ') + "tail");
}

TEST(ParseHeaderLine, BytesOfAnyValueAreKept) {
  const std::string line("X\xE4: a\0b\xFF", 8);
  const auto field = ParseHeaderLine(line);
  ASSERT_TRUE(field);
  EXPECT_EQ(field->name, "X\xE4");
  EXPECT_EQ(field->value, std::string("a\0b\xFF", 4));
}

TEST(HeaderBlock, UnfoldsContinuationsWithOneBlankEach) {
  EXPECT_EQ(ValueOf("Subject: A\r\n\tB\r\n  C\r\n\r\nbody", "Subject"), "A B  C");
}

TEST(HeaderBlock, DropsOnlyTheFirstBlankOfAContinuation) {
  EXPECT_EQ(ValueOf("X: A\r\n \t B\r\n\r\n", "X"), "A \t B");
}

TEST(HeaderBlock, AContinuationOfBlanksAloneEndsNoHeader) {
  MailMessage message;
  message.ParseText("X: A\r\n \r\nY: B\r\n\r\nbody");
  EXPECT_EQ(message.FindField("X"), "A");
  EXPECT_EQ(message.FindField("Y"), "B");
  EXPECT_EQ(message.root()->body, "\r\nbody");
}

TEST(HeaderBlock, ALastContinuationWithoutLineEndRunsToTheEndOfTheText) {
  MailMessage message;
  message.ParseText("Subject: A\r\n B to the end");
  EXPECT_EQ(message.FindField("Subject"), "A B to the end");
  EXPECT_EQ(message.root()->body, "");
}

TEST(HeaderBlock, FieldsStandInTheOrderOfTheText) {
  MailMessage message;
  message.ParseText("B: 1\r\nA: 2\r\nB: 3\r\n\r\n");
  const auto& fields = message.root()->fields;
  ASSERT_EQ(fields.size(), 3u);
  EXPECT_EQ(fields[0].name, "B");
  EXPECT_EQ(fields[0].value, "1");
  EXPECT_EQ(fields[1].name, "A");
  EXPECT_EQ(fields[2].name, "B");
  EXPECT_EQ(fields[2].value, "3");
}

TEST(HeaderBlock, DropsLinesWithoutColon) {
  MailMessage message;
  message.ParseText("A: 1\r\nnonsense\r\nB: 2\r\n\r\nbody");
  ASSERT_EQ(message.root()->fields.size(), 2u);
  EXPECT_EQ(message.root()->fields[1].name, "B");
  EXPECT_EQ(message.root()->body, "\r\nbody");
}

TEST(HeaderBlock, EndsAtTheEmptyLineWhoseLineEndBeginsTheBody) {
  MailMessage message;
  message.ParseText("A: 1\r\n\r\nB: 2\r\n\r\nrest");
  EXPECT_EQ(message.root()->fields.size(), 1u);
  EXPECT_EQ(message.root()->body, "\r\nB: 2\r\n\r\nrest");
}

TEST(HeaderBlock, ATextThatBeginsWithAnEmptyLineHasNoFields) {
  MailMessage message;
  message.ParseText("\r\nA: 1\r\n");
  EXPECT_TRUE(message.root()->fields.empty());
  EXPECT_EQ(message.root()->body, "\r\nA: 1\r\n");
}

TEST(HeaderBlock, ATextWithoutEmptyLineHasFieldsAndNoBody) {
  MailMessage message;
  message.ParseText("A: 1\r\nB: 2\r\n");
  EXPECT_EQ(message.root()->fields.size(), 2u);
  EXPECT_EQ(message.root()->body, "");
}

TEST(HeaderBlock, ALastLineWithoutLineEndIsAField) {
  MailMessage message;
  message.ParseText("A: 1\r\nB: 2");
  ASSERT_EQ(message.root()->fields.size(), 2u);
  EXPECT_EQ(message.FindField("B"), "2");
  EXPECT_EQ(message.root()->body, "");
}

TEST(HeaderBlock, ATextOfBareLineFeedsIsOneHeaderLine) {
  MailMessage message;
  message.ParseText("Subject: x\nFrom: a@b\n\nbody\n");
  ASSERT_EQ(message.root()->fields.size(), 1u);
  EXPECT_EQ(message.root()->fields[0].kind, kHeaderSubject);
  EXPECT_EQ(message.root()->fields[0].value, "x\nFrom: a@b\n\nbody\n");
  EXPECT_FALSE(message.FindField("From"));
  EXPECT_EQ(message.root()->body, "");
}

TEST(HeaderBlock, AMillionLinesParseInLinearTime) {
  std::string text;
  for (int i = 0; i < 1'000'000; ++i) text += "A: b\r\n";
  text += "Last: one\r\n\r\nbody";
  MailMessage message;
  message.ParseText(std::move(text));
  EXPECT_EQ(message.root()->fields.size(), 1'000'001u);
  EXPECT_EQ(message.FindField("last"), "one");
}

TEST(HeaderBlock, AFieldFoldedOverManyLinesParsesInLinearTime) {
  std::string text = "Subject: x";
  for (int i = 0; i < 500'000; ++i) text += "\r\n y";
  text += "\r\n\r\nbody";
  MailMessage message;
  message.ParseText(std::move(text));
  ASSERT_EQ(message.root()->fields.size(), 1u);
  EXPECT_EQ(message.root()->fields[0].full_value.size(), 1'000'001u);
  // Of the 1023 bytes behind the colon the first and the last are blanks.
  EXPECT_EQ(message.root()->fields[0].value.size(), 1021u);
  EXPECT_EQ(message.root()->body, "\r\nbody");
}

TEST(FindField, ByNameGivesTheFirstWithoutRegardToCase) {
  MailMessage message;
  message.ParseText("x-a: first\r\nX-A: second\r\n\r\n");
  EXPECT_EQ(message.FindField("X-a"), "first");
  EXPECT_FALSE(message.FindField("X-B"));
  EXPECT_FALSE(message.FindField("X-"));
}

TEST(FindField, ByKindGivesTheFirstOfThatKind) {
  MailMessage message;
  message.ParseText("To: t\r\nFROM: f1\r\nFrom: f2\r\nsubject: s\r\nDate: d\r\nContent-type: c\r\n\r\n");
  EXPECT_EQ(message.FindField(kHeaderFrom), "f1");
  EXPECT_EQ(message.FindField(kHeaderSubject), "s");
  EXPECT_EQ(message.FindField(kHeaderDate), "d");
  EXPECT_EQ(message.FindField(kHeaderContentType), "c");
  EXPECT_EQ(message.FindField(kHeaderTo), "t");
  EXPECT_FALSE(message.FindField(kHeaderCc));
}

TEST(FindField, ByMaskNeedsAllBitsInOneField) {
  MailMessage message;
  message.ParseText("To: t\r\nFrom: f\r\n\r\n");
  EXPECT_FALSE(message.FindField(static_cast<HeaderKind>(kHeaderTo | kHeaderFrom)));
}

TEST(FindField, AnEmptyValueIsThereAndNotMissing) {
  MailMessage message;
  message.ParseText("From:\r\nSubject: \t \r\n\r\n");
  ASSERT_TRUE(message.FindField(kHeaderFrom));
  EXPECT_EQ(*message.FindField(kHeaderFrom), "");
  EXPECT_EQ(message.FindField("subject"), "");
}

TEST(FindField, AnEmptyRecordHasNone) {
  const MailMessage message;
  EXPECT_FALSE(message.FindField("From"));
  EXPECT_FALSE(message.FindField(kHeaderFrom));
}

TEST(FindField, LooksAtTheRootAlone) {
  MailMessage message;
  message.ParseText(
      "Content-Type: multipart/mixed; boundary=XY\r\n\r\n--XY\r\nX-Inner: i\r\n\r\ntext\r\n--XY--\r\n");
  EXPECT_FALSE(message.FindField("X-Inner"));
  ASSERT_NE(message.root()->first_child, nullptr);
  EXPECT_EQ(FindPartField(*message.root()->first_child, "x-inner"), "i");
  EXPECT_FALSE(FindPartField(*message.root()->first_child, kHeaderContentType));
  EXPECT_EQ(FindPartField(*message.root(), kHeaderContentType), "multipart/mixed; boundary=XY");
}

TEST(AddField, AppendsAsIfItHadBeenAHeaderLine) {
  MailMessage message;
  message.ParseText("A: 1\r\n\r\nbody");
  message.AddField("subject", "  Hello \t");
  ASSERT_EQ(message.root()->fields.size(), 2u);
  EXPECT_EQ(message.root()->fields[1].name, "subject");
  EXPECT_EQ(message.root()->fields[1].value, "Hello");
  EXPECT_EQ(message.FindField(kHeaderSubject), "Hello");
}

TEST(AddField, OutlivesTheTextsItWasGiven) {
  MailMessage message;
  message.ParseBodyOnly("text");
  {
    std::string name = "Subject";
    std::string value = std::string(100, 's');
    message.AddField(name, value);
    name.assign(7, '?');
    value.assign(100, '?');
  }
  EXPECT_EQ(message.FindField(kHeaderSubject), std::string(100, 's'));
}

TEST(AddField, DoesNothingToAnEmptyRecord) {
  MailMessage message;
  message.AddField("Subject", "x");
  EXPECT_TRUE(message.empty());
  EXPECT_FALSE(message.FindField("Subject"));
}

TEST(HeaderFields, KeepOnlyLinesWithAColonAndReadThemAtEveryLook) {
  HeaderFields fields;
  EXPECT_TRUE(fields.empty());
  fields.Add("no colon");
  EXPECT_TRUE(fields.empty());
  fields.Add("Subject: one");
  fields.Add("X-Other:");
  fields.ShrinkToFit();
  ASSERT_EQ(fields.size(), 2u);
  EXPECT_EQ(fields[0].kind, kHeaderSubject);
  EXPECT_EQ(fields[0].value, "one");
  EXPECT_EQ(fields.back().name, "X-Other");
  std::string names;
  for (const HeaderField& field : fields) names += std::string(field.full_name) + " ";
  EXPECT_EQ(names, "Subject X-Other ");
}

}  // namespace
}  // namespace quillbeaker
